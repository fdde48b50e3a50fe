#include "resume/resumable_download.h"

#include <windows.h>
#include <winhttp.h>

#include "common/messages.h"
#include "common/text.h"
#include "log/run_log.h"
#include "net/archive_download.h"
#include "net/failure_log.h"
#include "net/http_request.h"

namespace {
constexpr int BarrenRetries = 3;
constexpr DWORD RangeNotSatisfiable = 416;
constexpr char ArchivePath[] = "/game.zip";

std::string Bytes(unsigned long long held, unsigned long long whole) {
    return std::to_string(held) + " of " + std::to_string(whole);
}

// A header's value, empty when the response has none, or one that is not printable ASCII, which
// no validator or range is.
std::string ReadHeader(HINTERNET request, const wchar_t* name) {
    wchar_t value[256] = {};
    DWORD size = sizeof value;
    if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_CUSTOM, name, value, &size, WINHTTP_NO_HEADER_INDEX)) return {};
    std::string text;
    for (const wchar_t* c = value; *c; ++c) {
        if (*c < L' ' || *c > L'~') return {};
        text += static_cast<char>(*c);
    }
    return text;
}

// The strong ETag, else the Last-Modified date: a weak ETag cannot make a range conditional.
std::string ValidatorOf(HINTERNET request) {
    const std::string etag = ReadHeader(request, L"ETag");
    return !etag.empty() && etag.rfind("W/", 0) != 0 ? etag : ReadHeader(request, L"Last-Modified");
}

// Reads "<digits>" up to stop (or the end) from text at at; false when there are none or too many.
bool ReadCount(const std::string& text, size_t& at, char stop, unsigned long long& count) {
    const size_t end = stop ? text.find(stop, at) : text.size();
    if (end == std::string::npos || end == at || end - at > 19) return false;
    count = 0;
    for (; at < end; ++at) {
        if (text[at] < '0' || text[at] > '9') return false;
        count = count * 10 + static_cast<unsigned long long>(text[at] - '0');
    }
    at += stop ? 1 : 0;
    return true;
}

// Content-Range: "bytes FIRST-LAST/WHOLE".
bool ParseContentRange(const std::string& text, unsigned long long& first, unsigned long long& whole) {
    size_t at = 6;
    unsigned long long last = 0;
    return text.rfind("bytes ", 0) == 0 && ReadCount(text, at, '-', first) && ReadCount(text, at, '/', last) &&
           ReadCount(text, at, 0, whole) && first <= last && last < whole;
}

void StartOver(ResumableArchive& archive, const std::string& why) {
    LogLine("download: " + why + "; starting again from byte 0");
    ForgetArchive(archive);
    DeleteArchive(archive.path);
}

// Opens the archive file where the response's first byte goes: a new file, or the kept one cut
// back to what it holds (a write that failed may have left more).
HANDLE OpenArchiveFile(const ResumableArchive& archive) {
    HANDLE file = CreateFileA(archive.path.c_str(), GENERIC_WRITE, 0, nullptr, archive.held ? OPEN_EXISTING : CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER offset;
    offset.QuadPart = static_cast<LONGLONG>(archive.held);
    if (file == INVALID_HANDLE_VALUE || !SetFilePointerEx(file, offset, nullptr, FILE_BEGIN) || !SetEndOfFile(file)) {
        LogWinHttpFailure("CreateFileA", archive.path.c_str());
        if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
        return INVALID_HANDLE_VALUE;
    }
    return file;
}

enum class Step { Complete, Cancelled, Unusable, Broke };

// Takes a 200: the file starts again from byte 0 under this response.
bool StartFile(ResumableArchive& archive, HINTERNET request) {
    const unsigned long long length = ReadContentLength(request);
    if (!AnnouncedLengthFits(length, archive.signedSize)) return false;
    if (archive.held) StartOver(archive, "the server sent the whole archive (HTTP 200)");
    archive.whole = length;
    archive.validator = length ? ValidatorOf(request) : "";
    if (archive.validator.empty()) {
        LogLine("download: no length, ETag or Last-Modified to resume by; a broken download starts again from byte 0");
    } else {
        RecordArchive(archive);
    }
    return true;
}

// Takes a 206: only the rest of this very file, as asked for, is added to it.
bool ContinueFile(ResumableArchive& archive, HINTERNET request) {
    const std::string range = ReadHeader(request, L"Content-Range");
    unsigned long long first = 0, whole = 0;
    LogLine("winhttp: HTTP 206 Partial Content for http://" + ServerName() + ArchivePath + ", Content-Range=" + range);
    if (!ParseContentRange(range, first, whole) || first != archive.held || whole != archive.whole) {
        StartOver(archive, "that is not the rest from byte " + Bytes(archive.held, archive.whole));
        return false;
    }
    return true;
}

Step RequestArchive(ResumableArchive& archive, const PipelineProgress& progress) {
    const bool resuming = archive.held != 0;
    // WinHTTP may hand the next request a pooled connection, across sessions. One whose body it
    // stopped reading early still holds the rest of it, which the next request would read as its
    // answer (Wine 8 stops every body at 2 GiB; docs/wine-notes.md): no connection is kept.
    std::wstring headers = L"Connection: close";
    if (resuming) {
        LogLine("download: asking for the rest from byte " + Bytes(archive.held, archive.whole) +
                " (If-Range: " + archive.validator + ")");
        headers += L"\r\nRange: bytes=" + std::to_wstring(archive.held) + L"-\r\nIf-Range: " + NarrowToWide(archive.validator);
    }
    AttemptHandles handles;
    handles.request = SendServerRequest(L"/game.zip", headers.c_str(), handles.session, handles.connection);
    DWORD status = 0;
    if (!handles.request || !ReadStatus(handles.request, status)) return Step::Broke;
    if (status == 200) {
        LogLine("winhttp: HTTP 200 OK for http://" + ServerName() + ArchivePath);
        if (!StartFile(archive, handles.request)) return Step::Unusable;
    } else if (status == HTTP_STATUS_PARTIAL_CONTENT && resuming) {
        if (!ContinueFile(archive, handles.request)) return Step::Broke;
    } else {
        LogLine("winhttp: unexpected HTTP status " + std::to_string(status) + " for " + ArchivePath +
                (resuming ? " (expected 200 or 206)" : " (expected 200)"));
        // Only a 416 says that the rest asked for is not there; a server that is busy or failing
        // now may have it later.
        if (resuming && status == RangeNotSatisfiable) StartOver(archive, "no such rest on the server");
        return Step::Broke;
    }

    handles.file = OpenArchiveFile(archive);
    if (handles.file == INVALID_HANDLE_VALUE) return archive.validator.empty() ? Step::Unusable : Step::Broke;
    bool cancelled = false;
    const bool ended = StreamArchiveBody({handles.request, handles.file, archive.whole, archive.signedSize,
                                          resuming ? "Resuming download..." : "Downloading game data..."},
                                         progress.ForDownload(), cancelled, archive.held);
    if (cancelled) return Step::Cancelled;
    if (ended && (archive.whole == 0 || archive.held == archive.whole)) {
        LogLine("winhttp: download complete, " + std::to_string(archive.held) + " bytes written (HTTP " +
                std::to_string(status) + ")");
        return Step::Complete;
    }
    if (ended) LogLine("download: the body ended at byte " + Bytes(archive.held, archive.whole));
    return archive.validator.empty() ? Step::Unusable : Step::Broke;
}

// Waits before the next request with the window alive; false when the player closes it.
bool WaitToAskAgain(const PipelineProgress& progress, DWORD ms) {
    progress.SetStatus("The connection was lost. Trying again...");
    ProgressWindow* window = progress.ForDownload();
    for (const DWORD start = GetTickCount();;) {
        if (window) {
            PumpPendingMessages();
            if (window->cancelled) return false;
        }
        const DWORD passed = GetTickCount() - start;
        if (passed >= ms) return true;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, ms - passed, QS_ALLINPUT);
    }
}
}  // namespace

Fetched FetchArchive(ResumableArchive& archive, const PipelineProgress& progress) {
    for (int barren = 0;;) {
        // An earlier run may have kept the whole of it.
        if (archive.held != 0 && archive.held == archive.whole) return Fetched::Complete;
        const unsigned long long before = archive.held;
        switch (RequestArchive(archive, progress)) {
            case Step::Complete: return Fetched::Complete;
            case Step::Cancelled: return Fetched::Cancelled;
            case Step::Unusable: return Fetched::Broken;
            case Step::Broke: break;
        }
        if (archive.held > before) {
            barren = 0;
            LogLine("download: broken off at byte " + Bytes(archive.held, archive.whole) + "; asking for the rest at once");
            continue;
        }
        if (++barren > BarrenRetries) {
            LogLine("download: nothing new in " + std::to_string(barren) + " requests in a row; giving up");
            return Fetched::LinkDown;
        }
        const DWORD wait = 1000u << (barren - 1);
        LogLine("download: nothing new came; asking again in " + std::to_string(wait / 1000) + " s");
        if (!WaitToAskAgain(progress, wait)) {
            LogLine("download: CANCELLED by user while waiting to ask again");
            return Fetched::Cancelled;
        }
    }
}
