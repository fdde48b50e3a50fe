#include "resume/kept_archive.h"

#include <windows.h>

#include <vector>

#include "common/files.h"
#include "common/names.h"
#include "common/paths.h"
#include "common/unique_handle.h"
#include "log/run_log.h"
#include "net/install_pipeline.h"
#include "net/install_steps.h"

namespace {
std::string RecordPath(const std::string& archivePath) { return archivePath + ".resume"; }

// Size of the file at path; 0 when there is none.
unsigned long long FileSize(const std::string& path) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data)) return 0;
    return (static_cast<unsigned long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

// A whole decimal number and nothing else; false for anything else, an overflow included.
bool ParseCount(const std::string& text, unsigned long long& count) {
    count = 0;
    for (const char c : text) {
        if (c < '0' || c > '9' || count > (~0ull - 9) / 10) return false;
        count = count * 10 + static_cast<unsigned long long>(c - '0');
    }
    return !text.empty();
}

// The record's three lines; false when there is none or it is not one.
bool ReadRecord(const std::string& archivePath, std::vector<std::string>& lines) {
    const UniqueFile file(CreateFileA(RecordPath(archivePath).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    char text[1024];
    DWORD read = 0;
    if (!file || !ReadFile(file.Get(), text, sizeof text, &read, nullptr)) return false;
    std::string rest(text, read);
    for (size_t end; (end = rest.find("\r\n")) != std::string::npos; rest.erase(0, end + 2)) {
        lines.push_back(rest.substr(0, end));
    }
    return rest.empty() && lines.size() == 3;
}

void DeleteRecord(const std::string& archivePath) { DeleteFileA(RecordPath(archivePath).c_str()); }
}  // namespace

void TakeUpKeptArchive(ResumableArchive& archive) {
    // Without a record nothing is taken up: a first response starts the file afresh, and a run
    // that ends before one deletes it.
    std::vector<std::string> lines;
    if (!ReadRecord(archive.path, lines)) {
        DeleteRecord(archive.path);
        return;
    }
    unsigned long long whole = 0;
    const unsigned long long held = FileSize(archive.path);
    if (lines[0] != archive.expected || !ParseCount(lines[1], whole) || lines[2].empty() || held == 0 ||
        held > whole || (archive.signedSize && whole != *archive.signedSize)) {
        LogLine("download: the kept game.zip is not of this archive; starting from byte 0");
        DeleteRecord(archive.path);
        DeleteArchive(archive.path);
        return;
    }
    archive.validator = lines[2];
    archive.whole = whole;
    archive.held = held;
    LogLine("download: going on with the " + std::to_string(held) + " of " + std::to_string(whole) +
            " bytes an earlier run kept");
}

void RecordArchive(ResumableArchive& archive) {
    const unsigned long error = WriteNewFile(RecordPath(archive.path), archive.expected + "\r\n" +
                                                                           std::to_string(archive.whole) + "\r\n" +
                                                                           archive.validator + "\r\n");
    if (error != 0) {
        LogLine("download: cannot write game.zip.resume, GetLastError=" + std::to_string(error) +
                "; a broken download starts again from byte 0");
        archive.validator.clear();
    }
}

void ForgetArchive(ResumableArchive& archive) {
    DeleteRecord(archive.path);
    archive.validator.clear();
    archive.whole = archive.held = 0;
}

void KeepForNextRun(ResumableArchive& archive) {
    if (archive.validator.empty() || archive.held == 0) {
        ForgetArchive(archive);
        DeleteArchive(archive.path);
        return;
    }
    LogLine("download: " + std::to_string(archive.held) + " of " + std::to_string(archive.whole) +
            " bytes kept for the next run");
}

std::string KeptDownloadNote(const std::string& installFolder) {
    const std::string archivePath = JoinPath(installFolder, ArchiveFileName);
    std::vector<std::string> lines;
    unsigned long long whole = 0;
    const unsigned long long held = FileSize(archivePath);
    if (!ReadRecord(archivePath, lines) || !ParseCount(lines[1], whole) || held == 0 || held > whole) return {};
    return std::to_string(static_cast<int>(100.0 * static_cast<double>(held) / static_cast<double>(whole))) +
           "% of the game's download is kept. Run the installer again to continue where it stopped.";
}
