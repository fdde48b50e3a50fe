#pragma once
#include "archive/sha256_internal.h"

// The platform's ECDSA P-256 verification (CNG, bcrypt.dll). True only for a valid signature
// (r then s, 64 bytes) of digest by the key with this point (X then Y, 64 bytes); a failure of
// the platform is logged and counts as not valid.
bool VerifyP256Signature(const unsigned char* point, const Sha256Digest& digest, const unsigned char* signature);
