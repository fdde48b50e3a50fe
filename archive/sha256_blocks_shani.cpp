// Built with the SHA and SSE4.1 instruction sets enabled; nothing here may run before
// CpuHasShaExtensions() has said yes.
#include <immintrin.h>

#include "archive/sha256_internal.h"

void Sha256BlocksShaNi(uint32_t state[8], const unsigned char* blocks, size_t blockCount) {
    // Byte order swap of each 32-bit word: the message is big-endian.
    const __m128i byteSwap = _mm_set_epi64x(0x0c0d0e0f08090a0bULL, 0x0405060700010203ULL);

    // The round instruction wants the state as {A,B,E,F} and {C,D,G,H}.
    __m128i dcba = _mm_loadu_si128(reinterpret_cast<const __m128i*>(state));
    __m128i hgfe = _mm_loadu_si128(reinterpret_cast<const __m128i*>(state + 4));
    __m128i cdab = _mm_shuffle_epi32(dcba, 0xB1);
    __m128i efgh = _mm_shuffle_epi32(hgfe, 0x1B);
    __m128i abef = _mm_alignr_epi8(cdab, efgh, 8);
    __m128i cdgh = _mm_blend_epi16(efgh, cdab, 0xF0);

    for (; blockCount > 0; --blockCount, blocks += 64) {
        const __m128i abefSaved = abef, cdghSaved = cdgh;
        __m128i message[4];
#pragma GCC unroll 16
        for (int group = 0; group < 16; ++group) {
            __m128i& current = message[group % 4];
            if (group < 4) {
                const auto* words = reinterpret_cast<const __m128i*>(blocks + 16 * group);
                current = _mm_shuffle_epi8(_mm_loadu_si128(words), byteSwap);
            }
            const __m128i constants =
                _mm_load_si128(reinterpret_cast<const __m128i*>(Sha256RoundConstants + 4 * group));
            __m128i input = _mm_add_epi32(current, constants);
            cdgh = _mm_sha256rnds2_epu32(cdgh, abef, input);
            if (group >= 3 && group <= 14) {
                __m128i& next = message[(group + 1) % 4];
                const __m128i& previous = message[(group + 3) % 4];
                next = _mm_add_epi32(next, _mm_alignr_epi8(current, previous, 4));
                next = _mm_sha256msg2_epu32(next, current);
            }
            input = _mm_shuffle_epi32(input, 0x0E);
            abef = _mm_sha256rnds2_epu32(abef, cdgh, input);
            if (group >= 1 && group <= 12) {
                __m128i& previous = message[(group + 3) % 4];
                previous = _mm_sha256msg1_epu32(previous, current);
            }
        }
        abef = _mm_add_epi32(abef, abefSaved);
        cdgh = _mm_add_epi32(cdgh, cdghSaved);
    }

    const __m128i feba = _mm_shuffle_epi32(abef, 0x1B);
    const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xB1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_blend_epi16(feba, dchg, 0xF0));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state + 4), _mm_alignr_epi8(dchg, feba, 8));
}
