#pragma once
// Signs a PDF in place of a signature file: an incremental update adds a signature field whose
// dictionary holds a detached CAdES signature of the rest of the file.

#include "document/IDocumentSignType.h"
#include "document/PdfSignatureFields.h"
#include "model/ISign.h"
#include "model/IVerify.h"

#include <podofo/podofo.h>

#include <memory>
#include <vector>

namespace Vesk::Crypto {

class PAdESTypeSigner : public IDocumentSignType {
public:
    // The verifier checks the signatures already in a PDF before a co-signing; without one a
    // co-signing is refused.
    explicit PAdESTypeSigner(std::shared_ptr<ISign> signer, std::shared_ptr<IVerify> verifier = nullptr);
    ~PAdESTypeSigner() override = default;

    // Signs options.file into options.output_file; co-signs (options.cosign) only when every
    // signature already in the file is valid, unless options.cosign_force.
    RequestApiResultPtr sign(const SignOptions& options, InternalSignOptions& internal) override;

    // Stamps the watermark on options.file and writes the stamped PDF to options.output_file
    // (the input is never changed). Without watermark lines the input's bytes are copied as
    // they are.
    RequestApiResultPtr addWatermarkToPdf(const SignOptions& options, InternalSignOptions& internal);
    // Stamps the watermark on a PDF in memory as an incremental update: `stamped` is the PDF's
    // bytes followed by the update, so signatures already in it stay valid. A PDF that ends
    // right after "%%EOF" gains an end-of-line first, so that the update starts on its own line.
    RequestApiResultPtr addWatermarkToPdf(std::vector<char>& pdf, const SignOptions& options,
                                          InternalSignOptions& internal, std::vector<unsigned char>& stamped);
    // Stamps the watermark on the pages of a loaded document that options.watermark.page
    // selects: -1 the last page, -2 every page, otherwise that page index.
    RequestApiResultPtr addWatermarkToPdf(PoDoFo::PdfMemDocument& document, const SignOptions& options,
                                          InternalSignOptions& internal);

private:
    // The signing itself; the PoDoFo errors it lets out become the sign-file message.
    RequestApiResultPtr signUnguarded(const SignOptions& options, InternalSignOptions& internal,
                                      RequestApiResultPtr result);

    std::shared_ptr<ISign> signer_;
    std::shared_ptr<IVerify> verifier_;
};

}  // namespace Vesk::Crypto
