// The input's first bytes choose up to 16 piece sizes, the rest is the message. Fed in those
// pieces, with either block function, it gives the portable one-shot digest.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>

#include "tests/unit/sha256_pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    std::vector<size_t> pieces(provider.ConsumeIntegralInRange<size_t>(0, 16));
    for (size_t& piece : pieces) piece = provider.ConsumeIntegralInRange<size_t>(0, 200);
    const std::string message = provider.ConsumeRemainingBytesAsString();
    const std::string whole = DigestInPieces(message, Sha256BlocksPortable);
    for (Sha256BlockFunction compress : BlockFunctions()) {
        if (DigestInPieces(message, compress, pieces) != whole) std::abort();
    }
    return 0;
}
