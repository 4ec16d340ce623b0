#pragma once
// The one place where exceptions stop on their way to the host. Every exported entry point
// runs its work inside one of these guards, so nothing thrown below reaches the editor's
// process: a request gets an error answer in three tiers (the JSON library's exceptions,
// other standard exceptions, anything else), any other entry point its fallback value.

#include "common/Logging.h"
#include "model/Answer.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <string>
#include <utility>

namespace Vesk::Crypto {
namespace detail {

// The log may be what failed; an error that cannot be logged is still answered.
template <typename Text>
void logGuardedError(const Text& text) noexcept {
    try {
        VLOG_ERROR << text;
    } catch (...) {
    }
}

inline void answerError(std::string& result, const std::string& text) noexcept {
    try {
        result = makeErrorAnswer(text);
    } catch (...) {
        result.clear();  // out of memory even for the answer: the caller's empty-result rule answers
    }
}

}  // namespace detail

// Runs `work`, which writes the answer into `result`; an exception becomes the error answer.
template <typename Work>
void guardRequest(std::string& result, Work&& work) noexcept {
    try {
        std::forward<Work>(work)();
    } catch (const nlohmann::json::exception& e) {
        detail::logGuardedError(std::string("JSON Exception: ") + e.what());
        detail::answerError(result, std::string("tr{JSON Exception:} ") + e.what());
    } catch (const std::exception& e) {
        detail::logGuardedError(std::string("Exception: ") + e.what());
        detail::answerError(result, std::string("tr{Exception:} ") + e.what());
    } catch (...) {
        detail::logGuardedError("Unknown exception");
        detail::answerError(result, "tr{Unknown exception}");
    }
}

// Runs `work` and returns its value, or `fallback` when it throws.
template <typename Work, typename Value>
Value guardCall(Work&& work, Value fallback) noexcept {
    try {
        return std::forward<Work>(work)();
    } catch (...) {
        detail::logGuardedError("Unknown exception");
        return fallback;
    }
}

}  // namespace Vesk::Crypto
