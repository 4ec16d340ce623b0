#pragma once
// Steps of PoDoFo work shared by the PDF signer and the stamp, whose failure becomes the result's
// one message.

#include "common/Logging.h"
#include "model/Results.h"

#include <podofo/podofo.h>

#include <exception>
#include <string>
#include <utility>

namespace Vesk::Crypto {

// Makes the result a failure with this one message.
RequestApiResultPtr fail(RequestApiResultPtr result, const std::string& message);

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

}  // namespace Vesk::Crypto
