#include "plugin/RequestDispatcher.h"

#include "common/Logging.h"
#include "crypto/CryptoProviderFactory.h"
#include "model/Answer.h"
#include "plugin/BoundedJson.h"
#include "plugin/ErrorGuard.h"
#include "plugin/RequestParsers.h"
#include "plugin/RequestSkeleton.h"

#include <array>
#include <exception>
#include <optional>
#include <utility>

namespace Vesk::Crypto {
namespace {

using Handler = void (*)(const json& request, std::string& result);

struct MethodRow {
    const char* method;
    Handler handler;
};

void parseCryptoProInstalled(const json&, std::string& result) {
    VLOG_VERBOSE << "[F] parseCryptoProInstalled";
    result = makeAnswer(CryptoProviderFactory::CryptoProIsInstalled(), nullptr);
}

// Tested in this order; the first match wins.
constexpr std::array<MethodRow, 13> kMethods = {{
    {"get_list", &parseGetList},
    {"get_providers", &parseGetProviders},
    {"log", &parseLog},
    {"version", &parseVersion},
    {"kzn_version", &parseVersion},
    {"is_cryptopro_installed", &parseCryptoProInstalled},
    {"get_file_on_base64", &parseGetFileOnBase64},
    {"save_file", &parseSaveFileFromBase64},
    {"exists", &parseFileExists},
    {"verify", &parseVerifyRequest},
    {"sign", &parseSignRequest},
    {"extract", &parseExtractRequest},
    {"enhance", &parseEnhanceRequest},  // an extension: upgrades a signature file to X Long Type 1
}};

void dispatch(std::string_view request, std::string& result, LargeStrings largeStrings) {
    // A save_file request is parsed without its document, which its handler reads in place. A
    // skeleton that does not parse tells nothing: the whole text is parsed for the library's message.
    // Every request text parsed here, whole or as a skeleton, has its nesting bounded before the
    // tree is built (parseRequestJson).
    std::optional<RequestSkeleton> skeleton;
    if (largeStrings == LargeStrings::ReadInPlace) skeleton = cutSaveFileData(request);
    json parsed;
    if (skeleton) {
        try {
            parsed = parseRequestJson(skeleton->text);
        } catch (const json::exception&) {
            skeleton.reset();
        }
    }
    if (!skeleton) parsed = parseRequestJson(request);

    if (!checkJsonParametersExists(parsed, "method") || !checkJsonParametersExists(parsed, "args")) {
        result = makeErrorAnswer("tr{Request not contains param 'method' or 'args'}");
        return;
    }
    const auto method = parsed.at("method").get<std::string>();
    if (skeleton && method == "save_file") {
        parseSaveFileFromBase64(parsed, skeleton->data, result);
        return;
    }
    for (const auto& row : kMethods) {
        if (method == row.method) {
            row.handler(parsed, result);
            return;
        }
    }
    VLOG_WARNING << "Unknown input JSON method: " << method;
    result = makeErrorAnswer("tr{Unknown input JSON method:} " + method);
}

}  // namespace

bool executeJsonRequest(const std::string& request, std::string& result) {
    return executeJsonRequestText(request, result);
}

bool executeJsonRequestText(std::string_view request, std::string& result, LargeStrings largeStrings) {
    // A settings file that is not JSON fails in initLogger(); it is answered like any request error.
    guardRequest(result, [&] {
        initLogger();
        VLOG_TEXT(LogLevel::Info, "[F] executeJsonRequest: ", request, false);
        // Loads the library on first use; whether it loaded only goes to the log.
        VLOG_INFO << (CryptoProviderFactory::CryptoProIsAvaible() ? "CP API Load SUCCESS" : "CP API Load FAIL");
        dispatch(request, result, largeStrings);
        if (result.empty()) {
            VLOG_ERROR << "Result empty, Exit.";
            result = makeErrorAnswer("tr{Nothing for do.}");
        }
    });
    guardCall(
        [&] {
            // The answer line is flushed: with it the request is complete in the log.
            VLOG_TEXT(LogLevel::Info, "Exit with result: ", result, true);
            return true;
        },
        false);
    return true;
}

}  // namespace Vesk::Crypto
