#include "document/PdfNesting.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Vesk::Crypto {
namespace {

constexpr std::string_view kEndStream = "endstream";

bool isWhite(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0'; }

bool isDelimiter(char c) { return c != '\0' && std::strchr("()<>[]{}/%", c) != nullptr; }

bool isRegular(char c) { return !isWhite(c) && !isDelimiter(c); }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

class NestingScan {
public:
    NestingScan(const char* data, size_t size, size_t limit) : data_(data), size_(size), limit_(limit) {}

    bool run() {
        while (pos_ < size_) {
            const char c = data_[pos_];
            switch (c) {
                case '%':
                    skipComment();
                    break;
                case '(':
                    skipLiteralString();
                    break;
                case '<':
                    if (at(pos_ + 1) == '<') {
                        if (!open()) return false;
                        pos_ += 2;
                    } else {
                        skipHexString();
                    }
                    break;
                case '>':
                    if (at(pos_ + 1) == '>') {
                        close();
                        pos_ += 2;
                    } else {
                        ++pos_;
                    }
                    break;
                case '[':
                    if (!open()) return false;
                    ++pos_;
                    break;
                case ']':
                    close();
                    ++pos_;
                    break;
                case '/':
                    readName();
                    break;
                default:
                    if (isRegular(c)) {
                        readKeyword();
                    } else {
                        ++pos_;
                    }
            }
        }
        return true;
    }

private:
    char at(size_t i) const { return i < size_ ? data_[i] : '\0'; }

    bool open() { return ++depth_ <= limit_; }
    void close() {
        if (depth_ > 0) --depth_;
    }

    void skipComment() {
        while (pos_ < size_ && data_[pos_] != '\n' && data_[pos_] != '\r') ++pos_;
    }

    // Balanced parentheses nest inside a literal string; a backslash escapes the next byte.
    void skipLiteralString() {
        size_t parens = 0;
        for (; pos_ < size_; ++pos_) {
            const char c = data_[pos_];
            if (c == '\\') {
                ++pos_;
            } else if (c == '(') {
                ++parens;
            } else if (c == ')' && --parens == 0) {
                ++pos_;
                return;
            }
        }
    }

    void skipHexString() {
        const void* end = std::memchr(data_ + pos_, '>', size_ - pos_);
        pos_ = end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - data_) + 1 : size_;
    }

    size_t tokenEnd(size_t from) const {
        while (from < size_ && isRegular(data_[from])) ++from;
        return from;
    }

    size_t skipWhite(size_t from) const {
        while (from < size_ && isWhite(data_[from])) ++from;
        return from;
    }

    // A run of digits at `from` and where it ends; no run gives `from` itself.
    size_t digitsEnd(size_t from) const {
        while (from < size_ && isDigit(data_[from])) ++from;
        return from;
    }

    // "/Length N" gives the length of the next stream body, unless it reads "/Length N G R".
    void readName() {
        const size_t start = ++pos_;
        pos_ = tokenEnd(pos_);
        if (std::string_view(data_ + start, pos_ - start) != "Length") return;
        const size_t number = skipWhite(pos_);
        const size_t numberEnd = digitsEnd(number);
        if (numberEnd == number || numberEnd - number > 15 || isRegular(at(numberEnd))) return;
        const size_t generation = skipWhite(numberEnd);
        const size_t generationEnd = digitsEnd(generation);
        if (generationEnd > generation && !isRegular(at(generationEnd))) {
            const size_t r = skipWhite(generationEnd);
            if (at(r) == 'R' && !isRegular(at(r + 1))) return;
        }
        uint64_t length = 0;
        for (size_t i = number; i < numberEnd; ++i) length = length * 10 + static_cast<uint64_t>(data_[i] - '0');
        length_ = length;
        hasLength_ = true;
    }

    void readKeyword() {
        const size_t start = pos_;
        pos_ = tokenEnd(pos_);
        if (std::string_view(data_ + start, pos_ - start) == "stream") skipStreamBody();
    }

    // The body starts after the end of line that follows "stream".
    void skipStreamBody() {
        size_t body = pos_;
        if (at(body) == '\r') ++body;
        if (at(body) == '\n') ++body;
        const bool lengthFits = hasLength_ && length_ <= size_ - std::min(body, size_);
        hasLength_ = false;
        if (lengthFits) {
            const size_t after = skipWhite(body + static_cast<size_t>(length_));
            if (std::string_view(data_ + after, std::min(kEndStream.size(), size_ - after)) == kEndStream) {
                pos_ = after;
                return;
            }
        }
        const char* end = std::search(data_ + std::min(body, size_), data_ + size_, kEndStream.begin(), kEndStream.end());
        pos_ = static_cast<size_t>(end - data_);
    }

    const char* data_;
    size_t size_;
    size_t limit_;
    size_t pos_ = 0;
    size_t depth_ = 0;
    uint64_t length_ = 0;
    bool hasLength_ = false;
};

}  // namespace

bool pdfNestingWithin(const char* data, size_t size, size_t limit) {
    return data == nullptr || NestingScan(data, size, limit).run();
}

}  // namespace Vesk::Crypto
