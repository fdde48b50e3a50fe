#include "archive/sha256.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>

#include "archive/sha256_internal.h"

namespace {

constexpr size_t ReadChunkSize = 1 << 20;

constexpr uint32_t InitialHash[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                     0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

void StoreBigEndian32(uint32_t value, unsigned char* out) {
    for (int i = 3; i >= 0; --i, value >>= 8) out[i] = static_cast<unsigned char>(value);
}

}  // namespace

Sha256Hasher::Sha256Hasher(Sha256BlockFunction compress) : compress_(compress) {
    std::memcpy(state_, InitialHash, sizeof state_);
}

void Sha256Hasher::Update(const unsigned char* begin, const unsigned char* end) {
    size_t size = static_cast<size_t>(end - begin);
    byteCount_ += size;
    if (pendingSize_ > 0) {
        const size_t take = std::min(size, sizeof pending_ - pendingSize_);
        std::memcpy(pending_ + pendingSize_, begin, take);
        pendingSize_ += take;
        begin += take;
        size -= take;
        if (pendingSize_ < sizeof pending_) return;
        compress_(state_, pending_, 1);
        pendingSize_ = 0;
    }
    // Whole blocks go straight from the caller's buffer; only the tail is copied.
    const size_t blockCount = size / 64;
    if (blockCount > 0) compress_(state_, begin, blockCount);
    pendingSize_ = size % 64;
    std::memcpy(pending_, begin + blockCount * 64, pendingSize_);
}

Sha256Digest Sha256Hasher::Finish() {
    unsigned char tail[128] = {};
    std::memcpy(tail, pending_, pendingSize_);
    tail[pendingSize_] = 0x80;
    const size_t tailSize = pendingSize_ < 56 ? 64 : 128;
    const uint64_t bitCount = byteCount_ * 8;  // modulo 2^64, as the padding rule has it
    StoreBigEndian32(static_cast<uint32_t>(bitCount >> 32), tail + tailSize - 8);
    StoreBigEndian32(static_cast<uint32_t>(bitCount), tail + tailSize - 4);
    compress_(state_, tail, tailSize / 64);

    Sha256Digest digest;
    for (int i = 0; i < 8; ++i) StoreBigEndian32(state_[i], digest.data() + 4 * i);
    return digest;
}

std::string DigestToHex(const Sha256Digest& digest) {
    static constexpr char HexDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(2 * digest.size());
    for (unsigned char byte : digest) {
        hex += HexDigits[byte >> 4];
        hex += HexDigits[byte & 15];
    }
    return hex;
}

Sha256Digest ComputeSha256(const std::string& bytes) {
    Sha256Hasher hasher(FastestSha256Blocks());
    const auto* begin = reinterpret_cast<const unsigned char*>(bytes.data());
    hasher.Update(begin, begin + bytes.size());
    return hasher.Finish();
}

std::string ComputeFileSha256With(const std::string& path, Sha256BlockFunction compress) {
    // The C runtime opens the file without a sharing restriction.
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) return {};
    Sha256Hasher hasher(compress);
    const auto chunk = std::make_unique<char[]>(ReadChunkSize);
    const auto* bytes = reinterpret_cast<const unsigned char*>(chunk.get());
    while (file) {
        file.read(chunk.get(), ReadChunkSize);
        hasher.Update(bytes, bytes + file.gcount());
    }
    return DigestToHex(hasher.Finish());
}

std::string ComputeFileSha256(const std::string& path) {
    return ComputeFileSha256With(path, FastestSha256Blocks());
}
