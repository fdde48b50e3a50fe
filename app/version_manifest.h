#pragma once
#include <string>

// The server's version file: line 1 the game version, line 2 the archive's SHA-256 in hex.
struct VersionManifest {
    std::string version;
    std::string sha256;
};

// Never fails: a malformed body leaves one or both fields empty.
VersionManifest ParseVersionManifest(const std::string& body);

// A line of the version file as it counts: without its trailing CR, LF, blanks and tabs.
std::string TrimVersionLine(std::string line);

// The local copy: version and digest, each ended by CR LF. The caller lower-cases the digest.
void WriteLocalVersionFile(const std::string& installFolder, const std::string& version,
                           const std::string& sha256);
