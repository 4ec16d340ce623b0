#include "document/DefaultSignVerifycator.h"

#include "common/FileTools.h"
#include "common/Logging.h"

#include <utility>

namespace Vesk::Crypto {
namespace {

VerifySignResultPtr loadFailure(const std::filesystem::path& signFile) {
    auto result = std::make_shared<ResultWithSigners>();
    // compat: hosts show this text untranslated
    result->errors.push_back("Error load file: " + signFile.string() + " is empty or not exists");
    return result;
}

}  // namespace

DefaultSignVerifycator::DefaultSignVerifycator(std::shared_ptr<IVerify> verifier) : verifier_(std::move(verifier)) {}

VerifySignResultPtr DefaultSignVerifycator::verify(const std::filesystem::path& signFile) {
    VLOG_VERBOSE << "[M] DefaultSignVerifycator::verifySign "
                 << signFile.string();  // compat: log readers know this tag
    std::vector<unsigned char> signature;
    if (!fstools::readFileToVector(signFile, signature)) return loadFailure(signFile);
    return verifier_->verifyAttachedSign(signature);
}

VerifySignResultPtr DefaultSignVerifycator::verify(const std::filesystem::path& signFile,
                                                   const std::filesystem::path& originalFile) {
    VLOG_VERBOSE << "[M] DefaultSignVerifycator::verifySign signFile: " << signFile.string()  // compat: log tag
                 << " originalFile: " << originalFile.string();
    std::vector<unsigned char> signature;
    std::vector<unsigned char> original;
    // compat: the message names the signature file also when the original is the one that failed.
    if (!fstools::readFileToVector(signFile, signature) || !fstools::readFileToVector(originalFile, original))
        return loadFailure(signFile);
    return verifier_->verifyDetachedSign(signature, original);
}

}  // namespace Vesk::Crypto
