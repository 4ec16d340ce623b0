#include "model/Answer.h"

namespace Vesk::Crypto {

std::string dumpCompact(const nlohmann::json& value) { return value.dump(); }

std::string makeAnswer(nlohmann::json data, nlohmann::json error) {
    // Moved in, not copied: "data" can hold a whole document as base64.
    nlohmann::json answer = nlohmann::json::object();
    answer["data"] = std::move(data);
    answer["error"] = std::move(error);
    return dumpCompact(answer);
}

std::string makeErrorAnswer(const std::string& text) {
    const nlohmann::json answer{{"data", nullptr}, {"error", nlohmann::json::array({text})}};
    return answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace Vesk::Crypto
