#pragma once
// Fonts for the visible stamp: system fonts found through fontconfig, embedded as subsets.

#include <podofo/podofo.h>

#include <string>

namespace Vesk::Crypto {

// The font the stamp falls back to when the asked-for one cannot be made.
inline constexpr const char* kFallbackFontName = "Courier New";

// A subset of the system font `name` with the given encoding, owned by the document. A name that
// fontconfig does not know falls back to "Courier New" with the WinAnsi encoding. Null when no
// font at all can be made.
PoDoFo::PdfFont* createFont(PoDoFo::PdfMemDocument& document, const std::string& name, bool bold, bool italic,
                            const PoDoFo::PdfEncoding* encoding);

// A subset of "Courier New" (regular) with the given encoding; null when it cannot be made.
// PdfError passes through.
PoDoFo::PdfFont* createFallbackFont(PoDoFo::PdfMemDocument& document, const PoDoFo::PdfEncoding* encoding);

// True when every character of the text has a code in the one-byte encoding.
bool encodes(const PoDoFo::PdfEncoding* encoding, const PoDoFo::PdfString& text);

// createFont with PoDoFo's identity encoding, for this text. The fallback font speaks WinAnsi,
// which has no Cyrillic; text that needs it gets the fallback font with the Windows-1251 encoding.
PoDoFo::PdfFont* createFontFor(PoDoFo::PdfMemDocument& document, const std::string& name, bool bold, bool italic,
                               const PoDoFo::PdfString& text);

// The TrueType file fontconfig offers for the family, or empty when fontconfig does not know the
// family (its answer is then only its default face) or offers no TrueType file for it.
std::string findFontFile(const std::string& name, bool bold, bool italic);

}  // namespace Vesk::Crypto
