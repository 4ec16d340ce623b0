#include "document/PdfSteps.h"

#include "document/PdfPages.h"

namespace Vesk::Crypto {

using namespace PoDoFo;

RequestApiResultPtr fail(RequestApiResultPtr result, const std::string& message) {
    result->success = false;
    result->errors.assign(1, message);
    return result;
}

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

std::unique_ptr<PdfIncrementalUpdate> openForUpdate(PdfMemDocument& document, const std::vector<char>& pdf,
                                                    const RequestApiResultPtr& result) {
    std::unique_ptr<PdfIncrementalUpdate> update;
    runPdfStep(result, kLoadStep, [&] {
        try {
            auto opened = std::make_unique<PdfIncrementalUpdate>(document, pdf);
            checkedPageCount(document);
            update = std::move(opened);
        } catch (const PdfUpdateRefused& refusal) {
            VLOG_ERROR << "Cannot update the PDF: " << refusal.what();
            fail(result, refusal.what());
        }
    });
    return update;
}

bool permitted(const std::string& refusal, const RequestApiResultPtr& result) {
    if (refusal.empty()) return true;
    VLOG_ERROR << "PDF permissions refuse the change: " << refusal;
    fail(result, refusal);
    return false;
}

}  // namespace Vesk::Crypto
