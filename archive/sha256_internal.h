#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "archive/sha256.h"

// The parts of the file digest below ComputeFileSha256, open to the tests and the benchmark.

// Compresses blockCount consecutive 64-byte blocks into the eight chaining words.
using Sha256BlockFunction = void (*)(uint32_t state[8], const unsigned char* blocks, size_t blockCount);

// The 64 round constants of SHA-256, 16-byte aligned for vector loads.
alignas(16) extern const uint32_t Sha256RoundConstants[64];

void Sha256BlocksPortable(uint32_t state[8], const unsigned char* blocks, size_t blockCount);
// Needs the SHA extensions with SSSE3 and SSE4.1; call only when CpuHasShaExtensions().
void Sha256BlocksShaNi(uint32_t state[8], const unsigned char* blocks, size_t blockCount);
bool CpuHasShaExtensions();
// The fastest block function this CPU can run.
Sha256BlockFunction FastestSha256Blocks();

class Sha256Hasher {
public:
    explicit Sha256Hasher(Sha256BlockFunction compress);
    void Update(const unsigned char* begin, const unsigned char* end);
    // Pads the message and returns the digest; Update must not follow.
    Sha256Digest Finish();

private:
    Sha256BlockFunction compress_;
    uint32_t state_[8];
    unsigned char pending_[64];
    size_t pendingSize_ = 0;
    uint64_t byteCount_ = 0;
};

std::string DigestToHex(const Sha256Digest& digest);

// ComputeFileSha256 with a chosen block function.
std::string ComputeFileSha256With(const std::string& path, Sha256BlockFunction compress);
