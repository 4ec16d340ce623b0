#pragma once

#include "model/Results.h"

#include <vector>

namespace Vesk::Crypto {

// Verifies signature messages, one SignInfo per signer.
class IVerify {
public:
    virtual ~IVerify() = default;
    virtual VerifySignResultPtr verifyAttachedSign(const std::vector<unsigned char>& signedMessage) = 0;
    virtual VerifySignResultPtr verifyDetachedSign(const std::vector<unsigned char>& signature,
                                                   const std::vector<unsigned char>& originalData) = 0;
};

}  // namespace Vesk::Crypto
