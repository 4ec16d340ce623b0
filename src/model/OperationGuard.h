#pragma once
// The one shape in which an operation (or a request parser) turns an exception its work lets out
// into its answer. Each caller keeps the texts and the policy hosts already know from it; only
// the catching lives here, in the spirit of an FFI guard thunk: the work runs inside, and what
// escapes is handed, sorted into three kinds, to the caller's `failure`, which returns the answer
// or rethrows (`throw;`) to let the exception go on.

#include "common/Logging.h"
#include "model/Answer.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <string>
#include <utility>

namespace Vesk::Crypto {

enum class Caught {
    Json,      // the JSON library's exceptions
    Standard,  // any other standard exception
    Other,     // anything else; its text is empty
};

// Where the guard stands, so that its log records name the operation's own function.
struct GuardSite {
    const char* function;
    const char* file;
    int line;
};
#define VESK_GUARD_SITE \
    ::Vesk::Crypto::GuardSite { __PRETTY_FUNCTION__, __FILE__, __LINE__ }

// An error record at the guard's site.
inline void logAtSite(const GuardSite& site, const std::string& text) {
    if (logging::enabled(LogLevel::Error))
        logging::Record(LogLevel::Error, site.function, site.file, site.line) << text;
}

// Runs `work`, which returns the answer; an exception it lets out goes to `failure(kind, text)`.
// The failure comes first, so that the work's body reads as the operation's own.
template <typename Failure, typename Work>
std::string guardOperation(Failure&& failure, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const nlohmann::json::exception& e) {
        return failure(Caught::Json, e.what());
    } catch (const std::exception& e) {
        return failure(Caught::Standard, e.what());
    } catch (...) {
        return failure(Caught::Other, std::string());
    }
}

// The failure of an operation that answers a standard exception as "PREFIX TEXT", logging
// "NAME: TEXT", and lets anything else go on.
inline auto unknownErrorAnswer(GuardSite site, const char* name, const char* prefix) {
    return [site, name, prefix](Caught kind, const std::string& text) -> std::string {
        if (kind == Caught::Other) throw;
        logAtSite(site, std::string(name) + ": " + text);
        return makeErrorAnswer(prefix + text);
    };
}

}  // namespace Vesk::Crypto
