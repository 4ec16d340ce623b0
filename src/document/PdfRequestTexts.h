#pragma once
// Texts of a request that end up inside a PDF: the signature field name (from the search
// string), the reason and the stamp lines. PoDoFo reads them as UTF-8 and overruns its buffers
// on bytes that are not, so they must be UTF-8 before PoDoFo sees them; a request with any other
// text is refused.

#include "model/SignOptions.h"

#include <string>

namespace Vesk::Crypto {

// True for well-formed UTF-8 (no overlong forms, surrogates or code points above U+10FFFF).
bool isUtf8(const std::string& text);

// The request key of the first text bound for the PDF that is not UTF-8 ("search_string" and
// "reason" when a signature field is made, "text" or "font" of a stamp line), or an empty text
// when all are.
std::string nonUtf8PdfText(const SignOptions& options, bool signatureField);

// The answer message for such a key.
std::string nonUtf8Message(const std::string& key);

}  // namespace Vesk::Crypto
