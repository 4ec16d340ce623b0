// One owning guard per OpenSSL object kind, so every handle has exactly one owner.
#pragma once

#include <memory>

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/ess.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

namespace cades_emulator {

template <auto FreeFunction>
struct OpenSslDeleter {
    template <typename T>
    void operator()(T* object) const {
        FreeFunction(object);
    }
};

struct X509StackDeleter {
    void operator()(STACK_OF(X509) * stack) const { sk_X509_pop_free(stack, X509_free); }
};

struct OpenSslBufferDeleter {
    void operator()(unsigned char* buffer) const { OPENSSL_free(buffer); }
};

using X509Ptr = std::unique_ptr<X509, OpenSslDeleter<X509_free>>;
using EvpPkeyPtr = std::unique_ptr<EVP_PKEY, OpenSslDeleter<EVP_PKEY_free>>;
using EvpPkeyCtxPtr = std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter<EVP_PKEY_CTX_free>>;
using EvpMdCtxPtr = std::unique_ptr<EVP_MD_CTX, OpenSslDeleter<EVP_MD_CTX_free>>;
using BioPtr = std::unique_ptr<BIO, OpenSslDeleter<BIO_free_all>>;
using CmsPtr = std::unique_ptr<CMS_ContentInfo, OpenSslDeleter<CMS_ContentInfo_free>>;
using X509StorePtr = std::unique_ptr<X509_STORE, OpenSslDeleter<X509_STORE_free>>;
using X509StoreCtxPtr = std::unique_ptr<X509_STORE_CTX, OpenSslDeleter<X509_STORE_CTX_free>>;
using X509StackPtr = std::unique_ptr<STACK_OF(X509), X509StackDeleter>;
using Asn1TimePtr = std::unique_ptr<ASN1_TIME, OpenSslDeleter<ASN1_TIME_free>>;
using Asn1StringPtr = std::unique_ptr<ASN1_STRING, OpenSslDeleter<ASN1_STRING_free>>;
using EssSigningCertV2Ptr = std::unique_ptr<ESS_SIGNING_CERT_V2, OpenSslDeleter<ESS_SIGNING_CERT_V2_free>>;
using EssSigningCertPtr = std::unique_ptr<ESS_SIGNING_CERT, OpenSslDeleter<ESS_SIGNING_CERT_free>>;
using OpenSslBuffer = std::unique_ptr<unsigned char, OpenSslBufferDeleter>;

inline X509Ptr shareX509(X509* certificate) {
    X509_up_ref(certificate);
    return X509Ptr(certificate);
}

// A read-only memory BIO over the bytes (valid while they live); empty data works too.
template <typename Bytes>
BioPtr memoryBio(const Bytes& bytes) {
    static const unsigned char nothing = 0;
    const void* data = bytes.empty() ? static_cast<const void*>(&nothing) : static_cast<const void*>(bytes.data());
    return BioPtr(BIO_new_mem_buf(data, static_cast<int>(bytes.size())));
}

inline X509StackPtr newX509Stack() { return X509StackPtr(sk_X509_new_null()); }

// Adds a shared reference of the certificate to the stack.
inline bool pushShared(STACK_OF(X509) * stack, X509* certificate) {
    if (sk_X509_push(stack, certificate) <= 0) return false;
    X509_up_ref(certificate);
    return true;
}

}  // namespace cades_emulator
