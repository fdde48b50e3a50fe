#pragma once
// Files, registry values, archives and programs of the test bed, as tests set them up and
// read them back, independently of the installer's own code (but for its text conversion). The
// test bed's programs run in the UTF-8 code page: their narrow texts hold any name.
#include <windows.h>

#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

std::string FreshFolder(const std::string& path);  // emptied first when it exists
std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::string& bytes);
bool Exists(const std::string& path);
std::string BuiltProgram(const std::string& fileName);  // built beside the running test program

// The messages of a run log without their timestamps; every line's format is checked.
std::vector<std::string> LogMessages(const std::string& logPath);

// The installer's registration as stored: its type and bytes (REG_NONE when there is none).
struct Registration {
    DWORD type = REG_NONE;
    std::string bytes;
    bool operator==(const Registration&) const = default;
};
Registration ReadRegistration();
void WriteRegistration(const Registration& value);
Registration FolderRegistration(const std::string& folder);  // REG_SZ, terminator included

// A folder that counts as installed: marker, game program and the stand-in launcher.
void MakeInstalledFolder(const std::string& folder);
// How the stand-in launcher in the folder was started, one "<command line>\t<working folder>" a
// start. It runs on its own, so this waits a few seconds for `expected` starts.
std::vector<std::string> LauncherStarts(const std::string& folder, size_t expected);

// A shell link as the shell reads it back: target, working folder, description and icon
// ("<file>,<index>"); empty texts when there is none.
using Shortcut = std::array<std::string, 4>;
Shortcut ReadShellLink(const std::string& path);

// A zip archive of stored entries, made by the system's tar.exe, which writes zips as Windows'
// own does; a name ending in '/' is a folder.
std::string MakeZip(const std::vector<std::pair<std::string, std::string>>& entries);
std::string Sha256Hex(const std::string& bytes);  // the platform's own SHA-256

// What the player saw of a run: each dialog as it was read ("picker: <caption>" for a folder
// picker, else the UI robot's "<caption> [<icon>] <text>"), and whether each was still up, alone, when
// it was answered.
struct InstallerRun {
    DWORD exitCode = STILL_ACTIVE;
    std::vector<std::string> dialogs;
    bool dialogsStayed = true;
};

// Starts the program (with no arguments, as a player does) and answers each of its dialogs; a
// run that outlives limitMs is ended and fails, saying what it had shown.
InstallerRun RunInstaller(const std::string& program, const std::function<void(HWND, const std::string&)>& answer,
                          DWORD limitMs = 60000);
