#pragma once
#include <cstddef>
#include <string>

#include "app/version_manifest.h"
#include "archive/sha256.h"

// A public key that a keyed build trusts: its id (16 lower-case hex digits, the start of the
// SHA-256 of its point) and its point on P-256, X then Y, big-endian.
struct TrustedKey {
    const char* id;
    unsigned char point[64];
};

// True when signature (r then s, big-endian) is a valid ECDSA P-256 signature of digest by the
// key with this point. Any failure to tell counts as not valid.
using SignatureVerifier = bool (*)(const unsigned char* point, const Sha256Digest& digest,
                                   const unsigned char* signature);

struct SignatureCheck {
    bool accepted = false;
    std::string keyId;                   // accepted: the key that signed
    unsigned long long signedSize = 0;  // accepted: the byte size of game.zip it signed
    std::string reason;                  // not accepted: why, for the run log
};

// Lines 3 and later of a version file may be signature lines, "signature KEYID SIZE EXPIRES SIG",
// each signing "QuarnfellOstvale version file v1\n<version>\n<digest>\n<SIZE>\n<EXPIRES>\n" with
// the digest lower-cased. The file is accepted when one such line is by a trusted key, valid,
// and not expired at nowUtc ("YYYY-MM-DDTHH:MM:SSZ"). When none is, the reason is that of the
// line that came closest: expired, then not matching, then by an unknown key, then malformed.
SignatureCheck CheckVersionSignatures(const std::string& body, const VersionManifest& manifest,
                                      const TrustedKey* keys, size_t keyCount, const std::string& nowUtc,
                                      SignatureVerifier verify);
