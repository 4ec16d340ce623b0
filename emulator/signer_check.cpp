#include "signer_check.h"

#include <limits>

#include "certificate.h"
#include "chain.h"
#include "file_time.h"
#include "gost_engine.h"
#include "long_term.h"
#include "ocsp_client.h"
#include "store.h"

namespace cades_emulator {
namespace {

// Where a signer's certificate may come from, message certificates first.
std::vector<X509Ptr> candidateCertificates(CMS_ContentInfo* cms, HCERTSTORE extraStore) {
    std::vector<X509Ptr> candidates;
    X509StackPtr inMessage(CMS_get1_certs(cms));
    for (int i = 0; inMessage && i < sk_X509_num(inMessage.get()); ++i)
        candidates.push_back(shareX509(sk_X509_value(inMessage.get(), i)));
    if (CertStore* extra = findStore(extraStore)) {
        for (const auto& reference : extra->certificates())
            if (reference.data() != nullptr) candidates.push_back(shareX509(reference.data()->x509()));
    }
    for (const char* store : {"My", "CA", "Root"})
        for (X509Ptr& certificate : loadSystemStoreCertificates(store)) candidates.push_back(std::move(certificate));
    return candidates;
}

template <typename T, T* (*Decode)(T**, const unsigned char**, long)>
std::unique_ptr<T, void (*)(T*)> decodeSequenceAttribute(CMS_SignerInfo* signer, int nid, void (*freeFunction)(T*)) {
    std::unique_ptr<T, void (*)(T*)> decoded(nullptr, freeFunction);
    const auto* sequence =
        static_cast<const ASN1_STRING*>(CMS_signed_get0_data_by_OBJ(signer, OBJ_nid2obj(nid), -3, V_ASN1_SEQUENCE));
    if (sequence == nullptr) return decoded;
    const unsigned char* cursor = ASN1_STRING_get0_data(sequence);
    decoded.reset(Decode(nullptr, &cursor, ASN1_STRING_length(sequence)));
    return decoded;
}

// The signing-certificate attributes, when present, must name this certificate.
bool signingCertificateAttributesMatch(CMS_SignerInfo* signer, X509* certificate) {
    auto version1 = decodeSequenceAttribute<ESS_SIGNING_CERT, d2i_ESS_SIGNING_CERT>(
        signer, NID_id_smime_aa_signingCertificate, ESS_SIGNING_CERT_free);
    auto version2 = decodeSequenceAttribute<ESS_SIGNING_CERT_V2, d2i_ESS_SIGNING_CERT_V2>(
        signer, NID_id_smime_aa_signingCertificateV2, ESS_SIGNING_CERT_V2_free);
    if (!version1 && !version2) return true;
    X509StackPtr chain = newX509Stack();
    pushShared(chain.get(), certificate);
    return OSSL_ESS_check_signing_certs(version1.get(), version2.get(), chain.get(), 0) > 0;
}

// Runs the content through the message's digest BIOs and checks this signer's digest
// (or, without signed attributes, its signature over the content).
bool contentMatches(CMS_ContentInfo* cms, CMS_SignerInfo* signer, ContentView content) {
    static const BYTE empty = 0;
    if (content.size > static_cast<size_t>(std::numeric_limits<int>::max()))
        return false;  // more than a memory BIO can hold
    BioPtr contentBio(BIO_new_mem_buf(content.size != 0 ? content.data : &empty, static_cast<int>(content.size)));
    BIO* chain = contentBio ? CMS_dataInit(cms, contentBio.get()) : nullptr;
    if (chain == nullptr) return false;
    static_cast<void>(contentBio.release());  // now the tail of the chain
    BioPtr ownedChain(chain);
    unsigned char buffer[4096];
    while (BIO_read(chain, buffer, sizeof buffer) > 0) {
    }
    return CMS_SignerInfo_verify_content(signer, chain) == 1;
}

bool contentTypeMatches(CMS_ContentInfo* cms, CMS_SignerInfo* signer) {
    const auto* signedType = static_cast<const ASN1_OBJECT*>(
        CMS_signed_get0_data_by_OBJ(signer, OBJ_nid2obj(NID_pkcs9_contentType), -3, V_ASN1_OBJECT));
    return signedType != nullptr && OBJ_cmp(signedType, CMS_get0_eContentType(cms)) == 0;
}

DWORD chainErrorCode(const ChainResult& chain) {
    if ((chain.chainErrors & CERT_TRUST_IS_NOT_TIME_VALID) != 0) return CERT_E_EXPIRED;
    if ((chain.chainErrors & CERT_TRUST_IS_UNTRUSTED_ROOT) != 0) return CERT_E_UNTRUSTEDROOT;
    return CERT_E_CHAINING;
}

SignerCheck verdict(SignerCheck check, DWORD status, DWORD errorCode) {
    check.status = status;
    check.errorCode = errorCode;
    return check;
}

}  // namespace

X509Ptr signerCertificateOf(CMS_ContentInfo* cms, CMS_SignerInfo* signer, HCERTSTORE extraStore) {
    ensureGostEngine();
    for (X509Ptr& candidate : candidateCertificates(cms, extraStore))
        if (CMS_SignerInfo_cert_cmp(signer, candidate.get()) == 0) return std::move(candidate);
    return nullptr;
}

std::optional<FILETIME> signingTimeOf(CMS_SignerInfo* signer) {
    const int index = CMS_signed_get_attr_by_NID(signer, NID_pkcs9_signingTime, -1);
    if (index < 0) return std::nullopt;
    const ASN1_TYPE* value = X509_ATTRIBUTE_get0_type(CMS_signed_get_attr(signer, index), 0);
    if (value == nullptr || (value->type != V_ASN1_UTCTIME && value->type != V_ASN1_GENERALIZEDTIME))
        return std::nullopt;
    return asn1TimeToFileTime(value->value.asn1_string);
}

std::vector<BYTE> embeddedContent(CMS_ContentInfo* cms) {
    ASN1_OCTET_STRING** content = CMS_get0_content(cms);
    if (content == nullptr || *content == nullptr) return {};
    const unsigned char* data = ASN1_STRING_get0_data(*content);
    return std::vector<BYTE>(data, data + ASN1_STRING_length(*content));
}

ContentView embeddedContentView(CMS_ContentInfo* cms) {
    ASN1_OCTET_STRING** content = CMS_get0_content(cms);
    if (content == nullptr || *content == nullptr) return {nullptr, 0};
    return {ASN1_STRING_get0_data(*content), static_cast<size_t>(ASN1_STRING_length(*content))};
}

bool joinDetachedContent(DWORD count, const BYTE* blocks[], const DWORD sizes[], std::vector<BYTE>& content) {
    for (DWORD i = 0; i < count; ++i) {
        if (blocks[i] == nullptr && sizes[i] != 0) return false;
        if (sizes[i] != 0) content.insert(content.end(), blocks[i], blocks[i] + sizes[i]);
    }
    return true;
}

SignerCheck checkSigner(CMS_ContentInfo* cms, CMS_SignerInfo* signer, ContentView content, HCERTSTORE extraStore) {
    ensureGostEngine();
    SignerCheck check;
    std::vector<X509Ptr> candidates = candidateCertificates(cms, extraStore);
    for (X509Ptr& candidate : candidates) {
        if (CMS_SignerInfo_cert_cmp(signer, candidate.get()) == 0) {
            check.signerCertificate = std::move(candidate);
            break;
        }
    }
    if (!check.signerCertificate)
        return verdict(std::move(check), CADES_VERIFY_SIGNER_NOT_FOUND, CRYPT_E_SIGNER_NOT_FOUND);
    check.signingTime = signingTimeOf(signer);
    X509* certificate = check.signerCertificate.get();
    CMS_SignerInfo_set1_signer_cert(signer, certificate);

    const bool hasSignedAttributes = CMS_signed_get_attr_count(signer) > 0;
    if (hasSignedAttributes && CMS_SignerInfo_verify(signer) != 1)
        return verdict(std::move(check), CADES_VERIFY_BAD_SIGNATURE, NTE_BAD_SIGNATURE);
    if (!contentMatches(cms, signer, content))
        return verdict(std::move(check), CADES_VERIFY_BAD_SIGNATURE,
                       hasSignedAttributes ? CRYPT_E_HASH_VALUE : NTE_BAD_SIGNATURE);
    if (hasSignedAttributes && !signingCertificateAttributesMatch(signer, certificate))
        return verdict(std::move(check), CADES_VERIFY_SIGNER_NOT_FOUND, CRYPT_E_SIGNER_NOT_FOUND);
    if (hasSignedAttributes && !contentTypeMatches(cms, signer))
        return verdict(std::move(check), CADES_VERIFY_ECONTENTTYPE_NO_MATCH, CRYPT_E_MSG_ERROR);

    std::vector<X509*> messageCertificates;
    for (const X509Ptr& candidate : candidates)
        if (candidate) messageCertificates.push_back(candidate.get());
    if (!hasLongTermEvidence(signer)) {
        const ChainResult chain = buildChain(certificate, messageCertificates);
        if (!chain.trusted()) return verdict(std::move(check), CADES_VERIFY_NO_CHAIN, chainErrorCode(chain));
        size_t failing = 0;
        if (const DWORD error = revocationNow(chain.certificates, messageCertificates, &failing))
            return verdict(std::move(check),
                           failing == 0 ? CADES_VERIFY_END_CERT_REVOCATION : CADES_VERIFY_CHAIN_CERT_REVOCATION, error);
    }
    const EvidenceCheck evidence = checkLongTermEvidence(cms, signer, certificate, messageCertificates);
    check.signatureTimeStampTime = evidence.signatureTimeStampTime;
    if (evidence.status != CADES_VERIFY_SUCCESS) return verdict(std::move(check), evidence.status, evidence.errorCode);
    return check;
}

}  // namespace cades_emulator
