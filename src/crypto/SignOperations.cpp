#include "crypto/SignOperations.h"

#include "common/Base64.h"
#include "common/FileTools.h"
#include "common/Logging.h"
#include "crypto/CryptoProviderFactory.h"
#include "crypto/SignTypeDeterminator.h"
#include "document/DefaultSigner.h"
#include "document/PAdESTypeSigner.h"
#include "document/PdfStamping.h"
#include "model/Answer.h"
#include "model/OperationGuard.h"

#include <boost/algorithm/string/predicate.hpp>

namespace Vesk::Crypto {
namespace fs = std::filesystem;
namespace {

using Formats = std::list<SignTypeDeterminator::SignFormatInfo>;

std::string refusal(const std::string& message) { return makeAnswer(nullptr, message); }

// The refusal for a file whose signatures forbid signing it again, or an empty text.
std::string formatRefusal(const fs::path& file, const std::string& emptyMessage, const std::string& mixedMessage) {
    const Formats formats = SignTypeDeterminator::getSignFormats(file);
    if (formats.empty()) return refusal(emptyMessage);
    if (SignTypeDeterminator::isMixedSign(formats)) return refusal(mixedMessage);
    if (formats.front().format == SignTypeDeterminator::DetachedFile)
        return refusal("tr{У файла существует открепленная подпись!}");
    return {};
}

std::string answerFrom(const RequestApiResultPtr& result, const SignOptions& options) {
    if (!result || result->success) return makeAnswer(base64::encode(options.output_file.string()), nullptr);
    return makeAnswer(nullptr, result->errors);
}

bool isPdf(const fs::path& file) { return boost::algorithm::iequals(file.extension().string(), ".pdf"); }

RequestApiResultPtr failure(const std::string& message) {
    return std::make_shared<RequestApiResult>(RequestApiResult{false, {message}});
}

// Where a stamped PDF signed detached goes: the original that its signature names, which may be
// the input itself or a new file, never some other file already there. A refusal text otherwise.
std::string stampedPdfTarget(const SignOptions& options, fs::path& target) {
    const fs::path& signature = options.output_file;
    if (!SignTypeDeterminator::isSignExtension(signature).first)
        return "tr{Открепленная подпись PDF со штампом должна иметь расширение .sgn, .p7s, .sig или .dat:} " +
               signature.string();
    target = signature.parent_path() / signature.stem();
    if (fstools::isSameFile(target, options.file)) return {};
    if (fstools::pathExists(target) || fstools::isSameFile(target, signature))
        return "tr{Рядом с подписью уже есть другой файл, он не будет заменен PDF со штампом:} " + target.string();
    return {};
}

// A PDF signed into a signature file gets its stamp first. The stamp is added in memory as an
// incremental update, and that stamped PDF is what gets signed. For an attached signature it
// travels inside the signature; for a detached one it is written, once the signature is, to the
// original that the signature names.
RequestApiResultPtr signStampedPdf(const std::shared_ptr<ISign>& signer, SignOptions& options,
                                   InternalSignOptions& internal) {
    if (options.watermark.strings.empty()) return DefaultSigner(signer).sign(options, internal);

    const bool detached = options.attach_type == SignAttachType::Detached;
    fs::path stampedTarget;
    if (detached) {
        if (options.output_file.empty()) return failure("Не удалось сохранить файл");
        const std::string refused = stampedPdfTarget(options, stampedTarget);
        if (!refused.empty()) {
            VLOG_ERROR << refused;
            return failure(refused);
        }
    }

    std::vector<unsigned char> stamped;
    {
        std::vector<char> pdf;
        if (!fstools::readFileToVector(options.file, pdf)) return failure("Не удалось прочитать файл");
        auto result = stampPdfBytes(pdf, options, internal, stamped);
        if (result && !result->success) return result;
    }
    auto result = DefaultSigner(signer).signContent(stamped, options, internal);
    if (result && !result->success) return result;
    if (detached && !fstools::saveVectorToFile(stampedTarget, stamped)) return failure("Не удалось сохранить файл");
    return result;
}

// A standard exception a signing request lets out is answered as an unknown signing error.
auto signingFailure(const GuardSite& site, const char* name) {
    return unknownErrorAnswer(site, name, "tr{Unknown error on sign:} ");
}

}  // namespace

std::string signFile(SignOptions& options, InternalSignOptions& internal) {
    return guardOperation(signingFailure(VESK_GUARD_SITE, "signFile"), [&]() -> std::string {
        initLogger();
        VLOG_VERBOSE << "[F] signFile";
        // Without an output nothing is written, and the input is never taken for it.
        if (options.attach_type == SignAttachType::Detached) {
            if (fstools::isSameFile(options.output_file, options.file)) {
                options.output_file = options.file;
                options.output_file += ".sgn";
            }
        } else {
            std::string refused = formatRefusal(options.file, "tr{Список форматов подписей входного файла пуст!}",
                                                "tr{У входного файла существуют прикрепленная и открепленная подписи "
                                                "одновременно!}");
            if (refused.empty() && options.output_file.empty())
                refused = refusal("tr{Список форматов подписей выходного файла пуст!}");
            if (refused.empty())
                refused = formatRefusal(options.output_file, "tr{Список форматов подписей выходного файла пуст!}",
                                        "tr{У выходного файла существуют прикрепленная и открепленная подписи "
                                        "одновременно!}");
            if (!refused.empty()) return refused;
        }

        const auto signer = CryptoProviderFactory::getSigner(options.provider);
        if (!signer) {
            VLOG_ERROR << "Объект создания подпись пуст!";
            return refusal("tr{Объект создания подпись пуст!}");
        }

        RequestApiResultPtr result;
        if (!isPdf(options.file)) {
            result = DefaultSigner(signer).sign(options, internal);
        } else if (options.attach_type == SignAttachType::PAdES) {
            result = PAdESTypeSigner(signer, CryptoProviderFactory::getVerifycator(options.provider))
                         .sign(options, internal);
        } else if (options.attach_type == SignAttachType::Attached || options.attach_type == SignAttachType::Detached) {
            result = signStampedPdf(signer, options, internal);
        } else {
            VLOG_ERROR << "Формат для создания подписи не определен!";
            return refusal("tr{Формат для создания подписи не определен!}");
        }
        return answerFrom(result, options);
    });
}

std::string cosignFile(SignOptions& options, InternalSignOptions& internal) {
    return guardOperation(signingFailure(VESK_GUARD_SITE, "cosignFile"), [&]() -> std::string {
        initLogger();
        VLOG_VERBOSE << "[F] cosignFile";
        const Formats formats = SignTypeDeterminator::getSignFormats(options.file);
        if (formats.empty()) return refusal("tr{Список форматов подписей файла пуст!}");
        if (SignTypeDeterminator::isMixedSign(formats))
            return refusal("tr{У файла существуют прикрепленная и открепленная подписи одновременно!}");

        switch (formats.front().format) {
            case SignTypeDeterminator::Unknown:  // compat: an unknown format is taken for a detached one
            case SignTypeDeterminator::DetachedFile:
                options.attach_type = SignAttachType::Detached;
                break;
            case SignTypeDeterminator::AttachedFile:
            case SignTypeDeterminator::CryptoProPdf:
                options.attach_type = SignAttachType::Attached;
                break;
            case SignTypeDeterminator::PAdESPdf:
                options.attach_type = SignAttachType::PAdES;
                break;
            case SignTypeDeterminator::UnsignedPdf:
                return refusal("tr{Документ не имеет подписи.}");
            default:
                options.attach_type = SignAttachType::None;
        }

        const auto signer = CryptoProviderFactory::getSigner(options.provider);
        if (!signer) {
            VLOG_ERROR << "Объект создания подпись пуст!";
            return refusal("tr{Объект создания подпись пуст!}");
        }
        RequestApiResultPtr result;
        if (options.attach_type == SignAttachType::Attached || options.attach_type == SignAttachType::Detached) {
            result = DefaultSigner(signer).sign(options, internal);
        } else if (options.attach_type == SignAttachType::PAdES) {
            result = PAdESTypeSigner(signer, CryptoProviderFactory::getVerifycator(options.provider))
                         .sign(options, internal);
        } else {
            VLOG_ERROR << "Формат для создания соподписи не определен!";
            return refusal("{Формат для создания соподписи не определен!}");
        }
        return answerFrom(result, options);
    });
}

std::string signData(SignOptions& options, InternalSignOptions& internal, const std::string& data) {
    return guardOperation(signingFailure(VESK_GUARD_SITE, "signData"), [&]() -> std::string {
        initLogger();
        VLOG_VERBOSE << "[F] signData";
        const auto signer = CryptoProviderFactory::getSigner(options.provider);
        if (!signer) {
            VLOG_ERROR << "Объект создания подпись пуст!";
            return refusal("Объект создания подпись пуст!");
        }
        const std::string decoded = base64::decode(data);
        const std::vector<unsigned char> bytes(decoded.begin(), decoded.end());
        std::vector<unsigned char> signature;
        const auto result = options.cosign ? signer->addCoSign(bytes, signature, options, internal)
                                           : signer->signMessage(bytes, signature, options, internal);
        if (result && !result->success) return makeAnswer(nullptr, result->errors);
        return makeAnswer(base64::encode(signature.data(), signature.size()), nullptr);
    });
}

}  // namespace Vesk::Crypto
