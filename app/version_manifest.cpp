#include "app/version_manifest.h"

#include "common/files.h"
#include "common/names.h"
#include "common/paths.h"
#include "log/run_log.h"

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

void WriteLocalVersionFile(const std::string& installFolder, const std::string& version,
                           const std::string& sha256) {
    const unsigned long error =
        WriteNewFile(JoinPath(installFolder, VersionFileName), version + "\r\n" + sha256 + "\r\n");
    if (error != 0) {
        LogLine("version.txt: local write FAILED, GetLastError=" + std::to_string(error));
        return;
    }
    LogLine("version.txt: local version written -> " + version);
}
