#include "crypto/SignTypeDeterminator.h"

#include "common/FileTools.h"
#include "common/Logging.h"
#include "crypto/CryptoProviderFactory.h"
#include "document/DefaultSignVerifycator.h"
#include "document/PdfSignVerifycator.h"
#include "document/PdfSignatureProbe.h"

#include <boost/algorithm/string/predicate.hpp>

#include <array>
#include <cstring>

namespace Vesk::Crypto {
namespace fs = std::filesystem;
namespace {

// Signature extensions, tested in this order; the order is also the tie-break when several
// signature files lie beside one original.
constexpr std::array<const char*, 4> kSignExtensions = {".sgn", ".p7s", ".sig", ".dat"};

// The last dot of the file name and what follows it; empty when the name has no dot.
std::string extensionOf(const fs::path& file) {
    const std::string name = file.filename().string();
    if (name == "." || name == "..") return {};
    const auto dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot);
}

bool isPdf(const fs::path& file) { return boost::algorithm::iequals(extensionOf(file), ".pdf"); }

// The file read as a PDF; load failures go to the log.
PdfContentKind contentKindOf(const fs::path& file) {
    std::vector<char> bytes;
    if (!fstools::readFileToVector(file, bytes)) {
        VLOG_ERROR << "File " << file.string() << " is not exists!";
        return PdfContentKind::NotPdf;
    }
    std::string loadError;
    const PdfContentKind kind = pdfContentKind(bytes, loadError);
    if (kind == PdfContentKind::NotPdf)
        VLOG_ERROR << "Error on load file: '" << file.string() << "' message: '" << loadError << "'";
    return kind;
}

VerifySignResultPtr failure(const std::string& message) {
    auto result = std::make_shared<ResultWithSigners>();
    result->errors.push_back(message);
    return result;
}

// A PDF that did not load is verified as a wrapped signature message; when it has not the shape
// of one either and the verifier found no signer in it, the PDF's own load error says what is
// wrong with it.
VerifySignResultPtr verifyWrappedPdf(const std::shared_ptr<IVerify>& verifier, const fs::path& file) {
    VerifySignResultPtr verified = DefaultSignVerifycator(verifier).verify(file);
    if (verified && verified->signers && !verified->signers->empty()) return verified;
    std::vector<char> bytes;
    std::string loadError;
    if (!fstools::readFileToVector(file, bytes) || isSignatureMessage(bytes) ||
        pdfContentKind(bytes, loadError) != PdfContentKind::NotPdf)
        return verified;
    return failure("tr{Error on load file:} " + loadError);
}

}  // namespace

std::pair<bool, std::string> SignTypeDeterminator::isSignExtension(const fs::path& file) {
    VLOG_VERBOSE << "[M] SignTypeDeterminator::verifySign " << file.string();  // compat: log readers know this tag
    const std::string extension = extensionOf(file);
    for (const char* known : kSignExtensions)
        if (boost::algorithm::iequals(extension, known)) return {true, known};
    return {false, extension};
}

boost::optional<fs::path> SignTypeDeterminator::getOriginalOf(const fs::path& file) {
    VLOG_VERBOSE << "[M] SignTypeDeterminator::getOriginalOf " << file.string();
    if (!isSignExtension(file).first) return file;
    const std::string name = file.filename().string();
    const fs::path original = file.parent_path() / name.substr(0, name.rfind('.'));
    if (fstools::pathExists(original)) return original;
    return boost::none;
}

boost::optional<fs::path> SignTypeDeterminator::getSignFor(const fs::path& file) {
    VLOG_VERBOSE << "[M] SignTypeDeterminator::getSignFor " << file.string();
    if (isSignExtension(file).first) return file;
    for (const char* extension : kSignExtensions) {
        fs::path candidate = file;
        candidate += extension;
        if (fstools::pathExists(candidate)) return candidate;
    }
    return boost::none;
}

bool SignTypeDeterminator::isCpPdfSignFormat(const fs::path& file) {
    VLOG_VERBOSE << "[M] SignTypeDeterminator::isCpPdfSignFormat " << file.string();
    // Only a regular file is a document (a FIFO named *.pdf must not block the check).
    if (!isPdf(file) || !fstools::isRegularFile(file)) return false;

    // A plain PDF ends with "%%EOF" and one end-of-line byte; a PDF wrapped in a signature message
    // ends with signature data.
    // compat: exactly the five bytes before the last one are tested; CR LF or no EOL reads as wrapped.
    std::string tail;
    if (!fstools::readFileTail(file, 6, tail)) tail.assign(6, '\0');
    return std::memcmp(tail.data(), "%%EOF", 5) != 0;
}

bool SignTypeDeterminator::isPAdESSignFormat(const fs::path& file) {
    VLOG_VERBOSE << "[M] SignTypeDeterminator::isPAdESSignFormat " << file.string();
    return contentKindOf(file) == PdfContentKind::Signed;
}

bool SignTypeDeterminator::isDetached(const fs::path& file) {
    VLOG_VERBOSE << "[M] SignTypeDeterminator::isDetached " << file.string();
    const auto sign = getSignFor(file);
    if (sign && !sign->empty() && *sign != file) return true;
    const auto original = getOriginalOf(file);
    return original && !original->empty() && *original != file;
}

bool SignTypeDeterminator::isMixedSign(const std::list<SignFormatInfo>& formats) {
    bool attached = false;
    bool detached = false;
    for (const auto& info : formats) {
        attached = attached || info.format == AttachedFile || info.format == CryptoProPdf;
        detached = detached || info.format == DetachedFile;
    }
    return attached && detached;
}

std::list<SignTypeDeterminator::SignFormatInfo> SignTypeDeterminator::getSignFormats(const fs::path& file) {
    VLOG_VERBOSE << "[M] SignTypeDeterminator::getSignFormat " << file.string();  // compat: log readers know this tag
    std::list<SignFormatInfo> formats;
    fs::path sign;
    fs::path original;
    const auto [signExtension, extension] = isSignExtension(file);
    VLOG_INFO << "Start verifySign for " << file.string() << " Extension: " << extension;

    if (signExtension) {
        sign = file;
        if (const auto found = getOriginalOf(file)) original = *found;
    } else {
        original = file;
        if (const auto found = getSignFor(file)) sign = *found;
        if (isPdf(original)) {
            // A detached signature beside the PDF comes first, so it wins over anything inside it.
            if (!sign.empty()) formats.push_back({DetachedFile, original.string(), sign.string()});
            // A file that loads as a PDF is what its content says, whatever its last bytes: PDFs
            // whose "%%EOF" ends in CR LF, or in nothing, fail the tail test. The tail test decides
            // only for files that do not load, such as a PDF wrapped in a signature message.
            VLOG_VERBOSE << "[M] SignTypeDeterminator::isPAdESSignFormat " << original.string();
            const PdfContentKind kind = contentKindOf(original);
            const bool pades = kind == PdfContentKind::Signed;
            const bool wrapped = kind == PdfContentKind::NotPdf && isCpPdfSignFormat(original);
            if (wrapped) formats.push_back({CryptoProPdf, original.string(), original.string()});
            if (pades) formats.push_back({PAdESPdf, original.string(), original.string()});
            if (!wrapped && !pades && sign.empty())
                formats.push_back({UnsignedPdf, original.string(), original.string()});
            return formats;
        }
    }

    if (!sign.empty() && !original.empty()) {
        formats.push_back({DetachedFile, original.string(), sign.string()});
    } else if (!sign.empty() || !original.empty()) {
        // A plain file with no signature beside it is itself taken for an attached signature.
        formats.push_back({AttachedFile, std::string(), (sign.empty() ? original : sign).string()});
    }
    return formats;
}

VerifySignResultPtr SignTypeDeterminator::verifySign(const fs::path& file, CryptoProvider provider) {
    VLOG_VERBOSE << "[M] SignTypeDeterminator::verifySign " << file.string();
    const auto formats = getSignFormats(file);
    if (formats.empty()) return failure("tr{File format list is empty.}");
    const SignFormatInfo& info = formats.front();

    const auto verifier = CryptoProviderFactory::getVerifycator(provider);
    if (!verifier) return failure("tr{Verifier is null.}");

    switch (info.format) {
        case AttachedFile:
            return DefaultSignVerifycator(verifier).verify(info.signFile);
        case CryptoProPdf:
            return verifyWrappedPdf(verifier, info.signFile);
        case DetachedFile:
            return DefaultSignVerifycator(verifier).verify(info.signFile, info.originalFile);
        case PAdESPdf:
            return PdfSignVerifycator(verifier).verify(info.signFile);
        case Unknown:
            return failure("tr{File format is unknown.}");
        case UnsignedPdf:
            return failure("tr{This PDF file does not contain a signature.}");
        default:
            return failure("tr{This file cannot be verified.}");
    }
}

}  // namespace Vesk::Crypto
