#pragma once
// Process-wide logger of the module. Levels keep the numbering of the settings file:
// 0 none, 1 fatal, 2 error, 3 warning, 4 info, 5 debug, 6 verbose.

#include <sstream>
#include <string>
#include <string_view>

namespace Vesk::Crypto {

enum class LogLevel : int { None = 0, Fatal = 1, Error = 2, Warning = 3, Info = 4, Debug = 5, Verbose = 6 };

// Sets the logger up on the first call; later calls do nothing.
void initLogger();

// Build stamp "YYMMDDhhmm" and "<version>-<stamp>".
std::string CompileTimestamp();
std::string getCryptoModuleVersion();

namespace logging {

// True when a logger exists and a record of this level passes its threshold.
bool enabled(LogLevel level);

// Collects one record and hands it to the logger when destroyed.
class Record {
public:
    Record(LogLevel level, const char* function, const char* file, int line);
    ~Record();
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    template <typename T>
    Record& operator<<(const T& value) {
        stream_ << value;
        return *this;
    }
    Record& operator<<(const char* text) {
        stream_ << (text ? text : "(null)");
        return *this;
    }
    Record& operator<<(char* text) { return *this << static_cast<const char*>(text); }

private:
    LogLevel level_;
    const char* function_;
    const char* file_;
    int line_;
    std::ostringstream stream_;
};

// One record of head followed by text, written without copying text into the log line: for
// whole requests and answers. flush makes it reach the file at once.
void writeText(LogLevel level, const char* function, const char* file, int line, std::string_view head,
               std::string_view text, bool flush);

// Turns a finished record expression into void, for the two branches of VLOG.
struct Voidify {
    void operator&(const Record&) const {}
};

}  // namespace logging
}  // namespace Vesk::Crypto

// The record is only built when its level passes, so arguments cost nothing otherwise. An
// expression rather than an if, so the macro is safe after an unbraced if.
// NOLINTBEGIN(bugprone-macro-parentheses): the record is streamed into, so it cannot be wrapped.
#define VLOG(level)                            \
    !::Vesk::Crypto::logging::enabled(level)   \
        ? (void)0                              \
        : ::Vesk::Crypto::logging::Voidify() & \
              ::Vesk::Crypto::logging::Record(level, __PRETTY_FUNCTION__, __FILE__, __LINE__)
// NOLINTEND(bugprone-macro-parentheses)

// A record of a short head and a long text (a request, an answer), written as one line.
#define VLOG_TEXT(level, head, text, flush)   \
    (!::Vesk::Crypto::logging::enabled(level) \
         ? (void)0                            \
         : ::Vesk::Crypto::logging::writeText(level, __PRETTY_FUNCTION__, __FILE__, __LINE__, head, text, flush))

#define VLOG_FATAL VLOG(::Vesk::Crypto::LogLevel::Fatal)
#define VLOG_ERROR VLOG(::Vesk::Crypto::LogLevel::Error)
#define VLOG_WARNING VLOG(::Vesk::Crypto::LogLevel::Warning)
#define VLOG_INFO VLOG(::Vesk::Crypto::LogLevel::Info)
#define VLOG_DEBUG VLOG(::Vesk::Crypto::LogLevel::Debug)
#define VLOG_VERBOSE VLOG(::Vesk::Crypto::LogLevel::Verbose)
