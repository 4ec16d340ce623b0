#include "crypto/CryptoProviderFactory.h"

#include "cryptopro/CpCertificateStorage.h"
#include "cryptopro/CpExtract.h"
#include "cryptopro/CpSigner.h"
#include "cryptopro/CpVerifySign.h"
#include "cryptopro/CryptoProInstallation.h"
#include "cryptopro/CryptoProLibApi.h"

namespace Vesk::Crypto {
namespace {

// Asked anew on every call, so no object is made whose library functions are missing.
bool servesCryptoPro(CryptoProvider provider) {
    return provider == CryptoProvider::CryptoPro && CryptoProviderFactory::CryptoProIsAvaible();
}

}  // namespace

std::shared_ptr<IVerify> CryptoProviderFactory::getVerifycator(CryptoProvider provider) {
    if (!servesCryptoPro(provider)) return nullptr;
    return std::make_shared<CryptoPro::CpVerifySign>();
}

std::shared_ptr<ISign> CryptoProviderFactory::getSigner(CryptoProvider provider) {
    if (!servesCryptoPro(provider)) return nullptr;
    return std::make_shared<CryptoPro::CpSigner>();
}

std::shared_ptr<IExtract> CryptoProviderFactory::getExtracter(CryptoProvider provider) {
    if (!servesCryptoPro(provider)) return nullptr;
    return std::make_shared<CryptoPro::CpExtract>();
}

std::shared_ptr<ICertificateStorage> CryptoProviderFactory::getStorage(CryptoProvider provider) {
    if (!servesCryptoPro(provider)) return nullptr;
    return std::make_shared<CryptoPro::CpCertificateStorage>(CryptoPro::CpCertificateStorage::My);
}

bool CryptoProviderFactory::CryptoProIsAvaible() { return CryptoPro::CryptoProLibApi::instance().isLoaded(); }

bool CryptoProviderFactory::CryptoProIsInstalled() { return fstools::cryptoproIsInstalled(); }

std::vector<CryptoProvider> CryptoProviderFactory::getAvaibleCryptoproviderList() {
    std::vector<CryptoProvider> providers;
    if (CryptoProIsAvaible()) providers.push_back(CryptoProvider::CryptoPro);
    providers.push_back(CryptoProvider::Native);  // compat: hosts expect Native listed, though nothing serves it
    return providers;
}

}  // namespace Vesk::Crypto
