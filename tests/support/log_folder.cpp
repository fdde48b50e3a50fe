#include "tests/support/log_folder.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/names.h"
#include "common/paths.h"
#include "log/run_log.h"

LogFolder::LogFolder() {
    static int serial = 0;
    const std::filesystem::path folder = std::filesystem::temp_directory_path() /
        ("qo-test-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++serial));
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    path_ = folder.string();
    SetLogFilePath(File(LogFileName));
}

LogFolder::~LogFolder() {
    SetLogFilePath("");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string LogFolder::File(const std::string& name) const { return JoinPath(path_, name); }

std::vector<std::string> LogFolder::Messages() const {
    // "[YYYY-MM-DD hh:mm:ss] " opens every line.
    constexpr size_t StampLength = 22;
    std::vector<std::string> messages;
    const std::string log = ReadWholeFile(File(LogFileName));
    size_t start = 0;
    for (size_t end; (end = log.find("\r\n", start)) != std::string::npos; start = end + 2) {
        messages.push_back(log.substr(start + StampLength, end - start - StampLength));
    }
    return messages;
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}
