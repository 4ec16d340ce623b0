#pragma once
// Owners of the CAdES library's allocations that have no guard of their own: blobs
// (CadesFreeBlob), verification infos (CadesFreeVerificationInfo), private-key providers
// (CryptReleaseContext, only when the library says the caller must) and temporary stores.

#include "common/Logging.h"
#include "cades/CadesAbi.h"
#include "cryptopro/CryptoProLibApi.h"

#include <memory>

namespace Vesk::Crypto::CryptoPro {

struct CadesBlobFree {
    void operator()(CRYPT_DATA_BLOB* blob) const {
        try {
            if (!CryptoProLibApi::instance().CadesFreeBlob(blob)) {
                VLOG_ERROR << "CadesFreeBlob() failed";
            }
        } catch (...) {
        }
    }
};
using CadesBlobGuard = std::unique_ptr<CRYPT_DATA_BLOB, CadesBlobFree>;

struct CadesVerificationInfoFree {
    void operator()(CADES_VERIFICATION_INFO* info) const {
        try {
            if (!CryptoProLibApi::instance().CadesFreeVerificationInfo(info)) {
                VLOG_ERROR << "CadesFreeVerificationInfo() failed";
            }
        } catch (...) {
        }
    }
};
using CadesVerificationInfoGuard = std::unique_ptr<CADES_VERIFICATION_INFO, CadesVerificationInfoFree>;

struct CertStoreClose {
    void operator()(void* store) const {
        try {
            if (!CryptoProLibApi::instance().CertCloseStore(store, 0)) {
                VLOG_ERROR << "Failed CertCloseStore";
            }
        } catch (...) {
        }
    }
};
using CertStoreGuard = std::unique_ptr<void, CertStoreClose>;

// A private key's provider handle as CryptAcquireCertificatePrivateKey hands it out.
class CryptProvGuard {
public:
    CryptProvGuard() = default;
    ~CryptProvGuard() {
        if (!callerMustFree_ || provider_ == 0) return;
        try {
            CryptoProLibApi::instance().CryptReleaseContext(provider_, 0);
        } catch (...) {
        }
    }
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
