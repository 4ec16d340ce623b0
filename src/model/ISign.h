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
    // Upgrades every CAdES-BES signer of a signature message to CAdES-X Long Type 1 (signers
    // already there are kept as they are); `detached` when the message carries no content.
    // A provider without it refuses.
    virtual RequestApiResultPtr enhanceSignature(const std::vector<unsigned char>& signature, bool detached,
                                                 std::vector<unsigned char>& result, const SignOptions& options) {
        static_cast<void>(signature), static_cast<void>(detached), static_cast<void>(result),
            static_cast<void>(options);
        return std::make_shared<RequestApiResult>(
            RequestApiResult{false, {"tr{Усовершенствование подписи не поддерживается.}"}});
    }
};

}  // namespace Vesk::Crypto
