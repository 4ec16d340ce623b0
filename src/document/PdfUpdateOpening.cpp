#include "document/PdfUpdateOpening.h"

#include "common/Logging.h"
#include "document/PdfPages.h"
#include "document/PdfStepRunner.h"

namespace Vesk::Crypto {

using namespace PoDoFo;

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
