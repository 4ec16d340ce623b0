// CadesSignMessage: a CMS SignedData with one CAdES-BES or CAdES-X Long Type 1 signer over
// the given data, with the content inside (attached) or left out (detached).
#include <algorithm>
#include <limits>
#include <optional>
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

// The data to sign. One block is read where the caller keeps it; several blocks (a detached
// signature over pieces) are joined first, as the CryptoAPI hashes them one after another.
std::optional<ContentView> contentToSign(BOOL detached, DWORD count, const BYTE* blocks[], const DWORD sizes[],
                                         std::vector<BYTE>& joined) {
    if (count == 0 || blocks == nullptr || sizes == nullptr) return std::nullopt;
    if (!detached && count != 1) return std::nullopt;  // an attached message holds exactly one content
    // An OCTET STRING measures its bytes in int.
    constexpr size_t largest = static_cast<size_t>(std::numeric_limits<int>::max());
    if (count == 1) {
        if ((blocks[0] == nullptr && sizes[0] != 0) || sizes[0] > largest) return std::nullopt;
        return ContentView(blocks[0], sizes[0]);
    }
    if (!joinDetachedContent(count, blocks, sizes, joined) || joined.size() > largest) return std::nullopt;
    return ContentView(joined);
}

// Runs the content through the message's digests and signs: what CMS_final does for binary
// content, but in large writes straight from the caller's bytes instead of 1 KiB copies.
bool digestAndSign(CMS_ContentInfo* cms, ContentView content) {
    BioPtr chain(CMS_dataInit(cms, nullptr));  // digests over a null sink: the message is detached
    if (!chain) return false;
    constexpr size_t piece = size_t{1} << 20;
    for (size_t done = 0; done < content.size;) {
        const int length = static_cast<int>(std::min(piece, content.size - done));
        if (BIO_write(chain.get(), content.data + done, length) != length) return false;
        done += static_cast<size_t>(length);
    }
    (void)BIO_flush(chain.get());
    return CMS_dataFinal(cms, chain.get()) == 1;
}

// Points an attached message's content at the caller's bytes for encoding, and lets go of them
// before the message is freed: the content is written out without being copied into the message.
class BorrowedContent {
public:
    BorrowedContent() = default;
    ~BorrowedContent() {
        // Not ASN1_STRING_set0, which would free the caller's bytes.
        if (content_ != nullptr) {
            content_->data = nullptr;
            content_->length = 0;
        }
    }
    BorrowedContent(const BorrowedContent&) = delete;
    BorrowedContent& operator=(const BorrowedContent&) = delete;

    bool attach(CMS_ContentInfo* cms, const BYTE* data, DWORD size) {
        if (CMS_set_detached(cms, 0) != 1) return false;
        ASN1_OCTET_STRING** content = CMS_get0_content(cms);
        if (content == nullptr || *content == nullptr) return false;
        content_ = *content;
        ASN1_STRING_set0(content_, const_cast<BYTE*>(data), static_cast<int>(size));
        return true;
    }

private:
    ASN1_OCTET_STRING* content_ = nullptr;
};

// The message certificates are exactly the ones the caller lists.
bool addMessageCertificates(CMS_ContentInfo* cms, const CRYPT_SIGN_MESSAGE_PARA& para) {
    if (para.cMsgCert > 0 && para.rgpMsgCert == nullptr) return false;
    for (DWORD i = 0; i < para.cMsgCert; ++i) {
        const CertificateData* certificate = findCertificate(para.rgpMsgCert[i]);
        if (certificate == nullptr || !addCertificateOnce(cms, certificate->x509())) return false;
    }
    return true;
}

}  // namespace

extern "C" CSP_BOOL CadesSignMessage(PCADES_SIGN_MESSAGE_PARA pSignPara, CSP_BOOL fDetachedSignature, DWORD cToBeSigned,
                                     const BYTE* rgpbToBeSigned[], DWORD rgcbToBeSigned[],
                                     PCRYPT_DATA_BLOB* ppSignedBlob) {
    if (ppSignedBlob != nullptr) *ppSignedBlob = nullptr;
    if (pSignPara == nullptr || pSignPara->dwSize < sizeof(CADES_SIGN_MESSAGE_PARA) ||
        pSignPara->pSignMessagePara == nullptr || ppSignedBlob == nullptr)
        return fail(E_INVALIDARG);
    const CRYPT_SIGN_MESSAGE_PARA& messagePara = *pSignPara->pSignMessagePara;
    const CADES_SIGN_PARA* cadesPara = pSignPara->pCadesSignPara;
    if (messagePara.cbSize < sizeof(CRYPT_SIGN_MESSAGE_PARA) ||
        (cadesPara != nullptr && cadesPara->dwSize < sizeof(CADES_SIGN_PARA)))
        return fail(E_INVALIDARG);

    std::vector<BYTE> joined;
    const std::optional<ContentView> data =
        contentToSign(fDetachedSignature, cToBeSigned, rgpbToBeSigned, rgcbToBeSigned, joined);
    if (!data) return fail(E_INVALIDARG);

    // The CAdES parameters may name the signer and hash; otherwise the message's apply.
    PCCERT_CONTEXT signerContext =
        cadesPara != nullptr && cadesPara->pSignerCert != nullptr ? cadesPara->pSignerCert : messagePara.pSigningCert;
    const char* hashOid = cadesPara != nullptr && cadesPara->szHashAlgorithm != nullptr
                              ? cadesPara->szHashAlgorithm
                              : messagePara.HashAlgorithm.pszObjId;
    const CertificateData* signer = findCertificate(signerContext);
    if (signer == nullptr) return fail(E_INVALIDARG);

    SignatureRequest request;
    if (!chooseSignatureLevel(cadesPara, request)) return FALSE;
    ensureGostEngine();
    EvpPkeyPtr key = loadPrivateKey(signerContext);
    if (!key) return FALSE;
    const EVP_MD* digest = signingDigestFor(hashOid, key.get());
    if (digest == nullptr) return fail(NTE_BAD_ALGID);

    // Signed as detached, so that OpenSSL only hashes the content; an attached message gets the
    // caller's bytes as its content just for encoding.
    const unsigned flags = CMS_PARTIAL | CMS_BINARY | CMS_DETACHED;
    CmsPtr cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags));
    if (!cms || !addMessageCertificates(cms.get(), messagePara)) return fail(cms ? E_INVALIDARG : NTE_BAD_DATA);
    CMS_SignerInfo* signerInfo = addSigner(cms.get(), signer->x509(), key.get(), digest, request.level);
    if (signerInfo == nullptr) return fail(NTE_BAD_KEY);
    if (!digestAndSign(cms.get(), *data)) return fail(NTE_BAD_SIGNATURE);
    if (!completeSignatureLevel(cms.get(), signerInfo, signer->x509(), request)) return FALSE;

    BorrowedContent content;
    if (!fDetachedSignature && !content.attach(cms.get(), rgpbToBeSigned[0], rgcbToBeSigned[0]))
        return fail(CRYPT_E_MSG_ERROR);
    size_t size = 0;
    OpenSslBuffer encoded = encodeMessageInPlace(cms.get(), size);
    if (!encoded) return fail(CRYPT_E_MSG_ERROR);
    *ppSignedBlob = newBlob(std::move(encoded), size);
    return TRUE;
}
