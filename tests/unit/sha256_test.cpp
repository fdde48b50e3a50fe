#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "archive/sha256.h"
#include "common/paths.h"
#include "common/unique_handle.h"
#include "tests/support/archives.h"
#include "tests/support/sha256_digest.h"
#include "tests/support/test_files.h"

namespace {

// n bytes of a pattern that does not repeat with the block size.
std::string PatternMessage(size_t n) {
    std::string message(n, '\0');
    for (size_t i = 0; i < n; ++i) message[i] = static_cast<char>((i * 7) ^ (i >> 11));
    return message;
}

// Lengths 0 to 130 cross the padding cases: the length field fits behind the message in the
// last block up to 55 bytes (mod 64) and needs an extra block from 56 on.
TEST(Sha256, EveryLengthAroundThePaddingBoundariesMatchesThePlatformsDigest) {
    for (Sha256BlockFunction compress : BlockFunctions()) {
        std::string message;
        for (size_t n = 0; n <= 130; ++n) {
            EXPECT_EQ(Digest(message, compress), Sha256Hex(message)) << "length " << n;
            message += static_cast<char>(n * 37 + 11);
        }
    }
}

TEST(Sha256File, DigestsTheWholeContentInBinary) {
    const std::string folder = FreshTestFolder("sha256-content");
    const struct {
        const char* name;
        std::string content;
    } cases[] = {
        {"empty", ""},
        {"line ends", std::string("line\r\nend\x1a\r\n\0\xff\n\r", 16)},
        {"one read", PatternMessage(1 << 20)},
        {"one read and a byte", PatternMessage((1 << 20) + 1)},
    };
    for (const auto& c : cases) {
        const std::string path = JoinPath(folder, c.name);
        WriteFileBytes(path, c.content);
        EXPECT_EQ(ComputeFileSha256(path), Sha256Hex(c.content)) << c.name;
    }
}

TEST(Sha256File, FileThatCannotBeOpenedGivesEmptyText) {
    const std::string folder = FreshTestFolder("sha256-unreadable");
    EXPECT_EQ(ComputeFileSha256(JoinPath(folder, "missing")), "");
    EXPECT_EQ(ComputeFileSha256(folder), "");
    EXPECT_EQ(ComputeFileSha256(JoinPath(folder, "no folder\\file")), "");

    // A file held without sharing can't be opened; one held with sharing can still be read.
    const std::string path = JoinPath(folder, "held");
    WriteFileBytes(path, "abc");
    {
        UniqueFile exclusive(CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(exclusive);
        EXPECT_EQ(ComputeFileSha256(path), "");
    }
    UniqueFile writer(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(writer);
    EXPECT_EQ(ComputeFileSha256(path), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
