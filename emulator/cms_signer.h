#pragma once

#include <vector>

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

// What the caller asked for in CADES_SIGN_PARA.dwCadesType, checked.
enum class SignatureLevel { Bes, Pkcs7 };

// Reads the CAdES type and time-stamp settings. Types that need a time-stamp fail:
// with TSPCLI_ERROR_AddressIsEmpty when no TSP address is given, otherwise with
// TSPCLI_ERROR_HTTP because this library has no time-stamp client. Sets the last
// error and returns false on refusal.
bool chooseSignatureLevel(const CADES_SIGN_PARA* cadesPara, SignatureLevel& level);

// Adds a signer to `cms` and gives it its signed attributes except the message
// digest: content type and signing time come with signing; a CAdES-BES signer also
// gets signing-certificate-v2 (RFC 5035) with the signing hash. Not signed yet.
CMS_SignerInfo* addSigner(CMS_ContentInfo* cms, X509* certificate, EVP_PKEY* key, const EVP_MD* digest,
                          SignatureLevel level);

// Adds the certificate to the message's certificate set unless it is already there.
bool addCertificateOnce(CMS_ContentInfo* cms, X509* certificate);

std::vector<BYTE> encodeMessage(CMS_ContentInfo* cms);
// The DER as OpenSSL writes it, for handing out without a copy; null on failure.
OpenSslBuffer encodeMessageInPlace(CMS_ContentInfo* cms, size_t& size);

} // namespace cades_emulator
