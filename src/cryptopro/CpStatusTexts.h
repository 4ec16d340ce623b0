#pragma once
// Texts for the numbers the CAdES library reports: the per-signer verification status and
// the library's last error code.

#include "cades/CadesAbi.h"
#include "model/Results.h"

#include <string>

namespace Vesk::Crypto::CryptoPro {

// Russian user text of a per-signer verification status; codes without a text of their own
// (0 included) give "Код ошибки: N не известен". The text is also logged at error level.
std::string CadesVerifyMessageDwStatus(DWORD status);

// UTF-8 description of the library's last error code (or of the code given); empty when the
// code is 0 or unknown.
std::string GetLastErrorMessage();
std::string GetLastErrorMessage(DWORD code);

// A failed result carrying the description of the library's last error ("Error 0x..." when
// the library has no text for it), logged after the context text. Null when the last error
// is 0: a failure that left no error code yields no result, and callers must cope with that.
RequestApiResultPtr GetResultWithError(const std::string& context);
// The same for an error code read earlier, right after the call that failed.
RequestApiResultPtr GetResultWithError(const std::string& context, DWORD code);

}  // namespace Vesk::Crypto::CryptoPro
