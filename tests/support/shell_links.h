#pragma once
// Shell links as a user's desktop holds them.
#include <string>

struct LinkProperties {
    std::string target, workingFolder, description, iconFile;
    int iconIndex = -1;
};

// Reads a link back through the shell; empty properties when it cannot be loaded.
LinkProperties ReadLink(const std::string& path);

// Where the installer's shortcut belongs on the current user's desktop.
std::string DesktopShortcutPath();
