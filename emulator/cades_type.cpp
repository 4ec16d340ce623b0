// CadesMsgIsType: which CAdES form a signer has, judged by its attributes.
//   PKCS7_TYPE   no signing-certificate or signing-certificate-v2 attribute
//   CADES_BES    signing-certificate(-v2) present
//   CADES_T      BES plus a signature time-stamp
//   CADES_X_LONG_TYPE_1  T plus complete references, certificate and revocation
//                values and a CAdES-C time-stamp
//   CADES_A      X Long Type 1 plus an archive time-stamp
// The answer is TRUE for the signer's own form only; CADES_DEFAULT stands for BES.
#include <openssl/objects.h>

#include "cades_type.h"
#include "last_error.h"
#include "message.h"

using namespace cades_emulator;

namespace {

bool hasSigned(CMS_SignerInfo* signer, const char* oid) {
    ASN1_OBJECT* object = OBJ_txt2obj(oid, 1);
    const bool found = object != nullptr && CMS_signed_get_attr_by_OBJ(signer, object, -1) >= 0;
    ASN1_OBJECT_free(object);
    return found;
}

bool hasUnsigned(CMS_SignerInfo* signer, const char* oid) {
    ASN1_OBJECT* object = OBJ_txt2obj(oid, 1);
    const bool found = object != nullptr && CMS_unsigned_get_attr_by_OBJ(signer, object, -1) >= 0;
    ASN1_OBJECT_free(object);
    return found;
}

}  // namespace

DWORD cades_emulator::signerForm(CMS_SignerInfo* signer) {
    const bool signingCertificate = hasSigned(signer, "1.2.840.113549.1.9.16.2.12") ||  // v1
                                    hasSigned(signer, "1.2.840.113549.1.9.16.2.47");    // v2
    if (!signingCertificate) return PKCS7_TYPE;
    if (!hasUnsigned(signer, "1.2.840.113549.1.9.16.2.14"))  // signature time-stamp
        return CADES_BES;
    const bool extendedLong = hasUnsigned(signer, "1.2.840.113549.1.9.16.2.21") &&  // certificate refs
                              hasUnsigned(signer, "1.2.840.113549.1.9.16.2.22") &&  // revocation refs
                              hasUnsigned(signer, "1.2.840.113549.1.9.16.2.23") &&  // certificate values
                              hasUnsigned(signer, "1.2.840.113549.1.9.16.2.24") &&  // revocation values
                              hasUnsigned(signer, "1.2.840.113549.1.9.16.2.25");    // CAdES-C time-stamp
    if (!extendedLong) return CADES_T;
    const bool archived = hasUnsigned(signer, "1.2.840.113549.1.9.16.2.27") || hasUnsigned(signer, "0.4.0.1733.2.4");
    return archived ? CADES_A : CADES_X_LONG_TYPE_1;
}

namespace {

bool isKnownType(DWORD type) {
    return type == CADES_DEFAULT || type == CADES_BES || type == CADES_T || type == CADES_X_LONG_TYPE_1 ||
           type == CADES_A || type == PKCS7_TYPE;
}

}  // namespace

extern "C" CSP_BOOL CadesMsgIsType(HCRYPTMSG hCryptMsg, DWORD dwSignatureIndex, DWORD dwCadesType, CSP_BOOL* pbResult) {
    if (pbResult == nullptr) return fail(E_INVALIDARG);
    *pbResult = FALSE;
    const DWORD type = dwCadesType & 0xFFFF;
    if (!isKnownType(type)) return fail(E_INVALIDARG);
    DecodedMessage* message = decodedMessage(hCryptMsg);
    if (message == nullptr) return FALSE;
    CMS_SignerInfo* signer = message->signer(dwSignatureIndex);
    if (signer == nullptr) return fail(CRYPT_E_INVALID_INDEX);
    const DWORD asked = type == CADES_DEFAULT ? CADES_BES : type;
    *pbResult = signerForm(signer) == asked ? TRUE : FALSE;
    return TRUE;
}
