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

// Past 4 GiB every 32-bit count has wrapped: the read offset, the bytes hashed, the length
// field in the padding. The file is sparse, so it costs no disk, and it holds text at its head,
// across the 4 GiB mark and at its end, so a read that wraps or stops early changes the digest.
// The expected digest comes from sha256sum on the same layout:
//   python3 -c 'f=open("f","wb"); s=(4<<30)+(1<<20)+13; f.seek(0); f.write(b"head of the file");
//     f.seek((4<<30)-5); f.write(b"across 4 GiB"); f.seek(s-14); f.write(b"the last bytes");
//     f.truncate(s)' && sha256sum f
TEST(Sha256File, DigestsAFileLargerThanFourGiBOnEveryPath) {
    const unsigned long long size = (4ull << 30) + (1 << 20) + 13;
    const struct {
        unsigned long long offset;
        std::string text;
    } pieces[] = {{0, "head of the file"}, {(4ull << 30) - 5, "across 4 GiB"}, {size - 14, "the last bytes"}};
    const std::string path = JoinPath(FreshTestFolder("sha256-large"), "sparse.bin");
    {
        UniqueFile file(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        ASSERT_TRUE(file);
        // Windows zero-fills the gaps of a file that is not marked sparse; Wine's files are
        // sparse anyway and it may refuse the request.
        DWORD returned = 0;
        DeviceIoControl(file.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
        for (const auto& piece : pieces) {
            LARGE_INTEGER at;
            at.QuadPart = static_cast<LONGLONG>(piece.offset);
            ASSERT_TRUE(SetFilePointerEx(file.Get(), at, nullptr, FILE_BEGIN));
            DWORD written = 0;
            ASSERT_TRUE(WriteFile(file.Get(), piece.text.data(), static_cast<DWORD>(piece.text.size()), &written,
                                  nullptr));
        }
        LARGE_INTEGER length = {};
        ASSERT_TRUE(GetFileSizeEx(file.Get(), &length));
        ASSERT_EQ(static_cast<unsigned long long>(length.QuadPart), size);
    }
    for (Sha256BlockFunction compress : BlockFunctions()) {
        EXPECT_EQ(ComputeFileSha256With(path, compress),
                  "5aace49e870a96b7cc0a92c7181f7610ac01b38c44b5f7b24856cad1fabf32b3");
    }
    DeleteFileA(path.c_str());
}

}  // namespace
