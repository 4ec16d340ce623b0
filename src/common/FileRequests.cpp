#include "common/FileRequests.h"

#include "common/Answer.h"
#include "common/FileTools.h"
#include "common/Logging.h"

namespace Vesk::Crypto {

std::string getFileAsBase64(const std::filesystem::path& path) {
    initLogger();
    VLOG_VERBOSE << "[F] getFileAsBase64: " << path.string();
    std::string text;
    if (!fstools::readFileAsBase64(path, text)) return makeErrorAnswer("tr{Error convert to base64}");
    return makeAnswer(std::move(text), nullptr);
}

std::string saveFileFromBase64String(const std::filesystem::path& path, const std::string& b64) {
    VLOG_VERBOSE << "[F] saveFileFromBase64String: " << path.string();
    if (!fstools::saveFileFromBase64(path, b64)) return makeErrorAnswer("tr{Error save file from base64}");
    return makeAnswer(true, nullptr);
}

}  // namespace Vesk::Crypto
