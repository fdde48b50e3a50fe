#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "common/paths.h"
#include "tests/native/fuzz_check.h"

namespace {
bool IsSeparator(char c) { return c == '\\' || c == '/'; }
}  // namespace

// The first byte says how many of the following bytes are the folder; the rest is the name.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::string folder = text.substr(0, std::min<size_t>(data[0], text.size()));
    const std::string name = text.substr(folder.size());
    const std::string joined = JoinPath(folder, name);

    const size_t plain = folder.size() + name.size();
    FuzzCheck(joined.size() == plain || joined.size() == plain + 1, "more than one character inserted");
    FuzzCheck(joined.compare(0, folder.size(), folder) == 0, "the folder is not kept as it is");
    FuzzCheck(joined.compare(joined.size() - name.size(), name.size(), name) == 0, "the name is not kept as it is");
    const bool separatorAdded = joined.size() > plain;
    FuzzCheck(!separatorAdded || joined[folder.size()] == '\\', "the inserted character is not a backslash");

    const bool bareDrive = folder.size() == 2 && folder[1] == ':';
    const bool needsNone = folder.empty() || bareDrive || IsSeparator(folder.back());
    FuzzCheck(separatorAdded != needsNone, "a separator added where none belongs, or missing");

    // The program's own folder is found again from its file name.
    const bool plainName = !name.empty() && std::none_of(name.begin(), name.end(), IsSeparator);
    if (separatorAdded && plainName) FuzzCheck(ParentFolder(joined) == folder, "the parent is not the folder");
    return 0;
}
