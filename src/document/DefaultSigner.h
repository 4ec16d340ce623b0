#pragma once

#include "crypto/ISign.h"
#include "document/IDocumentSignType.h"

#include <memory>

namespace Vesk::Crypto {

// Signs any file into a CAdES signature file (attached or detached, first signature or co-signature).
class DefaultSigner : public IDocumentSignType {
public:
    explicit DefaultSigner(const std::shared_ptr<ISign>& signer);
    ~DefaultSigner() override = default;

    RequestApiResultPtr sign(const SignOptions& options, InternalSignOptions& internal) override;

private:
    std::shared_ptr<ISign> signer_;
};

}  // namespace Vesk::Crypto
