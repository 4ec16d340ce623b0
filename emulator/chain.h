#pragma once

#include <ctime>
#include <optional>
#include <vector>

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

struct ChainResult {
    std::vector<X509Ptr> certificates;  // end certificate first, as far as it could be built
    std::vector<DWORD> elementErrors;   // CERT_TRUST_* bits per certificate
    DWORD chainErrors = CERT_TRUST_NO_ERROR;
    bool trusted() const { return chainErrors == CERT_TRUST_NO_ERROR; }
};

// Trust anchors (the Root store) and the certificates that may fill a path (the CA and personal
// stores and `extra`), for verifying chains, time-stamp tokens and OCSP responses.
struct TrustMaterial {
    X509StorePtr anchors;
    X509StackPtr untrusted;
};
TrustMaterial loadTrust(const std::vector<X509*>& extra);

// Builds the chain of `certificate` from the CA and personal stores, the extra
// certificates given, up to a root of the Root store; checks signatures and
// validity at `when` (now when empty). No revocation checking: no CRLs or OCSP here.
ChainResult buildChain(X509* certificate, const std::vector<X509*>& extraCertificates,
                       std::optional<std::time_t> when = std::nullopt);

}  // namespace cades_emulator
