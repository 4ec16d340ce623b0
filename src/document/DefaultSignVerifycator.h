#pragma once

#include "document/IFileVerifycator.h"
#include "model/IVerify.h"

#include <memory>

namespace Vesk::Crypto {

// Verifies CAdES signature files: attached (the file alone) or detached (signature and original).
class DefaultSignVerifycator : public IFileVerifycator {  // compat: hosts use this spelling
public:
    explicit DefaultSignVerifycator(std::shared_ptr<IVerify> verifier);
    ~DefaultSignVerifycator() override = default;

    VerifySignResultPtr verify(const std::filesystem::path& signFile) override;
    VerifySignResultPtr verify(const std::filesystem::path& signFile, const std::filesystem::path& originalFile);

private:
    std::shared_ptr<IVerify> verifier_;
};

}  // namespace Vesk::Crypto
