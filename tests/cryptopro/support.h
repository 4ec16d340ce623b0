// Helpers of the CryptoPro back-end tests: the emulator as the module's CAdES library, files,
// openssl and a user of the test PKI (scripts/test-pki.conf). The PDF signer's tests use them too.
#pragma once

#include "model/SignOptions.h"

#include <filesystem>
#include <string>
#include <vector>

namespace cptest {

using Bytes = std::vector<unsigned char>;

// Serial-number text of the test PKI's 2012-256 user, as the certificate store writes it.
inline constexpr const char* kUser256 = "0x0123456789ABCDEF01";

Bytes toBytes(const std::string& text);
// The whole content of a file; empty when it cannot be read.
Bytes readFile(const std::filesystem::path& path);
// Writes the bytes to a new file of the process's scratch folder and returns its path.
std::filesystem::path writeTemp(const std::string& name, const Bytes& data);

// openssl's verdict on a DER signature (content given for a detached one), trusting the PKI's
// roots and intermediate CAs.
bool opensslVerifies(const Bytes& signature, const Bytes* detachedContent = nullptr);

Vesk::Crypto::SignOptions signOptions(const std::string& searchString, Vesk::Crypto::SignAttachType attachType);

}  // namespace cptest
