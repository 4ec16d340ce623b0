#pragma once
// Owns one open system certificate store of the CAdES library.

#include "cades/CadesAbi.h"

#include <string>

namespace Vesk::Crypto::CryptoPro {

class CpCertStoreHandler {
public:
    explicit CpCertStoreHandler(std::wstring storeName);
    ~CpCertStoreHandler();
    CpCertStoreHandler(const CpCertStoreHandler&) = delete;
    CpCertStoreHandler& operator=(const CpCertStoreHandler&) = delete;

    bool open();
    void close();
    bool isValid() const { return handle_ != nullptr; }
    HCERTSTORE getHandler() const { return handle_; }
    HCERTSTORE operator*() const { return handle_; }

private:
    std::wstring name_;
    HCERTSTORE handle_ = nullptr;
};

}  // namespace Vesk::Crypto::CryptoPro
