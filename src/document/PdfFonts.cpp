#include "document/PdfFonts.h"

#include "common/Logging.h"
#include "document/Win1251Encoding.h"

#include <fontconfig/fontconfig.h>

#include <cctype>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <tuple>

namespace Vesk::Crypto {
namespace {

struct PatternDeleter {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
using PatternPtr = std::unique_ptr<FcPattern, PatternDeleter>;

// Family names compare as fontconfig compares them: ignoring case and blanks.
std::string familyKey(const FcChar8* family) {
    std::string key;
    for (const FcChar8* c = family; *c != 0; ++c) {
        if (*c != ' ') key.push_back(static_cast<char>(std::tolower(*c)));
    }
    return key;
}

// One fontconfig set-up for the process, loading the font list is slow. PoDoFo keeps its own
// lock private, so the lookups here are serialised by this module's own.
PoDoFo::PdfFontConfigWrapper& fontConfig() {
    static PoDoFo::PdfFontConfigWrapper wrapper;
    return wrapper;
}

std::mutex& fontConfigMutex() {
    static std::mutex mutex;
    return mutex;
}

// fontconfig always answers with some face, at worst its default. The answer counts only when its
// family is the asked-for one or one the configuration binds strongly to it, as the metric
// aliases bind "Liberation Mono" to "Courier New".
bool familyIsKnown(FcPattern* request, FcPattern* match) {
    FcValue family;
    for (int i = 0; FcPatternGet(match, FC_FAMILY, i, &family) == FcResultMatch; ++i) {
        if (family.type != FcTypeString) continue;
        FcValue wanted;
        FcValueBinding binding;
        for (int j = 0; FcPatternGetWithBinding(request, FC_FAMILY, j, &wanted, &binding) == FcResultMatch; ++j) {
            if (binding == FcValueBindingWeak || wanted.type != FcTypeString) continue;
            if (familyKey(family.u.s) == familyKey(wanted.u.s)) return true;
        }
    }
    return false;
}

// The TrueType file fontconfig matches to the family; called with the lookup lock held.
std::string matchFontFile(const std::string& name, bool bold, bool italic);

}  // namespace

// PoDoFo's own lookup (PdfFontCache::GetFontConfigFontPath) skips the configuration's alias
// rules and answers an unrelated face for "Courier New"; the lookup is therefore done here,
// on the configuration of PoDoFo's fontconfig wrapper.
std::string findFontFile(const std::string& name, bool bold, bool italic) {
    const std::lock_guard<std::mutex> lock(fontConfigMutex());
    // A stamp on every page asks for the same faces on every page; fontconfig's matching is slow.
    static std::map<std::tuple<std::string, bool, bool>, std::string> found;
    const auto key = std::make_tuple(name, bold, italic);
    if (const auto known = found.find(key); known != found.end()) return known->second;
    if (found.size() > 256) found.clear();
    std::string file = matchFontFile(name, bold, italic);
    found.emplace(key, file);
    return file;
}

namespace {

std::string matchFontFile(const std::string& name, bool bold, bool italic) {
    auto* config = static_cast<FcConfig*>(fontConfig().GetFontConfig());
    if (config == nullptr) return {};

    PatternPtr request(FcPatternBuild(nullptr, FC_FAMILY, FcTypeString, reinterpret_cast<const FcChar8*>(name.c_str()),
                                      FC_WEIGHT, FcTypeInteger, bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR, FC_SLANT,
                                      FcTypeInteger, italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN, nullptr));
    if (!request || !FcConfigSubstitute(config, request.get(), FcMatchPattern)) return {};
    FcDefaultSubstitute(request.get());
    FcResult result = FcResultNoMatch;
    PatternPtr match(FcFontMatch(config, request.get(), &result));
    if (!match || result != FcResultMatch || !familyIsKnown(request.get(), match.get())) return {};

    // PoDoFo subsets TrueType files only.
    FcChar8* format = nullptr;
    FcChar8* file = nullptr;
    if (FcPatternGetString(match.get(), FC_FONTFORMAT, 0, &format) != FcResultMatch ||
        FcStrCmp(format, reinterpret_cast<const FcChar8*>("TrueType")) != 0)
        return {};
    if (FcPatternGetString(match.get(), FC_FILE, 0, &file) != FcResultMatch) return {};
    return reinterpret_cast<const char*>(file);
}

}  // namespace

PoDoFo::PdfFont* createFallbackFont(PoDoFo::PdfMemDocument& document, const PoDoFo::PdfEncoding* encoding) {
    VLOG_VERBOSE << "[F] createFallbackFont";
    const std::string file = findFontFile(kFallbackFontName, false, false);
    return document.CreateFontSubset(kFallbackFontName, false, false, false, encoding,
                                     file.empty() ? nullptr : file.c_str());
}

PoDoFo::PdfFont* createFont(PoDoFo::PdfMemDocument& document, const std::string& name, bool bold, bool italic,
                            const PoDoFo::PdfEncoding* encoding) {
    VLOG_VERBOSE << "[F] createFont " << name << " bold: " << bold << " italic: " << italic;
    try {
        PoDoFo::PdfFont* font = nullptr;
        const std::string file = findFontFile(name, bold, italic);
        if (!file.empty()) font = document.CreateFontSubset(name.c_str(), bold, italic, false, encoding, file.c_str());
        if (font == nullptr) {
            VLOG_WARNING << "Create font: " << name << " failed, using default font Courier";  // compat: log text
            font = createFallbackFont(document, PoDoFo::PdfEncodingFactory::GlobalWinAnsiEncodingInstance());
        }
        return font;
    } catch (const PoDoFo::PdfError& error) {
        VLOG_ERROR << "Font create failed: " << error.what();
    } catch (...) {
        VLOG_ERROR << "Unknown error in create font function.";
    }
    return nullptr;
}

// Both sides are compared as PoDoFo gives them: big-endian UTF-16 units.
bool encodes(const PoDoFo::PdfEncoding* encoding, const PoDoFo::PdfString& text) {
    std::set<PoDoFo::pdf_utf16be> codes;
    for (int i = encoding->GetFirstChar(); i <= encoding->GetLastChar(); ++i) codes.insert(encoding->GetCharCode(i));
    const PoDoFo::PdfString unicode = text.ToUnicode();
    const PoDoFo::pdf_utf16be* chars = unicode.GetUnicode();
    for (PoDoFo::pdf_long i = 0; i < unicode.GetUnicodeLength(); ++i) {
        if (codes.count(chars[i]) == 0) return false;
    }
    return true;
}

PoDoFo::PdfFont* createFontFor(PoDoFo::PdfMemDocument& document, const std::string& name, bool bold, bool italic,
                               const PoDoFo::PdfString& text) {
    PoDoFo::PdfFont* font =
        createFont(document, name, bold, italic, PoDoFo::PdfEncodingFactory::GlobalIdentityEncodingInstance());
    if (font == nullptr || !font->GetEncoding()->IsSingleByteEncoding()) return font;
    if (encodes(font->GetEncoding(), text) || !encodes(Win1251Encoding::instance(), text)) return font;
    VLOG_DEBUG << "Fallback font with the Windows-1251 encoding for '" << text.GetStringUtf8() << "'";
    PoDoFo::PdfFont* cyrillic = createFallbackFont(document, Win1251Encoding::instance());
    return cyrillic != nullptr ? cyrillic : font;
}

}  // namespace Vesk::Crypto
