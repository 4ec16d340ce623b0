#include "document/PdfNesting.h"

#include "document/PdfStreamDecryption.h"

#include <podofo/podofo.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Vesk::Crypto {
namespace {

// PoDoFo parses an object wherever the cross-reference data points, also inside what the scan
// below skips (a stream body, a comment, a string), and reads a dictionary inside a dictionary by
// recursion without a bound (arrays it bounds itself). So "<<" and ">>" are also counted over
// every byte, as if nothing were skipped, but for stream data that no parse can start in (see
// dictionaryMarksWithin). The margin keeps binary stream data from failing this
// count by chance: random bytes hold one "<<" or ">>" in 32 KiB, and a random walk of such steps
// reaches a depth of 384 only over about a gigabyte.
constexpr size_t kDictionaryMarkMargin = 128;

constexpr std::string_view kEndStream = "endstream";

// The most an object stream may hold once decoded for its nesting to be checked.
constexpr size_t kMaxDecodedObjectStream = size_t{256} * 1024 * 1024;

bool isWhite(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0'; }

bool isDelimiter(char c) { return c != '\0' && std::strchr("()<>[]{}/%", c) != nullptr; }

bool isRegular(char c) { return !isWhite(c) && !isDelimiter(c); }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A stream body whose /Length ends it right before "endstream".
struct Span {
    size_t begin;
    size_t end;
};

// Counts "<<" and ">>" over every byte, except the first part of each honestly delimited stream
// body (`skipped`, in file order): PoDoFo starts parsing only at an object ("N G obj"), a trailer or
// a cross-reference section, and a parse started outside the body never reads into it (the stream
// keyword hands the body to /Length). So within a body only the bytes from its first "obj",
// "trailer" or "xref" on can be parsed; image data with many "<<" and none of these is skipped.
bool dictionaryMarksWithin(const char* data, size_t size, size_t limit, const std::vector<Span>& skipped = {}) {
    size_t depth = 0;
    auto next = skipped.begin();
    for (size_t i = 0; i + 1 < size;) {
        if (next != skipped.end() && i >= next->begin) {
            const std::string_view body(data + next->begin, next->end - next->begin);
            size_t parsable = body.size();
            for (const std::string_view start : {"obj", "trailer", "xref"})
                parsable = std::min(parsable, body.find(start));
            i = std::max(i, next->begin + parsable);
            ++next;
            continue;
        }
        if (data[i] == '<' && data[i + 1] == '<') {
            if (++depth > limit) return false;
            i += 2;
        } else if (data[i] == '>' && data[i + 1] == '>') {
            if (depth > 0) --depth;
            i += 2;
        } else {
            ++i;
        }
    }
    return true;
}

// An object stream found in the file, checked once the whole file has been: in an encrypted file
// its body is decrypted first, with a key that the trailer, found on the way, leads to.
struct ObjectStream {
    size_t body;
    size_t size;
    uint64_t number;
    uint64_t generation;
    bool flate;
    bool otherCoding;
};

struct ObjectStart {
    uint64_t number;
    uint64_t generation;
    size_t offset;
};

constexpr size_t kNone = static_cast<size_t>(-1);

using ObjectKey = std::pair<uint64_t, uint64_t>;

// The objects of the file that are a plain non-negative integer ("N G obj 1234 endobj"), the last
// one of each number and generation winning, as in an update: the values an indirect /Length names.
std::map<ObjectKey, uint64_t> integerObjects(std::string_view file) {
    const auto digitsBefore = [&](size_t end, size_t& start) {
        start = end;
        while (start > 0 && end - start < 16 && isDigit(file[start - 1])) --start;
        return start < end && (start == 0 || !isRegular(file[start - 1]));
    };
    const auto whiteBefore = [&](size_t end) {
        size_t start = end;
        while (start > 0 && end - start < 64 && isWhite(file[start - 1])) --start;
        return start < end ? start : kNone;
    };
    std::map<ObjectKey, uint64_t> values;
    for (size_t at = file.find("obj"); at != std::string_view::npos; at = file.find("obj", at + 3)) {
        size_t generation = 0, number = 0;
        const size_t gap = whiteBefore(at);
        if (gap == kNone || !digitsBefore(gap, generation)) continue;
        const size_t gap2 = whiteBefore(generation);
        if (gap2 == kNone || !digitsBefore(gap2, number)) continue;
        size_t value = at + 3;
        if (value >= file.size() || !isWhite(file[value])) continue;
        while (value < file.size() && isWhite(file[value])) ++value;
        size_t valueEnd = value;
        while (valueEnd < file.size() && valueEnd - value < 16 && isDigit(file[valueEnd])) ++valueEnd;
        size_t after = valueEnd;
        while (after < file.size() && isWhite(file[after])) ++after;
        if (valueEnd == value || after == valueEnd || file.substr(after, 6) != "endobj") continue;
        const auto parse = [&](size_t from, size_t to) {
            uint64_t n = 0;
            for (size_t i = from; i < to; ++i) n = n * 10 + static_cast<uint64_t>(file[i] - '0');
            return n;
        };
        values[{parse(number, gap2), parse(generation, gap)}] = parse(value, valueEnd);
    }
    return values;
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
                        if (depth_ == 1) endTopDictionary();
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

    const std::vector<ObjectStream>& objectStreams() const { return objectStreams_; }
    // The stream bodies that their /Length ends right before "endstream", in file order.
    const std::vector<Span>& delimitedBodies() const { return delimitedBodies_; }
    // The offset of the last trailer dictionary (or cross-reference stream dictionary) with an
    // /Encrypt key; kNone in a file that is not encrypted.
    size_t encryptingTrailer() const { return encryptingTrailer_; }
    std::optional<size_t> objectAt(uint64_t number, uint64_t generation) const {
        for (auto start = objects_.rbegin(); start != objects_.rend(); ++start)
            if (start->number == number && start->generation == generation) return start->offset;
        return std::nullopt;
    }

    // An object stream is checked like the file, on its decoded body. One coded other than by plain
    // Flate (the coding every writer uses for them) cannot be checked here and is refused.
    static bool objectStreamWithin(const char* body, size_t size, bool flate, bool otherCoding, size_t limit) {
        if (otherCoding) return false;
        std::string decoded;
        if (flate && !inflate(body, size, decoded)) return false;
        const char* data = flate ? decoded.data() : body;
        const size_t length = flate ? decoded.size() : size;
        return dictionaryMarksWithin(data, length, limit + kDictionaryMarkMargin) &&
               NestingScan(data, length, limit, true).run();
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
        if (depth_ == 1 && name == "Encrypt") topHasEncrypt_ = true;
        if (depth_ == 1 && name == "XRef") topIsCrossReference_ = true;
        if (name != "Length") return;
        const size_t number = skipWhite(pos_);
        const size_t numberEnd = digitsEnd(number);
        if (numberEnd == number || numberEnd - number > 15 || isRegular(at(numberEnd))) return;
        const size_t generation = skipWhite(numberEnd);
        const size_t generationEnd = digitsEnd(generation);
        const auto value = [&](size_t from, size_t to) {
            uint64_t n = 0;
            for (size_t i = from; i < to; ++i) n = n * 10 + static_cast<uint64_t>(data_[i] - '0');
            return n;
        };
        if (generationEnd > generation && generationEnd - generation <= 15 && !isRegular(at(generationEnd))) {
            const size_t r = skipWhite(generationEnd);
            if (at(r) == 'R' && !isRegular(at(r + 1))) {
                resolveLength({value(number, numberEnd), value(generation, generationEnd)});
                return;
            }
        }
        length_ = value(number, numberEnd);
        hasLength_ = true;
    }

    // An indirect /Length, when the file holds its value as a plain integer object.
    void resolveLength(const ObjectKey& reference) {
        if (!integers_) integers_ = integerObjects(std::string_view(data_, size_));
        const auto found = integers_->find(reference);
        if (found == integers_->end()) return;
        length_ = found->second;
        hasLength_ = true;
    }

    bool readKeyword() {
        const size_t start = pos_;
        pos_ = tokenEnd(pos_);
        const std::string_view token(data_ + start, pos_ - start);
        if (depth_ == 0 && !inObjectStream_) noteTopLevelToken(token, start);
        if (token != "stream") return true;
        const size_t body = std::min(bodyStart(), size_);
        skipStreamBody(body);
        if (!inObjectStream_ && objectStream_)
            objectStreams_.push_back(
                {body, std::min(pos_, size_) - body, current_.number, current_.generation, flate_, otherCoding_});
        return true;
    }

    // "N G obj" starts an object: its number and generation make the key of its encrypted stream.
    void noteTopLevelToken(std::string_view token, size_t start) {
        if (!token.empty() && token.size() <= 10 &&
            std::all_of(token.begin(), token.end(), [](char c) { return isDigit(c); })) {
            numbers_[0] = numbers_[1];
            numbers_[1] = {std::stoull(std::string(token)), 0, start};
            ++numberCount_;
            return;
        }
        if (token == "obj" && numberCount_ >= 2) {
            current_ = {numbers_[0].number, numbers_[1].number, numbers_[0].offset};
            objects_.push_back(current_);
        }
        afterTrailer_ = token == "trailer";
        numberCount_ = 0;
    }

    void endTopDictionary() {
        if (!inObjectStream_ && topHasEncrypt_ && (topAfterTrailer_ || topIsCrossReference_))
            encryptingTrailer_ = topStart_;
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
                if (!inObjectStream_) delimitedBodies_.push_back({body, body + static_cast<size_t>(length_)});
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
        topStart_ = pos_;
        topAfterTrailer_ = afterTrailer_;
        afterTrailer_ = false;
        topHasEncrypt_ = false;
        topIsCrossReference_ = false;
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
    std::vector<ObjectStream> objectStreams_;
    std::vector<Span> delimitedBodies_;
    std::optional<std::map<ObjectKey, uint64_t>> integers_;
    std::vector<ObjectStart> objects_;
    ObjectStart numbers_[2] = {};
    size_t numberCount_ = 0;
    ObjectStart current_ = {};
    bool afterTrailer_ = false;
    size_t topStart_ = 0;
    bool topAfterTrailer_ = false;
    bool topHasEncrypt_ = false;
    bool topIsCrossReference_ = false;
    size_t encryptingTrailer_ = kNone;
};

}  // namespace

bool pdfNestingWithin(const char* data, size_t size, size_t limit) {
    if (data == nullptr) return true;
    NestingScan scan(data, size, limit);
    if (!scan.run()) return false;
    if (!dictionaryMarksWithin(data, size, limit + kDictionaryMarkMargin, scan.delimitedBodies())) return false;
    if (scan.objectStreams().empty()) return true;

    // The file's own objects passed: PoDoFo may now read its trailer and encryption dictionary.
    std::unique_ptr<PdfStreamDecryption> decryption;
    if (scan.encryptingTrailer() != kNone) {
        decryption = PdfStreamDecryption::open(
            data, size, scan.encryptingTrailer(),
            [&scan](uint64_t number, uint64_t generation) { return scan.objectAt(number, generation); });
        if (!decryption) return false;
    }
    std::string plain;
    for (const ObjectStream& stream : scan.objectStreams()) {
        const char* body = data + stream.body;
        size_t length = stream.size;
        if (decryption) {
            if (!decryption->decrypt(body, length, stream.number, stream.generation, plain)) return false;
            body = plain.data();
            length = plain.size();
        }
        if (!NestingScan::objectStreamWithin(body, length, stream.flate, stream.otherCoding, limit)) return false;
    }
    return true;
}

}  // namespace Vesk::Crypto
