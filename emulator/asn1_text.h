// Small conversions from OpenSSL's ASN.1 objects to CryptoAPI forms.
#pragma once

#include <string>
#include <vector>

#include <openssl/x509.h>

#include "abi.h"

namespace cades_emulator {

std::string oidText(const ASN1_OBJECT* object);
std::vector<BYTE> derOfName(const X509_NAME* name);
// DER of an AlgorithmIdentifier's parameters; empty when absent.
std::vector<BYTE> algorithmParameters(const X509_ALGOR* algorithm);
std::string algorithmOid(const X509_ALGOR* algorithm);
// CryptoAPI keeps serial numbers as the INTEGER's content octets, least significant
// byte first (a leading zero octet that keeps the number positive included).
std::vector<BYTE> littleEndianSerial(const ASN1_INTEGER* serial);
std::vector<BYTE> stringBytes(const ASN1_STRING* string);

}  // namespace cades_emulator
