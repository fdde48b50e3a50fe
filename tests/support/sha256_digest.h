#pragma once
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "archive/sha256_internal.h"

// The block functions this CPU can run: always the portable one, SHA-NI where present.
inline std::vector<Sha256BlockFunction> BlockFunctions() {
    std::vector<Sha256BlockFunction> functions = {Sha256BlocksPortable};
    if (CpuHasShaExtensions()) functions.push_back(Sha256BlocksShaNi);
    return functions;
}

// Feeds message in pieces of at most pieceSize bytes.
inline std::string Digest(const std::string& message, Sha256BlockFunction compress, size_t pieceSize = SIZE_MAX) {
    Sha256Hasher hasher(compress);
    const auto* bytes = reinterpret_cast<const unsigned char*>(message.data());
    for (size_t at = 0; at < message.size(); at += pieceSize) {
        hasher.Update(bytes + at, bytes + std::min(message.size(), at + pieceSize));
    }
    return DigestToHex(hasher.Finish());
}
