#pragma once
// What the end-to-end install tests share: a game archive, a registered empty install folder,
// and the checks that an install that failed left no record behind.
#include <string>
#include <vector>

// A small but complete game: both programs (the stand-in launcher as the launcher), folders,
// data, and a version.txt of its own that the installer must replace.
std::string GameArchive();

// "http://<download host>:8080<path>", as the run log names it.
std::string ServerUrl(const std::string& path);

// A fresh, empty folder C:\qo-tests\<name>, registered as the install folder; no desktop link.
std::string RegisteredEmptyFolder(const std::string& name);
// The same for a folder anywhere; one that cannot be emptied is registered as it is.
void RegisterEmptyFolder(const std::string& folder);

// Whatever the outcome, the archive is gone and nothing claims an install that did not happen.
void ExpectNothingRecorded(const std::string& folder);

// The last `count` lines (all of them when there are fewer).
std::vector<std::string> Tail(const std::vector<std::string>& lines, size_t count);
