// Certificate contexts: the CERT_CONTEXT/CERT_INFO the caller sees, the decoded
// certificate behind it and its reference count.
#pragma once

#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

class CertificateData {
public:
    CertificateData(X509Ptr certificate, std::vector<BYTE> encoded, HCERTSTORE store, std::filesystem::path keyFile);
    CertificateData(const CertificateData&) = delete;
    CertificateData& operator=(const CertificateData&) = delete;

    PCCERT_CONTEXT context() const { return &context_; }
    X509* x509() const { return certificate_.get(); }
    const std::vector<BYTE>& encoded() const { return encoded_; }
    // PEM PKCS#8 key file next to the certificate; empty when it has none.
    const std::filesystem::path& keyFile() const { return keyFile_; }

private:
    friend class CertificateRegistry;

    void fillCertInfo();
    char* keepString(std::string text);
    BYTE* keepBytes(std::vector<BYTE> bytes);

    CERT_CONTEXT context_{};
    CERT_INFO info_{};
    X509Ptr certificate_;
    std::vector<BYTE> encoded_;
    std::filesystem::path keyFile_;
    std::vector<CERT_EXTENSION> extensions_;
    // Texts and byte strings that CERT_INFO points into; a deque never moves its elements.
    std::deque<std::string> strings_;
    std::deque<std::vector<BYTE>> buffers_;
    int references_ = 0;
};

// Reads a certificate in DER; null when it is not one.
X509Ptr parseDerCertificate(const BYTE* data, size_t size);
std::vector<BYTE> encodeCertificate(X509* certificate);

// Creates a context with one reference, owned by the caller of this function.
PCCERT_CONTEXT createCertificateContext(X509Ptr certificate, HCERTSTORE store = nullptr,
                                        std::filesystem::path keyFile = {});
// Null for a pointer that is not a live context of this library.
const CertificateData* findCertificate(PCCERT_CONTEXT context);
bool addCertificateReference(PCCERT_CONTEXT context);
bool releaseCertificate(PCCERT_CONTEXT context);
int certificateReferenceCount(PCCERT_CONTEXT context);
// For objects with static lifetime that hold contexts: call before creating them.
void initializeCertificateRegistry();

// Holds one reference to a context for as long as it lives.
class CertificateReference {
public:
    CertificateReference() = default;
    static CertificateReference adopt(PCCERT_CONTEXT context) { return CertificateReference(context); }
    static CertificateReference share(PCCERT_CONTEXT context);
    CertificateReference(CertificateReference&& other) noexcept : context_(other.release()) {}
    CertificateReference& operator=(CertificateReference&& other) noexcept;
    CertificateReference(const CertificateReference&) = delete;
    CertificateReference& operator=(const CertificateReference&) = delete;
    ~CertificateReference() { reset(); }

    PCCERT_CONTEXT get() const { return context_; }
    const CertificateData* data() const { return findCertificate(context_); }
    explicit operator bool() const { return context_ != nullptr; }
    PCCERT_CONTEXT release();
    void reset();

private:
    explicit CertificateReference(PCCERT_CONTEXT context) : context_(context) {}
    PCCERT_CONTEXT context_ = nullptr;
};

}  // namespace cades_emulator
