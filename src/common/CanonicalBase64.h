#pragma once
// Fast decoding of the common case: a text that is plain base64 in whole groups of four, with
// at most two padding signs at its very end and zero bits under the padding. Every base64
// decoder gives the same bytes for such a text, so the bytes equal those of base64::decode;
// anything else is left to base64::decode and its framing.

#include <optional>
#include <string>
#include <string_view>

namespace Vesk::Crypto::base64 {

// The decoded bytes, or nothing when the text is not canonical (nothing is decided then).
std::optional<std::string> decodeCanonical(std::string_view text);

}  // namespace Vesk::Crypto::base64
