#include "crypto/SignOperations.h"

#include "common/Answer.h"
#include "common/Base64.h"
#include "common/Logging.h"
#include "crypto/CryptoProviderFactory.h"
#include "crypto/SignTypeDeterminator.h"
#include "document/DefaultSigner.h"
#include "document/PAdESTypeSigner.h"
#include "document/StampedPdfCopy.h"

#include <boost/algorithm/string/predicate.hpp>

#include <exception>

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

// A PDF signed into a signature file gets its stamp first. The stamp goes into a working copy,
// which is signed; the input is changed only once the signature is written.
RequestApiResultPtr signStampedPdf(const std::shared_ptr<ISign>& signer, SignOptions& options,
                                   InternalSignOptions& internal) {
    if (options.watermark.strings.empty()) return DefaultSigner(signer).sign(options, internal);

    StampedPdfCopy copy(options.file);
    SignOptions stamping = options;
    stamping.output_file = copy.path();
    auto result = PAdESTypeSigner(signer).addWatermarkToPdf(stamping, internal);
    if (result && !result->success) return result;

    SignOptions signing = options;
    signing.file = copy.path();
    result = DefaultSigner(signer).sign(signing, internal);
    if (result && !result->success) return result;

    if (options.attach_type == SignAttachType::Detached) {
        // The stamped PDF becomes the original that lies beside the signature.
        if (!copy.keepAs(SignTypeDeterminator::getOriginalOf(options.output_file).value_or(options.file)))
            return std::make_shared<RequestApiResult>(RequestApiResult{false, {"Не удалось сохранить файл"}});
    } else if (options.output_file != options.file) {
        // The attached signature carries the stamped content; the unsigned input goes, as for any file.
        std::error_code error;
        if (!fs::remove(options.file, error))
            return std::make_shared<RequestApiResult>(RequestApiResult{false, {"Не удалось удалить файл"}});
    }
    return result;
}

}  // namespace

std::string signFile(SignOptions& options, InternalSignOptions& internal) {
    try {
        initLogger();
        VLOG_VERBOSE << "[F] signFile";
        if (options.output_file.empty()) options.output_file = options.file;
        if (options.attach_type == SignAttachType::Detached) {
            if (options.output_file == options.file) options.output_file += ".sgn";
        } else {
            std::string refused = formatRefusal(options.file, "tr{Список форматов подписей входного файла пуст!}",
                                                "tr{У входного файла существуют прикрепленная и открепленная подписи "
                                                "одновременно!}");
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
            result = PAdESTypeSigner(signer).sign(options, internal);
        } else if (options.attach_type == SignAttachType::Attached || options.attach_type == SignAttachType::Detached) {
            result = signStampedPdf(signer, options, internal);
        } else {
            VLOG_ERROR << "Формат для создания подписи не определен!";
            return refusal("tr{Формат для создания подписи не определен!}");
        }
        return answerFrom(result, options);
    } catch (const std::exception& e) {
        VLOG_ERROR << "signFile: " << e.what();
        return makeErrorAnswer(std::string("tr{Unknown error on sign:} ") + e.what());
    }
}

std::string cosignFile(SignOptions& options, InternalSignOptions& internal) {
    try {
        initLogger();
        VLOG_VERBOSE << "[F] cosignFile";
        if (options.output_file.empty()) options.output_file = options.file;
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
            result = PAdESTypeSigner(signer).sign(options, internal);
        } else {
            VLOG_ERROR << "Формат для создания соподписи не определен!";
            return refusal("{Формат для создания соподписи не определен!}");
        }
        return answerFrom(result, options);
    } catch (const std::exception& e) {
        VLOG_ERROR << "cosignFile: " << e.what();
        return makeErrorAnswer(std::string("tr{Unknown error on sign:} ") + e.what());
    }
}

std::string signData(SignOptions& options, InternalSignOptions& internal, const std::string& data) {
    try {
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
    } catch (const std::exception& e) {
        VLOG_ERROR << "signData: " << e.what();
        return makeErrorAnswer(std::string("tr{Unknown error on sign:} ") + e.what());
    }
}

}  // namespace Vesk::Crypto
