#pragma once
// Answer texts: a JSON object with "data" and "error", written compactly with sorted keys
// and raw UTF-8.

#include <nlohmann/json.hpp>

#include <string>

namespace Vesk::Crypto {

// Compact text of a value; throws the JSON library's type error on text that is not UTF-8.
std::string dumpCompact(const nlohmann::json& value);

std::string makeAnswer(nlohmann::json data, nlohmann::json error);
// {"data":null,"error":[text]}; never throws: bytes that are not UTF-8 are replaced.
std::string makeErrorAnswer(const std::string& text);

}  // namespace Vesk::Crypto
