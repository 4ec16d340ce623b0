#pragma once

#include "model/Results.h"
#include "model/SignOptions.h"

#include <vector>

namespace Vesk::Crypto {

// Makes signature messages. The slot order of the virtual table is kept as the host expects it.
class ISign {
public:
    virtual RequestApiResultPtr signMessage(const std::vector<unsigned char>& data,
                                            std::vector<unsigned char>& signature, const SignOptions& options,
                                            InternalSignOptions& internal) = 0;
    virtual RequestApiResultPtr addCoSign(const std::vector<unsigned char>& signedMessage,
                                          std::vector<unsigned char>& result, const SignOptions& options,
                                          InternalSignOptions& internal) = 0;
    virtual ~ISign() = default;
};

}  // namespace Vesk::Crypto
