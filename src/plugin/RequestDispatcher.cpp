#include "plugin/RequestDispatcher.h"

#include "common/Answer.h"
#include "common/Logging.h"
#include "plugin/BoundedJson.h"
#include "cryptopro/CryptoProInstallation.h"
#include "cryptopro/CryptoProLibApi.h"
#include "plugin/RequestParsers.h"

#include <array>
#include <exception>
#include <utility>

namespace Vesk::Crypto {
namespace {

using Handler = void (*)(const json& request, std::string& result);

struct MethodRow {
    const char* method;
    Handler handler;
};

// Tested in this order; the first match wins.
void parseCryptoProInstalled(const json&, std::string& result) {
    VLOG_VERBOSE << "[F] parseCryptoProInstalled";
    result = makeAnswer(fstools::cryptoproIsInstalled(), nullptr);
}

constexpr std::array<MethodRow, 12> kMethods = {{
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
}};

void dispatch(const std::string& request, std::string& result) {
    const json parsed = parseRequestJson(request);
    if (!checkJsonParametersExists(parsed, "method") || !checkJsonParametersExists(parsed, "args")) {
        result = makeErrorAnswer("tr{Request not contains param 'method' or 'args'}");
        return;
    }
    const auto method = parsed.at("method").get<std::string>();
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
    try {
        initLogger();
        VLOG_INFO << "[F] executeJsonRequest: " << request;
        // Loads the library on first use; whether it loaded only goes to the log.
        VLOG_INFO << (CryptoPro::CryptoProLibApi::instance().isLoaded() ? "CP API Load SUCCESS" : "CP API Load FAIL");
        try {
            dispatch(request, result);
        } catch (const json::exception& e) {
            VLOG_ERROR << "JSON Exception: " << e.what();
            result = makeErrorAnswer(std::string("tr{JSON Exception:} ") + e.what());
        } catch (const std::exception& e) {
            VLOG_ERROR << "Exception: " << e.what();
            result = makeErrorAnswer(std::string("tr{Exception:} ") + e.what());
        } catch (...) {
            VLOG_ERROR << "Unknown exception";
            result = makeErrorAnswer("tr{Unknown exception}");
        }
    } catch (const std::exception& e) {
        // The settings or the logger could not be set up; the request still gets an answer.
        result = makeErrorAnswer(std::string("tr{Exception:} ") + e.what());
    } catch (...) {
        result = makeErrorAnswer("tr{Unknown exception}");
    }
    if (result.empty()) {
        VLOG_ERROR << "Result empty, Exit.";
        result = makeErrorAnswer("tr{Nothing for do.}");
    }
    VLOG_INFO << "Exit with result: " << result;
    return true;
}

}  // namespace Vesk::Crypto
