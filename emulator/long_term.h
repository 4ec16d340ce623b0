// CAdES-X Long Type 1 (ETSI TS 101 733, RFC 5126): the unsigned evidence a signer gets, and
// its check.
//   1.2.840.113549.1.9.16.2.14  signature-time-stamp: RFC 3161 token over the signature value
//   1.2.840.113549.1.9.16.2.21  complete-certificate-references: the CA certificates up to the root
//   1.2.840.113549.1.9.16.2.22  complete-revocation-references: one CrlOcspRef for the signer's
//                               certificate, then one per certificate reference (empty when no
//                               responder was asked: the root, a CA that names none)
//   1.2.840.113549.1.9.16.2.23  certificate-values: those CA certificates
//   1.2.840.113549.1.9.16.2.24  revocation-values: the BasicOCSPResponses
//   1.2.840.113549.1.9.16.2.25  CAdES-C time-stamp: token over the signature value's octets
//                               followed by the attributes .14, .21 and .22, each without its
//                               outer SEQUENCE's tag and length (attrType then attrValues)
// References hash with the signer's digest (OtherHashAlgAndValue); an OCSP reference hashes
// the BasicOCSPResponse kept in the revocation values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

// The time-stamp service address of a CAdES type that needs one, narrowed to plain ASCII.
// Returns 0, or TSPCLI_ERROR_AddressIsEmpty without an address and E_INVALIDARG for an
// address that is not a plain http:// address.
DWORD timeStampAddressOf(const CADES_SIGN_PARA* cadesPara, std::string& address);

// Gives a signed signer the X Long Type 1 evidence: time-stamps from `tspAddress`, OCSP
// answers from each chain certificate's responder. Returns 0 or the error code of the
// failing step (time_stamp.h, ocsp_client.h; OCSPCLI_ERROR_AddressNotFound when the signer's
// certificate names no responder; the chain's CERT_E_* when it is not trusted now).
DWORD addLongTermEvidence(CMS_ContentInfo* cms, CMS_SignerInfo* signer, X509* signerCertificate,
                          const std::string& tspAddress);

struct EvidenceCheck {
    DWORD status = CADES_VERIFY_SUCCESS;
    DWORD errorCode = ERROR_SUCCESS;
    std::optional<FILETIME> signatureTimeStampTime;
};

// True when the signer carries evidence beyond a signature time-stamp (references, values, a
// CAdES-C time-stamp): its chain and revocation are then judged from that evidence.
bool hasLongTermEvidence(CMS_SignerInfo* signer);

// Checks whatever evidence the signer carries (none for CAdES-BES), in this order:
//  3  a signature-time-stamp is missing (while other evidence is there) or does not verify;
//  1  some evidence is there but a reference or value attribute is missing or malformed;
//  5  no trusted chain at the signature time-stamp's time with the kept certificates;
//  4  the references do not match the certificate and revocation values;
//  6  the signer's certificate has no kept OCSP answer, or its answer fails judgeKeptResponse
//     (ocsp_client.h) against the signature time-stamp's time;
//  7  the same for a CA certificate's answer, or an answer about no certificate of the chain;
//  9  the CAdES-C time-stamp is missing or does not verify.
EvidenceCheck checkLongTermEvidence(CMS_ContentInfo* cms, CMS_SignerInfo* signer, X509* signerCertificate,
                                    const std::vector<X509*>& extra);

}  // namespace cades_emulator
