#pragma once
#include <optional>
#include <string>

enum class InstallOutcome { Installed = 0, Failed = 1, Cancelled = 2 };

// Download, verify (one retry) and unpack the game archive into installFolder, under a
// progress window. The archive is gone again on every way out. With a signed size, a download
// of any other size fails as soon as that shows.
InstallOutcome RunInstallPipeline(const std::string& installFolder, const std::string& expectedSha256,
                                  std::optional<unsigned long long> signedSize);
