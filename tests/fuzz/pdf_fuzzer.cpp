// PDF bytes through format detection, the PDF verifier and the PAdES signer with a stamp on every
// page. The signer and verifier behind them are stand-ins: the PDF handling is what is fuzzed.

#include "FuzzSandbox.h"

#include "crypto/SignTypeDeterminator.h"
#include "document/PAdESTypeSigner.h"
#include "document/PdfSignVerifycator.h"

#include <cstdint>
#include <fstream>

namespace {

using namespace Vesk::Crypto;

class NoVerify : public IVerify {
public:
    VerifySignResultPtr verifyAttachedSign(const std::vector<unsigned char>&) override {
        return std::make_shared<ResultWithSigners>();
    }
    VerifySignResultPtr verifyDetachedSign(const std::vector<unsigned char>&,
                                           const std::vector<unsigned char>&) override {
        return std::make_shared<ResultWithSigners>();
    }
};

// A fixed "signature", so that the signed output is written as for a real one.
class FixedSign : public ISign {
public:
    RequestApiResultPtr signMessage(const std::vector<unsigned char>&, std::vector<unsigned char>& signature,
                                    const SignOptions&, InternalSignOptions&) override {
        signature.assign(64, 0x30);
        return std::make_shared<RequestApiResult>();
    }
    RequestApiResultPtr addCoSign(const std::vector<unsigned char>&, std::vector<unsigned char>&, const SignOptions&,
                                  InternalSignOptions&) override {
        return std::make_shared<RequestApiResult>();
    }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vesk::fuzz::sandbox("");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto& root = vesk::fuzz::sandbox("");
    const auto pdf = root / "input.pdf";
    std::ofstream(pdf, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    SignTypeDeterminator::getSignFormats(pdf);
    PdfSignVerifycator(std::make_shared<NoVerify>()).verify(pdf);

    SignOptions options;
    options.file = pdf;
    options.output_file = root / "signed.pdf";
    options.search_string = "Петрова";
    options.attach_type = SignAttachType::PAdES;
    options.watermark.page = -2;
    options.watermark.strings.resize(1);
    options.watermark.strings[0].text = "Подписано: Петрова М. С.";
    InternalSignOptions internal;
    PAdESTypeSigner(std::make_shared<FixedSign>()).sign(options, internal);
    return 0;
}
