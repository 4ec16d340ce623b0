// CadesSignMessage: a CMS SignedData with one CAdES-BES or CAdES-X Long Type 1 signer over
// the given data, with the content inside (attached) or left out (detached).
#include <vector>

#include "algorithms.h"
#include "blob.h"
#include "certificate.h"
#include "cms_signer.h"
#include "gost_engine.h"
#include "last_error.h"
#include "private_key.h"
#include "signer_check.h"

using namespace cades_emulator;

namespace {

// The blocks to sign, one after another, as the CryptoAPI hashes several blocks.
bool collectContent(BOOL detached, DWORD count, const BYTE* blocks[], const DWORD sizes[], std::vector<BYTE>& content)
{
    if (count == 0 || blocks == nullptr || sizes == nullptr)
        return false;
    if (!detached && count != 1)
        return false; // an attached message holds exactly one content
    return joinDetachedContent(count, blocks, sizes, content);
}

// The message certificates are exactly the ones the caller lists.
bool addMessageCertificates(CMS_ContentInfo* cms, const CRYPT_SIGN_MESSAGE_PARA& para)
{
    if (para.cMsgCert > 0 && para.rgpMsgCert == nullptr)
        return false;
    for (DWORD i = 0; i < para.cMsgCert; ++i) {
        const CertificateData* certificate = findCertificate(para.rgpMsgCert[i]);
        if (certificate == nullptr || !addCertificateOnce(cms, certificate->x509()))
            return false;
    }
    return true;
}

} // namespace

extern "C" CSP_BOOL CadesSignMessage(PCADES_SIGN_MESSAGE_PARA pSignPara, CSP_BOOL fDetachedSignature,
                                     DWORD cToBeSigned, const BYTE* rgpbToBeSigned[], DWORD rgcbToBeSigned[],
                                     PCRYPT_DATA_BLOB* ppSignedBlob)
{
    if (ppSignedBlob != nullptr)
        *ppSignedBlob = nullptr;
    if (pSignPara == nullptr || pSignPara->dwSize < sizeof(CADES_SIGN_MESSAGE_PARA) ||
        pSignPara->pSignMessagePara == nullptr || ppSignedBlob == nullptr)
        return fail(E_INVALIDARG);
    const CRYPT_SIGN_MESSAGE_PARA& messagePara = *pSignPara->pSignMessagePara;
    const CADES_SIGN_PARA* cadesPara = pSignPara->pCadesSignPara;
    if (messagePara.cbSize < sizeof(CRYPT_SIGN_MESSAGE_PARA) ||
        (cadesPara != nullptr && cadesPara->dwSize < sizeof(CADES_SIGN_PARA)))
        return fail(E_INVALIDARG);

    std::vector<BYTE> content;
    if (!collectContent(fDetachedSignature, cToBeSigned, rgpbToBeSigned, rgcbToBeSigned, content))
        return fail(E_INVALIDARG);

    // The CAdES parameters may name the signer and hash; otherwise the message's apply.
    PCCERT_CONTEXT signerContext =
        cadesPara != nullptr && cadesPara->pSignerCert != nullptr ? cadesPara->pSignerCert : messagePara.pSigningCert;
    const char* hashOid = cadesPara != nullptr && cadesPara->szHashAlgorithm != nullptr
                              ? cadesPara->szHashAlgorithm
                              : messagePara.HashAlgorithm.pszObjId;
    const CertificateData* signer = findCertificate(signerContext);
    if (signer == nullptr)
        return fail(E_INVALIDARG);

    SignatureRequest request;
    if (!chooseSignatureLevel(cadesPara, request))
        return FALSE;
    ensureGostEngine();
    EvpPkeyPtr key = loadPrivateKey(signerContext);
    if (!key)
        return FALSE;
    const EVP_MD* digest = signingDigestFor(hashOid, key.get());
    if (digest == nullptr)
        return fail(NTE_BAD_ALGID);

    const unsigned flags = CMS_PARTIAL | CMS_BINARY | (fDetachedSignature ? CMS_DETACHED : 0);
    CmsPtr cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags));
    if (!cms || !addMessageCertificates(cms.get(), messagePara))
        return fail(cms ? E_INVALIDARG : NTE_BAD_DATA);
    CMS_SignerInfo* signerInfo = addSigner(cms.get(), signer->x509(), key.get(), digest, request.level);
    if (signerInfo == nullptr)
        return fail(NTE_BAD_KEY);
    BioPtr data = memoryBio(content);
    if (!data || CMS_final(cms.get(), data.get(), nullptr, flags) != 1)
        return fail(NTE_BAD_SIGNATURE);
    if (!completeSignatureLevel(cms.get(), signerInfo, signer->x509(), request))
        return FALSE;

    std::vector<BYTE> encoded = encodeMessage(cms.get());
    if (encoded.empty())
        return fail(CRYPT_E_MSG_ERROR);
    *ppSignedBlob = newBlob(std::move(encoded));
    return TRUE;
}
