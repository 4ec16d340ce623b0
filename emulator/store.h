// Certificate stores. The system stores live in folders under the emulator home:
//   $CADES_EMULATOR_HOME (or $HOME/.cades-emulator)/My    personal: NAME.crt + NAME.key
//                                                  /CA    intermediate CAs: *.crt
//                                                  /Root  trusted roots: *.crt
// Certificates are PEM (DER is accepted too); keys are unencrypted PEM PKCS#8.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "abi.h"
#include "certificate.h"

namespace cades_emulator {

std::filesystem::path emulatorHome();

class CertStore {
public:
    // A folder store; folder empty for an in-memory store.
    explicit CertStore(std::filesystem::path folder);

    const std::filesystem::path& folder() const { return folder_; }
    const std::vector<CertificateReference>& certificates() const { return certificates_; }
    // Index of the context in this store, or -1.
    long indexOf(PCCERT_CONTEXT context) const;
    // Adds (and for a folder store writes) a certificate; returns the store's context.
    PCCERT_CONTEXT add(X509Ptr certificate, const std::vector<BYTE>& encoded, bool writeFile);
    const CertificateReference* findEncoded(const std::vector<BYTE>& encoded) const;

private:
    void load();

    std::filesystem::path folder_;
    std::vector<CertificateReference> certificates_;
};

// Opens a store by system name ("My", "CA", "Root"; case-insensitive) or null.
HCERTSTORE openSystemStore(const std::string& name);
CertStore* findStore(HCERTSTORE handle);

// Every certificate of the My, CA and Root stores, read from disk now.
std::vector<X509Ptr> loadSystemStoreCertificates(const std::string& name);

}  // namespace cades_emulator
