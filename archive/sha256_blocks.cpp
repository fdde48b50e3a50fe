#include <cpuid.h>

#include "archive/sha256_internal.h"

alignas(16) const uint32_t Sha256RoundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

namespace {

inline uint32_t Rotr(uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }

inline uint32_t LoadBigEndian32(const unsigned char* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

// One round, written for fixed variable names so that the eight working variables rotate by
// renaming instead of by moves. Maj(a,b,c) is b ^ ((a ^ b) & (b ^ c)).
#define SHA256_ROUND(a, b, c, d, e, f, g, h, i)                                                  \
    do {                                                                                         \
        const uint32_t t1 = h + (Rotr(e, 6) ^ Rotr(e, 11) ^ Rotr(e, 25)) + (g ^ (e & (f ^ g))) + \
                            Sha256RoundConstants[i] + w[(i) & 15];                               \
        const uint32_t t2 = (Rotr(a, 2) ^ Rotr(a, 13) ^ Rotr(a, 22)) + (b ^ ((a ^ b) & (b ^ c))); \
        d += t1;                                                                                 \
        h = t1 + t2;                                                                             \
    } while (0)

// Rounds from 16 on first extend the message schedule, kept as a ring of 16 words.
#define SHA256_EXPANDED_ROUND(a, b, c, d, e, f, g, h, i)                                         \
    do {                                                                                         \
        const uint32_t w15 = w[((i) - 15) & 15], w2 = w[((i) - 2) & 15];                         \
        w[(i) & 15] += (Rotr(w15, 7) ^ Rotr(w15, 18) ^ (w15 >> 3)) + w[((i) - 7) & 15] +         \
                       (Rotr(w2, 17) ^ Rotr(w2, 19) ^ (w2 >> 10));                               \
        SHA256_ROUND(a, b, c, d, e, f, g, h, i);                                                 \
    } while (0)

#define SHA256_EIGHT_ROUNDS(round, i)  \
    round(a, b, c, d, e, f, g, h, i);     \
    round(h, a, b, c, d, e, f, g, i + 1); \
    round(g, h, a, b, c, d, e, f, i + 2); \
    round(f, g, h, a, b, c, d, e, i + 3); \
    round(e, f, g, h, a, b, c, d, i + 4); \
    round(d, e, f, g, h, a, b, c, i + 5); \
    round(c, d, e, f, g, h, a, b, i + 6); \
    round(b, c, d, e, f, g, h, a, i + 7)

}  // namespace

void Sha256BlocksPortable(uint32_t state[8], const unsigned char* blocks, size_t blockCount) {
    for (; blockCount > 0; --blockCount, blocks += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = LoadBigEndian32(blocks + 4 * i);
        uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
        uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
        SHA256_EIGHT_ROUNDS(SHA256_ROUND, 0);
        SHA256_EIGHT_ROUNDS(SHA256_ROUND, 8);
        // Fully unrolled, every index into w is a constant and w stays in registers.
#pragma GCC unroll 6
        for (int i = 16; i < 64; i += 8) {
            SHA256_EIGHT_ROUNDS(SHA256_EXPANDED_ROUND, i);
        }
        state[0] += a, state[1] += b, state[2] += c, state[3] += d;
        state[4] += e, state[5] += f, state[6] += g, state[7] += h;
    }
}

bool CpuHasShaExtensions() {
    unsigned eax, ebx, ecx, edx;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return false;
    const bool ssse3AndSse41 = (ecx & bit_SSSE3) && (ecx & bit_SSE4_1);
    if (!__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx)) return false;
    return ssse3AndSse41 && (ebx & bit_SHA);
}

Sha256BlockFunction FastestSha256Blocks() {
    static const Sha256BlockFunction fastest =
        CpuHasShaExtensions() ? Sha256BlocksShaNi : Sha256BlocksPortable;
    return fastest;
}
