#include "certificate.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

#include <openssl/objects.h>

#include "asn1_text.h"
#include "file_time.h"
#include "last_error.h"

namespace cades_emulator {

class CertificateRegistry {
public:
    static CertificateRegistry& instance() {
        static CertificateRegistry registry;
        return registry;
    }

    PCCERT_CONTEXT add(std::unique_ptr<CertificateData> data) {
        std::lock_guard<std::mutex> lock(mutex_);
        data->references_ = 1;
        PCCERT_CONTEXT context = data->context();
        objects_[context] = std::move(data);
        return context;
    }

    const CertificateData* find(PCCERT_CONTEXT context) {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = objects_.find(context);
        return found == objects_.end() ? nullptr : found->second.get();
    }

    bool addReference(PCCERT_CONTEXT context) {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = objects_.find(context);
        if (found == objects_.end()) return false;
        ++found->second->references_;
        return true;
    }

    bool release(PCCERT_CONTEXT context) {
        std::unique_ptr<CertificateData> released;
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = objects_.find(context);
        if (found == objects_.end()) return false;
        if (--found->second->references_ == 0) {
            released = std::move(found->second);  // destroyed after the lock is left
            objects_.erase(found);
        }
        return true;
    }

    int referenceCount(PCCERT_CONTEXT context) {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = objects_.find(context);
        return found == objects_.end() ? 0 : found->second->references_;
    }

private:
    std::mutex mutex_;
    std::unordered_map<const void*, std::unique_ptr<CertificateData>> objects_;
};

CertificateData::CertificateData(X509Ptr certificate, std::vector<BYTE> encoded, HCERTSTORE store,
                                 std::filesystem::path keyFile)
    : certificate_(std::move(certificate)), encoded_(std::move(encoded)), keyFile_(std::move(keyFile)) {
    context_.dwCertEncodingType = X509_ASN_ENCODING;
    context_.pbCertEncoded = encoded_.data();
    context_.cbCertEncoded = static_cast<DWORD>(encoded_.size());
    context_.pCertInfo = &info_;
    context_.hCertStore = store;
    fillCertInfo();
}

char* CertificateData::keepString(std::string text) {
    strings_.push_back(std::move(text));
    return strings_.back().data();
}

BYTE* CertificateData::keepBytes(std::vector<BYTE> bytes) {
    if (bytes.empty()) return nullptr;
    buffers_.push_back(std::move(bytes));
    return buffers_.back().data();
}

void CertificateData::fillCertInfo() {
    X509* cert = certificate_.get();

    const auto blob = [this](std::vector<BYTE> bytes) {
        CRYPT_DATA_BLOB result{static_cast<DWORD>(bytes.size()), nullptr};
        result.pbData = keepBytes(std::move(bytes));
        return result;
    };

    info_.dwVersion = static_cast<DWORD>(X509_get_version(cert));
    info_.SerialNumber = blob(littleEndianSerial(X509_get0_serialNumber(cert)));

    const X509_ALGOR* signatureAlgorithm = X509_get0_tbs_sigalg(cert);
    const ASN1_OBJECT* signatureOid = nullptr;
    X509_ALGOR_get0(&signatureOid, nullptr, nullptr, signatureAlgorithm);
    info_.SignatureAlgorithm.pszObjId = keepString(oidText(signatureOid));
    info_.SignatureAlgorithm.Parameters = blob(algorithmParameters(signatureAlgorithm));

    info_.Issuer = blob(derOfName(X509_get_issuer_name(cert)));
    info_.Subject = blob(derOfName(X509_get_subject_name(cert)));
    if (auto notBefore = asn1TimeToFileTime(X509_get0_notBefore(cert))) info_.NotBefore = *notBefore;
    if (auto notAfter = asn1TimeToFileTime(X509_get0_notAfter(cert))) info_.NotAfter = *notAfter;

    X509_PUBKEY* publicKey = X509_get_X509_PUBKEY(cert);
    ASN1_OBJECT* keyOid = nullptr;
    const unsigned char* keyBytes = nullptr;
    int keyLength = 0;
    X509_ALGOR* keyAlgorithm = nullptr;
    if (X509_PUBKEY_get0_param(&keyOid, &keyBytes, &keyLength, &keyAlgorithm, publicKey) == 1) {
        info_.SubjectPublicKeyInfo.Algorithm.pszObjId = keepString(oidText(keyOid));
        info_.SubjectPublicKeyInfo.Algorithm.Parameters = blob(algorithmParameters(keyAlgorithm));
        CRYPT_DATA_BLOB key = blob(std::vector<BYTE>(keyBytes, keyBytes + keyLength));
        info_.SubjectPublicKeyInfo.PublicKey.cbData = key.cbData;
        info_.SubjectPublicKeyInfo.PublicKey.pbData = key.pbData;
        info_.SubjectPublicKeyInfo.PublicKey.cUnusedBits = 0;
    }

    const int extensionCount = X509_get_ext_count(cert);
    extensions_.reserve(static_cast<size_t>(std::max(extensionCount, 0)));
    for (int i = 0; i < extensionCount; ++i) {
        X509_EXTENSION* extension = X509_get_ext(cert, i);
        const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(extension);
        CERT_EXTENSION entry{};
        entry.pszObjId = keepString(oidText(X509_EXTENSION_get_object(extension)));
        entry.fCritical = X509_EXTENSION_get_critical(extension) ? TRUE : FALSE;
        entry.Value = blob(stringBytes(value));
        extensions_.push_back(entry);
    }
    info_.cExtension = static_cast<DWORD>(extensions_.size());
    info_.rgExtension = extensions_.empty() ? nullptr : extensions_.data();
}

X509Ptr parseDerCertificate(const BYTE* data, size_t size) {
    if (data == nullptr || size == 0) return nullptr;
    const unsigned char* cursor = data;
    X509Ptr certificate(d2i_X509(nullptr, &cursor, static_cast<long>(size)));
    if (certificate && cursor != data + size) return nullptr;  // trailing bytes: not exactly one certificate
    return certificate;
}

std::vector<BYTE> encodeCertificate(X509* certificate) {
    unsigned char* der = nullptr;
    const int length = i2d_X509(certificate, &der);
    if (length <= 0) return {};
    OpenSslBuffer owned(der);
    return std::vector<BYTE>(der, der + length);
}

PCCERT_CONTEXT createCertificateContext(X509Ptr certificate, HCERTSTORE store, std::filesystem::path keyFile) {
    if (!certificate) return nullptr;
    std::vector<BYTE> encoded = encodeCertificate(certificate.get());
    if (encoded.empty()) return nullptr;
    return CertificateRegistry::instance().add(
        std::make_unique<CertificateData>(std::move(certificate), std::move(encoded), store, std::move(keyFile)));
}

const CertificateData* findCertificate(PCCERT_CONTEXT context) {
    return context == nullptr ? nullptr : CertificateRegistry::instance().find(context);
}

bool addCertificateReference(PCCERT_CONTEXT context) {
    return context != nullptr && CertificateRegistry::instance().addReference(context);
}

bool releaseCertificate(PCCERT_CONTEXT context) {
    return context != nullptr && CertificateRegistry::instance().release(context);
}

void initializeCertificateRegistry() { CertificateRegistry::instance(); }

int certificateReferenceCount(PCCERT_CONTEXT context) {
    return CertificateRegistry::instance().referenceCount(context);
}

CertificateReference CertificateReference::share(PCCERT_CONTEXT context) {
    return addCertificateReference(context) ? CertificateReference(context) : CertificateReference();
}

CertificateReference& CertificateReference::operator=(CertificateReference&& other) noexcept {
    if (this != &other) {
        reset();
        context_ = other.release();
    }
    return *this;
}

PCCERT_CONTEXT CertificateReference::release() {
    PCCERT_CONTEXT context = context_;
    context_ = nullptr;
    return context;
}

void CertificateReference::reset() {
    if (context_ != nullptr) releaseCertificate(context_);
    context_ = nullptr;
}

}  // namespace cades_emulator

using namespace cades_emulator;

extern "C" PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext) {
    if (pCertContext == nullptr) return nullptr;  // duplicating nothing gives nothing, as on Windows
    if (!addCertificateReference(pCertContext)) return failNull<const CERT_CONTEXT>(E_INVALIDARG);
    return pCertContext;
}

extern "C" BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
    if (pCertContext == nullptr) return TRUE;
    if (!releaseCertificate(pCertContext)) return fail(E_INVALIDARG);
    return TRUE;
}
