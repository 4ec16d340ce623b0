#include "document/PdfStamping.h"

#include "common/FileTools.h"
#include "common/Logging.h"
#include "document/PdfRequestTexts.h"
#include "document/PdfSteps.h"
#include "document/PdfUpdateStart.h"
#include "document/PdfWatermark.h"

namespace Vesk::Crypto {

using namespace PoDoFo;

RequestApiResultPtr stampPdfDocument(PdfMemDocument& document, const SignOptions& options, InternalSignOptions&) {
    VLOG_VERBOSE << "[M] PAdESTypeSigner::addWatermarkToPdf";
    auto result = std::make_shared<RequestApiResult>();
    bool noPages = false;
    const bool stamped = runWatermarkStep(result, [&] {
        noPages = document.GetPageCount() == 0;
        if (noPages || !watermarkRequested(options)) return;
        forSelectedPages(document, options.watermark.page,
                         [&](PdfPage* page) { drawWatermark(page, document, nullptr, options); });
    });
    if (!stamped) return result;
    if (noPages) return fail(result, noPagesMessage(options.file));
    result->success = true;
    return result;
}

RequestApiResultPtr stampPdfBytes(std::vector<char>& pdf, const SignOptions& options, InternalSignOptions& internal,
                                  std::vector<unsigned char>& stamped) {
    VLOG_VERBOSE << "[M] FileSigner::signPdfFile";  // compat: log readers know this tag
    auto result = std::make_shared<RequestApiResult>();
    runWatermarkStep(result, [&] {
        if (const auto key = nonUtf8PdfText(options, false); !key.empty()) {
            fail(result, nonUtf8Message(key));
            return;
        }
        // Stamped as an incremental update: the earlier bytes, and the signatures over them, stay;
        // an encrypted file keeps its encryption and permissions.
        startUpdateOnNewLine(pdf);
        PdfMemDocument document;
        const auto update = openForUpdate(document, pdf, result);
        if (!update || !permitted(update->refusalToStamp(), result)) return;
        result = stampPdfDocument(document, options, internal);
        if (!result->success || !permitted(update->refusalOfDamage(), result)) return;
        PdfRefCountedBuffer buffer;
        PdfOutputDevice output(&buffer);
        if (!runWatermarkStep(result, [&] { update->write(output); })) return;
        stamped.assign(buffer.GetBuffer(), buffer.GetBuffer() + output.GetLength());
    });
    return result;
}

RequestApiResultPtr stampPdfFile(const SignOptions& options, InternalSignOptions& internal) {
    std::vector<char> pdf;
    const bool read = fstools::readFileToVector(options.file, pdf);
    VLOG_VERBOSE << "Read to pdfBuff " << pdf.size() << " bytes";

    auto result = std::make_shared<RequestApiResult>();
    std::vector<unsigned char> stamped;
    if (read && !watermarkRequested(options)) {
        VLOG_VERBOSE << "[M] FileSigner::signPdfFile";  // compat: log readers know this tag
        stamped.assign(pdf.begin(), pdf.end());
    } else {
        result = stampPdfBytes(pdf, options, internal, stamped);
        if (!result->success) return result;
    }
    if (!fstools::saveVectorToFile(options.output_file, stamped)) return fail(result, "tr{Не удалось сохранить файл}");
    result->success = true;
    result->errors.clear();
    return result;
}

}  // namespace Vesk::Crypto
