#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/native/fuzz_check.h"
#include "tests/support/sha256_digest.h"

// The input's last bytes choose up to 16 piece sizes, the rest is the message. Fed in those
// pieces (empty ones included, the remainder last), with either block function, the message
// gives the portable one-shot digest.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    std::vector<size_t> pieces(provider.ConsumeIntegralInRange<size_t>(0, 16));
    for (size_t& piece : pieces) piece = provider.ConsumeIntegralInRange<size_t>(0, 200);
    const std::string message = provider.ConsumeRemainingBytesAsString();
    const std::string whole = Digest(message, Sha256BlocksPortable);

    for (Sha256BlockFunction compress : BlockFunctions()) {
        Sha256Hasher hasher(compress);
        const auto* at = reinterpret_cast<const unsigned char*>(message.data());
        const auto* end = at + message.size();
        for (size_t piece : pieces) {
            const auto* next = at + std::min<size_t>(piece, end - at);
            hasher.Update(at, next);
            at = next;
        }
        hasher.Update(at, end);
        FuzzCheck(DigestToHex(hasher.Finish()) == whole, "pieces or block function change the digest");
    }
    return 0;
}
