// Private keys: unencrypted PEM PKCS#8 files next to the personal certificates.
// A "provider handle" is the address of an AcquiredKey owned by this library.
#include "private_key.h"

#include <openssl/pem.h>

#include "certificate.h"
#include "gost_engine.h"
#include "handle_registry.h"
#include "last_error.h"
#include "store.h"

namespace cades_emulator {
namespace {

HandleRegistry<AcquiredKey>& acquiredKeys() {
    static HandleRegistry<AcquiredKey> registry;
    return registry;
}

EvpPkeyPtr readKeyFile(const std::filesystem::path& file) {
    BioPtr in(BIO_new_file(file.c_str(), "r"));
    if (!in) return nullptr;
    return EvpPkeyPtr(PEM_read_bio_PrivateKey(in.get(), nullptr, nullptr, nullptr));
}

// Key file of the same certificate in the personal store, or empty.
std::filesystem::path personalKeyFileFor(const CertificateData& certificate) {
    HCERTSTORE handle = openSystemStore("My");
    std::filesystem::path keyFile;
    if (CertStore* store = findStore(handle)) {
        if (const CertificateReference* same = store->findEncoded(certificate.encoded()))
            keyFile = same->data()->keyFile();
    }
    CertCloseStore(handle, 0);
    return keyFile;
}

}  // namespace

EvpPkeyPtr loadPrivateKey(PCCERT_CONTEXT context) {
    const CertificateData* certificate = findCertificate(context);
    if (certificate == nullptr) {
        fail(E_INVALIDARG);
        return nullptr;
    }
    ensureGostEngine();
    std::filesystem::path keyFile = certificate->keyFile();
    if (keyFile.empty()) keyFile = personalKeyFileFor(*certificate);
    if (keyFile.empty()) {
        fail(NTE_NO_KEY);
        return nullptr;
    }
    EvpPkeyPtr key = readKeyFile(keyFile);
    if (!key || X509_check_private_key(certificate->x509(), key.get()) != 1) {
        fail(NTE_BAD_KEYSET);  // unreadable, or not the key of this certificate
        return nullptr;
    }
    return key;
}

const AcquiredKey* findAcquiredKey(HCRYPTPROV provider) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the handle is the key's address carried as an integer
    return acquiredKeys().find(reinterpret_cast<const void*>(static_cast<uintptr_t>(provider)));
}

}  // namespace cades_emulator

using namespace cades_emulator;

extern "C" BOOL CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert, DWORD dwFlags, void* pvParameters,
                                                  HCRYPTPROV* phCryptProvOrNCryptKey, DWORD* pdwKeySpec,
                                                  BOOL* pfCallerFreeProvOrNCryptKey) {
    (void)dwFlags, (void)pvParameters;
    if (pCert == nullptr || phCryptProvOrNCryptKey == nullptr) return fail(E_INVALIDARG);
    EvpPkeyPtr key = loadPrivateKey(pCert);
    if (!key) return FALSE;  // loadPrivateKey set the error
    auto acquired = std::make_unique<AcquiredKey>();
    acquired->key = std::move(key);
    acquired->certificate = shareX509(findCertificate(pCert)->x509());
    const void* handle = acquired.get();
    acquiredKeys().add(handle, std::move(acquired));

    *phCryptProvOrNCryptKey = static_cast<HCRYPTPROV>(reinterpret_cast<uintptr_t>(handle));
    if (pdwKeySpec != nullptr) *pdwKeySpec = AT_KEYEXCHANGE;  // GOST key pairs serve signing and key agreement
    if (pfCallerFreeProvOrNCryptKey != nullptr) *pfCallerFreeProvOrNCryptKey = TRUE;
    return TRUE;
}

extern "C" BOOL CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    if (dwFlags != 0) return fail(NTE_BAD_DATA);  // no flags are defined for releasing
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the handle is the key's address carried as an integer
    if (!acquiredKeys().take(reinterpret_cast<const void*>(static_cast<uintptr_t>(hProv)))) return fail(E_INVALIDARG);
    return TRUE;
}
