#include "crypto/VerifyOperations.h"

#include "common/Base64.h"
#include "common/FileTools.h"
#include "common/Logging.h"
#include "crypto/CryptoProviderFactory.h"
#include "crypto/SignTypeDeterminator.h"
#include "model/Answer.h"
#include "model/OperationGuard.h"

#include <boost/algorithm/string/predicate.hpp>

namespace Vesk::Crypto {
namespace fs = std::filesystem;
namespace {

// What every provider reported about one signature, gathered into one answer.
class MergedVerification {
public:
    void add(const VerifySignResultPtr& result) {
        if (!result) return;
        if (result->chain) chain_.insert(chain_.end(), result->chain->begin(), result->chain->end());
        const bool hasSigners = result->signers && !result->signers->empty();
        if (hasSigners) signers_.insert(signers_.end(), result->signers->begin(), result->signers->end());
        for (const auto& text : result->errors) {
            // The Native provider never has a verifier; that is no news for the user.
            if (!hasSigners && text == "tr{Verifier is null.}") continue;
            errors_.push_back(text);
        }
    }

    // Signers in "data"; the texts of the signatures that did not verify (or of the refusals, when
    // there is no signer) in "error", which is null when there are none.
    nlohmann::json answer() const {
        nlohmann::json answer = {{"data", nullptr}, {"error", nullptr}};
        if (!signers_.empty()) {
            answer["data"] = signers_;
            if (!errors_.empty()) answer["error"] = errors_;
        } else {
            answer["error"] = errors_;
        }
        return answer;
    }

    const std::vector<CertificatePtr>& chain() const { return chain_; }

private:
    std::vector<SignInfoPtr> signers_;
    std::vector<CertificatePtr> chain_;
    std::vector<std::string> errors_;
};

}  // namespace

std::string verifySign(const fs::path& file, CryptoProvider /*provider*/) {
    const auto failure = unknownErrorAnswer(VESK_GUARD_SITE, "verifySign", "tr{Unknown error on verify:} ");
    return guardOperation(failure, [&]() -> std::string {
        initLogger();
        VLOG_VERBOSE << "[F] verifySign";
        MergedVerification merged;
        for (const CryptoProvider provider : CryptoProviderFactory::getAvaibleCryptoproviderList()) {
            // A provider without a verifier could only answer "tr{Verifier is null.}", which is
            // dropped anyway; skipping it spares a second reading of the file.
            if (!CryptoProviderFactory::getVerifycator(provider)) continue;
            merged.add(SignTypeDeterminator::verifySign(file, provider));
        }
        return dumpCompact(merged.answer());
    });
}

std::string verifySign(const std::string& data, const std::string& signature, bool attached,
                       CryptoProvider /*provider*/) {
    const auto failure = unknownErrorAnswer(VESK_GUARD_SITE, "verifySignData", "tr{Unknown error on verify:} ");
    return guardOperation(failure, [&]() -> std::string {
        initLogger();
        VLOG_VERBOSE << "[F] verifySignData";  // compat: log readers know this tag
        const std::string dataText = base64::decode(data);
        const std::string signatureText = base64::decode(signature);
        const std::vector<unsigned char> dataBytes(dataText.begin(), dataText.end());
        const std::vector<unsigned char> signatureBytes(signatureText.begin(), signatureText.end());
        MergedVerification merged;
        for (const CryptoProvider provider : CryptoProviderFactory::getAvaibleCryptoproviderList()) {
            const auto verifier = CryptoProviderFactory::getVerifycator(provider);
            if (!verifier) {
                merged.add(std::make_shared<ResultWithSigners>(ResultWithSigners{{}, {}, {"tr{Verifier is null.}"}}));
                continue;
            }
            merged.add(attached ? verifier->verifyAttachedSign(signatureBytes)
                                : verifier->verifyDetachedSign(signatureBytes, dataBytes));
        }
        nlohmann::json answer = merged.answer();
        answer["chain"] = merged.chain();
        return dumpCompact(answer);
    });
}

std::string extractData(const fs::path& file, CryptoProvider provider) {
    const auto failure = unknownErrorAnswer(VESK_GUARD_SITE, "ExtractData", "tr{Unknown error on extract:} ");
    return guardOperation(failure, [&]() -> std::string {
        initLogger();
        VLOG_VERBOSE << "[F] ExtractData";  // compat: log readers know this tag
        const auto [signExtension, extension] = SignTypeDeterminator::isSignExtension(file);
        // A PDF without a signature extension may itself be a wrapped attached signature.
        if (!signExtension && !boost::algorithm::iequals(extension, ".pdf"))
            return makeAnswer(nullptr, "tr{Расширение файла не соответствует подписи!}");

        const std::string name = file.filename().string();
        const fs::path output = fs::temp_directory_path() / name.substr(0, name.rfind('.'));

        // Without a named provider the Native one is asked, which has no extractor.
        if (provider == CryptoProvider::None) provider = CryptoProvider::Native;
        const auto extractor = CryptoProviderFactory::getExtracter(provider);
        if (!extractor) {
            VLOG_ERROR << "Объект извлечения данных пуст!";
            return makeAnswer(nullptr, "tr{Объект извлечения данных пуст!}");
        }

        std::vector<unsigned char> message;
        if (!fstools::readFileToVector(file, message)) return makeAnswer(nullptr, "tr{Не удалось прочитать файл}");
        std::vector<unsigned char> content;
        const auto result = extractor->extractMessage(message, content);
        if (result && !result->success) return makeAnswer(nullptr, result->errors);
        if (content.empty()) return makeAnswer(nullptr, "tr{Извлеченные данные пусты!}");
        if (!fstools::saveVectorToFile(output, content)) return makeAnswer(nullptr, "tr{Ошибка сохранения файла!}");
        return makeAnswer(base64::encode(output.string()), nullptr);
    });
}

}  // namespace Vesk::Crypto
