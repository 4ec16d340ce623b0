#pragma once

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

// The private key of a certificate: from its key file, or, for a context that did
// not come from the personal store, from the personal store's copy of the same
// certificate. Sets the last error (NTE_NO_KEY / NTE_BAD_KEYSET) when there is none.
EvpPkeyPtr loadPrivateKey(PCCERT_CONTEXT certificate);

// The key behind a provider handle from CryptAcquireCertificatePrivateKey, with the
// certificate it was acquired for; null for an unknown handle.
struct AcquiredKey {
    EvpPkeyPtr key;
    X509Ptr certificate;
};
const AcquiredKey* findAcquiredKey(HCRYPTPROV provider);

}  // namespace cades_emulator
