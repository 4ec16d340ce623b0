#include "document/PdfSignatureLayout.h"

#include "common/Logging.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;
using Bytes = std::vector<unsigned char>;

int hexValue(unsigned char digit) {
    if (std::isdigit(digit)) return digit - '0';
    digit = static_cast<unsigned char>(std::tolower(digit));
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

// Pairs of non-blank digits; a lone last digit counts as a high digit. `strict`: any other
// character fails (an empty result); otherwise it reads as 0, so that a forged hole can still
// name its signer.
std::optional<Bytes> decodeHex(std::string_view text, bool strict) {
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    int high = -1;
    for (const char raw : text) {
        const auto c = static_cast<unsigned char>(raw);
        if (std::isspace(c)) continue;
        int value = hexValue(c);
        if (value < 0) {
            if (strict) return std::nullopt;
            value = 0;
        }
        if (high < 0) {
            high = value;
        } else {
            bytes.push_back(static_cast<unsigned char>(high * 16 + value));
            high = -1;
        }
    }
    if (high >= 0) bytes.push_back(static_cast<unsigned char>(high * 16));
    return bytes;
}

std::string textOf(const PdfObject* object) {
    std::string text;
    if (object != nullptr) object->ToString(text, ePdfWriteMode_Compact);
    return text;
}

// The hole [start, end) is the <…> value of a /Contents key inside the object at `extent`, and the
// object's /Contents holds the same bytes.
bool isOwnContents(std::string_view file, size_t start, size_t end, std::pair<size_t, size_t> extent,
                   const PdfObject& own) {
    if (start <= extent.first || end > extent.second || end - start < 2) return false;
    if (file[start] != '<' || file[end - 1] != '>') return false;
    const auto hole = decodeHex(file.substr(start + 1, end - start - 2), true);
    if (!hole) return false;
    size_t key = start;
    while (key > extent.first && std::isspace(static_cast<unsigned char>(file[key - 1]))) --key;
    if (key - extent.first < 9 || file.substr(key - 9, 9) != "/Contents") return false;
    const PdfObject* contents = own.GetDictionary().GetKey("Contents");
    if (contents == nullptr || !contents->IsHexString()) return false;
    const PdfString& value = contents->GetString();
    return static_cast<size_t>(value.GetLength()) == hole->size() &&
           std::equal(hole->begin(), hole->end(), reinterpret_cast<const unsigned char*>(value.GetString()));
}

SignatureForgery placement(const PdfObject& dictionary, const SignatureLayout& layout, std::string_view file,
                           PdfRevisions& revisions) {
    const pdf_objnum number = dictionary.Reference().ObjectNumber();
    const PdfObjectPlace* signedPlace = revisions.place(number, *layout.revision);
    const PdfObjectPlace* lastPlace = revisions.place(number, revisions.revisions().size() - 1);
    if (signedPlace == nullptr || lastPlace == nullptr || !(*signedPlace == *lastPlace) || signedPlace->offset < 0)
        return SignatureForgery::NotInCrossReference;
    const PdfObject* own = revisions.objectAt(signedPlace->offset);
    if (own == nullptr || !own->IsDictionary() ||
        textOf(own->GetDictionary().GetKey("ByteRange")) != textOf(dictionary.GetDictionary().GetKey("ByteRange")))
        return SignatureForgery::NotInCrossReference;
    const auto [a, b, c, d] = layout.range;
    if (!isOwnContents(file, static_cast<size_t>(a + b), static_cast<size_t>(c),
                       revisions.extentAt(signedPlace->offset), *own))
        return SignatureForgery::HoleNotOwnContents;
    return SignatureForgery::None;
}

}  // namespace

SignatureLayout examineSignature(const PdfObject& dictionary, const std::vector<char>& file, PdfRevisions* revisions) {
    SignatureLayout layout;
    const PdfObject* range = dictionary.GetDictionary().GetKey("ByteRange");
    const auto size = static_cast<int64_t>(file.size());
    bool wellFormed = range != nullptr && range->IsArray() && range->GetArray().size() == 4;
    for (size_t i = 0; wellFormed && i < 4; ++i) {
        const PdfObject& value = range->GetArray()[i];
        wellFormed = value.IsNumber() && value.GetNumber() >= 0 && value.GetNumber() <= size;
        if (wellFormed) layout.range[i] = value.GetNumber();
    }
    auto [a, b, c, d] = layout.range;
    if (wellFormed) {
        VLOG_VERBOSE << "Found ByteRange: [" << a << " " << b << " " << c << " " << d << "]";
        wellFormed = a + b <= c && c + d <= size;
    }
    if (!wellFormed) {
        layout.forgery = SignatureForgery::MalformedByteRange;
        return layout;
    }
    const std::string_view text(file.data(), file.size());
    // compat: log readers know this line as it always was: from b alone, one digit short.
    VLOG_VERBOSE << "Sign [" << b + 1 << ", " << c - b - 3 << "]";
    layout.signature = *decodeHex(
        text.substr(static_cast<size_t>(a + b + 1), static_cast<size_t>(std::max<int64_t>(c - a - b - 2, 0))), false);
    layout.signedData.reserve(static_cast<size_t>(b + d));
    layout.signedData.insert(layout.signedData.end(), file.begin() + a, file.begin() + a + b);
    layout.signedData.insert(layout.signedData.end(), file.begin() + c, file.begin() + c + d);

    if (revisions != nullptr) layout.revision = revisions->endingAt(static_cast<size_t>(c + d));
    if (a != 0)
        layout.forgery = SignatureForgery::FirstRangeNotAtStart;
    else if (!layout.revision)
        layout.forgery = SignatureForgery::NotAtRevisionEnd;
    else
        layout.forgery = placement(dictionary, layout, text, *revisions);
    return layout;
}

}  // namespace Vesk::Crypto
