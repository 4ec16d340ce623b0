#pragma once
// One guard shape for every kind of handle the CAdES library hands out: a unique_ptr whose
// deleter calls the library's own release function for that kind. A release that fails is
// logged by its function; one that throws (the library is gone, or an optional entry point is
// not bound) leaves nothing to release with, so the deleter swallows it.

#include "cades/CadesAbi.h"

#include <memory>

namespace Vesk::Crypto::CryptoPro {

template <auto release>
struct CadesRelease {
    template <typename Handle>
    void operator()(Handle* handle) const noexcept {
        try {
            release(handle);
        } catch (...) {
        }
    }
};

template <typename Handle, auto release>
using CadesHandle = std::unique_ptr<Handle, CadesRelease<release>>;

// The release functions, one per handle kind; each returns whether the library released it.
bool freeCertificateContext(const CERT_CONTEXT* context);
bool freeCertificateChain(const CERT_CHAIN_CONTEXT* chain);
bool closeCryptMessage(void* message);
bool closeTemporaryStore(void* store);
bool freeCadesBlob(CRYPT_DATA_BLOB* blob);
bool freeVerificationInfo(CADES_VERIFICATION_INFO* info);

using CertContextGuard = CadesHandle<const CERT_CONTEXT, &freeCertificateContext>;
// Without the library's chain release (an optional entry point), the chain stays the library's.
using CertChainGuard = CadesHandle<const CERT_CHAIN_CONTEXT, &freeCertificateChain>;
using CryptMessageHandle = CadesHandle<void, &closeCryptMessage>;
// A store opened for one call; the personal system store has its own handler (CpCertStoreHandler).
using CertStoreGuard = CadesHandle<void, &closeTemporaryStore>;
using CadesBlobGuard = CadesHandle<CRYPT_DATA_BLOB, &freeCadesBlob>;
using CadesVerificationInfoGuard = CadesHandle<CADES_VERIFICATION_INFO, &freeVerificationInfo>;

// A private key's provider handle as CryptAcquireCertificatePrivateKey hands it out: a number,
// not a pointer, released only when the library says the caller must.
class CryptProvGuard {
public:
    CryptProvGuard() = default;
    ~CryptProvGuard();
    CryptProvGuard(const CryptProvGuard&) = delete;
    CryptProvGuard& operator=(const CryptProvGuard&) = delete;

    // Out-arguments for CryptAcquireCertificatePrivateKey; fill them once.
    HCRYPTPROV* provider() { return &provider_; }
    DWORD* keySpec() { return &keySpec_; }
    BOOL* callerMustFree() { return &callerMustFree_; }

    HCRYPTPROV get() const { return provider_; }
    DWORD keySpecValue() const { return keySpec_; }

private:
    HCRYPTPROV provider_ = 0;
    DWORD keySpec_ = 0;
    BOOL callerMustFree_ = FALSE;
};

}  // namespace Vesk::Crypto::CryptoPro
