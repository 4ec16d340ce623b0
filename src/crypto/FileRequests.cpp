#include "crypto/FileRequests.h"

#include "common/FileTools.h"
#include "common/Logging.h"
#include "model/Answer.h"

namespace Vesk::Crypto {

std::string getFileAsBase64(const std::filesystem::path& path) {
    initLogger();
    VLOG_VERBOSE << "[F] getFileAsBase64: " << path.string();
    // base64 text needs no JSON escaping, so the answer is the text the JSON library would write
    // for {"data":text,"error":null}, built around the text in one buffer: the file is encoded
    // straight into the answer the host gets.
    constexpr std::string_view head = "{\"data\":\"";
    constexpr std::string_view tail = "\",\"error\":null}";
    std::string answer;
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (!error) answer.reserve(head.size() + (size + 2) / 3 * 4 + tail.size());
    answer.append(head);
    if (!fstools::readFileAsBase64(path, answer)) return makeErrorAnswer("tr{Error convert to base64}");
    answer.append(tail);
    return answer;
}

std::string saveFileFromBase64String(const std::filesystem::path& path, std::string_view b64) {
    VLOG_VERBOSE << "[F] saveFileFromBase64String: " << path.string();
    if (!fstools::saveFileFromBase64(path, b64)) return makeErrorAnswer("tr{Error save file from base64}");
    return makeAnswer(true, nullptr);
}

}  // namespace Vesk::Crypto
