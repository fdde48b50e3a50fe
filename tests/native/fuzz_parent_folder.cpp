#include <cstddef>
#include <cstdint>
#include <string>

#include "common/paths.h"
#include "tests/native/fuzz_check.h"

namespace {

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

// A leading separator, or a drive's colon and separator; empty when the path has neither.
std::string RootOf(const std::string& path) {
    if (!path.empty() && IsSeparator(path[0])) return path.substr(0, 1);
    if (path.size() >= 3 && path[1] == ':' && IsSeparator(path[2])) return path.substr(0, 3);
    return {};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path(reinterpret_cast<const char*>(data), size);
    const std::string root = RootOf(path);
    const std::string parent = ParentFolder(path);
    FuzzCheck(parent.size() <= path.size() && path.compare(0, parent.size(), parent) == 0,
              "the parent is not a beginning of the path");
    FuzzCheck(parent == root || parent.empty() || !IsSeparator(parent.back()),
              "separators before the last element are kept");

    // Going up shortens the path at every step until it reaches the root, or "" without one;
    // only there does ParentFolder leave its input unchanged.
    std::string at = path;
    for (std::string up = ParentFolder(at); up != at; up = ParentFolder(at)) {
        FuzzCheck(up.size() < at.size(), "a step up does not shorten the path");
        at = up;
    }
    FuzzCheck(at == root, "going up does not end at the root");
    return 0;
}
