#pragma once

#include "model/Results.h"

#include <memory>
#include <vector>

namespace Vesk::Crypto {

using CertificateList = std::shared_ptr<std::vector<CertificatePtr>>;

// A provider's certificate store. The lists returned are never null, possibly empty.
class ICertificateStorage {
public:
    virtual CertificateList getCertificatesList() = 0;
    virtual CertificateList findCertificateByString(const std::string& text) = 0;
    virtual CertificatePtr addCertificate(std::vector<unsigned char> encoded, unsigned int encodingType) = 0;
    virtual void deleteCertificate(CertificatePtr certificate) = 0;
    virtual size_t certCount() const = 0;
    virtual ~ICertificateStorage() = default;
};

}  // namespace Vesk::Crypto
