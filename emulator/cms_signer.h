#pragma once

#include <string>
#include <vector>

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

// What the caller asked for in CADES_SIGN_PARA.dwCadesType, checked.
enum class SignatureLevel { Bes, Pkcs7, XLongType1 };

struct SignatureRequest {
    SignatureLevel level = SignatureLevel::Bes;
    std::string tspAddress;  // for X Long Type 1: the time-stamp service
};

// Reads the CAdES type and time-stamp settings. X Long Type 1 needs a time-stamp service
// address (TSPCLI_ERROR_AddressIsEmpty without one, E_INVALIDARG when it is not a plain
// http:// address); CAdES-T and CAdES-A are not made here (E_NOTIMPL once an address is
// given). Sets the last error and returns false on refusal.
bool chooseSignatureLevel(const CADES_SIGN_PARA* cadesPara, SignatureRequest& request);

// For X Long Type 1: adds the long-term evidence to the signed signer (long_term.h). Sets the
// last error and returns false on failure.
bool completeSignatureLevel(CMS_ContentInfo* cms, CMS_SignerInfo* signer, X509* certificate,
                            const SignatureRequest& request);

// Adds a signer to `cms` and gives it its signed attributes except the message
// digest: content type and signing time come with signing; a CAdES signer also
// gets signing-certificate-v2 (RFC 5035) with the signing hash. Not signed yet.
CMS_SignerInfo* addSigner(CMS_ContentInfo* cms, X509* certificate, EVP_PKEY* key, const EVP_MD* digest,
                          SignatureLevel level);

// Adds the certificate to the message's certificate set unless it is already there.
bool addCertificateOnce(CMS_ContentInfo* cms, X509* certificate);

std::vector<BYTE> encodeMessage(CMS_ContentInfo* cms);
// The DER as OpenSSL writes it, for handing out without a copy; null on failure.
OpenSslBuffer encodeMessageInPlace(CMS_ContentInfo* cms, size_t& size);

}  // namespace cades_emulator
