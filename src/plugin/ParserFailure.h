#pragma once
// What a request parser does with an exception its work lets out. Each parser keeps the policy
// hosts already know from it; the three policies live here only.

#include "common/Logging.h"
#include "model/Answer.h"
#include "model/OperationGuard.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>

namespace Vesk::Crypto {

enum class ParserFailure {
    Answer,       // any exception: "tr{NAME internal unhandled error}" is the answer
    Swallow,      // a standard exception is logged and the answer stays as it was
    RethrowJson,  // JSON errors go on to the dispatcher; other standard exceptions are swallowed
};

// The parser by name, and where it runs, so that its log record names the parser's function.
struct ParserSite {
    const char* name;
    const char* function;
    const char* file;
    int line;
};
#define VESK_PARSER_SITE(name) \
    ::Vesk::Crypto::ParserSite { name, __PRETTY_FUNCTION__, __FILE__, __LINE__ }

namespace detail {

inline void parserFailed(const ParserSite& site, ParserFailure policy, std::string& result) {
    if (logging::enabled(LogLevel::Error)) {
        logging::Record(LogLevel::Error, site.function, site.file, site.line)
            << site.name << " internal unhandled error";
    }
    if (policy == ParserFailure::Answer) {
        result = makeErrorAnswer(std::string("tr{") + site.name + " internal unhandled error}");
    }
}

}  // namespace detail

// The parser's work writes its answer into `result`; what it lets out is settled by the policy.
template <typename Work>
void runParser(const ParserSite& site, ParserFailure policy, std::string& result, Work&& work) {
    const auto failure = [&](Caught kind, const std::string&) -> std::string {
        if (kind == Caught::Json && policy == ParserFailure::RethrowJson) throw;
        if (kind == Caught::Other && policy != ParserFailure::Answer) throw;
        detail::parserFailed(site, policy, result);
        return std::move(result);
    };
    result = guardOperation(failure, [&]() -> std::string {
        work();
        return std::move(result);
    });
}

}  // namespace Vesk::Crypto
