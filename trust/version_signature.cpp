#include "trust/version_signature.h"

#include <vector>

#include "common/text.h"
#include "trust/version_lines.h"

namespace {
constexpr char MessageHeader[] = "QuarnfellOstvale version file v1\n";

// How far a line got, in the order its checks run; of lines that fail, the one that got furthest
// gives the reason.
enum class Stage { None, Malformed, UnknownKey, NotMatching, Expired, Accepted };

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

int HexValue(char c) {
    if (IsDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool DecodeHex(const std::string& hex, unsigned char* bytes, size_t size) {
    if (hex.size() != 2 * size) return false;
    for (size_t i = 0; i < size; ++i) {
        const int high = HexValue(hex[2 * i]), low = HexValue(hex[2 * i + 1]);
        if (high < 0 || low < 0) return false;
        bytes[i] = static_cast<unsigned char>(high << 4 | low);
    }
    return true;
}

// Decimal, no sign, no leading zero, below 2^63: at most 19 digits, so the sum cannot wrap.
bool ParseSize(const std::string& text, unsigned long long& size) {
    if (text.empty() || text.size() > 19 || (text.size() > 1 && text[0] == '0')) return false;
    size = 0;
    for (char c : text) {
        if (!IsDigit(c)) return false;
        size = size * 10 + static_cast<unsigned>(c - '0');
    }
    return size < (1ULL << 63);
}

// The decimal number of length digits at text[at]; the caller has checked they are digits.
int Number(const std::string& text, size_t at, size_t length) {
    int value = 0;
    for (size_t i = at; i < at + length; ++i) value = value * 10 + (text[i] - '0');
    return value;
}

// "YYYY-MM-DDTHH:MM:SSZ" naming a real moment; such texts sort as their moments do.
bool IsUtcTime(const std::string& text) {
    constexpr char Shape[] = "0000-00-00T00:00:00Z";
    if (text.size() != sizeof Shape - 1) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (Shape[i] == '0' ? !IsDigit(text[i]) : text[i] != Shape[i]) return false;
    }
    const int year = Number(text, 0, 4), month = Number(text, 5, 2), day = Number(text, 8, 2);
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    // Computed, not looked up in a table, so that no month outside 1 to 12 can read memory: the
    // months alternate 31 and 30 days, restarting with 31 in August.
    const int daysInMonth = month == 2 ? 28 + leap : 30 + (month + month / 8) % 2;
    return month >= 1 && month <= 12 && day >= 1 && day <= daysInMonth && Number(text, 11, 2) < 24 &&
           Number(text, 14, 2) < 60 && Number(text, 17, 2) < 60;
}

std::vector<std::string> Fields(const std::string& line) {
    std::vector<std::string> fields;
    for (size_t start = 0;;) {
        const size_t end = line.find(' ', start);
        fields.push_back(line.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos) return fields;
        start = end + 1;
    }
}

Sha256Digest MessageDigest(const VersionManifest& manifest, const std::string& size, const std::string& expires) {
    return ComputeSha256(MessageHeader + manifest.version + "\n" + ToLowerAscii(manifest.sha256) + "\n" + size +
                         "\n" + expires + "\n");
}

// Checks one line that starts with the word "signature".
Stage CheckLine(const std::string& line, const VersionManifest& manifest, const TrustedKey* keys, size_t keyCount,
                const std::string& nowUtc, SignatureVerifier verify, SignatureCheck& check) {
    const std::vector<std::string> fields = Fields(line);
    unsigned long long size = 0;
    unsigned char signature[64];
    if (fields.size() != 5 || fields[1].size() != 16 || fields[1].find_first_not_of("0123456789abcdef") != std::string::npos ||
        !ParseSize(fields[2], size) || (fields[3] != "never" && !IsUtcTime(fields[3])) ||
        !DecodeHex(fields[4], signature, sizeof signature)) {
        check.reason = "malformed signature line";
        return Stage::Malformed;
    }
    const std::string& keyId = fields[1];
    const TrustedKey* key = nullptr;
    for (const TrustedKey* trusted = keys; trusted != keys + keyCount; ++trusted) {
        if (keyId == trusted->id) key = trusted;
    }
    if (!key) {
        check.reason = "unknown key " + keyId;
        return Stage::UnknownKey;
    }
    if (!verify(key->point, MessageDigest(manifest, fields[2], fields[3]), signature)) {
        check.reason = "signature does not match (key " + keyId + ")";
        return Stage::NotMatching;
    }
    if (fields[3] != "never" && nowUtc > fields[3]) {
        check.reason = "expired at " + fields[3] + " (key " + keyId + ")";
        return Stage::Expired;
    }
    check = {true, keyId, size, ""};
    return Stage::Accepted;
}
}  // namespace

SignatureCheck CheckVersionSignatures(const std::string& body, const VersionManifest& manifest,
                                      const TrustedKey* keys, size_t keyCount, const std::string& nowUtc,
                                      SignatureVerifier verify) {
    SignatureCheck best{false, "", 0, "no signature line"};
    Stage bestStage = Stage::None;
    for (const std::string& line : LaterVersionLines(body)) {
        if (line.compare(0, line.find(' '), "signature") != 0) continue;
        SignatureCheck check;
        const Stage stage = CheckLine(line, manifest, keys, keyCount, nowUtc, verify, check);
        if (stage == Stage::Accepted) return check;
        if (stage > bestStage) best = check, bestStage = stage;
    }
    return best;
}
