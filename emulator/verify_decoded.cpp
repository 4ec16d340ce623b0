// CadesMsgVerifySignature: verification of one signer of a decoded message.
#include "last_error.h"
#include "message.h"
#include "verification_info.h"

using namespace cades_emulator;

extern "C" CSP_BOOL CadesMsgVerifySignature(HCRYPTMSG hCryptMsg, DWORD dwSignatureIndex,
                                            PCADES_VERIFICATION_PARA pVerificationPara,
                                            PCADES_VERIFICATION_INFO* ppVerificationInfo) {
    if (ppVerificationInfo != nullptr) *ppVerificationInfo = nullptr;
    if (pVerificationPara != nullptr && pVerificationPara->dwSize < sizeof(CADES_VERIFICATION_PARA))
        return fail(E_INVALIDARG);
    DecodedMessage* message = decodedMessage(hCryptMsg);
    if (message == nullptr) return FALSE;
    CMS_SignerInfo* signer = message->signer(dwSignatureIndex);
    if (signer == nullptr) return fail(CRYPT_E_NO_SIGNER);
    const SignerCheck check = checkSigner(message->cms.get(), signer, message->content(),
                                          pVerificationPara != nullptr ? pVerificationPara->hStore : nullptr);
    if (ppVerificationInfo != nullptr) *ppVerificationInfo = newVerificationInfo(check);
    if (check.status != CADES_VERIFY_SUCCESS) fail(check.errorCode);
    return TRUE;
}
