#pragma once
// A save_file request carries a whole document as one base64 string. Parsed into the JSON
// document, that string would be copied character by character; instead it is cut out of the
// request text, the rest (the skeleton) is parsed as usual, and the handler reads the string
// where it lies in the request.
//
// The cut is made only where it cannot change an answer: the method is "save_file" itself,
// "args" is an object with exactly one "data" and one "file" key, no key on the way carries an
// escape, and every character of the string stands for itself in JSON (printable ASCII other
// than '"' and '\'), so that the skeleton's document equals the full document with "data" empty.
// A skeleton that fails to parse tells nothing: the caller parses the whole text instead, for
// the JSON library's own message.

#include <optional>
#include <string>
#include <string_view>

namespace Vesk::Crypto {

struct RequestSkeleton {
    std::string text;       // the request with the characters of args.data taken out
    std::string_view data;  // those characters, inside the original request
};

std::optional<RequestSkeleton> cutSaveFileData(std::string_view request);

}  // namespace Vesk::Crypto
