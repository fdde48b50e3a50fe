#include "trust/version_lines.h"

#include "app/version_manifest.h"

std::vector<std::string> LaterVersionLines(const std::string& body) {
    std::vector<std::string> lines;
    const size_t firstEnd = body.find('\n');
    size_t start = firstEnd == std::string::npos ? std::string::npos : body.find('\n', firstEnd + 1);
    while (start != std::string::npos) {
        const size_t end = body.find('\n', ++start);
        lines.push_back(TrimVersionLine(body.substr(start, end == std::string::npos ? std::string::npos : end - start)));
        start = end;
    }
    return lines;
}
