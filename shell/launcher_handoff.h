#pragma once
#include <string>

// Starts the game's resident launcher from installFolder, without waiting for it.
// False (with a log line) when it is missing or cannot be started.
bool StartResidentLauncher(const std::string& installFolder);
