#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "archive/sha256.h"
#include "archive/sha256_internal.h"
#include "common/paths.h"
#include "common/unique_handle.h"
#include "tests/support/archives.h"
#include "tests/support/test_files.h"

namespace {

std::vector<Sha256BlockFunction> BlockFunctions() {
    std::vector<Sha256BlockFunction> functions = {Sha256BlocksPortable};
    if (CpuHasShaExtensions()) functions.push_back(Sha256BlocksShaNi);
    return functions;
}

// Feeds message in pieces of at most pieceSize bytes.
std::string Digest(const std::string& message, Sha256BlockFunction compress, size_t pieceSize = SIZE_MAX) {
    Sha256Hasher hasher(compress);
    const auto* bytes = reinterpret_cast<const unsigned char*>(message.data());
    for (size_t at = 0; at < message.size(); at += pieceSize) {
        hasher.Update(bytes + at, bytes + std::min(message.size(), at + pieceSize));
    }
    return DigestToHex(hasher.Finish());
}

// n bytes of a pattern that does not repeat with the block size.
std::string PatternMessage(size_t n) {
    std::string message(n, '\0');
    for (size_t i = 0; i < n; ++i) message[i] = static_cast<char>((i * 7) ^ (i >> 11));
    return message;
}

TEST(Sha256, PublishedVectors) {
    const struct {
        std::string message;
        const char* digest;
    } vectors[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrs"
         "mnopqrstnopqrstu",
         "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (Sha256BlockFunction compress : BlockFunctions()) {
        for (const auto& vector : vectors) {
            EXPECT_EQ(Digest(vector.message, compress), vector.digest) << vector.message.substr(0, 20);
        }
    }
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

// Any split of the message into updates, and either block function, gives the same digest.
TEST(Sha256, SplitsAndBlockFunctionsAgreeOnRandomData) {
    std::mt19937 random(20261123);
    const std::vector<Sha256BlockFunction> functions = BlockFunctions();
    for (int round = 0; round < 200; ++round) {
        std::string message(random() % 3000, '\0');
        for (char& byte : message) byte = static_cast<char>(random());
        const std::string whole = Digest(message, Sha256BlocksPortable);
        const size_t pieceSize = 1 + random() % 130;
        for (Sha256BlockFunction compress : functions) {
            EXPECT_EQ(Digest(message, compress, pieceSize), whole)
                << "length " << message.size() << ", pieces of " << pieceSize;
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
