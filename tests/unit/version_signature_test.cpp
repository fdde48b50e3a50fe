#include <gtest/gtest.h>

#include <cstring>

#include "tests/unit/sha256_pieces.h"
#include "trust/version_signature.h"

namespace {
const std::string Digest = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08";
const std::string Key = "0123456789abcdef";

// Stands in for ECDSA: a "signature" is the message's digest as hex, padded with zeros, so these
// tests hold the signed message to its exact bytes without a key.
bool Matches(const unsigned char*, const Sha256Digest& digest, const unsigned char* signature) {
    return std::memcmp(signature, digest.data(), 32) == 0 && signature[32] == 0 && signature[63] == 0;
}
std::string Line(const std::string& size, const std::string& expires, const std::string& key = Key,
                 const std::string& version = "1.0.0", const std::string& digest = Digest) {
    const std::string message =
        "QuarnfellOstvale version file v1\n" + version + "\n" + digest + "\n" + size + "\n" + expires + "\n";
    return "signature " + key + " " + size + " " + expires + " " + DigestInPieces(message, Sha256BlocksPortable) +
           std::string(64, '0');
}
}  // namespace

TEST(VersionSignatures, OneValidLineByAKnownKeyIsEnoughAndEachFailureSaysWhy) {
    const TrustedKey keys[] = {{"fedcba9876543210", {}}, {"0123456789abcdef", {}}};
    const std::string good = Line("1234", "never"), expired = Line("7", "2026-11-25T11:59:59Z");
    const std::string mismatch = good.substr(0, good.size() - 1) + "1", unknown = Line("1", "never", "1111111111111111");
    const std::string malformed = "signature " + Key + " 01234 never " + good.substr(good.size() - 128);
    const struct {
        std::string later;  // lines 3 and on
        std::string reason;  // "": accepted
        unsigned long long size = 1234;
    } cases[] = {
        {good + "\r\n", ""}, {"note: x\n" + good + " \t\r\n", ""},
        {Line("9223372036854775807", "2026-11-25T12:00:00Z"), "", 9223372036854775807ULL},
        {Line("0", "2028-02-29T00:00:00Z"), "", 0},
        {"", "no signature line"}, {"signatures " + good.substr(10), "no signature line"},
        {" " + good, "no signature line"}, {"signature " + Key + " 1235" + good.substr(31), "signature does not match (key " + Key + ")"},
        {Line("1234", "never", Key, "1.0.1"), "signature does not match (key 0123456789abcdef)"},
        {Line("1234", "never", Key, "1.0.0", "0" + Digest.substr(1)), "signature does not match (key 0123456789abcdef)"},
        {malformed, "malformed signature line"},
        // The line that came closest gives the reason; the first of equals.
        {malformed + "\n" + unknown + "\n" + Line("2", "never", "2222222222222222"), "unknown key 1111111111111111"},
        {mismatch + "\n" + expired + "\n" + malformed, "expired at 2026-11-25T11:59:59Z (key 0123456789abcdef)"},
        {unknown + "\n" + malformed + "\n" + good, ""},
    };
    for (const auto& c : cases) {
        const SignatureCheck check = CheckVersionSignatures("1.0.0\r\n" + Digest + "\r\n" + c.later,
                                                            {"1.0.0", Digest}, keys, 2, "2026-11-25T12:00:00Z", Matches);
        EXPECT_EQ(check.accepted ? "" : check.reason, c.reason) << c.later;
        if (check.accepted) {
            EXPECT_EQ(check.keyId + " " + std::to_string(check.signedSize), Key + " " + std::to_string(c.size));
        }
    }
    // Upper-case digests are signed lower-cased, as the local copy is written; signatures may be in
    // either case.
    std::string upper = Digest, loud = Line("1", "never", Key, "v");
    for (char& c : upper) c = static_cast<char>(std::toupper(c));
    for (size_t i = loud.size() - 128; i < loud.size(); ++i) loud[i] = static_cast<char>(std::toupper(loud[i]));
    EXPECT_TRUE(CheckVersionSignatures("v\n" + upper + "\n" + loud, {"v", upper}, keys, 2, "", Matches).accepted);

    // Each field's form, broken one way at a time: K stands for the key's id, S for a signature
    // and s for one digit short of it.
    const std::string signature = good.substr(good.size() - 128);
    for (const char* form : {"", "  K 1 never S", " K 1 never S x", " 0123456789ABCDEF 1 never S", " 0123456789abcde 1 never S",
                             " K 9223372036854775808 never S", " K 99999999999999999999 never S", " K -1 never S", " K 1 Never S",
                             " K 1 2027-02-29T00:00:00Z S", " K 1 2100-02-29T00:00:00Z S", " K 1 2027-04-31T00:00:00Z S",
                             " K 1 2027-13-01T00:00:00Z S", " K 1 2027-00-10T00:00:00Z S", " K 1 2027-01-00T00:00:00Z S",
                             " K 1 2027-01-01T24:00:00Z S", " K 1 2027-01-01T00:60:00Z S", " K 1 2027-01-01T00:00:60Z S",
                             " K 1 2027-01-01 00:00:00Z S", " K 1 2027-01-01T00:00:00 S", " K 1 never s", " K 1 never S0", " K 1 never gs"}) {
        std::string line = "signature";
        for (const char* c = form; *c; ++c)
            line += *c == 'K' ? Key : *c == 'S' ? signature : *c == 's' ? signature.substr(1) : std::string(1, *c);
        EXPECT_EQ(CheckVersionSignatures("1\n2\n" + line, {"1", "2"}, keys, 2, "", Matches).reason, "malformed signature line") << line;
    }
}
