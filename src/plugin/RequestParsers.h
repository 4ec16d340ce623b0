#pragma once
// Per-method argument parsers: each reads "args", calls one operation and leaves its answer
// text in result.

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace Vesk::Crypto {

using json = nlohmann::json;

bool checkJsonParametersExists(const json& object, const std::string& name);

void parseGetList(const json& request, std::string& result);
void parseGetProviders(const json& request, std::string& result);
void parseLog(const json& request, std::string& result);
void parseVersion(const json& request, std::string& result);
void parseGetFileOnBase64(const json& request, std::string& result);
void parseSaveFileFromBase64(const json& request, std::string& result);
// The same with the document's base64 read in place from the request text; "data" in the
// document is then an empty stand-in.
void parseSaveFileFromBase64(const json& request, std::string_view data, std::string& result);
void parseFileExists(const json& request, std::string& result);
void parseVerifyRequest(const json& request, std::string& result);
void parseExtractRequest(const json& request, std::string& result);
void parseSignRequest(const json& request, std::string& result);
// "enhance": "file", "output_file" and "sign_info" with "provider", "tsp_url" (and "ocsp_url").
void parseEnhanceRequest(const json& request, std::string& result);

}  // namespace Vesk::Crypto
