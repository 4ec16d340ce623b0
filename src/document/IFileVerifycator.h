#pragma once

#include "model/Results.h"

#include <filesystem>

namespace Vesk::Crypto {

// Verifies a signed file on disk: a signature file (with its original when detached) or a signed PDF.
class IFileVerifycator {  // compat: hosts and plug-ins use this spelling
public:
    virtual ~IFileVerifycator() = default;
    virtual VerifySignResultPtr verify(const std::filesystem::path& file) = 0;
};

}  // namespace Vesk::Crypto
