// Signature bytes (CMS, DER or base64 text) through verify and extract as the module's requests
// take them: attached, detached against a fixed document, and as a signature file, with the CAdES
// emulator as the library.

#include "FuzzSandbox.h"

#include "common/Base64.h"
#include "plugin/RequestDispatcher.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

using nlohmann::json;

void answerOrAbort(const json& request) {
    std::string answer;
    if (!Vesk::Crypto::executeJsonRequest(request.dump(), answer)) std::abort();
    const json parsed = json::parse(answer, nullptr, false);
    if (parsed.is_discarded() || !parsed.contains("data") || !parsed.contains("error")) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vesk::fuzz::sandbox(VESK_CADES_PATH);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using Vesk::Crypto::base64::encode;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string signature = encode(bytes);
    const std::string document = encode("A contract to sign.\n");
    answerOrAbort({{"method", "verify"}, {"args", {{"document", ""}, {"signature", signature}, {"attached", true}}}});
    answerOrAbort(
        {{"method", "verify"}, {"args", {{"document", document}, {"signature", signature}, {"attached", false}}}});

    const auto file = vesk::fuzz::sandbox("") / "tmp" / "fuzzed.sig";
    std::ofstream(file, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(size));
    const std::string path = encode(file.string());
    answerOrAbort({{"method", "verify"}, {"args", {{"file", path}}}});
    answerOrAbort({{"method", "extract"}, {"args", {{"file", path}, {"provider", "CryptoPRO"}}}});
    return 0;
}
