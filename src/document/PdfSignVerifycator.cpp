#include "document/PdfSignVerifycator.h"

#include "common/FileTools.h"
#include "common/Logging.h"
#include "document/PdfLoading.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>

namespace Vesk::Crypto {
namespace {

using Bytes = std::vector<unsigned char>;

// Appends up to `length` bytes of `file` from `offset`; a range past the end of the file gives
// what is there, as a short read would.
void appendRange(const std::vector<char>& file, int64_t offset, int64_t length, Bytes& out) {
    const auto size = static_cast<int64_t>(file.size());
    if (offset < 0 || length <= 0 || offset >= size) return;
    const int64_t end = offset + std::min(length, size - offset);
    out.insert(out.end(), file.begin() + offset, file.begin() + end);
}

// A ByteRange value brought into [-2 * size - 8, 2 * size + 8]: every offset and length that
// the ranges are computed from then lies as far outside the file as the value itself did, and
// the sums and differences below cannot overflow, whatever numbers the file holds.
int64_t withinReach(int64_t value, size_t fileSize) {
    const int64_t reach = 2 * static_cast<int64_t>(std::min<size_t>(fileSize, INT64_MAX / 4)) + 8;
    return std::clamp(value, -reach, reach);
}

int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return 0;
}

// Pairs of non-blank hex digits. The text stops one digit short of the hole, so its last byte
// has only its high digit left: the low one counts as zero. Our own holes end in padding; a
// hole filled to its last byte (as other signers leave it) ends in the zero octets of a BER
// end-of-contents marker, so the byte comes out the same either way.
Bytes decodeHex(const std::vector<char>& file, int64_t offset, int64_t length) {
    Bytes text;
    appendRange(file, offset, length, text);
    Bytes signature;
    signature.reserve(text.size() / 2);
    int high = -1;
    for (unsigned char c : text) {
        if (std::isspace(c)) continue;
        const int value = hexValue(static_cast<char>(std::tolower(c)));
        if (high < 0) {
            high = value;
        } else {
            signature.push_back(static_cast<unsigned char>(high * 16 + value));
            high = -1;
        }
    }
    if (high >= 0) signature.push_back(static_cast<unsigned char>(high * 16));
    return signature;
}

void merge(ResultWithSigners& into, const VerifySignResultPtr& part) {
    if (!part) return;
    if (part->signers) into.signers->insert(into.signers->end(), part->signers->begin(), part->signers->end());
    into.errors.insert(into.errors.end(), part->errors.begin(), part->errors.end());
}

}  // namespace

PdfSignVerifycator::PdfSignVerifycator(const std::shared_ptr<IVerify>& verifier) : verifier_(verifier) {}

VerifySignResultPtr PdfSignVerifycator::verify(const std::filesystem::path& pdfFile) {
    VLOG_VERBOSE << "[M] PdfSignVerifycator::verifySign " << pdfFile.string();  // compat: log readers know this tag
    auto result = std::make_shared<ResultWithSigners>();
    result->signers = std::make_shared<std::vector<SignInfoPtr>>();
    try {
        std::vector<char> file;
        fstools::readFileToVector(pdfFile, file);
        PoDoFo::PdfMemDocument document;
        loadPdfFromBuffer(document, file, false);

        const auto candidates = findByteRanges(document);
        VLOG_VERBOSE << "[M] Found signatures count: " << candidates.size();  // compat: log readers know this tag
        if (candidates.empty()) {
            result->errors.push_back("Файл не содержит подписей");  // compat: hosts show this text untranslated
            return result;
        }
        for (const PoDoFo::PdfObject* candidate : candidates) {
            if (!candidate->IsArray() || candidate->GetArray().size() != 4) continue;
            const PoDoFo::PdfArray& range = candidate->GetArray();
            std::array<int64_t, 4> n{};
            for (size_t i = 0; i < n.size(); ++i) n[i] = range[i].IsNumber() ? range[i].GetNumber() : 0;
            VLOG_VERBOSE << "Found ByteRange: [" << n[0] << " " << n[1] << " " << n[2] << " " << n[3] << "]";
            for (auto& value : n) value = withinReach(value, file.size());
            const auto [a, b, c, d] = n;

            // compat: the hex text starts one past the '<' and stops one digit short of the '>'
            // (c - b - 3): the dropped digit is always padding. Computed from b alone, as if a were 0.
            const int64_t hexStart = b + 1;
            const int64_t hexLength = c - b - 3;
            VLOG_VERBOSE << "Sign [" << hexStart << ", " << hexLength << "]";

            Bytes signedData;
            appendRange(file, a, b, signedData);
            appendRange(file, c, d, signedData);
            merge(*result, verifier_->verifyDetachedSign(decodeHex(file, hexStart, hexLength), signedData));
        }
    } catch (const PoDoFo::PdfError& error) {
        result->errors.push_back(error.what());
    }
    return result;
}

}  // namespace Vesk::Crypto
