#include "document/PdfFormAppearances.h"

#include "common/Logging.h"
#include "document/PdfFonts.h"
#include "document/PdfNesting.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <unordered_set>
#include <vector>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

// Field flags (PDF 1.7, tables 226, 228, 230, 232).
constexpr pdf_int64 kMultiline = 1 << 12;
constexpr pdf_int64 kPassword = 1 << 13;
constexpr pdf_int64 kPushButton = 1 << 16;
constexpr pdf_int64 kCombo = 1 << 17;
constexpr pdf_int64 kComb = 1 << 24;

// The font of the module's own that draws text a field's font cannot encode.
constexpr const char* kFormFontName = "Arial";

PdfObject* resolve(PdfMemDocument& document, PdfObject* object) {
    for (int hops = 0; object != nullptr && object->IsReference() && hops < 8; ++hops)
        object = document.GetObjects().GetObject(object->GetReference());
    return object != nullptr && object->IsReference() ? nullptr : object;
}

PdfObject* key(PdfMemDocument& document, PdfObject* dictionary, const char* name) {
    if (dictionary == nullptr || !dictionary->IsDictionary()) return nullptr;
    return resolve(document, dictionary->GetDictionary().GetKey(name));
}

PdfObject* dictionaryKey(PdfMemDocument& document, PdfObject* dictionary, const char* name) {
    PdfObject* value = key(document, dictionary, name);
    return value != nullptr && value->IsDictionary() ? value : nullptr;
}

double number(const PdfObject* value, double otherwise) {
    return value != nullptr && (value->IsNumber() || value->IsReal()) ? value->GetReal() : otherwise;
}

// PoDoFo 0.9.8 leaves the padding of AES-encrypted strings on them when it decrypts them: up to
// 16 bytes, each holding their count.
PdfString withoutPadding(const PdfString& text) {
    const char* bytes = text.GetString();
    const auto length = static_cast<size_t>(std::max<pdf_long>(0, text.GetLength()));
    if (bytes == nullptr || length == 0) return text;
    const auto pad = static_cast<size_t>(static_cast<unsigned char>(bytes[length - 1]));
    if (pad == 0 || pad > 16 || pad > length) return text;
    for (size_t i = length - pad; i < length; ++i)
        if (static_cast<unsigned char>(bytes[i]) != pad) return text;
    const size_t kept = length - pad;
    if (text.IsUnicode())
        return kept < 2 ? PdfString("")
                        : PdfString(reinterpret_cast<const pdf_utf16be*>(bytes), static_cast<pdf_long>(kept / 2));
    return PdfString(bytes, static_cast<pdf_long>(kept));
}

// A text string of the file as PoDoFo reads it; `aesPadded` for a document encrypted with AES.
PdfString textOf(const PdfObject* value, bool aesPadded) {
    if (value == nullptr) return PdfString("");
    if (value->IsString() || value->IsHexString())
        return aesPadded ? withoutPadding(value->GetString()) : value->GetString();
    if (value->IsName()) return PdfString(value->GetName().GetName());
    return PdfString("");
}

// What a field passes on to its kids.
struct FieldState {
    PdfObject* type = nullptr;
    PdfObject* value = nullptr;
    PdfObject* options = nullptr;
    std::string appearance;
    pdf_int64 alignment = 0;
    pdf_int64 flags = 0;
    pdf_int64 maxLength = 0;
};

void inherit(PdfMemDocument& document, PdfObject* node, FieldState& state, bool aesPadded) {
    if (PdfObject* type = key(document, node, "FT"); type != nullptr && type->IsName()) state.type = type;
    if (PdfObject* value = key(document, node, "V")) state.value = value;
    if (PdfObject* options = key(document, node, "Opt"); options != nullptr && options->IsArray())
        state.options = options;
    if (PdfObject* da = key(document, node, "DA"); da != nullptr && (da->IsString() || da->IsHexString()))
        state.appearance = textOf(da, aesPadded).GetStringUtf8();
    if (PdfObject* q = key(document, node, "Q"); q != nullptr && q->IsNumber()) state.alignment = q->GetNumber();
    if (PdfObject* ff = key(document, node, "Ff"); ff != nullptr && ff->IsNumber()) state.flags = ff->GetNumber();
    if (PdfObject* max = key(document, node, "MaxLen"); max != nullptr && max->IsNumber())
        state.maxLength = max->GetNumber();
}

// The parts of a default appearance string ("/Helv 0 Tf 0 0 1 rg") the drawing needs.
struct DefaultAppearance {
    std::string font;
    double size = 12;
    PdfColor color{0.0};
};

DefaultAppearance parseAppearance(const std::string& text) {
    DefaultAppearance parsed;
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    std::vector<std::string> operands;
    std::string token;
    const auto operand = [&](size_t fromEnd) {
        return std::strtod(operands[operands.size() - fromEnd].c_str(), nullptr);
    };
    while (in >> token) {
        if (token == "Tf" && operands.size() >= 2 && operands[operands.size() - 2].front() == '/') {
            parsed.font = operands[operands.size() - 2].substr(1);
            parsed.size = operand(1);
        } else if (token == "g" && !operands.empty()) {
            parsed.color = PdfColor(operand(1));
        } else if (token == "rg" && operands.size() >= 3) {
            parsed.color = PdfColor(operand(3), operand(2), operand(1));
        } else if (token == "k" && operands.size() >= 4) {
            parsed.color = PdfColor(operand(4), operand(3), operand(2), operand(1));
        } else if (!token.empty() && (token.front() == '/' || std::isdigit(static_cast<unsigned char>(token.front())) ||
                                      token.front() == '.' || token.front() == '-')) {
            operands.push_back(token);
            continue;
        }
        operands.clear();
    }
    return parsed;
}

// A colour array of /MK (/BG, /BC): gray, RGB or CMYK; false for none or an empty array.
bool colorOf(PdfMemDocument& document, PdfObject* mk, const char* name, PdfColor& color) {
    PdfObject* array = key(document, mk, name);
    if (array == nullptr || !array->IsArray()) return false;
    const PdfArray& c = array->GetArray();
    if (c.size() == 1)
        color = PdfColor(number(&c[0], 0));
    else if (c.size() == 3)
        color = PdfColor(number(&c[0], 0), number(&c[1], 0), number(&c[2], 0));
    else if (c.size() == 4)
        color = PdfColor(number(&c[0], 0), number(&c[1], 0), number(&c[2], 0), number(&c[3], 0));
    else
        return false;
    return true;
}

// A font that draws a field's text: one of the form's (/DR), read here without changing it (its
// codes through its /Encoding, its widths from /Widths or, for a standard font, from a stand-in),
// or one of the module's, which encodes and measures its text itself.
struct FieldFont {
    PdfFont* own = nullptr;
    PdfName name;
    PdfReference reference;
    std::map<pdf_utf16be, char> codes;
    std::vector<double> widths;  // 1/1000 em, from code firstChar on
    int firstChar = 0;
    PdfFont* standIn = nullptr;           // the standard font of that name
    double ascent = 0.8, descent = -0.2;  // em

    bool ofForm() const { return own == nullptr; }
    // The text's codes in a font of the form; false when one of its characters has none.
    bool encode(const PdfString& text, std::string& bytes) const {
        const PdfString unicode = text.ToUnicode();
        const pdf_utf16be* chars = unicode.GetUnicode();
        for (pdf_long i = 0; i < unicode.GetUnicodeLength(); ++i) {
            const auto code = codes.find(chars[i]);
            if (code == codes.end()) return false;
            bytes += code->second;
        }
        return true;
    }
    double width(const PdfString& text, double size) const {
        const PdfString unicode = text.ToUnicode();
        const auto count = static_cast<unsigned int>(unicode.GetUnicodeLength());
        if (PdfFont* measured = own != nullptr ? own : standIn; measured != nullptr && widths.empty()) {
            measured->SetFontSize(static_cast<float>(size));
            return measured->GetFontMetrics()->StringWidth(unicode.GetUnicode(), count);
        }
        std::string bytes;
        encode(text, bytes);
        double total = 0;
        for (const char byte : bytes) {
            const auto at = static_cast<size_t>(static_cast<unsigned char>(byte)) - static_cast<size_t>(firstChar);
            total += at < widths.size() ? widths[at] : 500;
        }
        return total / 1000 * size;
    }
};

// A painter that also writes text in a font of the form, by the form's own name for it.
class AppearancePainter : public PdfPainter {
public:
    void drawText(const FieldFont& font, double size, double x, double y, const PdfString& text) {
        if (!font.ofForm()) {
            font.own->SetFontSize(static_cast<float>(size));
            SetFont(font.own);
            DrawText(x, y, text);
            return;
        }
        AddToPageResources(font.name, font.reference, PdfName("Font"));
        std::string bytes;
        font.encode(text, bytes);
        std::ostringstream out;
        out.imbue(std::locale::classic());
        out << "BT\n/" << font.name.GetEscapedName() << " " << size << " Tf\n" << x << " " << y << " Td\n<";
        static const char* const kHex = "0123456789ABCDEF";
        for (const char byte : bytes) out << kHex[(byte >> 4) & 0xf] << kHex[byte & 0xf];
        out << "> Tj\nET\n";
        m_oss.str("");
        m_oss << out.str();
        m_pCanvas->Append(m_oss.str());
    }
};

// Breaks text into lines no wider than `width`, at blanks and line ends; each word is measured
// once, so the work stays linear in the text.
std::vector<PdfString> wrapped(const FieldFont& font, double size, const PdfString& text, double width) {
    const PdfString unicode = text.ToUnicode();
    const pdf_utf16be* chars = unicode.GetUnicode();
    const auto count = static_cast<size_t>(std::max<pdf_long>(0, unicode.GetUnicodeLength()));
    // The units as PoDoFo stores them, whatever the machine's byte order.
    const auto unitOf = [](const char* c) { return PdfString(c).ToUnicode().GetUnicode()[0]; };
    const pdf_utf16be blank = unitOf(" "), newline = unitOf("\n"), ret = unitOf("\r");
    const auto piece = [&](size_t from, size_t to) {
        return PdfString(chars + from, static_cast<pdf_long>(to - from));
    };
    const double blankWidth = font.width(PdfString(" "), size);

    std::vector<PdfString> lines;
    size_t start = 0, end = 0;
    double lineWidth = 0;
    bool open = false;
    for (size_t i = 0; i <= count;) {
        if (i == count || chars[i] == newline || chars[i] == ret) {
            lines.push_back(open ? piece(start, end) : PdfString(""));
            open = false;
            lineWidth = 0;
            if (i + 1 < count && chars[i] == ret && chars[i + 1] == newline) ++i;
            ++i;
            continue;
        }
        if (chars[i] == blank) {
            ++i;
            continue;
        }
        size_t wordEnd = i;
        while (wordEnd < count && chars[wordEnd] != blank && chars[wordEnd] != newline && chars[wordEnd] != ret)
            ++wordEnd;
        const double wordWidth = font.width(piece(i, wordEnd), size);
        if (open && lineWidth + blankWidth + wordWidth > width) {
            lines.push_back(piece(start, end));
            open = false;
        }
        if (!open) {
            start = i;
            lineWidth = wordWidth;
            open = true;
        } else {
            lineWidth += blankWidth + wordWidth;
        }
        end = wordEnd;
        i = wordEnd;
    }
    return lines;
}

// Draws one field's appearances, with the fonts its form names.
class AppearanceWriter {
public:
    AppearanceWriter(PdfMemDocument& document, PdfObject* form, bool aesPadded)
        : document_(document), form_(form), aesPadded_(aesPadded) {
        // The stand-ins' objects belong to no document: the list deletes them with itself.
        scratch_.SetAutoDelete(true);
    }

    void widget(PdfObject& widget, const FieldState& state) {
        if (state.type == nullptr) return;
        const PdfName& type = state.type->GetName();
        if (type == PdfName("Btn")) {
            if ((state.flags & kPushButton) == 0) setState(widget, state);
        } else if (type == PdfName("Tx") || type == PdfName("Ch")) {
            draw(widget, state);
        }
    }

private:
    // A check box or radio button shows the state its value names, when it has an appearance for it.
    void setState(PdfObject& widget, const FieldState& state) {
        PdfObject* normal = dictionaryKey(document_, dictionaryKey(document_, &widget, "AP"), "N");
        // Some producers write the value as a string rather than a name.
        PdfName value;
        if (state.value != nullptr && state.value->IsName()) value = state.value->GetName();
        if (state.value != nullptr && (state.value->IsString() || state.value->IsHexString()))
            value = PdfName(textOf(state.value, aesPadded_).GetStringUtf8());
        PdfName wanted("Off");
        if (normal != nullptr && value.GetLength() > 0 && normal->GetDictionary().HasKey(value)) wanted = value;
        const PdfObject* current = widget.GetDictionary().GetKey("AS");
        if (current != nullptr && current->IsName() && current->GetName() == wanted) return;
        widget.GetDictionary().AddKey("AS", wanted);
    }

    // The lines a text or choice field shows, and which of them are selected.
    std::vector<std::pair<PdfString, bool>> linesOf(const FieldState& state, bool listBox) const {
        std::vector<std::pair<PdfString, bool>> lines;
        const auto selected = [&](const PdfString& exported) {
            if (state.value == nullptr) return false;
            if (state.value->IsArray()) {
                for (const PdfObject& item : state.value->GetArray())
                    if (textOf(&item, aesPadded_) == exported) return true;
                return false;
            }
            return textOf(state.value, aesPadded_) == exported;
        };
        if (state.type->GetName() == PdfName("Ch")) {
            // Options are texts or [export, shown] pairs; the value names the export text.
            std::vector<std::pair<PdfString, bool>> options;
            if (state.options != nullptr) {
                for (PdfObject& option : state.options->GetArray()) {
                    PdfObject* item = resolve(document_, &option);
                    if (item == nullptr) continue;
                    if (item->IsArray() && item->GetArray().size() >= 2)
                        options.emplace_back(textOf(&item->GetArray()[1], aesPadded_),
                                             selected(textOf(&item->GetArray()[0], aesPadded_)));
                    else
                        options.emplace_back(textOf(item, aesPadded_), selected(textOf(item, aesPadded_)));
                }
            }
            if (listBox) return options;
            for (const auto& option : options)
                if (option.second) return {{option.first, false}};
            const PdfObject* first =
                state.value != nullptr && state.value->IsArray() && !state.value->GetArray().empty()
                    ? &state.value->GetArray()[0]
                    : state.value;
            return {{textOf(first, aesPadded_), false}};
        }
        PdfString text = textOf(state.value, aesPadded_);
        if (state.flags & kPassword)
            text = PdfString(std::string(static_cast<size_t>(text.ToUnicode().GetUnicodeLength()), '*'));
        lines.emplace_back(text, false);
        return lines;
    }

    // The single-byte encoding of a font of the form, or null.
    const PdfEncoding* encodingOf(PdfObject& font) {
        const PdfObject* subtype = font.GetDictionary().GetKey(PdfName::KeySubtype);
        if (subtype == nullptr || !subtype->IsName() || subtype->GetName() == PdfName("Type0") ||
            subtype->GetName() == PdfName("Type3"))
            return nullptr;
        PdfObject* encoding = key(document_, &font, "Encoding");
        if (encoding == nullptr) {
            // A font without /Encoding speaks its built-in one: the standard encoding, unless the
            // font is symbolic.
            const PdfObject* base = key(document_, &font, "BaseFont");
            const std::string baseName = base != nullptr && base->IsName() ? base->GetName().GetName() : "";
            if (baseName == "Symbol" || baseName == "ZapfDingbats") return nullptr;
            const PdfObject* flags = key(document_, dictionaryKey(document_, &font, "FontDescriptor"), "Flags");
            if (flags != nullptr && flags->IsNumber() && (flags->GetNumber() & 4) != 0) return nullptr;
            return PdfEncodingFactory::GlobalStandardEncodingInstance();
        }
        if (encoding->IsName()) {
            const PdfName& named = encoding->GetName();
            if (named == PdfName("WinAnsiEncoding")) return PdfEncodingFactory::GlobalWinAnsiEncodingInstance();
            if (named == PdfName("MacRomanEncoding")) return PdfEncodingFactory::GlobalMacRomanEncodingInstance();
            if (named == PdfName("StandardEncoding")) return PdfEncodingFactory::GlobalStandardEncodingInstance();
            return nullptr;
        }
        if (!encoding->IsDictionary()) return nullptr;
        try {
            differences_.push_back(std::make_unique<PdfDifferenceEncoding>(encoding, false));
            return differences_.back().get();
        } catch (const PdfError& error) {
            VLOG_WARNING << "Form font encoding unusable: " << error.what();
            return nullptr;
        }
    }

    // The field's own font from /DR when it encodes the text, else one of the module's.
    FieldFont fontFor(const std::string& name, const std::vector<std::pair<PdfString, bool>>& lines) {
        PdfObject* fonts = dictionaryKey(document_, dictionaryKey(document_, form_, "DR"), "Font");
        PdfObject* entry = fonts != nullptr ? fonts->GetDictionary().GetKey(name) : nullptr;
        PdfObject* fontObject = entry != nullptr && entry->IsReference() ? resolve(document_, entry) : nullptr;
        const PdfEncoding* encoding =
            fontObject != nullptr && fontObject->IsDictionary() ? encodingOf(*fontObject) : nullptr;
        if (encoding != nullptr) {
            FieldFont chosen;
            for (int code = std::max(0, encoding->GetFirstChar()); code <= encoding->GetLastChar() && code < 256;
                 ++code)
                chosen.codes.emplace(encoding->GetCharCode(code), static_cast<char>(code));
            chosen.name = PdfName(name);
            chosen.reference = entry->GetReference();
            const bool encodable = std::all_of(lines.begin(), lines.end(), [&](const auto& line) {
                std::string bytes;
                return chosen.encode(line.first, bytes);
            });
            if (encodable) {
                measure(*fontObject, chosen);
                return chosen;
            }
        }
        std::vector<pdf_utf16be> all;
        for (const auto& line : lines) {
            const PdfString unicode = line.first.ToUnicode();
            all.insert(all.end(), unicode.GetUnicode(), unicode.GetUnicode() + unicode.GetUnicodeLength());
        }
        FieldFont own;
        own.own = createFontFor(document_, kFormFontName, false, false,
                                all.empty() ? PdfString("") : PdfString(all.data(), static_cast<pdf_long>(all.size())));
        if (own.own != nullptr) {
            own.own->SetFontSize(1000);
            own.ascent = own.own->GetFontMetrics()->GetAscent() / 1000;
            own.descent = own.own->GetFontMetrics()->GetDescent() / 1000;
        }
        return own;
    }

    // Widths and heights of a font of the form: its /Widths and descriptor, or a standard font's.
    void measure(PdfObject& fontObject, FieldFont& font) {
        const PdfObject* widths = key(document_, &fontObject, "Widths");
        const PdfObject* first = key(document_, &fontObject, "FirstChar");
        if (widths != nullptr && widths->IsArray() && first != nullptr && first->IsNumber()) {
            font.firstChar = static_cast<int>(first->GetNumber());
            for (const PdfObject& width : widths->GetArray())
                font.widths.push_back(number(resolve(document_, const_cast<PdfObject*>(&width)), 500));
        }
        PdfObject* descriptor = dictionaryKey(document_, &fontObject, "FontDescriptor");
        if (descriptor != nullptr) {
            const double ascent = number(key(document_, descriptor, "Ascent"), 0) / 1000;
            const double descent = number(key(document_, descriptor, "Descent"), 0) / 1000;
            if (ascent > 0.3 && ascent < 2) font.ascent = ascent;
            if (descent < 0 && descent > -1) font.descent = descent;
            return;
        }
        const PdfObject* base = key(document_, &fontObject, "BaseFont");
        if (base == nullptr || !base->IsName()) return;
        auto known = standIns_.find(base->GetName().GetName());
        if (known == standIns_.end()) {
            std::unique_ptr<PdfFont> standIn;
            try {
                standIn.reset(PdfFontFactory::CreateBase14Font(base->GetName().GetName().c_str(), ePdfFont_Normal,
                                                               PdfEncodingFactory::GlobalWinAnsiEncodingInstance(),
                                                               &scratch_));
            } catch (const PdfError&) {
            }
            known = standIns_.emplace(base->GetName().GetName(), std::move(standIn)).first;
        }
        font.standIn = known->second.get();
        if (font.standIn != nullptr) {
            font.standIn->SetFontSize(1000);
            const double ascent = font.standIn->GetFontMetrics()->GetAscent() / 1000;
            const double descent = font.standIn->GetFontMetrics()->GetDescent() / 1000;
            if (ascent > 0.3 && ascent < 2) font.ascent = ascent;
            if (descent < 0 && descent > -1) font.descent = descent;
        }
    }

    void draw(PdfObject& widget, const FieldState& state) {
        PdfObject* rectObject = key(document_, &widget, "Rect");
        if (rectObject == nullptr || !rectObject->IsArray() || rectObject->GetArray().size() != 4) return;
        const PdfArray& r = rectObject->GetArray();
        double width = std::fabs(number(&r[2], 0) - number(&r[0], 0));
        double height = std::fabs(number(&r[3], 0) - number(&r[1], 0));
        PdfObject* mk = dictionaryKey(document_, &widget, "MK");
        const int rotation = ((static_cast<int>(number(key(document_, mk, "R"), 0)) % 360) + 360) % 360;
        if (rotation == 90 || rotation == 270) std::swap(width, height);
        if (!(width > 0 && height > 0) || width > 1e5 || height > 1e5) return;

        const bool choice = state.type->GetName() == PdfName("Ch");
        const bool listBox = choice && (state.flags & kCombo) == 0;
        const auto lines = linesOf(state, listBox);
        const DefaultAppearance da =
            parseAppearance(state.appearance.empty() ? textOf(key(document_, form_, "DA"), aesPadded_).GetStringUtf8()
                                                     : state.appearance);
        const FieldFont font = fontFor(da.font, lines);
        if (!font.ofForm() && font.own == nullptr) return;

        PdfColor background, border;
        const bool hasBackground = colorOf(document_, mk, "BG", background);
        const bool hasBorder = colorOf(document_, mk, "BC", border);
        PdfObject* bs = dictionaryKey(document_, &widget, "BS");
        const double borderWidth = hasBorder ? std::clamp(number(key(document_, bs, "W"), 1), 0.0, height / 4) : 0;
        const double pad = std::max(borderWidth, 1.0) + 1;
        const bool multiline = !choice && (state.flags & kMultiline) != 0;

        double size = da.size;
        if (!(size > 0) || size > 1000) {
            // Auto size: as large as the field's height allows, and a single line as wide as it fits.
            size = listBox || multiline ? 12 : std::max(1.0, (height - 2 * pad) / 1.2);
            if (!listBox && !multiline && !lines.empty()) {
                const double unit = font.width(lines.front().first, 1);
                if (unit > 0) size = std::max(1.0, std::min(size, (width - 2 * pad) / unit));
            }
        }
        size = std::max(size, 1.0);  // smaller text is not legible, and would only multiply the work
        double ascent = font.ascent * size;
        double descent = font.descent * size;
        if (!(ascent > 0) || ascent > 2 * size) ascent = 0.8 * size;
        if (!(descent < 0) || descent < -size) descent = -0.2 * size;
        const double lineHeight = std::max(size * 1.15, ascent - descent);

        PdfXObject appearance(PdfRect(0, 0, width, height), &document_);
        if (rotation != 0) {
            const double c = std::round(std::cos(rotation * M_PI / 180)),
                         s = std::round(std::sin(rotation * M_PI / 180));
            PdfArray matrix;
            for (double v : {c, s, -s, c, 0.0, 0.0}) matrix.push_back(PdfVariant(v));
            appearance.GetObject()->GetDictionary().AddKey("Matrix", matrix);
        }
        AppearancePainter painter;
        painter.SetPage(&appearance);
        if (hasBackground) {
            painter.SetColor(background);
            painter.Rectangle(0, 0, width, height);
            painter.Fill();
        }
        if (hasBorder && borderWidth > 0) {
            painter.SetStrokingColor(border);
            painter.SetStrokeWidth(borderWidth);
            painter.Rectangle(borderWidth / 2, borderWidth / 2, width - borderWidth, height - borderWidth);
            painter.Stroke();
        }
        painter.Save();
        painter.SetClipRect(pad - 1, pad - 1, width - 2 * (pad - 1), height - 2 * (pad - 1));
        const auto place = [&](const PdfString& text, double y) {
            const double textWidth = font.width(text, size);
            double x = pad;
            if (state.alignment == 1) x = (width - textWidth) / 2;
            if (state.alignment == 2) x = width - pad - textWidth;
            painter.SetColor(da.color);
            painter.drawText(font, size, x, y, text);
        };

        if (listBox) {
            const PdfObject* top = key(document_, &widget, "TI");
            size_t first =
                top != nullptr && top->IsNumber() ? static_cast<size_t>(std::max<pdf_int64>(0, top->GetNumber())) : 0;
            double y = height - pad;
            for (size_t i = first; i < lines.size() && y > 0; ++i, y -= lineHeight) {
                if (lines[i].second) {
                    painter.SetColor(PdfColor(0.6, 0.75, 0.88));
                    painter.Rectangle(pad - 1, y - lineHeight, width - 2 * (pad - 1), lineHeight);
                    painter.Fill();
                }
                place(lines[i].first, y - ascent);
            }
        } else if (multiline) {
            double y = height - pad - ascent;
            for (const PdfString& line : wrapped(font, size, lines.front().first, width - 2 * pad)) {
                place(line, y);
                y -= lineHeight;
            }
        } else if (!lines.empty()) {
            const double baseline = (height - (ascent - descent)) / 2 - descent;
            const PdfString unicode = lines.front().first.ToUnicode();
            const auto count = static_cast<size_t>(unicode.GetUnicodeLength());
            if ((state.flags & kComb) != 0 && state.maxLength > 0 && count <= static_cast<size_t>(state.maxLength)) {
                // One character in the middle of each of MaxLen cells.
                const double cell = width / static_cast<double>(state.maxLength);
                const pdf_utf16be* chars = unicode.GetUnicode();
                for (size_t i = 0; i < count; ++i) {
                    const PdfString one(&chars[i], 1);
                    const double x = cell * static_cast<double>(i) + (cell - font.width(one, size)) / 2;
                    painter.SetColor(da.color);
                    painter.drawText(font, size, x, baseline, one);
                }
            } else {
                place(lines.front().first, baseline);
            }
        }
        painter.Restore();
        painter.FinishPage();

        PdfDictionary appearances;
        appearances.AddKey("N", appearance.GetObject()->Reference());
        widget.GetDictionary().AddKey("AP", appearances);
    }

    PdfMemDocument& document_;
    PdfObject* form_;
    bool aesPadded_;
    // Stand-ins for standard fonts live apart from the document, which they must not change.
    PdfVecObjects scratch_;
    std::map<std::string, std::unique_ptr<PdfFont>> standIns_;
    std::vector<std::unique_ptr<PdfDifferenceEncoding>> differences_;
};

}  // namespace

PdfAcroForm* formForSigning(PdfMemDocument& document) {
    PdfObject* existing = resolve(document, document.GetCatalog()->GetDictionary().GetKey("AcroForm"));
    if (existing == nullptr || !existing->IsDictionary())
        return document.GetAcroForm(true, ePdfAcroFormDefaultAppearance_BlackText12pt);
    PdfAcroForm* form = document.GetAcroForm(true, ePdfAcroFormDefaultAppearance_None);
    PdfDictionary& dictionary = form->GetObject()->GetDictionary();
    if (dictionary.HasKey("DA")) return form;

    // The default 12-point black text, its font added to the form's resources, whatever they hold.
    PdfObject* resources = dictionaryKey(document, form->GetObject(), "DR");
    if (resources == nullptr) {
        dictionary.AddKey("DR", PdfDictionary());
        resources = dictionary.GetKey("DR");
    }
    PdfObject* fonts = dictionaryKey(document, resources, "Font");
    if (fonts == nullptr) {
        resources->GetDictionary().AddKey("Font", PdfDictionary());
        fonts = resources->GetDictionary().GetKey("Font");
    }
    std::string name = "Helv";
    for (int n = 1; fonts->GetDictionary().HasKey(name); ++n) name = "Helv" + std::to_string(n);
    PdfFont* font =
        document.CreateFont("Helvetica", false, false, false, PdfEncodingFactory::GlobalWinAnsiEncodingInstance(),
                            PdfFontCache::eFontCreationFlags_AutoSelectBase14, false);
    if (font == nullptr) PODOFO_RAISE_ERROR_INFO(ePdfError_InvalidHandle, "no Helvetica for the form");
    fonts->GetDictionary().AddKey(name, font->GetObject()->Reference());
    dictionary.AddKey("DA", PdfString("0 0 0 rg /" + name + " 12 Tf"));
    return form;
}

void drawFieldAppearances(PdfMemDocument& document, PdfAcroForm& form) {
    if (!form.GetNeedAppearances()) return;
    VLOG_VERBOSE << "[F] drawFieldAppearances";
    const PdfEncrypt* encrypt = document.GetEncrypt();
    const bool aesPadded =
        encrypt != nullptr && (encrypt->GetEncryptAlgorithm() == PdfEncrypt::ePdfEncryptAlgorithm_AESV2 ||
                               encrypt->GetEncryptAlgorithm() == PdfEncrypt::ePdfEncryptAlgorithm_AESV3 ||
                               encrypt->GetEncryptAlgorithm() == PdfEncrypt::ePdfEncryptAlgorithm_AESV3R6);
    AppearanceWriter writer(document, form.GetObject(), aesPadded);
    PdfObject* fields = key(document, form.GetObject(), "Fields");
    std::vector<std::pair<PdfObject*, FieldState>> pending;
    std::vector<size_t> depths;
    if (fields != nullptr && fields->IsArray()) {
        for (auto field = fields->GetArray().rbegin(); field != fields->GetArray().rend(); ++field) {
            pending.emplace_back(resolve(document, &*field), FieldState{});
            depths.push_back(0);
        }
    }
    std::unordered_set<const PdfObject*> visited;
    while (!pending.empty()) {
        auto [node, state] = pending.back();
        const size_t depth = depths.back();
        pending.pop_back();
        depths.pop_back();
        if (node == nullptr || !node->IsDictionary() || depth > kMaxPdfNesting || !visited.insert(node).second)
            continue;
        inherit(document, node, state, aesPadded);
        PdfObject* kids = key(document, node, "Kids");
        if (kids != nullptr && kids->IsArray() && !kids->GetArray().empty()) {
            for (auto kid = kids->GetArray().rbegin(); kid != kids->GetArray().rend(); ++kid) {
                pending.emplace_back(resolve(document, &*kid), state);
                depths.push_back(depth + 1);
            }
            continue;
        }
        writer.widget(*node, state);
    }
    form.SetNeedAppearances(false);
}

}  // namespace Vesk::Crypto
