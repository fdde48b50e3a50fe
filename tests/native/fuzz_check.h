#pragma once
#include <cstdio>
#include <cstdlib>

// A broken property ends the run; libFuzzer then saves the input as a crash file.
inline void FuzzCheck(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "property broken: %s\n", property);
    std::abort();
}
