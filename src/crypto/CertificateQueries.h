#pragma once
// The host's certificate questions: the whole store, or the certificates matching a text.

#include "model/Enums.h"

#include <string>

namespace Vesk::Crypto {

std::string getCertificateList(CryptoProvider provider);
std::string findCertificate(const std::string& text, CryptoProvider provider);
// The answer of "get_providers".
std::string getProviderList();

}  // namespace Vesk::Crypto
