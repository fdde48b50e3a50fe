#pragma once
#include "archive/sha256.h"

// The platform's ECDSA P-256 verification (CNG, bcrypt.dll). True only for a valid signature
// (r then s, 64 bytes) of digest by the key with this point (X then Y, 64 bytes). Any other
// answer of the platform than "valid" or "invalid signature" is logged, and counts as invalid.
bool VerifyP256Signature(const unsigned char* point, const Sha256Digest& digest, const unsigned char* signature);
