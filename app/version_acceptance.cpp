#include "trust/version_trust.h"

// Without keys, nothing but the digest on the same channel guards the archive.
bool AcceptVersionFile(const std::string&, const VersionManifest&, std::optional<unsigned long long>&) { return true; }

std::string VersionLineForLog(const std::string& version) { return version; }
