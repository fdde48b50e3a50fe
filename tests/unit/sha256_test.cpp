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

// Reference digests made with sha256sum. Lengths 0 to 130 cross the padding cases: the length field fits behind the message in the
// last block up to 55 bytes (mod 64) and needs an extra block from 56 on.
TEST(Sha256, EveryLengthAroundThePaddingBoundaries) {
    static const char* const expectedPrefixes[] = {
        "e3b0c442", "e7cf46a0", "cdc63a63", "b39fad1a", "eedb9976", "b0876eac", "801da61d", "e759cdfe",
        "ada1a184", "5e0f483e", "77529709", "08fabd05", "dd3fd284", "f9a3612d", "66c694f2", "09792492",
        "cd7d620a", "d6ef72cc", "f903fae9", "9a20ae79", "74da0393", "90ce7915", "a0407fc4", "4d556bf9",
        "23c7b481", "26c28501", "934d8a4d", "a05ecc61", "3dc7de8e", "1a4959dc", "c582303d", "0cc42041",
        "83b7a8ed", "e19474c8", "9dad8728", "97b4af58", "de547933", "c33aef57", "cc539ac9", "cfc1ad90",
        "76def758", "c3e01561", "602d057f", "3396a0e8", "adef897b", "20b886fe", "5012a47a", "4c8c50af",
        "a6250da1", "d08cf7eb", "32a1cfde", "4eae5543", "a2001519", "a41ad799", "0b35cded", "2900465f",
        "31454ff4", "bcc0a5d3", "625f50f0", "5a85bd87", "35d6f812", "de1025bf", "88908d0c", "5f6401b9",
        "94eb5de4", "fc518669", "65d7b2db", "1751e734", "82ca0735", "48787532", "54600d51", "2da56abe",
        "f1ea2423", "d3d69999", "085013af", "bdfbaedb", "afe11f0e", "6f01858e", "c32a314d", "3e4ebacf",
        "8afeccf3", "ddae3bfe", "87bc08d5", "48e6ff5b", "baa4f92a", "aca8968d", "d3431be4", "dd6ac441",
        "c51092ae", "90202925", "38516949", "6dd8ebcf", "2f4ac266", "f5632766", "eeb364ed", "47b36f08",
        "88e785f8", "60919a22", "4169a946", "de7c1ec4", "5fb5d4b7", "ef70de4d", "ad2bfc2b", "9ae38e0d",
        "76701c44", "70ef8680", "237384e7", "f3d5506a", "0c0f21f9", "dffe27d7", "65a81a88", "aeca4f5a",
        "cec7a189", "cf1a9639", "2ebc2200", "cd738c49", "fb1b5da4", "ae8dd3e4", "f3283313", "b0dc41b1",
        "5df24dd8", "5ed5a129", "8419642c", "b9b8bc61", "3dc980ce", "7e4f5aba", "8513afe4", "0fe729ff",
        "0aedd485", "4f1757ae", "d35b7412"};
    for (Sha256BlockFunction compress : BlockFunctions()) {
        for (size_t n = 0; n < std::size(expectedPrefixes); ++n) {
            std::string message(n, '\0');
            for (size_t i = 0; i < n; ++i) message[i] = static_cast<char>(i * 37 + 11);
            EXPECT_EQ(Digest(message, compress).substr(0, 8), expectedPrefixes[n]) << "length " << n;
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
        const char* digest;
    } cases[] = {
        {"empty", "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"line ends", std::string("line\r\nend\x1a\r\n\0\xff\n\r", 16),
         "7366d655b84a5bd5e35c51de3e0e40ef9d2e2eca567a99d1a8dafddc3a790834"},
        {"one read", PatternMessage(1 << 20),
         "26f067a4f5561d44cd885c671a51add71a462c73cef12ef07ba4c0402d052794"},
        {"one read and a byte", PatternMessage((1 << 20) + 1),
         "1a64904e4b9fdbee13cd251a051b1b72a87e7c883ce888b4677008402c575829"},
    };
    for (const auto& c : cases) {
        const std::string path = JoinPath(folder, c.name);
        WriteFileBytes(path, c.content);
        EXPECT_EQ(ComputeFileSha256(path), c.digest) << c.name;
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
