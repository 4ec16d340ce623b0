#include "document/PdfRequestTexts.h"

#include "common/Logging.h"

#include <boost/locale/utf.hpp>

namespace Vesk::Crypto {

bool isUtf8(const std::string& text) {
    using Utf8 = boost::locale::utf::utf_traits<char>;
    for (auto it = text.begin(); it != text.end();) {
        const auto code = Utf8::decode(it, text.end());
        if (code == boost::locale::utf::illegal || code == boost::locale::utf::incomplete) return false;
    }
    return true;
}

std::string nonUtf8PdfText(const SignOptions& options, bool signatureField) {
    if (signatureField && !isUtf8(options.search_string)) return "search_string";
    if (signatureField && !isUtf8(options.reason)) return "reason";
    for (const auto& line : options.watermark.strings) {
        if (!isUtf8(line.text)) return "text";
        if (!isUtf8(line.font)) return "font";
    }
    return {};
}

std::string nonUtf8Message(const std::string& key) {
    VLOG_ERROR << "Text is not UTF-8: " << key;
    return "tr{Text is not UTF-8:} " + key;
}

}  // namespace Vesk::Crypto
