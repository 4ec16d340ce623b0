#include "document/PAdESTypeSigner.h"

#include "common/FileTools.h"
#include "common/Logging.h"
#include "document/PdfFormAppearances.h"
#include "document/PdfIncrementalUpdate.h"
#include "document/PdfLoading.h"
#include "document/PdfPages.h"
#include "document/PdfRequestTexts.h"
#include "document/PdfSignVerifycator.h"
#include "document/PdfStamping.h"
#include "document/PdfSteps.h"
#include "document/PdfUpdateStart.h"
#include "document/PdfWatermark.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

// Bytes reserved in Contents for the signature: an X-Long signature carries its time stamp and
// revocation data.
constexpr size_t kSignatureSize = 16344;
constexpr size_t kLongSignatureSize = 65536;
constexpr size_t kReadChunk = 65536;

// Co-signing goes on only when every signature already in the file is valid; the refusal, if any.
RequestApiResultPtr checkExistingSignatures(const std::shared_ptr<IVerify>& verifier, const SignOptions& options,
                                            RequestApiResultPtr result) {
    const VerifySignResultPtr verified = verifier ? PdfSignVerifycator(verifier).verify(options.file) : nullptr;
    if (!verified) return fail(result, "tr{PAdESTypeSigner::sign verifyAttachedSign result is null}");
    if (!verified->signers) return fail(result, "tr{PAdESTypeSigner::sign verifyAttachedSign signInfoList is null}");
    if (verified->signers->empty())
        return fail(result, "tr{PAdESTypeSigner::sign verifyAttachedSign signInfoList is empty}");
    const bool allValid = std::all_of(verified->signers->begin(), verified->signers->end(),
                                      [](const SignInfoPtr& info) { return info && info->verified; });
    if (allValid) return nullptr;
    result->success = false;
    result->errors = verified->errors;
    result->errors.push_back("tr{PAdESTypeSigner::sign CpSigner::addCoSign Signature is not valid}");
    return result;
}

// The signature form flags: SigFlags exactly 2, NeedAppearances not true (the fields' appearances
// are drawn before).
// compat: SigFlags is set to 2 exactly, not or-ed into what the form had.
void setFormFlags(PdfAcroForm& form) {
    PdfDictionary& dictionary = form.GetObject()->GetDictionary();
    const PdfObject* flags = dictionary.GetKey("SigFlags");
    if (flags == nullptr || !flags->IsNumber() || flags->GetNumber() != 2) {
        dictionary.RemoveKey("SigFlags");
        dictionary.AddKey("SigFlags", PdfObject(static_cast<pdf_int64>(2)));
    }
    if (form.GetNeedAppearances()) form.SetNeedAppearances(false);
}

}  // namespace

PAdESTypeSigner::PAdESTypeSigner(std::shared_ptr<ISign> signer, std::shared_ptr<IVerify> verifier)
    : signer_(std::move(signer)), verifier_(std::move(verifier)) {}

RequestApiResultPtr PAdESTypeSigner::sign(const SignOptions& options, InternalSignOptions& internal) {
    VLOG_VERBOSE << "[M] PAdESTypeSigner::sign";
    auto result = std::make_shared<RequestApiResult>();
    RequestApiResultPtr signedResult;
    if (!runPdfStep(result, kSignStep, [&] { signedResult = signUnguarded(options, internal, result); })) return result;
    return signedResult;
}

RequestApiResultPtr PAdESTypeSigner::signUnguarded(const SignOptions& options, InternalSignOptions& internal,
                                                   RequestApiResultPtr result) {
    // Only a regular file is a document: a FIFO, a device or a folder is answered as missing.
    // compat: hosts translate this key spelt so
    if (!fstools::isRegularFile(options.file)) return fail(result, "tr{Файл не существет!}");
    if (const auto key = nonUtf8PdfText(options, true); !key.empty()) return fail(result, nonUtf8Message(key));
    if (options.cosign && !options.cosign_force) {
        if (auto refusal = checkExistingSignatures(verifier_, options, result)) return refusal;
    }

    // Loaded for an incremental update: earlier revisions and their signatures stay as they are.
    std::vector<char> pdf;
    fstools::readFileToVector(options.file, pdf);
    VLOG_VERBOSE << "Read to pdfBuff " << pdf.size() << " bytes";
    startUpdateOnNewLine(pdf);
    // Held only until the update is written: the document reads the file's bytes where they are,
    // and both go before the signed bytes are gathered.
    auto document = std::make_unique<PdfMemDocument>();
    auto update = openForUpdate(*document, pdf, result);
    if (!update || !permitted(update->refusalToSign(), result)) return result;
    if (watermarkRequested(options) && !permitted(update->refusalToStamp(), result)) return result;

    PdfRefCountedBuffer buffer;
    PdfOutputDevice output(&buffer);
    PdfSignOutputDevice signDevice(&output);
    signDevice.SetSignatureSize(options.cades_type == CadesType::CadesXLongType1 ? kLongSignatureSize : kSignatureSize);
    if (document->GetPageCount() == 0) return fail(result, noPagesMessage(options.file));

    const bool fieldAdded = runWatermarkStep(result, [&] {
        PdfAcroForm* form = formForSigning(*document);
        if (form == nullptr) {
            VLOG_ERROR << "Error, AcroForm is null";
        } else {
            drawFieldAppearances(*document, *form);
            setFormFlags(*form);
        }

        if (!watermarkRequested(options)) {
            addSignatureField(*document, document->GetPage(0), PdfRect(0, 0, 0, 0), signDevice, options);
            return;
        }
        // A stamp on every page still makes one signature: the field goes with the first
        // stamp, since each further field would reserve a second signature hole.
        bool first = true;
        forSelectedPages(*document, options.watermark.page, [&](PdfPage* page) {
            drawWatermark(page, *document, first ? &signDevice : nullptr, options);
            first = false;
        });
    });
    if (!fieldAdded || !permitted(update->refusalOfDamage(), result)) return result;

    update->write(signDevice);
    if (document->GetPageCount() == 0) {
        VLOG_ERROR << "No page found after document signed";
        return fail(result, "tr{No page found after document signed}");
    }
    if (!signDevice.HasSignaturePosition()) {
        VLOG_ERROR << "Cannot find signature position in document data";
        return fail(result, "tr{Cannot find signature position in document data}");
    }

    update.reset();
    document.reset();
    std::vector<char>().swap(pdf);

    signDevice.AdjustByteRange();
    signDevice.Seek(0);
    std::vector<unsigned char> signedBytes;
    signedBytes.reserve(signDevice.GetLength());
    std::vector<char> chunk(kReadChunk);
    for (size_t read; (read = signDevice.ReadForSignature(chunk.data(), chunk.size())) > 0;)
        signedBytes.insert(signedBytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(read));
    VLOG_DEBUG << "Read for sign: " << signedBytes.size() << " bytes.";

    std::vector<unsigned char> signature;
    const RequestApiResultPtr signing = signer_->signMessage(signedBytes, signature, options, internal);
    VLOG_DEBUG << "Created detached sign size: " << signature.size();
    // compat: otherwise the signer's own result is not consulted. A time-stamp or revocation
    // service the request named that failed is the exception: an X-Long signature the user asked
    // for cannot be made, so nothing is written and the library's message is the answer.
    if (signature.empty() && options.cades_type == CadesType::CadesXLongType1 && !options.tsp_url.empty())
        return fail(result, signing && !signing->errors.empty() ? signing->errors.front()
                                                                : "tr{Error on sign file:} no signature");
    // Written in every case: an empty signature fills the hole with hex zeros, so the PDF stays
    // well-formed (and simply unverified) instead of keeping PoDoFo's placeholder.
    signDevice.SetSignature(PdfData(reinterpret_cast<const char*>(signature.data()), signature.size()));
    signDevice.Flush();

    // compat: the running result is still the fresh one here, so only save_with_errors lets
    // the file be written; success is reported either way. The file is written straight from the
    // output buffer, without a copy.
    if (result->success || options.save_with_errors) {
        if (!fstools::writeFileAtomically(options.output_file, buffer.GetBuffer(), signDevice.GetLength())) {
            VLOG_ERROR << "Open file: " << options.output_file.string() << " fault";
            return fail(result, "tr{Не удалось сохранить файл}");
        }
    }
    result->success = true;
    result->errors.clear();
    return result;
}

RequestApiResultPtr PAdESTypeSigner::addWatermarkToPdf(const SignOptions& options, InternalSignOptions& internal) {
    return stampPdfFile(options, internal);
}

RequestApiResultPtr PAdESTypeSigner::addWatermarkToPdf(std::vector<char>& pdf, const SignOptions& options,
                                                       InternalSignOptions& internal,
                                                       std::vector<unsigned char>& stamped) {
    return stampPdfBytes(pdf, options, internal, stamped);
}

RequestApiResultPtr PAdESTypeSigner::addWatermarkToPdf(PdfMemDocument& document, const SignOptions& options,
                                                       InternalSignOptions& internal) {
    return stampPdfDocument(document, options, internal);
}

}  // namespace Vesk::Crypto
