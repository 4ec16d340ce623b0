#pragma once

#include "model/Results.h"
#include "model/SignOptions.h"

namespace Vesk::Crypto {

// Turns the file named in the options into a signed file of one kind (signature file or signed PDF).
class IDocumentSignType {
public:
    virtual ~IDocumentSignType() = default;
    virtual RequestApiResultPtr sign(const SignOptions& options, InternalSignOptions& internal) = 0;
};

}  // namespace Vesk::Crypto
