#include "plugin/RequestParsers.h"

#include "common/Base64.h"
#include "common/FileTools.h"
#include "common/Logging.h"
#include "crypto/CertificateQueries.h"
#include "crypto/CryptoProviderFactory.h"
#include "crypto/EnhanceOperation.h"
#include "crypto/FileRequests.h"
#include "crypto/SignOperations.h"
#include "crypto/VerifyOperations.h"
#include "model/Answer.h"
#include "model/Enums.h"
#include "model/SignOptions.h"
#include "plugin/BoundedJson.h"
#include "plugin/ParserFailure.h"

#include <boost/regex.hpp>

namespace Vesk::Crypto {
namespace {

// The most that one "log" request writes to the log.
constexpr size_t kMaxLogRecord = size_t{4} * 1024 * 1024;

std::string missingParamAnswer(const std::string& name) {
    return makeErrorAnswer("tr{Param '" + name + "' in 'args' is not exists}");
}

}  // namespace

bool checkJsonParametersExists(const json& object, const std::string& name) {
    VLOG_VERBOSE << "[F] checkJsonParametersExists " << name;
    if (object.is_object() && object.contains(name)) return true;
    VLOG_ERROR << "Json parameter: '" << name
               << "' is not exists in json: " << object.dump(-1, ' ', false, json::error_handler_t::replace);
    return false;
}

void parseGetList(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseGetList";
    const json& args = request.at("args");
    if (!checkJsonParametersExists(args, "provider")) {
        result = missingParamAnswer("provider");
        return;
    }
    auto provider = CryptoProvider::Native;
    args.at("provider").get_to(provider);
    result = getCertificateList(provider);
}

void parseGetProviders(const json&, std::string& result) {
    VLOG_VERBOSE << "[F] parseGetProviders";
    result = getProviderList();
}

void parseLog(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseLog";
    const json& args = request.at("args");
    // The indented text grows with depth times length; past the limit the record is cut.
    VLOG_INFO << indentedDump(args, kMaxLogRecord);
    result = makeAnswer(nullptr, nullptr);
}

void parseVersion(const json&, std::string& result) {
    VLOG_VERBOSE << "[F] parseVersion";
    result = makeAnswer(getCryptoModuleVersion(), nullptr);
}

void parseGetFileOnBase64(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseGetFileOnBase64";
    runParser(VESK_PARSER_SITE("parseGetFileOnBase64"), ParserFailure::Answer, result, [&] {
        const json& args = request.at("args");
        if (!checkJsonParametersExists(args, "file")) {
            result = missingParamAnswer("file");
            return;
        }
        result = getFileAsBase64(getPathFromBase64(args.at("file").get<std::string>()));
    });
}

namespace {

// data: the document's base64 when the dispatcher read it in place; null to take it from the
// document.
void saveFileFromArgs(const json& request, const std::string_view* data, std::string& result) {
    runParser(VESK_PARSER_SITE("parseSaveFileFromBase64"), ParserFailure::Answer, result, [&] {
        const json& args = request.at("args");
        for (const char* name : {"file", "data"}) {
            if (!checkJsonParametersExists(args, name)) {
                result = missingParamAnswer(name);
                return;
            }
        }
        const auto path = getPathFromBase64(args.at("file").get<std::string>());
        result = saveFileFromBase64String(
            path, data != nullptr ? *data : std::string_view(args.at("data").get_ref<const std::string&>()));
    });
}

}  // namespace

void parseSaveFileFromBase64(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseSaveFileFromBase64";
    saveFileFromArgs(request, nullptr, result);
}

void parseSaveFileFromBase64(const json& request, std::string_view data, std::string& result) {
    VLOG_VERBOSE << "[F] parseSaveFileFromBase64";
    saveFileFromArgs(request, &data, result);
}

void parseFileExists(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseFileExists";
    const json& args = request.at("args");
    if (!checkJsonParametersExists(args, "file")) {
        result = missingParamAnswer("file");
        return;
    }
    const auto path = getPathFromBase64(args.at("file").get<std::string>());
    result = makeAnswer(fstools::pathExists(path), nullptr);
}

namespace {

CryptoProvider providerOf(const json& args, bool present) {
    auto provider = CryptoProvider::None;
    if (present) args.at("provider").get_to(provider);
    return provider;
}

}  // namespace

void parseVerifyRequest(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseVerifyRequest";
    runParser(VESK_PARSER_SITE("parseVerifyRequest"), ParserFailure::Swallow, result, [&] {
        const json& args = request.at("args");
        const bool hasFile = checkJsonParametersExists(args, "file");
        const bool hasProvider = checkJsonParametersExists(args, "provider");
        const bool hasDocument = checkJsonParametersExists(args, "document");
        const bool hasSignature = checkJsonParametersExists(args, "signature");
        const bool hasAttached = checkJsonParametersExists(args, "attached");
        if (hasFile) {
            const auto provider = providerOf(args, hasProvider);
            result = verifySign(getPathFromBase64(args.at("file").get<std::string>()), provider);
        } else if (hasDocument) {
            const auto provider = providerOf(args, hasProvider);
            const auto document = args.at("document").get<std::string>();
            const auto signature = hasSignature ? args.at("signature").get<std::string>() : std::string();
            const bool attached = hasAttached && args.at("attached").get<bool>();
            result = verifySign(document, signature, attached, provider);
        }
    });
}

void parseExtractRequest(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseExtractRequest";
    runParser(VESK_PARSER_SITE("parseExtractRequest"), ParserFailure::Swallow, result, [&] {
        const json& args = request.at("args");
        if (!checkJsonParametersExists(args, "file")) {
            result = missingParamAnswer("file");
            return;
        }
        const auto provider = providerOf(args, checkJsonParametersExists(args, "provider"));
        result = extractData(getPathFromBase64(args.at("file").get<std::string>()), provider);
    });
}

namespace {

// "<sign_date: TEXT>" inside a stamp line stands for the signing date that the host wrote as TEXT:
// the marker goes, the text stays in place.
void addSignTime(WatermarkOptions::WatermarkStrings& line, const InternalSignOptions& /*internal*/) {
    static const boost::regex marker(R"((.*)<\s*sign_date\s*:(.*)>(.*))");
    boost::smatch match;
    if (boost::regex_match(line.text, match, marker)) line.text = match.str(1) + match.str(2) + match.str(3);
}

}  // namespace

void parseSignRequest(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseSignRequest";
    runParser(VESK_PARSER_SITE("parseSignRequest"), ParserFailure::RethrowJson, result, [&] {
        const json& args = request.at("args");
        if (!checkJsonParametersExists(args, "sign_info")) {
            result = makeErrorAnswer("tr{Request without sign_info}");
            return;
        }
        SignOptions options = args.get<SignOptions>();
        InternalSignOptions internal;
        for (auto& line : options.watermark.strings) {
            try {
                addSignTime(line, internal);
            } catch (const std::exception&) {
                VLOG_ERROR << "Catch on AddSignTime";
            }
        }
        if (!options.document.empty()) {
            result = signData(options, internal, options.document);
        } else if (options.cosign) {
            result = cosignFile(options, internal);
        } else {
            result = signFile(options, internal);
        }
    });
}

void parseEnhanceRequest(const json& request, std::string& result) {
    VLOG_VERBOSE << "[F] parseEnhanceRequest";
    runParser(VESK_PARSER_SITE("parseEnhanceRequest"), ParserFailure::RethrowJson, result, [&] {
        const json& args = request.at("args");
        if (!checkJsonParametersExists(args, "sign_info")) {
            result = makeErrorAnswer("tr{Request without sign_info}");
            return;
        }
        for (const char* name : {"file", "output_file"}) {
            if (!checkJsonParametersExists(args, name)) {
                result = missingParamAnswer(name);
                return;
            }
        }
        result = enhanceFile(args.get<SignOptions>());
    });
}

}  // namespace Vesk::Crypto
