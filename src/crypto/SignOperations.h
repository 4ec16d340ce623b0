#pragma once
// The "sign" operations; each answers a finished JSON text.

#include "model/SignOptions.h"

#include <string>

namespace Vesk::Crypto {

// Signs options.file into options.output_file: a signature file, or a signed PDF.
std::string signFile(SignOptions& options, InternalSignOptions& internal);
// Adds a further signature to a file that is already signed.
std::string cosignFile(SignOptions& options, InternalSignOptions& internal);
// Signs (or co-signs) base64 data handed over in the request; answers the signature in base64.
std::string signData(SignOptions& options, InternalSignOptions& internal, const std::string& data);

}  // namespace Vesk::Crypto
