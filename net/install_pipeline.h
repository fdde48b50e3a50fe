#pragma once
#include <string>

enum class InstallOutcome { Installed = 0, Failed = 1, Cancelled = 2 };

// Download, verify (one retry) and unpack the game archive into installFolder, under a
// progress window. The archive is gone again on every way out.
InstallOutcome RunInstallPipeline(const std::string& installFolder, const std::string& expectedSha256);
