#pragma once
#include <string>
#include <vector>

// The server's version file: line 1 the game version, line 2 the archive's SHA-256 in hex.
struct VersionManifest {
    std::string version;
    std::string sha256;
};

// Never fails: a malformed body leaves one or both fields empty.
VersionManifest ParseVersionManifest(const std::string& body);

// Lines 3 and later, each without its trailing CR, LF, blanks and tabs, as lines 1 and 2.
std::vector<std::string> LaterVersionLines(const std::string& body);

// The local copy: version and digest, each ended by CR LF. The caller lower-cases the digest.
void WriteLocalVersionFile(const std::string& installFolder, const std::string& version,
                           const std::string& sha256);
