#include "cryptopro/CpCertStoreHandler.h"

#include "common/Logging.h"
#include "cryptopro/CryptoProLibApi.h"

namespace Vesk::Crypto::CryptoPro {

CpCertStoreHandler::CpCertStoreHandler(std::wstring storeName) : name_(std::move(storeName)) { open(); }

CpCertStoreHandler::~CpCertStoreHandler() { close(); }

bool CpCertStoreHandler::open() {
    if (handle_ != nullptr) return false;
    try {
        handle_ = CryptoProLibApi::instance().CertOpenSystemStoreW(0, name_.c_str());
    } catch (const std::exception& e) {
        VLOG_ERROR << "Open CertSystemStoreError: " << e.what();
        return false;
    }
    return handle_ != nullptr;
}

void CpCertStoreHandler::close() {
    if (handle_ == nullptr) return;
    try {
        if (CryptoProLibApi::instance().CertCloseStore(handle_, CERT_CLOSE_STORE_CHECK_FLAG)) handle_ = nullptr;
    } catch (const std::exception& e) {
        VLOG_ERROR << "Close CertSystemStorageError: " << e.what();
    }
}

}  // namespace Vesk::Crypto::CryptoPro
