#include "document/PdfPageSelection.h"

#include "common/Logging.h"

namespace Vesk::Crypto {

using namespace PoDoFo;

std::string noPagesMessage(const std::filesystem::path& file) {
    VLOG_ERROR << "Pages in " << file.string() << " zero, exit.";
    return "tr{File} " + file.string() + " tr{not contains pages}";
}

std::vector<PdfPage*> selectedPages(PdfMemDocument& document, int selector) {
    std::vector<PdfPage*> pages;
    if (selector == kEveryPage) {
        for (int i = 0; i < document.GetPageCount(); ++i) pages.push_back(document.GetPage(i));
    } else {
        pages.push_back(document.GetPage(selector == kLastPage ? document.GetPageCount() - 1 : selector));
    }
    return pages;
}

}  // namespace Vesk::Crypto
