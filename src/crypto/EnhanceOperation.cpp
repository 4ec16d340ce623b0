#include "crypto/EnhanceOperation.h"

#include "common/Base64.h"
#include "common/FileTools.h"
#include "common/Logging.h"
#include "crypto/CryptoProviderFactory.h"
#include "crypto/SignTypeDeterminator.h"
#include "model/Answer.h"
#include "model/OperationGuard.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <vector>

namespace Vesk::Crypto {
namespace fs = std::filesystem;
namespace {

std::string refusal(const std::string& message) { return makeAnswer(nullptr, message); }

bool startsAsPdf(const std::vector<unsigned char>& bytes) {
    constexpr std::string_view kPdfHeader = "%PDF-";
    return bytes.size() >= kPdfHeader.size() && std::equal(kPdfHeader.begin(), kPdfHeader.end(), bytes.begin());
}

}  // namespace

std::string enhanceFile(const SignOptions& options) {
    return guardOperation(
        unknownErrorAnswer(VESK_GUARD_SITE, "enhanceFile", "tr{Unknown error on sign:} "), [&]() -> std::string {
            initLogger();
            VLOG_VERBOSE << "[F] enhanceFile";
            if (options.output_file.empty()) return refusal("tr{Не указан файл для усовершенствованной подписи.}");
            if (options.tsp_url.empty()) return refusal("tr{Не указан адрес службы штампов времени.}");

            // The file named, or the signature beside it when it names the original of a detached one.
            const auto formats = SignTypeDeterminator::getSignFormats(options.file);
            if (formats.empty()) return refusal("tr{Список форматов подписей файла пуст!}");
            const auto& format = formats.front();
            if (format.format == SignTypeDeterminator::PAdESPdf || format.format == SignTypeDeterminator::UnsignedPdf)
                return refusal("tr{Подписанный PDF не усовершенствуется: укажите файл подписи CAdES.}");
            const bool detached = format.format == SignTypeDeterminator::DetachedFile;
            const fs::path signatureFile = detached ? fs::path(format.signFile) : options.file;

            std::vector<unsigned char> signature;
            if (!fstools::readFileToVector(signatureFile, signature)) return refusal("Не удалось прочитать файл");
            if (startsAsPdf(signature))
                return refusal("tr{Подписанный PDF не усовершенствуется: укажите файл подписи CAdES.}");

            const auto signer = CryptoProviderFactory::getSigner(options.provider);
            if (!signer) {
                VLOG_ERROR << "Объект создания подпись пуст!";
                return refusal("tr{Объект создания подпись пуст!}");
            }
            std::vector<unsigned char> enhanced;
            const auto result = signer->enhanceSignature(signature, detached, enhanced, options);
            if (!result) return refusal("tr{Unknown error on sign:} enhance");
            if (!result->success) return makeAnswer(nullptr, result->errors);
            // An output named like the original of a detached signature means the signature: the
            // document itself is never written over.
            fs::path output = options.output_file;
            if (detached && fstools::isSameFile(output, options.file) && !fstools::isSameFile(output, signatureFile))
                output = signatureFile;
            if (!fstools::saveVectorToFile(output, enhanced)) return refusal("Не удалось сохранить файл");
            return makeAnswer(base64::encode(output.string()), nullptr);
        });
}

}  // namespace Vesk::Crypto
