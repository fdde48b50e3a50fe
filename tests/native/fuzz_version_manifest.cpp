#include <cstddef>
#include <cstdint>
#include <string>

#include "app/version_manifest.h"
#include "tests/native/fuzz_check.h"

namespace {

bool EndsInLineEndOrBlank(const std::string& text) {
    return !text.empty() && (text.back() == '\r' || text.back() == '\n' || text.back() == ' ' || text.back() == '\t');
}

// The format read another way: cut the body at line feeds, keep lines 1 and 2, strip their ends.
VersionManifest LineModel(const std::string& body) {
    std::string lines[2];
    size_t line = 0;
    for (const char c : body) {
        if (c != '\n') {
            lines[line] += c;
        } else if (++line == 2) {
            break;
        }
    }
    for (std::string& text : lines) text.erase(text.find_last_not_of("\r\n \t") + 1);
    return {lines[0], lines[1]};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string body(reinterpret_cast<const char*>(data), size);
    const VersionManifest manifest = ParseVersionManifest(body);
    FuzzCheck(!EndsInLineEndOrBlank(manifest.version), "version ends in CR, LF, blank or tab");
    FuzzCheck(!EndsInLineEndOrBlank(manifest.sha256), "sha256 ends in CR, LF, blank or tab");

    const VersionManifest model = LineModel(body);
    FuzzCheck(manifest.version == model.version, "version differs from the line model");
    FuzzCheck(manifest.sha256 == model.sha256, "sha256 differs from the line model");

    // The local version file holds the same two values in the same format.
    const VersionManifest local = ParseVersionManifest(manifest.version + "\r\n" + manifest.sha256 + "\r\n");
    FuzzCheck(local.version == manifest.version && local.sha256 == manifest.sha256,
              "the local copy reads back as other values");
    return 0;
}
