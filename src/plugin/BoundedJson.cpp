#include "plugin/BoundedJson.h"

#include <iomanip>
#include <ostream>
#include <streambuf>

namespace Vesk::Crypto {
namespace {

using json = nlohmann::json;

// Keeps the first `limit` bytes written to it and fails every write after that, so that the
// serialiser's later writes cost nothing.
class CappedBuffer : public std::streambuf {
public:
    explicit CappedBuffer(std::size_t limit) : limit_(limit) {}

    const std::string& text() const { return text_; }
    bool cut() const { return cut_; }

protected:
    std::streamsize xsputn(const char* data, std::streamsize count) override {
        const std::size_t room = limit_ - text_.size();
        const auto size = static_cast<std::size_t>(count);
        text_.append(data, std::min(room, size));
        if (size <= room) return count;
        cut_ = true;
        return static_cast<std::streamsize>(room);
    }
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        const char ch = traits_type::to_char_type(c);
        return xsputn(&ch, 1) == 1 ? c : traits_type::eof();
    }

private:
    std::size_t limit_;
    std::string text_;
    bool cut_ = false;
};

}  // namespace

json parseRequestJson(std::string_view text) {
    // The parser itself keeps its levels on the heap; the depth is that of the level about to open.
    return json::parse(text.begin(), text.end(), [](int depth, json::parse_event_t event, json&) {
        const bool opens = event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
        if (opens && depth >= kMaxJsonNesting)
            throw json::parse_error::create(
                101, 0, "nesting deeper than " + std::to_string(kMaxJsonNesting) + " levels", nullptr);
        return true;
    });
}

std::string indentedDump(const json& value, std::size_t limit) {
    CappedBuffer buffer(limit);
    std::ostream out(&buffer);
    out << std::setw(2) << value;
    if (!buffer.cut()) return buffer.text();
    return buffer.text() + "\n... (cut at " + std::to_string(limit) + " bytes)";
}

}  // namespace Vesk::Crypto
