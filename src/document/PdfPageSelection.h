#pragma once
// The pages a stamp selector names, and the failure of a PDF without pages.

#include <podofo/podofo.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Vesk::Crypto {

inline constexpr int kLastPage = -1;
inline constexpr int kEveryPage = -2;

// Logs that the PDF has no pages; the message of that failure.
std::string noPagesMessage(const std::filesystem::path& file);

// The pages a watermark selector names; PdfError for an index the document does not have.
std::vector<PoDoFo::PdfPage*> selectedPages(PoDoFo::PdfMemDocument& document, int selector);

}  // namespace Vesk::Crypto
