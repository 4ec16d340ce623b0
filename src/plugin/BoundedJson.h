#pragma once
// JSON of a request within bounds: every step after parsing (copies, dumps) recurses once per
// level of nesting, so the nesting is bounded before the tree is built, and the one dump whose
// size grows with depth times length (the indented one of "log") is cut off.

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace Vesk::Crypto {

// Hosts nest a few levels deep; 512 levels keep every recursive step far inside a 512 KiB stack.
inline constexpr int kMaxJsonNesting = 512;

// json::parse, refusing an object or array nested deeper than kMaxJsonNesting with the JSON
// library's parse error, before the deeper level is built.
nlohmann::json parseRequestJson(std::string_view text);

// The indented dump (indent 2) of the value, cut after `limit` bytes with a note saying so.
std::string indentedDump(const nlohmann::json& value, std::size_t limit);

}  // namespace Vesk::Crypto
