#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>

#include "archive/sha256.h"
#include "tests/support/test_bed.h"
#include "tests/unit/sha256_pieces.h"

// Up to 55 bytes (mod 64) the length field fits behind the message in its last block; from 56
// on it needs one more. The platform's own SHA-256 is the reference.
TEST(Sha256, EveryLengthAroundThePaddingMatchesThePlatform) {
    std::string message;
    for (size_t length = 0; length <= 130; ++length, message += static_cast<char>(length * 37 + 11)) {
        for (Sha256BlockFunction compress : BlockFunctions()) {
            EXPECT_EQ(DigestInPieces(message, compress), Sha256Hex(message)) << length;
        }
    }
}

// 4,097 reads of 1 MiB, the last of 13 bytes; past 4 GiB every 32-bit count has wrapped (the
// offset, the bytes hashed, the length in the padding). The sparse file's text, at its head,
// across 4 GiB and at its end, is laid out as for sha256sum by
//   python3 -c 'f=open("f","wb"); s=(4<<30)+(1<<20)+13; f.write(b"head of the file");
//     f.seek((4<<30)-5); f.write(b"across 4 GiB"); f.seek(s-14); f.write(b"the last bytes")'
TEST(Sha256File, DigestsTheWholeFileAcrossItsReads) {
    const std::string path = FreshFolder("C:\\qo-tests\\sha256") + "\\file";
    const unsigned long long size = (4ull << 30) + (1 << 20) + 13;
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD count = 0;
    // Windows fills the gaps of a file not marked sparse; Wine's files are sparse anyway.
    DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &count, nullptr);
    for (const auto& [offset, text] : {std::pair{0ull, "head of the file"}, std::pair{(4ull << 30) - 5, "across 4 GiB"},
                                       std::pair{size - 14, "the last bytes"}}) {
        SetFilePointerEx(file, LARGE_INTEGER{.QuadPart = static_cast<LONGLONG>(offset)}, nullptr, FILE_BEGIN);
        EXPECT_TRUE(WriteFile(file, text, static_cast<DWORD>(std::strlen(text)), &count, nullptr));
    }
    CloseHandle(file);
    EXPECT_EQ(ComputeFileSha256(path), "5aace49e870a96b7cc0a92c7181f7610ac01b38c44b5f7b24856cad1fabf32b3");
    DeleteFileA(path.c_str());
}
