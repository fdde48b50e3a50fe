#include "tests/support/test_files.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "common/names.h"
#include "common/paths.h"
#include "common/text.h"

namespace {
constexpr char InstallKey[] = "Software\\QuarnfellOstvale";

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = text.find("\r\n", start);
        if (end == std::string::npos) {
            ADD_FAILURE() << "line without CR LF at its end: " << text.substr(start);
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 2;
    }
    return lines;
}
}  // namespace

std::string FreshTestFolder(const std::string& name) {
    const std::string folder = "C:\\qo-tests\\" + name;
    RemoveTree(folder);
    CreateFolderTree(folder);
    return folder;
}

void RemoveTree(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(NarrowToWide(path)), ignored);
}

std::string ReadFileBytes(const std::string& path) {
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {};
    std::string bytes;
    char buffer[65536];
    DWORD read = 0;
    while (ReadFile(file, buffer, sizeof buffer, &read, nullptr) && read > 0) bytes.append(buffer, read);
    CloseHandle(file);
    return bytes;
}

void WriteFileBytes(const std::string& path, const std::string& bytes) {
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << path;
    DWORD written = 0;
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
}

std::string BuiltProgram(const std::string& fileName) {
    char self[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, self, MAX_PATH);
    std::string folder = self;
    folder.erase(folder.find_last_of('\\'));
    return JoinPath(folder, fileName);
}

std::vector<std::string> LogMessages(const std::string& logPath) {
    static const std::regex stamp(R"(\[\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\] )");
    std::vector<std::string> messages;
    for (const std::string& line : SplitLines(ReadFileBytes(logPath))) {
        EXPECT_TRUE(line.size() >= 22 && std::regex_match(line.substr(0, 22), stamp)) << "bad log line: " << line;
        messages.push_back(line.size() >= 22 ? line.substr(22) : line);
    }
    return messages;
}

ScopedEnvironmentVariable::ScopedEnvironmentVariable(const char* name, const char* value) : name_(name) {
    char saved[32768];
    const DWORD length = GetEnvironmentVariableA(name, saved, sizeof saved);
    if (length > 0 && length < sizeof saved) saved_ = saved;
    SetEnvironmentVariableA(name, value);
}

ScopedEnvironmentVariable::~ScopedEnvironmentVariable() {
    SetEnvironmentVariableA(name_, saved_ ? saved_->c_str() : nullptr);
}

void SetRegisteredInstallPath(const std::string& folder) {
    ASSERT_EQ(RegSetKeyValueA(HKEY_CURRENT_USER, InstallKey, "InstallPath", REG_SZ, folder.c_str(),
                              static_cast<DWORD>(folder.size() + 1)),
              ERROR_SUCCESS);
}

void SetRegisteredInstallData(const RegistryData& data) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, NarrowToWide(InstallKey).c_str(), L"InstallPath", data.type,
                              data.bytes.data(), static_cast<DWORD>(data.bytes.size())),
              ERROR_SUCCESS);
}

std::optional<RegistryData> RegisteredInstallData() {
    RegistryData data{REG_NONE, std::string(4096, '\0')};
    DWORD size = static_cast<DWORD>(data.bytes.size());
    if (RegGetValueW(HKEY_CURRENT_USER, NarrowToWide(InstallKey).c_str(), L"InstallPath", RRF_RT_ANY | RRF_NOEXPAND,
                     &data.type, data.bytes.data(), &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    data.bytes.resize(size);
    return data;
}

void RemoveInstallRegistration() { RegDeleteTreeA(HKEY_CURRENT_USER, InstallKey); }

std::optional<std::string> RegisteredInstallPath() {
    char buffer[1024] = {};
    DWORD size = sizeof buffer;
    if (RegGetValueA(HKEY_CURRENT_USER, InstallKey, "InstallPath", RRF_RT_REG_SZ, nullptr, buffer, &size) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    return std::string(buffer);
}

void PlaceStandInLauncher(const std::string& folder) {
    ASSERT_TRUE(CopyFileA(BuiltProgram("stand_in_launcher.exe").c_str(), JoinPath(folder, LauncherExeName).c_str(), FALSE))
        << GetLastError();
}

void MakeInstalledFolder(const std::string& folder) {
    CreateFolderTree(folder);
    WriteFileBytes(JoinPath(folder, MarkerFileName), "ok\r\n");
    WriteFileBytes(JoinPath(folder, GameExeName), "game");
    PlaceStandInLauncher(folder);
}

std::vector<std::pair<std::string, std::string>> LauncherStarts(const std::string& folder, size_t expected) {
    const std::string record = JoinPath(folder, "launcher-starts.txt");
    for (int waited = 0; waited < 100 && SplitLines(ReadFileBytes(record)).size() < expected; ++waited) Sleep(100);
    std::vector<std::pair<std::string, std::string>> starts;
    for (const std::string& line : SplitLines(ReadFileBytes(record))) {
        const size_t tab = line.find('\t');
        starts.emplace_back(line.substr(0, tab), tab == std::string::npos ? "" : line.substr(tab + 1));
    }
    return starts;
}
