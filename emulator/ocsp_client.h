// OCSP (RFC 6960): asking a certificate's responder about it, and finding the answer again.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include <openssl/ocsp.h>

#include "abi.h"
#include "http_client.h"
#include "openssl_ptr.h"

namespace cades_emulator {

using OcspBasicPtr = std::unique_ptr<OCSP_BASICRESP, OpenSslDeleter<OCSP_BASICRESP_free>>;

// Where to ask about `certificate`: the OCSP address of its Authority Information Access, or,
// when it has one and CADES_EMULATOR_OCSP_URL is set, that variable's value instead (the test
// services run on ports chosen at test time). Empty when the certificate names no responder.
std::string ocspAddressOf(X509* certificate);

// Asks the responder at `address` about `certificate`, issued by `issuer`, with a nonce. The
// answer must be successful, carry the nonce, be signed by the issuer or a responder it
// delegated (checked against the Root store; `extra` may fill the path), be current, and say
// "good". Returns 0 with the BasicOCSPResponse (DER), or the error code:
//   CRYPT_E_REVOCATION_OFFLINE   not reached, no answer in time, not an HTTP 200 answer of DER
//   CRYPT_E_NO_REVOCATION_CHECK  not an OCSPResponse, unsuccessful, unsigned or badly signed,
//                                wrong nonce, stale, or the certificate's status is unknown
//   CRYPT_E_REVOKED              the certificate is revoked
DWORD askCertificateStatus(const std::string& address, X509* certificate, X509* issuer, const std::vector<X509*>& extra,
                           std::vector<BYTE>& basicResponse, Reach reach = Reach::Persist);

// Asks, now, the responder each certificate of `chain` (end certificate first, root last) below
// the root names, trying each once (Reach::Once). Only an answer that says "revoked", or that
// cannot be trusted, fails: without a network or a responder named nothing more can be known
// and the chain alone decides. Returns 0 or the error of askCertificateStatus, with the failing
// certificate's index in *failing.
DWORD revocationNow(const std::vector<X509Ptr>& chain, const std::vector<X509*>& extra, size_t* failing);

// A kept answer judged again later (RFC 6960 3.2): signed by `issuer` or by a responder it
// delegated with id-kp-OCSPSigning, the responder's chain valid at the answer's producedAt
// (checked against the Root store; `extra` may fill the path), an answer about `certificate`
// that says "good", produced at or after `notBefore` and within its thisUpdate..nextUpdate.
// Returns 0, CRYPT_E_REVOKED, or CRYPT_E_NO_REVOCATION_CHECK for anything else.
DWORD judgeKeptResponse(OCSP_BASICRESP* response, X509* certificate, X509* issuer, const std::vector<X509*>& extra,
                        std::time_t notBefore);

// The response, among `responses`, whose answer is about `certificate` issued by `issuer`;
// -1 when none is.
int responseAbout(const std::vector<OCSP_BASICRESP*>& responses, X509* certificate, X509* issuer);

}  // namespace cades_emulator
