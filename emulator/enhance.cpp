// CadesMsgEnhanceSignature / CadesEnhanceMessage: a CAdES-BES signer becomes CAdES-X Long
// Type 1 (its signed part untouched; the evidence goes into its unsigned attributes).
#include "blob.h"
#include "cades_type.h"
#include "cms_signer.h"
#include "last_error.h"
#include "message.h"
#include "signer_check.h"
#include "verification_info.h"

using namespace cades_emulator;

namespace {

BOOL enhance(CMS_ContentInfo* cms, CMS_SignerInfo* signer, const CADES_SIGN_PARA* cadesPara) {
    if (cadesPara != nullptr && cadesPara->dwSize < sizeof(CADES_SIGN_PARA)) return fail(E_INVALIDARG);
    SignatureRequest request;
    if (!chooseSignatureLevel(cadesPara, request)) return FALSE;
    if (request.level != SignatureLevel::XLongType1)
        return fail(E_INVALIDARG);  // only upward, to a form that carries evidence
    if (signerForm(signer) != CADES_BES) return fail(CRYPT_E_MSG_ERROR);  // enhanced already, or not CAdES at all
    X509Ptr certificate = signerCertificateOf(cms, signer, nullptr);
    if (!certificate) return fail(CRYPT_E_SIGNER_NOT_FOUND);
    return completeSignatureLevel(cms, signer, certificate.get(), request) ? TRUE : FALSE;
}

}  // namespace

extern "C" CSP_BOOL CadesMsgEnhanceSignature(HCRYPTMSG hCryptMsg, DWORD dwSignatureIndex,
                                             PCADES_SIGN_PARA pCadesSignPara) {
    DecodedMessage* message = decodedMessage(hCryptMsg);
    if (message == nullptr) return FALSE;
    CMS_SignerInfo* signer = message->signer(dwSignatureIndex);
    if (signer == nullptr) return fail(CRYPT_E_INVALID_INDEX);
    if (!enhance(message->cms.get(), signer, pCadesSignPara)) return FALSE;
    message->modified = true;
    return TRUE;
}

extern "C" CSP_BOOL CadesEnhanceMessage(PCADES_ENHANCE_MESSAGE_PARA pEnhancePara, DWORD dwSignerIndex,
                                        const BYTE* pbSignedBlob, DWORD cbSignedBlob,
                                        PCRYPT_DATA_BLOB* ppEnhancedBlob) {
    if (ppEnhancedBlob != nullptr) *ppEnhancedBlob = nullptr;
    if (pEnhancePara == nullptr || pEnhancePara->dwSize < sizeof(CADES_ENHANCE_MESSAGE_PARA) ||
        ppEnhancedBlob == nullptr)
        return fail(E_INVALIDARG);
    CmsPtr cms = parseSignedData(pbSignedBlob, cbSignedBlob);
    if (!cms) return FALSE;
    STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(cms.get());
    if (signers == nullptr || dwSignerIndex >= static_cast<DWORD>(sk_CMS_SignerInfo_num(signers)))
        return fail(CRYPT_E_NO_SIGNER);
    if (!enhance(cms.get(), sk_CMS_SignerInfo_value(signers, static_cast<int>(dwSignerIndex)),
                 pEnhancePara->pCadesSignPara))
        return FALSE;
    std::vector<BYTE> encoded = encodeMessage(cms.get());
    if (encoded.empty()) return fail(CRYPT_E_MSG_ERROR);
    *ppEnhancedBlob = newBlob(std::move(encoded));
    return TRUE;
}
