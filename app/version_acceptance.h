#pragma once
#include <optional>
#include <string>

#include "app/version_manifest.h"

// Whether this build takes the server's version file. A build made with signing keys takes it
// only when a signature line by one of them holds, logs which or why not, and gives the byte
// size of game.zip that was signed; a build made without takes every well-formed file, silently.
bool AcceptVersionFile(const std::string& body, const VersionManifest& manifest,
                       std::optional<unsigned long long>& signedSize);

// The version line as the run log shows it before AcceptVersionFile has judged the file. A
// keyed build writes bytes from the network that no signature vouches for yet as "\xHH" unless
// they are printable ASCII (the backslash too), so that a carriage return among them cannot
// start what a reader takes for a line of the program's. An unkeyed build writes them as they
// came.
std::string VersionLineForLog(const std::string& version);
