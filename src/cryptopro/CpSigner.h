#pragma once
// Makes CAdES signatures and co-signatures through the CAdES library with a certificate of
// the user's personal store.

#include "cades/CadesAbi.h"
#include "cryptopro/CpCertificateStorage.h"
#include "model/ISign.h"

namespace Vesk::Crypto::CryptoPro {

class CpSigner : public ISign {
public:
    CpSigner();
    ~CpSigner() override = default;

    RequestApiResultPtr signMessage(const std::vector<unsigned char>& data, std::vector<unsigned char>& signature,
                                    const SignOptions& options, InternalSignOptions& internal) override;
    RequestApiResultPtr addCoSign(const std::vector<unsigned char>& signedMessage, std::vector<unsigned char>& result,
                                  const SignOptions& options, InternalSignOptions& internal) override;
    RequestApiResultPtr enhanceSignature(const std::vector<unsigned char>& signature, bool detached,
                                         std::vector<unsigned char>& result, const SignOptions& options) override;

private:
    CpCertificateStorage storage_;
};

// Hash algorithm OID that goes with the certificate's GOST public key; null for any other
// key, which the library then refuses.
const char* GetHashOid(PCCERT_CONTEXT context);

}  // namespace Vesk::Crypto::CryptoPro
