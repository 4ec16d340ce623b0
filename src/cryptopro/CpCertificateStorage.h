#pragma once
// The user's personal certificate store of the CAdES library, read once into a list keyed by
// serial-number text.

#include "cryptopro/CadesHandle.h"
#include "cryptopro/CpCertStoreHandler.h"
#include "model/ICertificateStorage.h"

#include <map>
#include <memory>

namespace Vesk::Crypto::CryptoPro {

class CpCertificateStorage : public ICertificateStorage {
public:
    enum Storage { My = 0 };

    explicit CpCertificateStorage(Storage storage);
    ~CpCertificateStorage() override;

    CertificateList getCertificatesList() override;
    CertificateList findCertificateByString(const std::string& text) override;
    CertificatePtr addCertificate(std::vector<unsigned char> encoded, unsigned int encodingType) override;
    // Deliberately does nothing: certificates are never removed from the store.
    void deleteCertificate(CertificatePtr certificate) override;
    size_t certCount() const override;

    // The context kept for the record's serial number; stays owned by the storage.
    // Throws std::out_of_range for an unknown serial number.
    PCCERT_CONTEXT getContext(const Certificate& certificate) const;

    bool updateCertificateList();

private:
    struct CertData {
        CertificatePtr certificate;
        CertContextGuard context;
    };

    std::unique_ptr<CpCertStoreHandler> store_;
    std::map<std::string, CertData> certificates_;
};

}  // namespace Vesk::Crypto::CryptoPro
