#pragma once
#include <windows.h>

#include <bcrypt.h>

#include "archive/sha256.h"

// The CNG calls of a check, each answering with its NTSTATUS. The keyed build makes the
// platform's own; a test answers for the platform, which under Wine fails none of them but the
// import.
struct P256Calls {
    NTSTATUS (*openAlgorithm)(BCRYPT_ALG_HANDLE& algorithm);
    NTSTATUS (*importKey)(BCRYPT_ALG_HANDLE algorithm, const unsigned char* point, BCRYPT_KEY_HANDLE& key);
    NTSTATUS (*verify)(BCRYPT_KEY_HANDLE key, const Sha256Digest& digest, const unsigned char* signature);
};

// True only for a valid ECDSA P-256 signature (r then s, 64 bytes) of digest by the key with this
// point (X then Y, 64 bytes): every call answered STATUS_SUCCESS. Any other answer than "invalid
// signature" is the platform failing; it is logged, and counts as invalid too.
bool VerifyP256Signature(const P256Calls& calls, const unsigned char* point, const Sha256Digest& digest,
                         const unsigned char* signature);

// The same, by the platform's CNG (bcrypt.dll).
bool VerifyP256Signature(const unsigned char* point, const Sha256Digest& digest, const unsigned char* signature);
