#pragma once
// The "verify" and "extract" operations; each answers a finished JSON text.

#include "model/Enums.h"

#include <filesystem>
#include <string>

namespace Vesk::Crypto {

// Verifies a file (signature file, original with its signature beside it, or signed PDF) with
// every usable provider and merges what they report.
std::string verifySign(const std::filesystem::path& file, CryptoProvider provider);

// Verifies base64 data and signature handed over in the request; the answer also has "chain".
std::string verifySign(const std::string& data, const std::string& signature, bool attached, CryptoProvider provider);

// Saves the content of an attached signature into the temporary folder; answers its path in base64.
std::string extractData(const std::filesystem::path& file, CryptoProvider provider);

}  // namespace Vesk::Crypto
