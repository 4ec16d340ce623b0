#pragma once
// Checks attached and detached CAdES signatures through the CAdES library and reports one
// SignInfo per signer, with its signing time.

#include "cades/CadesAbi.h"
#include "model/IVerify.h"

#include <vector>

namespace Vesk::Crypto::CryptoPro {

class CpVerifySign : public IVerify {
public:
    // Which CAdES form the first signer of a message has.
    struct SignParams {
        bool recognized = false;
        DWORD type = 0;  // CADES_X_LONG_TYPE_1, CADES_BES, CADES_T, CADES_DEFAULT or PKCS7_TYPE
    };

    CpVerifySign() = default;
    ~CpVerifySign() override = default;

    // The detached flag is handed to the decoder as it stands (1 for a detached signature).
    static SignParams getSignParams(const std::vector<unsigned char>& signature, bool detached);

    VerifySignResultPtr verifyAttachedSign(const std::vector<unsigned char>& signedMessage) override;
    // Also used before co-signing; params, when given, name the message's CAdES form.
    VerifySignResultPtr verifyAttachedSignInner(const std::vector<unsigned char>& signedMessage,
                                                const SignParams* params);
    VerifySignResultPtr verifyDetachedSign(const std::vector<unsigned char>& signature,
                                           const std::vector<unsigned char>& originalData) override;

private:
    VerifySignResultPtr verify(const std::vector<unsigned char>& signature, const std::vector<unsigned char>* data,
                               const SignParams& params);
};

// Signing time of signer `index` from its signed attributes; non-zero when one was found.
int getSigningTime(FILETIME& time, HCRYPTMSG message, DWORD index);

}  // namespace Vesk::Crypto::CryptoPro
