#include "app/version_signature.h"

#include <cstring>

#include "common/text.h"

namespace {
constexpr char MessageHeader[] = "QuarnfellOstvale version file v1\n";

// How far a line got, in the order its checks run; of lines that fail, the one that got furthest
// gives the reason.
enum Stage { None, Malformed, UnknownKey, NotMatching, Expired, Accepted };

bool IsDigits(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
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

// Decimal, no sign, no leading zero, below 2^63.
bool ParseSize(const std::string& text, unsigned long long& size) {
    if (!IsDigits(text) || text.size() > 19 || (text.size() > 1 && text[0] == '0')) return false;
    size = std::stoull(text);
    return size < (1ULL << 63);
}

// "YYYY-MM-DDTHH:MM:SSZ" naming a real moment; such texts sort as their moments do.
bool IsUtcTime(const std::string& text) {
    constexpr char Shape[] = "0000-00-00T00:00:00Z";
    if (text.size() != sizeof Shape - 1) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (Shape[i] == '0' ? !IsDigits(text.substr(i, 1)) : text[i] != Shape[i]) return false;
    }
    const auto field = [&](size_t at, size_t length) { return std::stoi(text.substr(at, length)); };
    const int year = field(0, 4), month = field(5, 2), day = field(8, 2);
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    constexpr int DaysIn[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month >= 1 && month <= 12 && day >= 1 && day <= DaysIn[month - 1] + (month == 2 && leap) &&
           field(11, 2) < 24 && field(14, 2) < 60 && field(17, 2) < 60;
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
    const std::string message = MessageHeader + manifest.version + "\n" + ToLowerAscii(manifest.sha256) + "\n" +
                                size + "\n" + expires + "\n";
    Sha256Hasher hasher(FastestSha256Blocks());
    const auto* bytes = reinterpret_cast<const unsigned char*>(message.data());
    hasher.Update(bytes, bytes + message.size());
    return hasher.Finish();
}

// Checks one line that starts with the word "signature".
Stage CheckLine(const std::string& line, const VersionManifest& manifest, const std::vector<TrustedKey>& keys,
                const std::string& nowUtc, SignatureVerifier verify, SignatureCheck& check) {
    const std::vector<std::string> fields = Fields(line);
    unsigned long long size = 0;
    unsigned char signature[64];
    if (fields.size() != 5 || fields[1].size() != 16 || fields[1].find_first_not_of("0123456789abcdef") != std::string::npos ||
        !ParseSize(fields[2], size) || (fields[3] != "never" && !IsUtcTime(fields[3])) ||
        !DecodeHex(fields[4], signature, sizeof signature)) {
        check.reason = "malformed signature line";
        return Malformed;
    }
    const std::string& keyId = fields[1];
    const TrustedKey* key = nullptr;
    for (const TrustedKey& trusted : keys) {
        if (keyId == trusted.id) key = &trusted;
    }
    if (!key) {
        check.reason = "unknown key " + keyId;
        return UnknownKey;
    }
    if (!verify(key->point, MessageDigest(manifest, fields[2], fields[3]), signature)) {
        check.reason = "signature does not match (key " + keyId + ")";
        return NotMatching;
    }
    if (fields[3] != "never" && nowUtc > fields[3]) {
        check.reason = "expired at " + fields[3] + " (key " + keyId + ")";
        return Expired;
    }
    check = {true, keyId, size, ""};
    return Accepted;
}
}  // namespace

SignatureCheck CheckVersionSignatures(const std::string& body, const VersionManifest& manifest,
                                      const std::vector<TrustedKey>& keys, const std::string& nowUtc,
                                      SignatureVerifier verify) {
    SignatureCheck best{false, "", 0, "no signature line"};
    Stage bestStage = None;
    for (const std::string& line : LaterVersionLines(body)) {
        if (line.compare(0, line.find(' '), "signature") != 0) continue;
        SignatureCheck check;
        const Stage stage = CheckLine(line, manifest, keys, nowUtc, verify, check);
        if (stage == Accepted) return check;
        if (stage > bestStage) best = check, bestStage = stage;
    }
    return best;
}
