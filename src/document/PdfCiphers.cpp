#include "document/PdfCiphers.h"

#include "common/Logging.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <memory>
#include <mutex>

namespace Vesk::Crypto {
namespace {

struct ProviderUnload {
    void operator()(OSSL_PROVIDER* provider) const { OSSL_PROVIDER_unload(provider); }
};
using ProviderPtr = std::unique_ptr<OSSL_PROVIDER, ProviderUnload>;

// A fetch that fails leaves errors behind; the host's error queue is restored as it was.
bool rc4Available() {
    ERR_set_mark();
    EVP_CIPHER* rc4 = EVP_CIPHER_fetch(nullptr, "RC4", nullptr);
    const bool available = rc4 != nullptr;
    EVP_CIPHER_free(rc4);
    ERR_pop_to_mark();
    return available;
}

bool loadLegacyProvider() {
    // No explicit initialisation: whether the configuration file is read stays the host's choice.
    if (rc4Available()) return true;
    // The failed fetch above has already activated the default provider if it is the fallback.
    if (OSSL_PROVIDER_available(nullptr, "default") != 1) {
        VLOG_WARNING << "RC4 is unavailable and the default OpenSSL provider is not in use; RC4-encrypted PDFs "
                        "cannot be read";
        return false;
    }
    ERR_set_mark();
    // retain_fallbacks = 1: loading a provider must not switch off the default one. The
    // provider stays loaded while the module is, and is unloaded with it (at exit, before
    // OpenSSL's own clean-up, or when the host unloads the module).
    static ProviderPtr legacy;
    legacy.reset(OSSL_PROVIDER_try_load(nullptr, "legacy", 1));
    ERR_pop_to_mark();
    if (!legacy) {
        VLOG_WARNING << "OpenSSL legacy provider not found; RC4-encrypted PDFs cannot be read";
        return false;
    }
    VLOG_INFO << "OpenSSL legacy provider loaded for RC4-encrypted PDFs";
    return rc4Available();
}

}  // namespace

bool enableLegacyPdfCiphers() {
    static std::once_flag once;
    static bool available = false;
    std::call_once(once, [] { available = loadLegacyProvider(); });
    return available;
}

}  // namespace Vesk::Crypto
