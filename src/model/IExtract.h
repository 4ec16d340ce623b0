#pragma once

#include "model/Results.h"

#include <vector>

namespace Vesk::Crypto {

// Takes the signed content out of an attached signature message.
class IExtract {
public:
    virtual RequestApiResultPtr extractMessage(const std::vector<unsigned char>& signedMessage,
                                               std::vector<unsigned char>& content) = 0;
    virtual ~IExtract() = default;
};

}  // namespace Vesk::Crypto
