// Helpers shared by the emulator tests: handle guards, files, the openssl command
// and the certificates of the test PKI (scripts/test-pki.conf).
#pragma once

#include "cades/CadesAbi.h"
#include "support/TestPki.h"

#include <memory>
#include <string>
#include <vector>

namespace cadestest {

using Bytes = std::vector<unsigned char>;

// ---- guards -----------------------------------------------------------------

struct CertFree {
    void operator()(PCCERT_CONTEXT c) const { CertFreeCertificateContext(c); }
};
using CertPtr = std::unique_ptr<const CERT_CONTEXT, CertFree>;

struct StoreClose {
    void operator()(HCERTSTORE s) const { CertCloseStore(s, 0); }
};
using StorePtr = std::unique_ptr<void, StoreClose>;

struct MsgClose {
    void operator()(HCRYPTMSG m) const { CryptMsgClose(m); }
};
using MsgPtr = std::unique_ptr<void, MsgClose>;

struct BlobFree {
    void operator()(CRYPT_DATA_BLOB* b) const { CadesFreeBlob(b); }
};
using BlobPtr = std::unique_ptr<CRYPT_DATA_BLOB, BlobFree>;

struct InfoFree {
    void operator()(CADES_VERIFICATION_INFO* i) const { CadesFreeVerificationInfo(i); }
};
using InfoPtr = std::unique_ptr<CADES_VERIFICATION_INFO, InfoFree>;

// Private key handle from CryptAcquireCertificatePrivateKey, released only when the
// library says the caller must.
class KeyHandle {
public:
    explicit KeyHandle(PCCERT_CONTEXT cert);
    ~KeyHandle();
    KeyHandle(const KeyHandle&) = delete;
    KeyHandle& operator=(const KeyHandle&) = delete;
    bool ok() const { return ok_; }
    HCRYPTPROV prov() const { return prov_; }
    DWORD keySpec() const { return keySpec_; }

private:
    bool ok_ = false;
    HCRYPTPROV prov_ = 0;
    DWORD keySpec_ = 0;
    BOOL mustFree_ = FALSE;
};

// A co-signer's description: the certificate, its key and the digest.
CMSG_SIGNER_ENCODE_INFO SignerInfo(PCCERT_CONTEXT cert, const KeyHandle& key, const char* hashOid);

// ---- files and processes ----------------------------------------------------

// A file in the per-process temporary HOME (tests/support/TempHome.h).
std::string TempPath(const std::string& name);
Bytes ReadFile(const std::string& path);
void WriteFile(const std::string& path, const Bytes& data);
Bytes ToBytes(const std::string& s);

using vesk::test::openssl;
using vesk::test::pki;

// ---- test PKI -----------------------------------------------------------------

// DER of a PEM certificate file, converted by openssl.
Bytes CertFileDer(const std::string& path);
// DER of pem/NAME.crt.
Bytes CertDer(const std::string& name);

// The My-store certificate whose encoding equals pem/NAME.crt; null if none.
CertPtr FindInMy(const std::string& name);

std::vector<CertPtr> ListStore(HCERTSTORE store);

// ---- emulator calls ------------------------------------------------------------

constexpr const char* kHash256 = "1.2.643.7.1.1.2.2";
constexpr const char* kHash512 = "1.2.643.7.1.1.2.3";

struct SignOutcome {
    BOOL ok = FALSE;
    DWORD error = 0;  // GetLastError() right after the call
    BlobPtr blob;
};

SignOutcome Sign(PCCERT_CONTEXT cert, const char* hashOid, bool detached, const Bytes& data,
                 DWORD cadesType = CADES_BES, const CADES_SERVICE_CONNECTION_PARA* tsp = nullptr);

struct VerifyOutcome {
    BOOL ok = FALSE;
    InfoPtr info;
    Bytes content;  // attached only
};

// CadesVerifyMessage (detachedContent null) or CadesVerifyDetachedMessage.
VerifyOutcome Verify(const Bytes& signature, DWORD signerIndex = 0, const Bytes* detachedContent = nullptr);

// Decoded message for CryptMsg*/CadesMsg* calls.
MsgPtr OpenDecoded(const Bytes& signature, bool detached = false);

// Seconds since the Unix epoch of a FILETIME.
double UnixTime(const FILETIME& ft);

}  // namespace cadestest
