// windows.h, which the header brings, declares a few of the status codes that ntstatus.h
// declares in full.
#define WIN32_NO_STATUS
#include "trust/signature_cng.h"
#undef WIN32_NO_STATUS
#include <ntstatus.h>

#include <cstring>
#include <string>

#include "common/unique_handle.h"
#include "log/run_log.h"

namespace {
struct AlgorithmTraits {
    using Handle = BCRYPT_ALG_HANDLE;
    static Handle None() { return nullptr; }
    static void Close(Handle handle) { BCryptCloseAlgorithmProvider(handle, 0); }
};
struct KeyTraits {
    using Handle = BCRYPT_KEY_HANDLE;
    static Handle None() { return nullptr; }
    static void Close(Handle handle) { BCryptDestroyKey(handle); }
};

// Every step goes through here, so that no answer but STATUS_SUCCESS lets the check go on: an
// invalid signature is the answer the check exists for, any other is the platform failing.
bool Succeeded(const char* call, NTSTATUS status) {
    if (status == STATUS_SUCCESS) return true;
    if (status != STATUS_INVALID_SIGNATURE) {
        LogLine(std::string("version check: ") + call + " failed, NTSTATUS=" +
                std::to_string(static_cast<unsigned long>(status)));
    }
    return false;
}

NTSTATUS OpenEcdsaP256(BCRYPT_ALG_HANDLE& algorithm) {
    return BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_ECDSA_P256_ALGORITHM, nullptr, 0);
}

NTSTATUS ImportPublicKey(BCRYPT_ALG_HANDLE algorithm, const unsigned char* point, BCRYPT_KEY_HANDLE& key) {
    unsigned char blob[sizeof(BCRYPT_ECCKEY_BLOB) + 64];
    const BCRYPT_ECCKEY_BLOB header = {BCRYPT_ECDSA_PUBLIC_P256_MAGIC, 32};
    std::memcpy(blob, &header, sizeof header);
    std::memcpy(blob + sizeof header, point, 64);
    return BCryptImportKeyPair(algorithm, nullptr, BCRYPT_ECCPUBLIC_BLOB, &key, blob, sizeof blob, 0);
}

// The signature's length is fixed by the caller; the platform is not trusted to check it.
NTSTATUS VerifyDigest(BCRYPT_KEY_HANDLE key, const Sha256Digest& digest, const unsigned char* signature) {
    return BCryptVerifySignature(key, nullptr, const_cast<unsigned char*>(digest.data()), static_cast<ULONG>(digest.size()),
                                 const_cast<unsigned char*>(signature), 64, 0);
}
}  // namespace

bool VerifyP256Signature(const P256Calls& calls, const unsigned char* point, const Sha256Digest& digest,
                         const unsigned char* signature) {
    BCRYPT_ALG_HANDLE rawAlgorithm = nullptr;
    const NTSTATUS opened = calls.openAlgorithm(rawAlgorithm);
    const UniqueHandle<AlgorithmTraits> algorithm(rawAlgorithm);
    if (!Succeeded("BCryptOpenAlgorithmProvider(ECDSA_P256)", opened)) return false;

    BCRYPT_KEY_HANDLE rawKey = nullptr;
    const NTSTATUS imported = calls.importKey(algorithm.Get(), point, rawKey);
    const UniqueHandle<KeyTraits> key(rawKey);
    if (!Succeeded("BCryptImportKeyPair", imported)) return false;

    return Succeeded("BCryptVerifySignature", calls.verify(key.Get(), digest, signature));
}

bool VerifyP256Signature(const unsigned char* point, const Sha256Digest& digest, const unsigned char* signature) {
    return VerifyP256Signature({OpenEcdsaP256, ImportPublicKey, VerifyDigest}, point, digest, signature);
}
