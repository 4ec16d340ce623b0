#pragma once
// The single door of the module: one JSON request text in, one JSON answer text out.

#include <string>
#include <string_view>

namespace Vesk::Crypto {

// Always leaves a non-empty answer in result and returns true; failures travel in "error".
bool executeJsonRequest(const std::string& request, std::string& result);

// How the one large string of a save_file request is read: in place, from the request text,
// or parsed into the JSON document with the rest. Both give the same answers; the second is
// kept for tests that compare them.
enum class LargeStrings { ReadInPlace, ParseIntoDocument };

// The same over any text: the plugin hands its request bytes here without copying them.
bool executeJsonRequestText(std::string_view request, std::string& result,
                            LargeStrings largeStrings = LargeStrings::ReadInPlace);

// Runs a file of requests, one per line ("//" comments and empty lines skipped), and returns
// the answers, each followed by an empty line.
std::string executeCommandsFromFile(const std::string& path);

}  // namespace Vesk::Crypto
