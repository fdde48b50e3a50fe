#pragma once
#include <string>

// Unpacks archiveFile (relative to folder, or absolute) into folder with the system's tar.exe,
// waiting for it to end. True when tar ran and exited with 0; the run log gets tar's exit code
// or the reason it could not be started.
bool ExtractArchive(const std::string& folder, const std::string& archiveFile);

// The program to run as tar: "<system directory>\tar.exe" for a GetSystemDirectoryA result of
// length characters in systemDirectory, or the bare "tar.exe" when that call failed (0) or
// did not fit its 260-byte buffer.
std::string TarPathFor(const char* systemDirectory, unsigned length);
