#pragma once
// Where a PDF signature sits and whether that place is honest: its ByteRange must leave out
// exactly the <…> of its own dictionary's /Contents, start at 0 and end where a revision of the
// file ends, and its dictionary must be the one the cross-reference data places in that revision
// and keeps there since.

#include "document/PdfRevisions.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace Vesk::Crypto {

enum class SignatureForgery {
    None,
    MalformedByteRange,
    FirstRangeNotAtStart,
    NotAtRevisionEnd,
    NotInCrossReference,
    HoleNotOwnContents
};

struct SignatureLayout {
    std::array<int64_t, 4> range{};  // offset and length of each signed part
    std::optional<size_t> revision;  // the revision the signature ends with
    SignatureForgery forgery = SignatureForgery::None;
    std::vector<unsigned char> signature;  // the hole's hex text, decoded
    std::vector<unsigned char> signedData;
};

// `revisions` is null when the file's cross-reference chain does not read.
SignatureLayout examineSignature(const PoDoFo::PdfObject& dictionary, const std::vector<char>& file,
                                 PdfRevisions* revisions);

}  // namespace Vesk::Crypto
