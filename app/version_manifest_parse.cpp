#include "app/version_manifest.h"

std::string TrimVersionLine(std::string line) {
    while (!line.empty()) {
        const char last = line.back();
        if (last != '\r' && last != '\n' && last != ' ' && last != '\t') break;
        line.pop_back();
    }
    return line;
}

VersionManifest ParseVersionManifest(const std::string& body) {
    const size_t firstEnd = body.find('\n');
    if (firstEnd == std::string::npos) return {TrimVersionLine(body), {}};
    const size_t secondStart = firstEnd + 1;
    const size_t secondEnd = body.find('\n', secondStart);
    const size_t secondLength = secondEnd == std::string::npos ? std::string::npos : secondEnd - secondStart;
    return {TrimVersionLine(body.substr(0, firstEnd)), TrimVersionLine(body.substr(secondStart, secondLength))};
}
