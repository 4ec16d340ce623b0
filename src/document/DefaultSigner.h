#pragma once

#include "document/IDocumentSignType.h"
#include "model/ISign.h"

#include <memory>
#include <vector>

namespace Vesk::Crypto {

// Signs any file into a CAdES signature file (attached or detached, first signature or co-signature).
class DefaultSigner : public IDocumentSignType {
public:
    explicit DefaultSigner(const std::shared_ptr<ISign>& signer);
    ~DefaultSigner() override = default;

    RequestApiResultPtr sign(const SignOptions& options, InternalSignOptions& internal) override;
    // Signs content already in memory (e.g. a stamped PDF) as if it had been read from
    // options.file: the output is written and options.file dropped by the same rules.
    RequestApiResultPtr signContent(const std::vector<unsigned char>& input, const SignOptions& options,
                                    InternalSignOptions& internal);

private:
    std::shared_ptr<ISign> signer_;
};

}  // namespace Vesk::Crypto
