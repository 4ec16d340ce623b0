#include "cryptopro/CertContextGuard.h"

#include "cryptopro/CryptoProLibApi.h"

namespace Vesk::Crypto::CryptoPro {

void CertContextGuard::reset(PCCERT_CONTEXT context) {
    if (context_ != nullptr && context_ != context) {
        try {
            CryptoProLibApi::instance().CertFreeCertificateContext(context_);
        } catch (...) {
            // the library is gone; nothing left to free it with
        }
    }
    context_ = context;
}

}  // namespace Vesk::Crypto::CryptoPro
