#pragma once
#include <string>

// Best effort: a "Quarnfell Ostvale" link to the resident launcher on the user's desktop.
void CreateDesktopShortcut(const std::string& installFolder);
