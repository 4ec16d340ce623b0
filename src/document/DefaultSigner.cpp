#include "document/DefaultSigner.h"

#include "common/FileTools.h"
#include "common/Logging.h"

namespace Vesk::Crypto {
namespace {

RequestApiResultPtr failWith(RequestApiResultPtr result, const std::string& message) {
    result->success = false;
    result->errors = {message};
    return result;
}

}  // namespace

DefaultSigner::DefaultSigner(const std::shared_ptr<ISign>& signer) : signer_(signer) {}

RequestApiResultPtr DefaultSigner::sign(const SignOptions& options, InternalSignOptions& internal) {
    VLOG_INFO << "[M] DefaultSigner::sign";
    auto result = std::make_shared<RequestApiResult>();

    std::vector<unsigned char> input;
    // compat: the three texts of this signer are shown untranslated (no tr{}).
    if (!fstools::readFileToVector(options.file, input)) return failWith(result, "Не удалось прочитать файл");

    return signContent(input, options, internal);
}

RequestApiResultPtr DefaultSigner::signContent(const std::vector<unsigned char>& input, const SignOptions& options,
                                               InternalSignOptions& internal) {
    // Decided before writing: "the same file" means the same file on disk, however it is spelled.
    const bool outputIsInput = fstools::isSameFile(options.output_file, options.file);

    std::vector<unsigned char> output;
    auto result = options.cosign ? signer_->addCoSign(input, output, options, internal)
                                 : signer_->signMessage(input, output, options, internal);
    if (!result) result = std::make_shared<RequestApiResult>(RequestApiResult{true, {}});
    // With save_with_errors whatever the signer produced is still written.
    if (!result->success && (!options.save_with_errors || output.empty())) return result;

    // The output replaces its target whole or not at all, so the input is never left half-written.
    if (!fstools::saveVectorToFile(options.output_file, output)) return failWith(result, "Не удалось сохранить файл");

    // An attached signature carries the content, so the unsigned input is dropped, but only once
    // the signature is safely on disk, and never when that would drop the signature itself.
    std::error_code error;
    const bool removeInput = !options.cosign && !outputIsInput && options.attach_type == SignAttachType::Attached &&
                             fstools::pathExists(options.file) &&
                             !fstools::isSameFile(options.output_file, options.file);
    if (removeInput && !std::filesystem::remove(options.file, error))
        return failWith(result, "Не удалось удалить файл");
    return result;
}

}  // namespace Vesk::Crypto
