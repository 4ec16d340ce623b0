#pragma once

#include <optional>
#include <vector>

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

// Bytes checked where they lie: the caller's buffer or the content inside a parsed message.
struct ContentView {
    ContentView(const BYTE* bytes, size_t length) : data(bytes), size(length) {}
    ContentView(const std::vector<BYTE>& bytes) : data(bytes.data()), size(bytes.size()) {}
    const BYTE* data;
    size_t size;
};

struct SignerCheck {
    DWORD status = CADES_VERIFY_SUCCESS;  // CADES_VERIFY_*
    DWORD errorCode = ERROR_SUCCESS;      // the error code that goes with the status
    X509Ptr signerCertificate;            // null when not found
    std::optional<FILETIME> signingTime;
    std::optional<FILETIME> signatureTimeStampTime;  // from a valid signature-time-stamp
};

// Verifies one signer of a SignedData over `content`, in this order:
//  2  signer certificate in neither the message, `extraStore` nor the My/CA/Root stores,
//     or not the certificate its signing-certificate(-v2) attribute names;
//  8  signature over the signed attributes, or the content digest, wrong;
//  13 content-type attribute differs from the encapsulated content type;
//  for a signer without long-term evidence (CAdES-BES, -T):
//   5  no valid chain now up to a root of the Root store;
//   6, 7  the OCSP responder a chain certificate names, asked now, says "revoked" or answers
//      what cannot be trusted (one connection attempt; a responder out of reach decides nothing);
//  3, 1, 5, 4, 6, 7, 9  the long-term evidence the signer carries, if any (long_term.h): there
//     the chain and revocation are judged at the signature time-stamp's time from the evidence.
SignerCheck checkSigner(CMS_ContentInfo* cms, CMS_SignerInfo* signer, ContentView content, HCERTSTORE extraStore);

// The certificate a signer names, from the message, `extraStore` or the My/CA/Root stores.
X509Ptr signerCertificateOf(CMS_ContentInfo* cms, CMS_SignerInfo* signer, HCERTSTORE extraStore);

std::optional<FILETIME> signingTimeOf(CMS_SignerInfo* signer);

// The content inside an attached message; empty for a detached one.
std::vector<BYTE> embeddedContent(CMS_ContentInfo* cms);
// The same without a copy: valid while the message lives.
ContentView embeddedContentView(CMS_ContentInfo* cms);

// Blocks of content joined in order; false when a block is null but not empty.
bool joinDetachedContent(DWORD count, const BYTE* blocks[], const DWORD sizes[], std::vector<BYTE>& content);

}  // namespace cades_emulator
