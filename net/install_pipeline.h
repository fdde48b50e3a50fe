#pragma once
#include <optional>
#include <string>

enum class InstallOutcome { Installed = 0, Failed = 1, Cancelled = 2 };

// Download, verify (one retry) and unpack the game archive into installFolder, under a
// progress window. In the plain build the archive is gone again on every way out; a build that
// resumes downloads links its own definition, which keeps what a broken download brought. With a
// signed size, a download of any other size fails as soon as that shows.
InstallOutcome RunInstallPipeline(const std::string& installFolder, const std::string& expectedSha256,
                                  std::optional<unsigned long long> signedSize);

// What the player is told of a download kept in installFolder for the next run to go on with,
// after a run that failed or was cancelled; empty when none is. The plain build keeps none.
std::string KeptDownloadNote(const std::string& installFolder);
