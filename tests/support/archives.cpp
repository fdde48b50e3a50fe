#include "tests/support/archives.h"

#include <windows.h>
#include <bcrypt.h>

#include <cstdio>

namespace {
unsigned long Crc32(const std::string& bytes) {
    unsigned long crc = 0xFFFFFFFFul;
    for (unsigned char byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320ul & (0ul - (crc & 1)));
    }
    return ~crc & 0xFFFFFFFFul;
}

void Put16(std::string& out, unsigned value) {
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>((value >> 8) & 0xFF);
}

void Put32(std::string& out, unsigned long value) {
    Put16(out, value & 0xFFFF);
    Put16(out, (value >> 16) & 0xFFFF);
}
}  // namespace

std::string MakeZip(const std::vector<std::pair<std::string, std::string>>& entries) {
    std::string archive;
    std::string directory;
    for (const auto& [name, data] : entries) {
        const unsigned long offset = static_cast<unsigned long>(archive.size());
        const unsigned long crc = Crc32(data);
        const unsigned long size = static_cast<unsigned long>(data.size());
        // Local header: version 10, no flags, stored, a fixed 1 Jan 2025 timestamp.
        Put32(archive, 0x04034b50);
        Put16(archive, 10), Put16(archive, 0), Put16(archive, 0), Put16(archive, 0), Put16(archive, 0x5A21);
        Put32(archive, crc), Put32(archive, size), Put32(archive, size);
        Put16(archive, static_cast<unsigned>(name.size())), Put16(archive, 0);
        archive += name + data;

        Put32(directory, 0x02014b50);
        Put16(directory, 20), Put16(directory, 10), Put16(directory, 0), Put16(directory, 0);
        Put16(directory, 0), Put16(directory, 0x5A21);
        Put32(directory, crc), Put32(directory, size), Put32(directory, size);
        Put16(directory, static_cast<unsigned>(name.size())), Put16(directory, 0), Put16(directory, 0);
        Put16(directory, 0), Put16(directory, 0);
        Put32(directory, name.back() == '/' ? 0x10 : 0), Put32(directory, offset);
        directory += name;
    }
    const unsigned long directoryOffset = static_cast<unsigned long>(archive.size());
    archive += directory;
    Put32(archive, 0x06054b50);
    Put16(archive, 0), Put16(archive, 0);
    Put16(archive, static_cast<unsigned>(entries.size())), Put16(archive, static_cast<unsigned>(entries.size()));
    Put32(archive, static_cast<unsigned long>(directory.size())), Put32(archive, directoryOffset);
    Put16(archive, 0);
    return archive;
}

std::string Sha256Hex(const std::string& bytes) {
    unsigned char digest[32] = {};
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;
    BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
    BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0);
    BCryptHashData(hash, reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data())), static_cast<ULONG>(bytes.size()), 0);
    BCryptFinishHash(hash, digest, sizeof digest, 0);
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(algorithm, 0);
    std::string hex;
    char pair[3];
    for (unsigned char byte : digest) {
        std::snprintf(pair, sizeof pair, "%02x", byte);
        hex += pair;
    }
    return hex;
}
