#pragma once
// The "enhance" operation: a signature file signed earlier gets its long-term evidence now.

#include "model/SignOptions.h"

#include <string>

namespace Vesk::Crypto {

// Upgrades every CAdES-BES signer of the signature file options.file (attached, or detached
// beside its original) to CAdES-X Long Type 1, with the time-stamp service options.tsp_url,
// into options.output_file; answers that path as "sign" does. Signers already X Long Type 1
// stay as they are; a signed PDF is refused.
std::string enhanceFile(const SignOptions& options);

}  // namespace Vesk::Crypto
