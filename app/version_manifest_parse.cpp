#include "app/version_manifest.h"

namespace {
std::string TrimLineEnd(std::string line) {
    while (!line.empty()) {
        const char last = line.back();
        if (last != '\r' && last != '\n' && last != ' ' && last != '\t') break;
        line.pop_back();
    }
    return line;
}
}  // namespace

VersionManifest ParseVersionManifest(const std::string& body) {
    const size_t firstEnd = body.find('\n');
    if (firstEnd == std::string::npos) return {TrimLineEnd(body), {}};
    const size_t secondStart = firstEnd + 1;
    const size_t secondEnd = body.find('\n', secondStart);
    const size_t secondLength = secondEnd == std::string::npos ? std::string::npos : secondEnd - secondStart;
    return {TrimLineEnd(body.substr(0, firstEnd)), TrimLineEnd(body.substr(secondStart, secondLength))};
}

std::vector<std::string> LaterVersionLines(const std::string& body) {
    std::vector<std::string> lines;
    const size_t firstEnd = body.find('\n');
    size_t start = firstEnd == std::string::npos ? std::string::npos : body.find('\n', firstEnd + 1);
    while (start != std::string::npos) {
        const size_t end = body.find('\n', ++start);
        lines.push_back(TrimLineEnd(body.substr(start, end == std::string::npos ? std::string::npos : end - start)));
        start = end;
    }
    return lines;
}
