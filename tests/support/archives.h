#pragma once
// Game archives and digests made by the tests themselves, independent of the product's code.
#include <string>
#include <utility>
#include <vector>

// A zip archive of stored (uncompressed) entries; a name ending in '/' is a folder.
std::string MakeZip(const std::vector<std::pair<std::string, std::string>>& entries);

// SHA-256 as lower-case hex, from the platform's own implementation (bcrypt).
std::string Sha256Hex(const std::string& bytes);
