// CadesVerifyMessage / CadesVerifyDetachedMessage / CadesMsgVerifySignature.
// The call succeeds when the signer could be examined; the outcome is the status in
// the verification info (CADES_VERIFY_*). The last error is set to the code that
// goes with a failed status as well.
#include "blob.h"
#include "certificate.h"
#include "gost_engine.h"
#include "handle_registry.h"
#include "last_error.h"
#include "signer_check.h"
#include "verification_info.h"

namespace cades_emulator {
namespace {

struct OwnedVerificationInfo {
    CADES_VERIFICATION_INFO info{};
    FILETIME signingTime{};
    FILETIME signatureTimeStampTime{};
    CertificateReference signer;
};

HandleRegistry<OwnedVerificationInfo>& verificationInfos() {
    initializeCertificateRegistry();  // outlives the infos a caller never freed
    static HandleRegistry<OwnedVerificationInfo> registry;
    return registry;
}

}  // namespace

PCADES_VERIFICATION_INFO newVerificationInfo(const SignerCheck& check) {
    auto owned = std::make_unique<OwnedVerificationInfo>();
    owned->info.dwSize = sizeof(CADES_VERIFICATION_INFO);
    owned->info.dwStatus = check.status;
    if (check.signerCertificate) {
        owned->signer = CertificateReference::adopt(createCertificateContext(shareX509(check.signerCertificate.get())));
        owned->info.pSignerCert = owned->signer.get();
    }
    if (check.signingTime) {
        owned->signingTime = *check.signingTime;
        owned->info.pSigningTime = &owned->signingTime;
    }
    if (check.signatureTimeStampTime) {
        owned->signatureTimeStampTime = *check.signatureTimeStampTime;
        owned->info.pSignatureTimeStampTime = &owned->signatureTimeStampTime;
    }
    PCADES_VERIFICATION_INFO handle = &owned->info;
    verificationInfos().add(handle, std::move(owned));
    return handle;
}

CmsPtr parseSignedData(const BYTE* data, DWORD size) {
    if (data == nullptr || size == 0) {
        fail(E_INVALIDARG);
        return nullptr;
    }
    ensureGostEngine();
    const unsigned char* cursor = data;
    CmsPtr cms(d2i_CMS_ContentInfo(nullptr, &cursor, static_cast<long>(size)));
    if (!cms) {
        fail(CRYPT_E_ASN1_BADTAG);
        return nullptr;
    }
    if (OBJ_obj2nid(CMS_get0_type(cms.get())) != NID_pkcs7_signed) {
        fail(CRYPT_E_INVALID_MSG_TYPE);
        return nullptr;
    }
    return cms;
}

}  // namespace cades_emulator

using namespace cades_emulator;

namespace {

bool validVerifyPara(const CADES_VERIFY_MESSAGE_PARA* para) {
    return para != nullptr && para->dwSize >= sizeof(CADES_VERIFY_MESSAGE_PARA) &&
           para->pVerifyMessagePara != nullptr &&
           (para->pCadesVerifyPara == nullptr || para->pCadesVerifyPara->dwSize >= sizeof(CADES_VERIFICATION_PARA));
}

HCERTSTORE extraStoreOf(const CADES_VERIFICATION_PARA* para) { return para != nullptr ? para->hStore : nullptr; }

// Verifies signer `index` and hands out the verification info.
BOOL verifyAndReport(CMS_ContentInfo* cms, DWORD index, ContentView content, HCERTSTORE extraStore,
                     PCADES_VERIFICATION_INFO* ppVerificationInfo) {
    STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(cms);
    if (signers == nullptr || index >= static_cast<DWORD>(sk_CMS_SignerInfo_num(signers)))
        return fail(CRYPT_E_NO_SIGNER);
    const SignerCheck check =
        checkSigner(cms, sk_CMS_SignerInfo_value(signers, static_cast<int>(index)), content, extraStore);
    if (ppVerificationInfo != nullptr) *ppVerificationInfo = newVerificationInfo(check);
    if (check.status != CADES_VERIFY_SUCCESS) fail(check.errorCode);
    return TRUE;
}

}  // namespace

extern "C" CSP_BOOL CadesVerifyMessage(PCADES_VERIFY_MESSAGE_PARA pVerifyPara, DWORD dwSignerIndex,
                                       const BYTE* pbSignedBlob, DWORD cbSignedBlob, PCRYPT_DATA_BLOB* ppDecodedBlob,
                                       PCADES_VERIFICATION_INFO* ppVerificationInfo) {
    if (ppDecodedBlob != nullptr) *ppDecodedBlob = nullptr;
    if (ppVerificationInfo != nullptr) *ppVerificationInfo = nullptr;
    if (!validVerifyPara(pVerifyPara)) return fail(E_INVALIDARG);
    CmsPtr cms = parseSignedData(pbSignedBlob, cbSignedBlob);
    if (!cms) return FALSE;
    // A detached signature has no content here; its digest check then fails honestly.
    // Checked inside the parsed message; copied out only when the caller asks for it.
    const ContentView content = embeddedContentView(cms.get());
    if (!verifyAndReport(cms.get(), dwSignerIndex, content, extraStoreOf(pVerifyPara->pCadesVerifyPara),
                         ppVerificationInfo))
        return FALSE;
    if (ppDecodedBlob != nullptr)
        *ppDecodedBlob = newBlob(std::vector<BYTE>(content.data, content.data + content.size));
    return TRUE;
}

extern "C" CSP_BOOL CadesVerifyDetachedMessage(PCADES_VERIFY_MESSAGE_PARA pVerifyPara, DWORD dwSignerIndex,
                                               const BYTE* pbDetachedSignBlob, DWORD cbDetachedSignBlob,
                                               DWORD cToBeSigned, const BYTE* rgpbToBeSigned[], DWORD rgcbToBeSigned[],
                                               PCADES_VERIFICATION_INFO* ppVerificationInfo) {
    if (ppVerificationInfo != nullptr) *ppVerificationInfo = nullptr;
    if (!validVerifyPara(pVerifyPara) || cToBeSigned == 0 || rgpbToBeSigned == nullptr || rgcbToBeSigned == nullptr)
        return fail(E_INVALIDARG);
    // One block is checked where the caller keeps it; several are joined first.
    std::vector<BYTE> joined;
    if (cToBeSigned > 1 && !joinDetachedContent(cToBeSigned, rgpbToBeSigned, rgcbToBeSigned, joined))
        return fail(E_INVALIDARG);
    if (cToBeSigned == 1 && rgpbToBeSigned[0] == nullptr && rgcbToBeSigned[0] != 0) return fail(E_INVALIDARG);
    const ContentView content =
        cToBeSigned > 1 ? ContentView(joined) : ContentView(rgpbToBeSigned[0], rgcbToBeSigned[0]);
    CmsPtr cms = parseSignedData(pbDetachedSignBlob, cbDetachedSignBlob);
    if (!cms) return FALSE;
    return verifyAndReport(cms.get(), dwSignerIndex, content, extraStoreOf(pVerifyPara->pCadesVerifyPara),
                           ppVerificationInfo);
}

extern "C" CSP_BOOL CadesFreeVerificationInfo(PCADES_VERIFICATION_INFO pVerificationInfo) {
    if (pVerificationInfo == nullptr) return TRUE;
    return verificationInfos().take(pVerificationInfo) ? TRUE : fail(E_INVALIDARG);
}
