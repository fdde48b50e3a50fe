#pragma once
#include <array>
#include <string>

using Sha256Digest = std::array<unsigned char, 32>;

// SHA-256 of bytes held in memory.
Sha256Digest ComputeSha256(const std::string& bytes);

// SHA-256 of the file's whole content as 64 lower-case hex characters, or empty text when the
// file cannot be opened (missing, a folder, access refused). Other processes may have the file
// open for reading or writing meanwhile. A read error after opening ends the data early.
std::string ComputeFileSha256(const std::string& path);
