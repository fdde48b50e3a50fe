#pragma once
#include <string>
#include <vector>

// Lines 3 and later of a version file, where the signature lines are, each trimmed as lines 1
// and 2 are.
std::vector<std::string> LaterVersionLines(const std::string& body);
