#pragma once
// Steps shared by the PDF signer and the stamp: PoDoFo work whose failure becomes the result's one
// message, loading for an incremental update, the encryption's permissions, the pages a stamp
// selector names.

#include "common/Logging.h"
#include "document/PdfIncrementalUpdate.h"
#include "model/Results.h"

#include <podofo/podofo.h>

#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Vesk::Crypto {

inline constexpr int kLastPage = -1;
inline constexpr int kEveryPage = -2;

// Makes the result a failure with this one message.
RequestApiResultPtr fail(RequestApiResultPtr result, const std::string& message);

// Logs that the PDF has no pages; the message of that failure.
std::string noPagesMessage(const std::filesystem::path& file);

// Calls `visit` with each page a watermark selector names, in order (every page in one walk of the
// page tree); a null page for an index the document does not have.
void forSelectedPages(PoDoFo::PdfMemDocument& document, int selector,
                      const std::function<void(PoDoFo::PdfPage*)>& visit);

// The texts of one kind of PDF step's failure: "tr{CONTEXT:} what" for PoDoFo's and standard
// errors; anything else gets the unknown texts, or passes on when there are none.
struct PdfStepTexts {
    const char* context;
    const char* unknownLog;
    const char* unknownMessage;
};
inline constexpr PdfStepTexts kWatermarkStep{"Error on create watermark", "Error create watermark!",
                                             "tr{Unknown error on create watermark}"};
inline constexpr PdfStepTexts kLoadStep{"Error on load file", nullptr, nullptr};
inline constexpr PdfStepTexts kSignStep{"Error on sign file", "Unknown error on sign file",
                                        "tr{Unknown error on sign file}"};

// Runs one step of PoDoFo work; false after its failure has become the result's one message.
template <typename Step>
bool runPdfStep(const RequestApiResultPtr& result, const PdfStepTexts& texts, Step&& step) {
    try {
        step();
        return true;
    } catch (const PoDoFo::PdfError& error) {
        VLOG_ERROR << texts.context << ": '" << PoDoFo::PdfError::ErrorName(error.GetError()) << "' message: '"
                   << PoDoFo::PdfError::ErrorMessage(error.GetError()) << "'";
        fail(result, std::string("tr{") + texts.context + ":} " + error.what());
    } catch (const std::exception& error) {
        VLOG_ERROR << texts.context << ": " << error.what();
        fail(result, std::string("tr{") + texts.context + ":} " + error.what());
    } catch (...) {
        if (texts.unknownLog == nullptr) throw;
        VLOG_ERROR << texts.unknownLog;
        fail(result, texts.unknownMessage);
    }
    return false;
}

template <typename Step>
bool runWatermarkStep(const RequestApiResultPtr& result, Step&& step) {
    return runPdfStep(result, kWatermarkStep, std::forward<Step>(step));
}

// Loads the bytes for an incremental update; null after a failure, which becomes the one load
// message (or the refusal of a file that needs a password). A page tree whose count the file does
// not hold is such a failure: the stamp loops over the pages that count promises.
std::unique_ptr<PdfIncrementalUpdate> openForUpdate(PoDoFo::PdfMemDocument& document, const std::vector<char>& pdf,
                                                    const RequestApiResultPtr& result);

// A permission the document's encryption withholds; false after the refusal is recorded.
bool permitted(const std::string& refusal, const RequestApiResultPtr& result);

}  // namespace Vesk::Crypto
