#pragma once
#include <string>

// SHA-256 of the file's whole content as 64 lower-case hex characters, or empty text when the
// file cannot be opened (missing, a folder, access refused). Other processes may have the file
// open for reading or writing meanwhile. A read error after opening ends the data early.
std::string ComputeFileSha256(const std::string& path);
