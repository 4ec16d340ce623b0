#pragma once
// Turns a provider value into the back-end objects that serve it. Only the CryptoPro provider
// has a back-end, and only while its library is loaded; every other request gets null.

#include "model/Enums.h"
#include "model/ICertificateStorage.h"
#include "model/IExtract.h"
#include "model/ISign.h"
#include "model/IVerify.h"

#include <memory>
#include <string>
#include <vector>

namespace Vesk::Crypto {

class CryptoProviderFactory {
public:
    static std::shared_ptr<IVerify> getVerifycator(CryptoProvider provider);  // compat: hosts use this spelling
    static std::shared_ptr<ISign> getSigner(CryptoProvider provider);
    static std::shared_ptr<IExtract> getExtracter(CryptoProvider provider);
    static std::shared_ptr<ICertificateStorage> getStorage(CryptoProvider provider);

    static bool CryptoProIsAvaible();  // compat: hosts use this spelling
    // Whether CryptoPro's tools are installed on this machine, loaded or not.
    static bool CryptoProIsInstalled();
    static bool OpenSslIsAvaible() { return true; }
    static bool NativeAvaible() { return true; }
    // CryptoPro while its library is loaded, then Native, always.
    static std::vector<CryptoProvider> getAvaibleCryptoproviderList();  // compat: hosts use this spelling
};

}  // namespace Vesk::Crypto
