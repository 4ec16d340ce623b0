// CadesMsgAddEnhancedSignature: one more CAdES-BES or X Long Type 1 signer on a decoded message.
// The message digest is computed over the message's content (the embedded content,
// or for a detached message the content fed after the signature).
#include <cstring>

#include "algorithms.h"
#include "asn1_text.h"
#include "cms_signer.h"
#include "last_error.h"
#include "message.h"
#include "private_key.h"

using namespace cades_emulator;

namespace {

bool digestOf(ContentView content, const EVP_MD* digest, std::vector<BYTE>& value) {
    unsigned char buffer[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    static const unsigned char nothing = 0;
    if (EVP_Digest(content.size == 0 ? &nothing : content.data, content.size, buffer, &length, digest, nullptr) != 1)
        return false;
    value.assign(buffer, buffer + length);
    return true;
}

// When the caller names the signer by issuer and serial number, it must be the key's certificate.
bool namesCertificate(const CERT_INFO* info, X509* certificate) {
    if (info == nullptr) return true;
    const std::vector<BYTE> issuer = derOfName(X509_get_issuer_name(certificate));
    const std::vector<BYTE> serial = littleEndianSerial(X509_get0_serialNumber(certificate));
    const auto equal = [](const CRYPT_DATA_BLOB& blob, const std::vector<BYTE>& bytes) {
        return blob.cbData == bytes.size() &&
               (bytes.empty() || std::memcmp(blob.pbData, bytes.data(), bytes.size()) == 0);
    };
    return equal(info->Issuer, issuer) && equal(info->SerialNumber, serial);
}

}  // namespace

extern "C" CSP_BOOL CadesMsgAddEnhancedSignature(HCRYPTMSG hCryptMsg, PCADES_COSIGN_PARA pCadesCosignPara) {
    if (pCadesCosignPara == nullptr || pCadesCosignPara->dwSize < sizeof(CADES_COSIGN_PARA) ||
        pCadesCosignPara->pSigner == nullptr || pCadesCosignPara->pSigner->cbSize < sizeof(CMSG_SIGNER_ENCODE_INFO))
        return fail(E_INVALIDARG);
    const CMSG_SIGNER_ENCODE_INFO& signerPara = *pCadesCosignPara->pSigner;
    const CADES_SIGN_PARA* cadesPara = pCadesCosignPara->pCadesSignPara;
    if (cadesPara != nullptr && cadesPara->dwSize < sizeof(CADES_SIGN_PARA)) return fail(E_INVALIDARG);
    DecodedMessage* message = decodedMessage(hCryptMsg);
    if (message == nullptr) return FALSE;

    const AcquiredKey* key = findAcquiredKey(signerPara.hCryptProv);
    if (key == nullptr) return fail(NTE_BAD_KEYSET);
    if (signerPara.pCertInfo != nullptr && !namesCertificate(signerPara.pCertInfo, key->certificate.get()))
        return fail(NTE_BAD_KEYSET);  // the key does not belong to the named certificate

    SignatureRequest request;
    if (!chooseSignatureLevel(cadesPara, request)) return FALSE;
    const char* hashOid = cadesPara != nullptr && cadesPara->szHashAlgorithm != nullptr
                              ? cadesPara->szHashAlgorithm
                              : signerPara.HashAlgorithm.pszObjId;
    const EVP_MD* digest = signingDigestFor(hashOid, key->key.get());
    if (digest == nullptr) return fail(NTE_BAD_ALGID);

    CMS_ContentInfo* cms = message->cms.get();
    std::vector<BYTE> messageDigest;
    if (!digestOf(message->content(), digest, messageDigest)) return fail(NTE_BAD_HASH);
    CMS_SignerInfo* signer = addSigner(cms, key->certificate.get(), key->key.get(), digest, request.level);
    if (signer == nullptr ||
        CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_messageDigest, V_ASN1_OCTET_STRING, messageDigest.data(),
                                    static_cast<int>(messageDigest.size())) != 1 ||
        CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_contentType, V_ASN1_OBJECT,
                                    const_cast<ASN1_OBJECT*>(CMS_get0_eContentType(cms)), -1) != 1 ||
        CMS_SignerInfo_sign(signer) != 1 || !addCertificateOnce(cms, key->certificate.get())) {
        message->modified = true;  // the half-added signer stays; the message is unusable now
        return fail(NTE_BAD_SIGNATURE);
    }
    message->modified = true;
    return completeSignatureLevel(cms, signer, key->certificate.get(), request) ? TRUE : FALSE;
}
