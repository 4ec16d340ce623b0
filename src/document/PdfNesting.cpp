#include "document/PdfNesting.h"

#include <podofo/podofo.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace Vesk::Crypto {
namespace {

// PoDoFo parses an object wherever the cross-reference data points, also inside what the scan
// below skips (a stream body, a comment, a string), and reads a dictionary inside a dictionary by
// recursion without a bound (arrays it bounds itself). So "<<" and ">>" are also counted over
// every byte, as if nothing were skipped. The margin keeps binary stream data from failing this
// count by chance: random bytes hold one "<<" or ">>" in 32 KiB, and a random walk of such steps
// reaches a depth of 384 only over about a gigabyte.
constexpr size_t kDictionaryMarkMargin = 128;

constexpr std::string_view kEndStream = "endstream";

// The most an object stream may hold once decoded for its nesting to be checked.
constexpr size_t kMaxDecodedObjectStream = 256u * 1024 * 1024;

bool isWhite(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0'; }

bool isDelimiter(char c) { return c != '\0' && std::strchr("()<>[]{}/%", c) != nullptr; }

bool isRegular(char c) { return !isWhite(c) && !isDelimiter(c); }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool dictionaryMarksWithin(const char* data, size_t size, size_t limit) {
    size_t depth = 0;
    for (size_t i = 0; i + 1 < size; ++i) {
        if (data[i] == '<' && data[i + 1] == '<') {
            if (++depth > limit) return false;
            ++i;
        } else if (data[i] == '>' && data[i + 1] == '>') {
            if (depth > 0) --depth;
            ++i;
        }
    }
    return true;
}

class NestingScan {
public:
    // `inObjectStream`: the data is a decoded object stream, which holds no streams of its own for
    // PoDoFo to parse, so none is decoded again.
    NestingScan(const char* data, size_t size, size_t limit, bool inObjectStream = false)
        : data_(data), size_(size), limit_(limit), inObjectStream_(inObjectStream) {}

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
                        if (depth_ == 1) startStreamDictionary();
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
                        if (!readKeyword()) return false;
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
        const std::string_view name(data_ + start, pos_ - start);
        if (depth_ > 0) noteStreamKey(name);
        if (name != "Length") return;
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

    bool readKeyword() {
        const size_t start = pos_;
        pos_ = tokenEnd(pos_);
        if (std::string_view(data_ + start, pos_ - start) != "stream") return true;
        const size_t body = std::min(bodyStart(), size_);
        skipStreamBody(body);
        return inObjectStream_ || !objectStream_ || objectStreamWithin(data_ + body, std::min(pos_, size_) - body);
    }

    size_t bodyStart() const {
        size_t body = pos_;
        if (at(body) == '\r') ++body;
        if (at(body) == '\n') ++body;
        return body;
    }

    // The body starts after the end of line that follows "stream".
    void skipStreamBody(size_t body) {
        const bool lengthFits = hasLength_ && length_ <= size_ - body;
        hasLength_ = false;
        if (lengthFits) {
            const size_t after = skipWhite(body + static_cast<size_t>(length_));
            if (std::string_view(data_ + after, std::min(kEndStream.size(), size_ - after)) == kEndStream) {
                pos_ = after;
                return;
            }
        }
        const char* end = std::search(data_ + body, data_ + size_, kEndStream.begin(), kEndStream.end());
        pos_ = static_cast<size_t>(end - data_);
    }

    // Object streams hold objects that PoDoFo parses from the decoded body, out of sight of the scan
    // of the file: the keys of each top-level dictionary tell whether the stream after it is one,
    // and how it is coded.
    void startStreamDictionary() {
        objectStream_ = false;
        flate_ = false;
        otherCoding_ = false;
    }
    void noteStreamKey(std::string_view name) {
        if (name == "ObjStm" || name == "First") {
            objectStream_ = true;
        } else if (name == "FlateDecode" || name == "Fl") {
            flate_ = true;
        } else if (name == "DecodeParms" || name == "DP" || name == "Crypt" ||
                   (name.size() > 6 && name.substr(name.size() - 6) == "Decode") || name == "AHx" || name == "A85" ||
                   name == "LZW" || name == "RL" || name == "CCF" || name == "DCT") {
            otherCoding_ = true;
        }
    }

    // An object stream is checked like the file, on its decoded body. One coded other than by plain
    // Flate (the coding every writer uses for them) cannot be checked here and is refused.
    bool objectStreamWithin(const char* body, size_t size) const {
        if (otherCoding_) return false;
        std::string decoded;
        if (flate_ && !inflate(body, size, decoded)) return false;
        const char* data = flate_ ? decoded.data() : body;
        const size_t length = flate_ ? decoded.size() : size;
        return dictionaryMarksWithin(data, length, limit_ + kDictionaryMarkMargin) &&
               NestingScan(data, length, limit_, true).run();
    }

    static bool inflate(const char* body, size_t size, std::string& decoded) {
        class Collect : public PoDoFo::PdfOutputStream {
        public:
            explicit Collect(std::string& out) : out_(out) {}
            PoDoFo::pdf_long Write(const char* buffer, PoDoFo::pdf_long length) override {
                if (out_.size() + static_cast<size_t>(length) > kMaxDecodedObjectStream)
                    PODOFO_RAISE_ERROR_INFO(PoDoFo::ePdfError_OutOfMemory, "object stream too large");
                out_.append(buffer, static_cast<size_t>(length));
                return length;
            }
            void Close() override {}

        private:
            std::string& out_;
        };
        try {
            Collect collect(decoded);
            std::unique_ptr<PoDoFo::PdfFilter> filter(PoDoFo::PdfFilterFactory::Create(PoDoFo::ePdfFilter_FlateDecode));
            filter->BeginDecode(&collect);
            filter->DecodeBlock(body, static_cast<PoDoFo::pdf_long>(size));
            filter->EndDecode();
            return true;
        } catch (const PoDoFo::PdfError&) {
            return false;
        }
    }

    const char* data_;
    size_t size_;
    size_t limit_;
    bool inObjectStream_;
    size_t pos_ = 0;
    size_t depth_ = 0;
    uint64_t length_ = 0;
    bool hasLength_ = false;
    bool objectStream_ = false;
    bool flate_ = false;
    bool otherCoding_ = false;
};

}  // namespace

bool pdfNestingWithin(const char* data, size_t size, size_t limit) {
    if (data == nullptr) return true;
    return dictionaryMarksWithin(data, size, limit + kDictionaryMarkMargin) && NestingScan(data, size, limit).run();
}

}  // namespace Vesk::Crypto
