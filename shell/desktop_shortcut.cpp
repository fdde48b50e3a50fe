#include "shell/desktop_shortcut.h"

// The shell link arrives in its own change.
void CreateDesktopShortcut(const std::string&) {}
