#include "plugin/RequestSkeleton.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vesk::Crypto {
namespace {

// A forward reader of just enough JSON structure to find keys and string spans. It does not
// validate: whatever it lets through is parsed by the JSON library afterwards.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    size_t position() const { return at_; }

    void skipSpace() {
        while (at_ < text_.size() &&
               (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r'))
            ++at_;
    }

    bool take(char c) {
        skipSpace();
        if (at_ >= text_.size() || text_[at_] != c) return false;
        ++at_;
        return true;
    }

    bool peek(char c) {
        skipSpace();
        return at_ < text_.size() && text_[at_] == c;
    }

    // Reads a string whose characters must stand for themselves (no escape); gives the
    // characters between the quotes.
    std::optional<std::string_view> plainString() {
        if (!take('"')) return std::nullopt;
        const size_t end = text_.find('"', at_);
        if (end == std::string_view::npos) return std::nullopt;
        const auto characters = text_.substr(at_, end - at_);
        if (characters.find('\\') != std::string_view::npos) return std::nullopt;
        at_ = end + 1;
        return characters;
    }

    // Steps over any one value: a string, a nested object or array (by bracket count, without
    // recursion), or a bare literal.
    bool skipValue() {
        skipSpace();
        size_t depth = 0;
        while (at_ < text_.size()) {
            const char c = text_[at_];
            if (c == '"') {
                if (!skipString()) return false;
                if (depth == 0) return true;
                continue;
            }
            if (c == '{' || c == '[') {
                ++depth;
            } else if (c == '}' || c == ']') {
                if (depth == 0) return true;  // the enclosing object closes: a bare literal ended
                if (--depth == 0) {
                    ++at_;
                    return true;
                }
            } else if (depth == 0 && (c == ',' || c == ' ' || c == '\t' || c == '\n' || c == '\r')) {
                return true;
            }
            ++at_;
        }
        return depth == 0;
    }

private:
    bool skipString() {
        ++at_;  // the opening quote
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == '\\') {
                ++at_;
            } else if (c == '"') {
                return true;
            }
        }
        return false;
    }

    std::string_view text_;
    size_t at_ = 0;
};

// Printable ASCII other than '"' and '\\'. The large text is tested eight bytes at a time: a
// byte below 0x20 borrows into its top bit, one above 0x7e carries into it (or has it set).
bool standsForItself(std::string_view text) {
    if (text.find('"') != std::string_view::npos || text.find('\\') != std::string_view::npos) return false;
    constexpr std::uint64_t ones = 0x0101010101010101u;
    constexpr std::uint64_t tops = 0x8080808080808080u;
    std::uint64_t bad = 0;
    size_t at = 0;
    for (; at + 8 <= text.size(); at += 8) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + at, 8);
        bad |= ((word - 0x20 * ones) & ~word) | ((word + ones) | word);
    }
    for (; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte < 0x20 || byte > 0x7e) return false;
    }
    return (bad & tops) == 0;
}

// Walks the members of an object whose opening brace has been read; calls visit(key) with the
// scanner placed before the member's value, which visit must consume.
template <typename Visit>
bool forEachMember(Scanner& scanner, Visit visit) {
    if (scanner.take('}')) return true;
    do {
        const auto key = scanner.plainString();
        if (!key || !scanner.take(':') || !visit(*key)) return false;
    } while (scanner.take(','));
    return scanner.take('}');
}

}  // namespace

std::optional<RequestSkeleton> cutSaveFileData(std::string_view request) {
    Scanner scanner(request);
    if (!scanner.take('{')) return std::nullopt;

    int methods = 0;
    int argsObjects = 0;
    bool isSaveFile = false;
    int files = 0;
    int datas = 0;
    size_t dataStart = 0;
    std::string_view data;

    const auto visitArgs = [&](std::string_view key) {
        if (key == "data") {
            ++datas;
            if (!scanner.peek('"')) return scanner.skipValue();
            dataStart = scanner.position() + 1;
            const auto value = scanner.plainString();
            if (!value) return false;
            data = *value;
            return true;
        }
        if (key == "file") ++files;
        return scanner.skipValue();
    };
    const auto visitTop = [&](std::string_view key) {
        if (key == "method") {
            ++methods;
            const auto value = scanner.plainString();
            isSaveFile = value && *value == "save_file";
            return value.has_value();
        }
        if (key == "args") {
            ++argsObjects;
            if (!scanner.take('{')) return false;
            return forEachMember(scanner, visitArgs);
        }
        return scanner.skipValue();
    };
    if (!forEachMember(scanner, visitTop)) return std::nullopt;
    if (methods != 1 || argsObjects != 1 || !isSaveFile || files != 1 || datas != 1 || dataStart == 0 ||
        !standsForItself(data))
        return std::nullopt;

    RequestSkeleton skeleton;
    skeleton.text.reserve(request.size() - data.size());
    skeleton.text.append(request.substr(0, dataStart));
    skeleton.text.append(request.substr(dataStart + data.size()));
    skeleton.data = data;
    return skeleton;
}

}  // namespace Vesk::Crypto
