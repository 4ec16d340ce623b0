// Helpers of the CryptoPro back-end tests: the emulator as the module's CAdES library,
// files, openssl and the users of the test PKI (scripts/test-pki.conf).
#pragma once

#include "model/SignOptions.h"
#include "support/TestPki.h"

#include <filesystem>
#include <string>
#include <vector>

namespace cptest {

using Bytes = std::vector<unsigned char>;

// Serial-number texts of the test PKI's users, as the certificate store writes them.
inline constexpr const char* kUser256 = "0x0123456789ABCDEF01";
inline constexpr const char* kUser512 = "0x4512";
inline constexpr const char* kUserRsa = "0x5001";

Bytes toBytes(const std::string& text);
Bytes readFile(const std::filesystem::path& path);
// Writes the bytes to a new file of the process's scratch folder and returns its path.
std::filesystem::path writeTemp(const std::string& name, const Bytes& data);

using vesk::test::openssl;
using vesk::test::pki;

// openssl's verdict on a DER signature (content given for a detached one), trusting the PKI's
// roots and intermediate CAs; the verified content lands in *content when given.
bool opensslVerifies(const Bytes& signature, const Bytes* detachedContent = nullptr, Bytes* content = nullptr);

// Number of certificates a DER signature carries.
int carriedCertificates(const Bytes& signature);

Vesk::Crypto::SignOptions signOptions(const std::string& searchString, Vesk::Crypto::SignAttachType attachType);

}  // namespace cptest
