#include "cms_signer.h"

#include "chain.h"
#include "last_error.h"
#include "long_term.h"
#include "ocsp_client.h"

namespace cades_emulator {
namespace {

bool addSigningCertificateV2(CMS_SignerInfo* signer, X509* certificate, const EVP_MD* digest) {
    EssSigningCertV2Ptr signingCertificate(OSSL_ESS_signing_cert_v2_new_init(digest, certificate, nullptr, 1));
    if (!signingCertificate) return false;
    unsigned char* der = nullptr;
    const int length = i2d_ESS_SIGNING_CERT_V2(signingCertificate.get(), &der);
    if (length <= 0) return false;
    OpenSslBuffer owned(der);
    Asn1StringPtr sequence(ASN1_STRING_new());
    if (!sequence || ASN1_STRING_set(sequence.get(), der, length) != 1) return false;
    return CMS_signed_add1_attr_by_NID(signer, NID_id_smime_aa_signingCertificateV2, V_ASN1_SEQUENCE, sequence.get(),
                                       -1) == 1;
}

}  // namespace

bool chooseSignatureLevel(const CADES_SIGN_PARA* cadesPara, SignatureRequest& request) {
    const DWORD type = cadesPara == nullptr ? CADES_BES : (cadesPara->dwCadesType & 0xFFFF);
    switch (type) {
        case CADES_DEFAULT:  // the default CAdES form is CAdES-BES
        case CADES_BES:
            request.level = SignatureLevel::Bes;
            return true;
        case PKCS7_TYPE:
            request.level = SignatureLevel::Pkcs7;
            return true;
        case CADES_X_LONG_TYPE_1:
        case CADES_T:
        case CADES_A: {
            if (const DWORD error = timeStampAddressOf(cadesPara, request.tspAddress)) return fail(error);
            if (type != CADES_X_LONG_TYPE_1) return fail(E_NOTIMPL);
            request.level = SignatureLevel::XLongType1;
            return true;
        }
        default:
            return fail(E_INVALIDARG);
    }
}

bool completeSignatureLevel(CMS_ContentInfo* cms, CMS_SignerInfo* signer, X509* certificate,
                            const SignatureRequest& request) {
    if (request.level == SignatureLevel::XLongType1) {
        const DWORD error = addLongTermEvidence(cms, signer, certificate, request.tspAddress);
        return error == 0 || fail(error);
    }
    // Without evidence to gather, a certificate its responder says is revoked still signs nothing.
    X509StackPtr messageCertificates(CMS_get1_certs(cms));
    std::vector<X509*> extra;
    for (int i = 0; messageCertificates && i < sk_X509_num(messageCertificates.get()); ++i)
        extra.push_back(sk_X509_value(messageCertificates.get(), i));
    const ChainResult chain = buildChain(certificate, extra);
    const DWORD error = chain.trusted() ? revocationNow(chain.certificates, extra, nullptr) : 0;
    return error == 0 || fail(error);
}

CMS_SignerInfo* addSigner(CMS_ContentInfo* cms, X509* certificate, EVP_PKEY* key, const EVP_MD* digest,
                          SignatureLevel level) {
    const unsigned flags = CMS_PARTIAL | CMS_BINARY | CMS_NOCERTS | CMS_NOSMIMECAP;
    CMS_SignerInfo* signer = CMS_add1_signer(cms, certificate, key, digest, flags);
    if (signer == nullptr) return nullptr;
    if (level != SignatureLevel::Pkcs7 && !addSigningCertificateV2(signer, certificate, digest)) return nullptr;
    return signer;
}

bool addCertificateOnce(CMS_ContentInfo* cms, X509* certificate) {
    X509StackPtr present(CMS_get1_certs(cms));
    for (int i = 0; present && i < sk_X509_num(present.get()); ++i)
        if (X509_cmp(sk_X509_value(present.get(), i), certificate) == 0) return true;
    return CMS_add1_cert(cms, certificate) == 1;
}

std::vector<BYTE> encodeMessage(CMS_ContentInfo* cms) {
    unsigned char* der = nullptr;
    const int length = i2d_CMS_ContentInfo(cms, &der);
    if (length <= 0) return {};
    OpenSslBuffer owned(der);
    return std::vector<BYTE>(der, der + length);
}

OpenSslBuffer encodeMessageInPlace(CMS_ContentInfo* cms, size_t& size) {
    unsigned char* der = nullptr;
    const int length = i2d_CMS_ContentInfo(cms, &der);
    OpenSslBuffer owned(der);
    size = length > 0 ? static_cast<size_t>(length) : 0;
    return length > 0 ? std::move(owned) : nullptr;
}

}  // namespace cades_emulator
