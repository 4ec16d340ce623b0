#pragma once
// The pages a stamp selector names, and the failure of a PDF without pages.

#include <podofo/podofo.h>

#include <filesystem>
#include <functional>
#include <string>

namespace Vesk::Crypto {

inline constexpr int kLastPage = -1;
inline constexpr int kEveryPage = -2;

// Logs that the PDF has no pages; the message of that failure.
std::string noPagesMessage(const std::filesystem::path& file);

// Calls `visit` with each page a watermark selector names, in order (every page in one walk of the
// page tree); a null page for an index the document does not have.
void forSelectedPages(PoDoFo::PdfMemDocument& document, int selector,
                      const std::function<void(PoDoFo::PdfPage*)>& visit);

}  // namespace Vesk::Crypto
