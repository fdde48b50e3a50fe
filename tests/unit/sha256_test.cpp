#include <gtest/gtest.h>

#include "tests/unit/sha256_pieces.h"

TEST(Sha256, PublishedVectorsOnEveryBlockFunction) {
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
            EXPECT_EQ(DigestInPieces(vector.message, compress), vector.digest) << vector.message.size();
        }
    }
}
