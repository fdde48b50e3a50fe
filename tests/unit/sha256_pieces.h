#pragma once
// The digest as the tests drive it: every block function this CPU can run, and a message fed
// to the hasher in pieces of the given sizes, the rest in one.
#include <algorithm>
#include <string>
#include <vector>

#include "archive/sha256_internal.h"

inline std::vector<Sha256BlockFunction> BlockFunctions() {
    if (CpuHasShaExtensions()) return {Sha256BlocksPortable, Sha256BlocksShaNi};
    return {Sha256BlocksPortable};
}

inline std::string DigestInPieces(const std::string& message, Sha256BlockFunction compress,
                                  const std::vector<size_t>& pieces = {}) {
    Sha256Hasher hasher(compress);
    const auto* at = reinterpret_cast<const unsigned char*>(message.data());
    const auto* end = at + message.size();
    for (size_t piece : pieces) {
        hasher.Update(at, at + std::min<size_t>(piece, end - at));
        at += std::min<size_t>(piece, end - at);
    }
    hasher.Update(at, end);
    return DigestToHex(hasher.Finish());
}
