#include "common/paths.h"

std::string JoinPath(const std::string& folder, const std::string& name) {
    const bool bareDrive = folder.size() == 2 && folder[1] == ':';
    const bool endsInSeparator = !folder.empty() && (folder.back() == '\\' || folder.back() == '/');
    if (folder.empty() || bareDrive || endsInSeparator) return folder + name;
    return folder + '\\' + name;
}

std::string ParentFolder(const std::string& path) {
    const size_t lastSeparator = path.find_last_of("\\/");
    if (lastSeparator == std::string::npos) return {};
    size_t end = lastSeparator;
    while (end > 0 && (path[end - 1] == '\\' || path[end - 1] == '/')) --end;
    // Without its separator a root would name the drive's current folder ("C:") or nothing.
    const bool root = end == 0 || (end == 2 && path[1] == ':');
    return path.substr(0, root ? end + 1 : end);
}
