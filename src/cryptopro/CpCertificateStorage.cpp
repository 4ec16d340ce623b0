#include "cryptopro/CpCertificateStorage.h"

#include "common/Logging.h"
#include "cryptopro/CpTexts.h"
#include "cryptopro/CryptoProLibApi.h"

namespace Vesk::Crypto::CryptoPro {

CpCertificateStorage::CpCertificateStorage(Storage storage) {
    if (storage == My) store_ = std::make_unique<CpCertStoreHandler>(L"My");
    updateCertificateList();
}

CpCertificateStorage::~CpCertificateStorage() {
    certificates_.clear();  // contexts are freed before the store closes
    store_.reset();
}

bool CpCertificateStorage::updateCertificateList() {
    VLOG_INFO << "Update certificate list started";
    if (store_ && store_->isValid()) {
        auto& api = CryptoProLibApi::instance();
        for (PCCERT_CONTEXT context = api.CertEnumCertificatesInStore(**store_, nullptr); context != nullptr;
             context = api.CertEnumCertificatesInStore(**store_, context)) {
            auto certificate = certContextToObject(context);
            if (!certificate || certificate->subject.empty()) continue;
            // A later certificate with the same serial number takes the place of the earlier one.
            auto& entry = certificates_[certificate->serialNumber];
            entry.certificate = std::move(certificate);
            entry.context.reset(api.CertDuplicateCertificateContext(context));
        }
    }
    VLOG_INFO << "Update certificates end";
    return true;
}

CertificateList CpCertificateStorage::getCertificatesList() {
    auto list = std::make_shared<std::vector<CertificatePtr>>();
    list->reserve(certificates_.size());
    for (const auto& [serial, data] : certificates_) list->push_back(data.certificate);
    return list;
}

CertificateList CpCertificateStorage::findCertificateByString(const std::string& text) {
    auto found = std::make_shared<std::vector<CertificatePtr>>();
    const auto exact = certificates_.find(text);
    if (exact != certificates_.end()) {
        found->push_back(exact->second.certificate);
        return found;
    }
    for (const auto& [serial, data] : certificates_) {
        if (data.certificate->subject.find(text) != std::string::npos || serial.find(text) != std::string::npos) {
            found->push_back(data.certificate);
        }
    }
    return found;
}

CertificatePtr CpCertificateStorage::addCertificate(std::vector<unsigned char> encoded, unsigned int encodingType) {
    VLOG_VERBOSE << "[M] CpCertificateStorage::addCertificate";
    if (encoded.empty()) {
        VLOG_ERROR << "data for add certificate is empty!";
        return nullptr;
    }
    const DWORD disposition = encodingType == 0xFFFFFFFFu ? CERT_STORE_ADD_NEW : encodingType;
    PCCERT_CONTEXT added = nullptr;
    if (!store_ || !CryptoProLibApi::instance().CertAddEncodedCertificateToStore(
                       store_->getHandler(), X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, encoded.data(),
                       static_cast<DWORD>(encoded.size()), disposition, &added)) {
        VLOG_ERROR << "CertAddEncodedCertificateToStore failed!";
        return nullptr;
    }
    CertContextGuard context(added);
    return certContextToObject(context.get());
}

void CpCertificateStorage::deleteCertificate(CertificatePtr) {}  // compat: never removes anything

size_t CpCertificateStorage::certCount() const { return certificates_.size(); }

PCCERT_CONTEXT CpCertificateStorage::getContext(const Certificate& certificate) const {
    return certificates_.at(certificate.serialNumber).context.get();
}

}  // namespace Vesk::Crypto::CryptoPro
