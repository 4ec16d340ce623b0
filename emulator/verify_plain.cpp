// CryptVerifyMessageSignature / CryptVerifyDetachedMessageSignature: the plain
// CryptoAPI verification. The call fails unless the signer verifies completely
// (signature, content, certificate chain); the error tells why.
#include "certificate.h"
#include "last_error.h"
#include "packed_output.h"
#include "signer_check.h"
#include "verification_info.h"

using namespace cades_emulator;

namespace {

BOOL verifySigner(CMS_ContentInfo* cms, DWORD index, const std::vector<BYTE>& content, PCCERT_CONTEXT* ppSignerCert) {
    STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(cms);
    if (signers == nullptr || index >= static_cast<DWORD>(sk_CMS_SignerInfo_num(signers)))
        return fail(CRYPT_E_NO_SIGNER);
    const SignerCheck check =
        checkSigner(cms, sk_CMS_SignerInfo_value(signers, static_cast<int>(index)), content, nullptr);
    if (ppSignerCert != nullptr && check.signerCertificate)
        *ppSignerCert = createCertificateContext(shareX509(check.signerCertificate.get()));
    if (check.status != CADES_VERIFY_SUCCESS) return fail(check.errorCode);
    return TRUE;
}

bool validPara(const CRYPT_VERIFY_MESSAGE_PARA* para) {
    return para != nullptr && para->cbSize >= sizeof(CRYPT_VERIFY_MESSAGE_PARA);
}

}  // namespace

extern "C" BOOL CryptVerifyMessageSignature(PCRYPT_VERIFY_MESSAGE_PARA pVerifyPara, DWORD dwSignerIndex,
                                            const BYTE* pbSignedBlob, DWORD cbSignedBlob, BYTE* pbDecoded,
                                            DWORD* pcbDecoded, PCCERT_CONTEXT* ppSignerCert) {
    if (ppSignerCert != nullptr) *ppSignerCert = nullptr;
    if (!validPara(pVerifyPara)) return fail(E_INVALIDARG);
    CmsPtr cms = parseSignedData(pbSignedBlob, cbSignedBlob);
    if (!cms) return FALSE;
    const std::vector<BYTE> content = embeddedContent(cms.get());
    if (!verifySigner(cms.get(), dwSignerIndex, content, ppSignerCert)) return FALSE;
    if (pcbDecoded == nullptr) return TRUE;
    return deliverBytes(pbDecoded, pcbDecoded, content);
}

extern "C" BOOL CryptVerifyDetachedMessageSignature(PCRYPT_VERIFY_MESSAGE_PARA pVerifyPara, DWORD dwSignerIndex,
                                                    const BYTE* pbDetachedSignBlob, DWORD cbDetachedSignBlob,
                                                    DWORD cToBeSigned, const BYTE* rgpbToBeSigned[],
                                                    DWORD rgcbToBeSigned[], PCCERT_CONTEXT* ppSignerCert) {
    if (ppSignerCert != nullptr) *ppSignerCert = nullptr;
    if (!validPara(pVerifyPara) || cToBeSigned == 0 || rgpbToBeSigned == nullptr || rgcbToBeSigned == nullptr)
        return fail(E_INVALIDARG);
    std::vector<BYTE> content;
    if (!joinDetachedContent(cToBeSigned, rgpbToBeSigned, rgcbToBeSigned, content)) return fail(E_INVALIDARG);
    CmsPtr cms = parseSignedData(pbDetachedSignBlob, cbDetachedSignBlob);
    if (!cms) return FALSE;
    return verifySigner(cms.get(), dwSignerIndex, content, ppSignerCert);
}
