// Times the installer's file digest on one file with each block function this CPU can run.
// Only the hashing is timed, inside the process, so Wine's start-up does not count.
#include <windows.h>

#include <cstdio>

#include "archive/sha256_internal.h"

namespace {

void TimeDigest(const char* label, const char* path, Sha256BlockFunction compress) {
    LARGE_INTEGER frequency, start, end;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    const std::string digest = ComputeFileSha256With(path, compress);
    QueryPerformanceCounter(&end);
    const double seconds = double(end.QuadPart - start.QuadPart) / double(frequency.QuadPart);
    std::printf("%s %.3f %s\n", label, seconds, digest.empty() ? "-" : digest.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: digest_bench FILE\n");
        return 2;
    }
    if (CpuHasShaExtensions()) TimeDigest("sha-ni", argv[1], Sha256BlocksShaNi);
    TimeDigest("portable", argv[1], Sha256BlocksPortable);
    return 0;
}
