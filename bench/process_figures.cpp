// Runs a program to its end as a player's shell would start it and prints what that cost:
//   process_figures PROGRAM [ARGUMENTS...]
// prints "<seconds> <peak working set in bytes> <exit code>". The seconds run from just
// before CreateProcess until the process has ended, so this program's own start does not
// count; the peak working set is the started process's alone, not that of the programs it
// starts in turn.
#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "common/unique_handle.h"

namespace {
constexpr DWORD SampleIntervalMs = 5;

SIZE_T PeakWorkingSet(HANDLE process) {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    return GetProcessMemoryInfo(process, &counters, sizeof counters) ? counters.PeakWorkingSetSize : 0;
}
}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: process_figures PROGRAM [ARGUMENTS...]\n");
        return 2;
    }
    std::string commandLine;
    for (int i = 1; i < argc; ++i) commandLine += std::string(i > 1 ? " " : "") + "\"" + argv[i] + "\"";

    LARGE_INTEGER frequency, start, end;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &started)) {
        std::fprintf(stderr, "could not start %s: error %lu\n", argv[1], GetLastError());
        return 2;
    }
    UniqueKernelHandle process(started.hProcess);
    UniqueKernelHandle thread(started.hThread);

    // Windows keeps the counters of an ended process readable through its handle. Wine reads
    // them from the Unix process, which is gone by then, so the peak is also sampled while the
    // process runs; it only ever grows, so the last sample misses at most the final few
    // milliseconds.
    SIZE_T peak = 0;
    while (WaitForSingleObject(process.Get(), SampleIntervalMs) == WAIT_TIMEOUT) {
        peak = std::max(peak, PeakWorkingSet(process.Get()));
    }
    QueryPerformanceCounter(&end);
    peak = std::max(peak, PeakWorkingSet(process.Get()));
    DWORD exitCode = 1;
    GetExitCodeProcess(process.Get(), &exitCode);

    std::printf("%.4f %llu %lu\n", double(end.QuadPart - start.QuadPart) / double(frequency.QuadPart),
                static_cast<unsigned long long>(peak), exitCode);
    return 0;
}
