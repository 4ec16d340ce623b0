#include "document/PdfPageSelection.h"

#include "common/Logging.h"
#include "document/PdfPages.h"

namespace Vesk::Crypto {

using namespace PoDoFo;

std::string noPagesMessage(const std::filesystem::path& file) {
    VLOG_ERROR << "Pages in " << file.string() << " zero, exit.";
    return "tr{File} " + file.string() + " tr{not contains pages}";
}

void forSelectedPages(PdfMemDocument& document, int selector, const std::function<void(PdfPage*)>& visit) {
    if (selector == kEveryPage)
        forEachPage(document, [&](PdfPage& page) { visit(&page); });
    else
        visit(document.GetPage(selector == kLastPage ? document.GetPageCount() - 1 : selector));
}

}  // namespace Vesk::Crypto
