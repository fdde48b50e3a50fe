// The version file read another way, cut at line feeds with lines 1 and 2 kept and their ends
// stripped, must give what the parser gives, and the local copy must read back the same. Its
// signature lines are checked too, against a key whose every signature holds: whatever the
// file, the check ends, and accepts only a size the file spells out.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "app/version_manifest.h"
#include "trust/version_signature.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string body(reinterpret_cast<const char*>(data), size);
    std::string lines[2];
    for (size_t i = 0, line = 0; i < body.size() && line < 2; ++i) {
        if (body[i] == '\n') ++line;
        else lines[line] += body[i];
    }
    for (std::string& line : lines) line.erase(line.find_last_not_of("\r\n \t") + 1);
    const VersionManifest manifest = ParseVersionManifest(body);
    if (manifest.version != lines[0] || manifest.sha256 != lines[1]) std::abort();
    const VersionManifest local = ParseVersionManifest(manifest.version + "\r\n" + manifest.sha256 + "\r\n");
    if (local.version != manifest.version || local.sha256 != manifest.sha256) std::abort();
    const TrustedKey key = {"0123456789abcdef", {}};
    const SignatureCheck check = CheckVersionSignatures(
        body, manifest, &key, 1, "2026-11-25T12:00:00Z",
        [](const unsigned char*, const Sha256Digest&, const unsigned char*) { return true; });
    if (check.accepted && body.find(" " + std::to_string(check.signedSize) + " ") == std::string::npos) std::abort();
    return 0;
}
