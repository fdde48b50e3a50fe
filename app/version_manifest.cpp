#include "app/version_manifest.h"

#include "common/files.h"
#include "common/names.h"
#include "common/paths.h"
#include "log/run_log.h"

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
