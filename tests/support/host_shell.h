#pragma once
// Runs a command of the Linux host from a Windows program under Wine: the test bed's way to
// reach what Windows does not have (bsdtar, the operators' Python tools).
#include <windows.h>

#include <string>

struct HostRun {
    int exitCode = -1;   // -1: it did not report within the limit
    std::string output;  // what it wrote to stdout and stderr
};

// commandLine: the program and its arguments, quoted by Windows' rules; folder: its working
// folder (null: this program's). Waits at most limitMs for the command to end.
HostRun RunOnHost(const std::string& commandLine, const char* folder, DWORD limitMs);
