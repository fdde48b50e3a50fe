#pragma once
#include <optional>
#include <string>

#include "app/version_manifest.h"

// Whether this program takes the server's version file. The plain build takes every well-formed
// file, silently: nothing but the digest on the same channel guards the archive. A build with
// signing keys links its own definitions of both (trust/): it takes a file only when a signature
// line by one of them holds, logs which or why not, and gives the byte size of game.zip that was
// signed.
bool AcceptVersionFile(const std::string& body, const VersionManifest& manifest,
                       std::optional<unsigned long long>& signedSize);

// The version line as the run log shows it before AcceptVersionFile has judged the file: the
// plain build writes it as it came.
std::string VersionLineForLog(const std::string& version);
