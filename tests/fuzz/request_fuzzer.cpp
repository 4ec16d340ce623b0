// Request texts through the module's request function, with the CAdES emulator as its library.
// Requests that name a file outside the sandbox are not sent: the module would really write,
// sign or delete it.

#include "FuzzSandbox.h"

#include "common/Base64.h"
#include "plugin/RequestDispatcher.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using nlohmann::json;

bool pathsStayInside(const json& args) {
    if (!args.is_object()) return true;
    for (const char* key : {"file", "output_file"}) {
        const auto found = args.find(key);
        if (found == args.end() || !found->is_string()) continue;
        if (!vesk::fuzz::insideSandbox(Vesk::Crypto::getPathFromBase64(found->get<std::string>()))) return false;
    }
    return true;
}

// Only the file names matter here; nesting is bounded so that this check cannot be what fails.
bool safeToSend(const std::string& request) {
    json parsed = json::parse(
        request, [](int depth, json::parse_event_t, json&) { return depth < 64; }, false);
    if (parsed.is_discarded() || !parsed.is_object()) return true;
    const auto args = parsed.find("args");
    return args == parsed.end() || pathsStayInside(*args);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vesk::fuzz::sandbox(VESK_CADES_PATH);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string request(reinterpret_cast<const char*>(data), size);
    if (!safeToSend(request)) return -1;
    vesk::fuzz::restoreFiles();
    std::string answer;
    if (!Vesk::Crypto::executeJsonRequest(request, answer) || answer.empty()) std::abort();
    // Every answer is a JSON object with "data" and "error".
    const json parsed = json::parse(answer, nullptr, false);
    if (parsed.is_discarded() || !parsed.contains("data") || !parsed.contains("error")) std::abort();
    return 0;
}
