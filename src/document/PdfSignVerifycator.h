#pragma once

#include "document/IFileVerifycator.h"
#include "model/IVerify.h"

#include <memory>

namespace Vesk::Crypto {

// Finds every signature of a PDF by its ByteRange and verifies each as a detached signature
// over the two signed ranges; the signers of all of them are merged into one result.
class PdfSignVerifycator : public IFileVerifycator {
public:
    explicit PdfSignVerifycator(const std::shared_ptr<IVerify>& verifier);
    ~PdfSignVerifycator() override = default;

    VerifySignResultPtr verify(const std::filesystem::path& pdfFile) override;

private:
    std::shared_ptr<IVerify> verifier_;
};

}  // namespace Vesk::Crypto
