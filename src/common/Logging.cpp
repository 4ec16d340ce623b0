#include "common/Logging.h"

#include "common/FileDescriptor.h"
#include "common/Settings.h"
#include "common/Version.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <vector>

namespace Vesk::Crypto {
namespace {

constexpr const char* kBuildStamp = VESK_BUILD_STAMP;
constexpr const char* kModuleVersion = VESK_MODULE_VERSION;

spdlog::level::level_enum toSpdlog(LogLevel level) {
    switch (level) {
        case LogLevel::Fatal:
            return spdlog::level::critical;
        case LogLevel::Error:
            return spdlog::level::err;
        case LogLevel::Warning:
            return spdlog::level::warn;
        case LogLevel::Info:
            return spdlog::level::info;
        case LogLevel::Debug:
            return spdlog::level::debug;
        case LogLevel::Verbose:
            return spdlog::level::trace;
        case LogLevel::None:
            break;
    }
    return spdlog::level::off;
}

// Level words as the log has always shown them: VERB, DEBUG, INFO, WARN, ERROR, FATAL.
class LevelWordFlag final : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& msg, const std::tm&, spdlog::memory_buf_t& dest) override {
        static constexpr const char* kWords[] = {"VERB", "DEBUG", "INFO", "WARN", "ERROR", "FATAL", "NONE"};
        const auto index = static_cast<size_t>(msg.level);
        std::string word = index < std::size(kWords) ? kWords[index] : "NONE";
        word.resize(5, ' ');
        dest.append(word.data(), word.data() + word.size());
    }
    std::unique_ptr<custom_flag_formatter> clone() const override { return std::make_unique<LevelWordFlag>(); }
};

std::unique_ptr<spdlog::formatter> makeFormatter() {
    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    formatter->add_flag<LevelWordFlag>('*').set_pattern("%Y-%m-%d %H:%M:%S.%e %* [%t] [%!@%#] %v");
    return formatter;
}

std::atomic<spdlog::logger*> g_logger{nullptr};

// Records made before the logger exists (the settings folder being made, say) wait here
// and are written once it is set up.
struct EarlyRecord {
    LogLevel level;
    spdlog::source_loc where;
    std::string text;
};
constexpr size_t kMaxEarlyRecords = 32;
std::mutex g_earlyMutex;
std::vector<EarlyRecord> g_earlyRecords;

void keepEarlyRecord(EarlyRecord record) {
    std::lock_guard<std::mutex> lock(g_earlyMutex);
    if (g_earlyRecords.size() < kMaxEarlyRecords) g_earlyRecords.push_back(std::move(record));
}

void replayEarlyRecords(spdlog::logger& logger) {
    std::lock_guard<std::mutex> lock(g_earlyMutex);
    for (const auto& record : g_earlyRecords) logger.log(record.where, toSpdlog(record.level), record.text);
    g_earlyRecords.clear();
}

// Writes records to a C stream. A record can also be given as a head (the log line with the
// first, short part of its text) and a tail written straight after it, so that a whole request
// or answer reaches the log without being copied into a formatted line first.
class StreamSink final : public spdlog::sinks::base_sink<std::mutex> {
public:
    StreamSink(std::FILE* stream, bool owned, bool flushEachRecord)
        : stream_(stream), owned_(owned), flushEachRecord_(flushEachRecord) {}
    ~StreamSink() override {
        if (owned_) std::fclose(stream_);
    }
    StreamSink(const StreamSink&) = delete;
    StreamSink& operator=(const StreamSink&) = delete;

    void logWithTail(const spdlog::details::log_msg& head, std::string_view tail, bool flush) {
        std::lock_guard<std::mutex> lock(mutex_);
        spdlog::memory_buf_t formatted;
        formatter_->format(head, formatted);
        // The formatted head ends with the line ending; the tail goes in before it.
        const size_t eol = std::min(formatted.size(), std::strlen(spdlog::details::os::default_eol));
        write(formatted.data(), formatted.size() - eol);
        write(tail.data(), tail.size());
        write(formatted.data() + formatted.size() - eol, eol);
        if (flush || flushEachRecord_) std::fflush(stream_);
    }

protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        spdlog::memory_buf_t formatted;
        formatter_->format(msg, formatted);
        write(formatted.data(), formatted.size());
        if (flushEachRecord_) std::fflush(stream_);
    }
    void flush_() override { std::fflush(stream_); }

private:
    void write(const char* data, size_t size) {
        if (size > 0 && std::fwrite(data, 1, size, stream_) != size)
            throw spdlog::spdlog_ex("Failed writing to the log");
    }

    std::FILE* stream_;
    bool owned_;
    bool flushEachRecord_;
};

// Opens the log for appending without ever waiting: a FIFO, a device or anything else that is
// not a regular file (a link to one included) gives no file log rather than a blocked request.
fstools::FileDescriptor openLogFile(const std::filesystem::path& path) {
    fstools::FileDescriptor fd(
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644));
    struct stat info {};
    if (!fd.valid() || ::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return fstools::FileDescriptor();
    const int flags = ::fcntl(fd.get(), F_GETFL);
    if (flags < 0 || ::fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK) != 0) return fstools::FileDescriptor();
    return fd;
}

std::shared_ptr<StreamSink> fileSink() {
    // compat: one file that grows across runs: appended to, never rolled. Flushed at warnings and at
    // each answer, not at every record.
    static std::shared_ptr<StreamSink> sink = []() -> std::shared_ptr<StreamSink> {
        const auto path = getLogFilePath();
        std::error_code error;
        if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path(), error);
        // Records to the file are lost when it cannot be opened; the console still works.
        fstools::FileDescriptor fd = openLogFile(path);
        if (!fd.valid()) return nullptr;
        std::FILE* stream = ::fdopen(fd.get(), "ab");
        if (stream == nullptr) return nullptr;
        fd.release();  // the stream owns it now
        return std::make_shared<StreamSink>(stream, true, false);
    }();
    return sink;
}

std::shared_ptr<StreamSink> consoleSink() {
    // The console copy goes to stderr, so that a host's standard output stays its own; every
    // record is flushed there as it comes.
    static auto sink = std::make_shared<StreamSink>(stderr, false, true);
    return sink;
}

}  // namespace

void initLogger() {
    static std::once_flag once;
    const auto level = VeskCryptoSettings::instance().logLevel();
    auto file = fileSink();
    auto console = consoleSink();
    std::call_once(once, [&] {
        try {
            static auto logger = [&] {
                std::vector<spdlog::sink_ptr> sinks;
                if (file) sinks.push_back(file);
                sinks.push_back(console);
                auto made = std::make_shared<spdlog::logger>("VeskCryptoModule", sinks.begin(), sinks.end());
                made->set_formatter(makeFormatter());
                made->set_level(toSpdlog(level));
                made->flush_on(spdlog::level::warn);
                return made;
            }();
            replayEarlyRecords(*logger);
            g_logger.store(logger.get());
        } catch (const std::exception&) {
            // compat: the text names the logger the module used before, and log readers know it
            std::cout << "Error on plog initialization" << std::endl;
        }
    });
}

std::string CompileTimestamp() { return kBuildStamp; }

std::string getCryptoModuleVersion() { return std::string(kModuleVersion) + "-" + CompileTimestamp(); }

namespace logging {

bool enabled(LogLevel level) {
    if (level == LogLevel::None) return false;
    auto* logger = g_logger.load(std::memory_order_acquire);
    if (logger == nullptr) return level <= LogLevel::Warning;  // kept for the logger to come
    return logger->should_log(toSpdlog(level));
}

Record::Record(LogLevel level, const char* function, const char* file, int line)
    : level_(level), function_(function), file_(file), line_(line) {}

Record::~Record() {
    try {
        auto text = stream_.str();
        auto* logger = g_logger.load(std::memory_order_acquire);
        if (logger == nullptr) {
            keepEarlyRecord({level_, spdlog::source_loc{file_, line_, function_}, std::move(text)});
            return;
        }
        logger->log(spdlog::source_loc{file_, line_, function_}, toSpdlog(level_), spdlog::string_view_t(text));
    } catch (...) {
        // A record that cannot be written must not take the request down with it.
    }
}

void writeText(LogLevel level, const char* function, const char* file, int line, std::string_view head,
               std::string_view text, bool flush) {
    try {
        const spdlog::source_loc where{file, line, function};
        auto* logger = g_logger.load(std::memory_order_acquire);
        if (logger == nullptr) {
            std::string whole(head);
            whole.append(text);
            keepEarlyRecord({level, where, std::move(whole)});
            return;
        }
        const auto spdLevel = toSpdlog(level);
        const spdlog::details::log_msg record(where, logger->name(), spdLevel, head);
        for (const auto& sink : logger->sinks()) {
            if (!sink->should_log(spdLevel)) continue;
            if (auto* stream = dynamic_cast<StreamSink*>(sink.get())) {
                stream->logWithTail(record, text, flush || spdLevel >= spdlog::level::warn);
            }
        }
    } catch (...) {
        // A record that cannot be written must not take the request down with it.
    }
}

}  // namespace logging
}  // namespace Vesk::Crypto
