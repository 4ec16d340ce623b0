#pragma once
// Conversions of CAdES library times and texts.

#include "cades/CadesAbi.h"
#include "model/Results.h"

#include <string>

namespace Vesk::Crypto::CryptoPro {

// "dd/mm/yyyy hh:mm:ss UTC" of a certificate or signing time, or "Time not valid!".
std::string MyCertGetFileTime(FILETIME time);

// UTF-8 of a wide text in a 500-byte buffer; the result is always the whole buffer.
void WideToAnsi(const std::wstring& wide, std::string& out);
void AnsiToUTF8(const std::string& in, std::string& out);

// The display record of a certificate, or null when its names cannot be read. The context
// stays the caller's: an enumeration still needs it for its next step.
CertificatePtr certContextToObject(PCCERT_CONTEXT context);

}  // namespace Vesk::Crypto::CryptoPro
