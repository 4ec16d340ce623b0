#include "cryptopro/CadesHandle.h"

#include "common/Logging.h"
#include "cryptopro/CryptoProLibApi.h"

namespace Vesk::Crypto::CryptoPro {

bool freeCertificateContext(const CERT_CONTEXT* context) {
    return CryptoProLibApi::instance().CertFreeCertificateContext(context) != FALSE;
}

bool freeCertificateChain(const CERT_CHAIN_CONTEXT* chain) {
    auto& api = CryptoProLibApi::instance();
    if (api.CertFreeCertificateChain.empty()) return false;
    api.CertFreeCertificateChain(chain);
    return true;
}

bool closeCryptMessage(void* message) { return CryptoProLibApi::instance().CryptMsgClose(message) != FALSE; }

bool closeTemporaryStore(void* store) {
    const bool closed = CryptoProLibApi::instance().CertCloseStore(store, 0) != FALSE;
    if (!closed) VLOG_ERROR << "Failed CertCloseStore";
    return closed;
}

bool freeCadesBlob(CRYPT_DATA_BLOB* blob) {
    const bool freed = CryptoProLibApi::instance().CadesFreeBlob(blob) != FALSE;
    if (!freed) VLOG_ERROR << "CadesFreeBlob() failed";
    return freed;
}

bool freeVerificationInfo(CADES_VERIFICATION_INFO* info) {
    const bool freed = CryptoProLibApi::instance().CadesFreeVerificationInfo(info) != FALSE;
    if (!freed) VLOG_ERROR << "CadesFreeVerificationInfo() failed";
    return freed;
}

CryptProvGuard::~CryptProvGuard() {
    if (!callerMustFree_ || provider_ == 0) return;
    try {
        CryptoProLibApi::instance().CryptReleaseContext(provider_, 0);
    } catch (...) {
    }
}

}  // namespace Vesk::Crypto::CryptoPro
