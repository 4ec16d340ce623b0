#pragma once
// Reads a parameter of a message with the library's two calls: its length, then its bytes.

#include "cades/CadesAbi.h"
#include "model/Results.h"

#include <string>
#include <vector>

namespace Vesk::Crypto::CryptoPro {

// Fills `out` with parameter `param` of the message; null when read, else the failed call's
// result with "CONTEXT CryptMsgGetParam, for get WHAT length." or "... data.". The length is
// logged as "The size for the WHAT BLOB is N".
RequestApiResultPtr readMessageParam(HCRYPTMSG message, DWORD param, std::vector<unsigned char>& out,
                                     const std::string& context, const std::string& what);

}  // namespace Vesk::Crypto::CryptoPro
