#pragma once

#include <openssl/evp.h>

namespace cades_emulator {

// The digest to sign with, for a hash OID given by the caller and the signer's key.
// Null when the OID is null, unknown, or does not belong with the key's algorithm
// (the library signs with GOST keys only, each with its own hash).
const EVP_MD* signingDigestFor(const char* hashOid, EVP_PKEY* key);

}  // namespace cades_emulator
