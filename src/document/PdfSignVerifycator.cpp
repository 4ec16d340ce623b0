#include "document/PdfSignVerifycator.h"

#include "common/FileTools.h"
#include "common/Logging.h"
#include "document/PdfLoading.h"
#include "document/PdfRevisionChanges.h"
#include "document/PdfRevisions.h"
#include "document/PdfSignatureLayout.h"
#include "model/PdfVerifyTexts.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;
namespace texts = PdfVerifyTexts;

// One signature of the file: where it sits and what verifying it gave.
struct CheckedSignature {
    SignatureLayout layout;
    std::vector<SignInfoPtr> signers;
    std::string who;  // how the messages name it
    bool valid = false;
};

const char* forgeryText(SignatureForgery forgery) {
    switch (forgery) {
        case SignatureForgery::MalformedByteRange:
            return texts::kByteRangeMalformed;
        case SignatureForgery::FirstRangeNotAtStart:
            return texts::kFirstRangeNotAtStart;
        case SignatureForgery::NotAtRevisionEnd:
            return texts::kNotAtRevisionEnd;
        case SignatureForgery::NotInCrossReference:
            return texts::kDictionaryNotInCrossReference;
        case SignatureForgery::HoleNotOwnContents:
            return texts::kHoleNotOwnContents;
        case SignatureForgery::None:
            break;
    }
    return "";
}

std::string changeList(const std::set<DocumentChange>& changes) {
    std::string list;
    for (const DocumentChange change : changes) {
        if (!list.empty()) list += ", ";
        switch (change) {
            case DocumentChange::Pages:
                list += texts::kPagesChanged;
                break;
            case DocumentChange::Catalog:
                list += texts::kCatalogChanged;
                break;
            case DocumentChange::Form:
                list += texts::kFormChanged;
                break;
            case DocumentChange::Other:
                list += texts::kOtherChanged;
                break;
        }
    }
    return list;
}

// The signatures' dictionaries, in storage order.
std::vector<const PdfObject*> signatureDictionaries(const PdfMemDocument& document) {
    std::vector<const PdfObject*> found;
    for (const PdfObject* object : document.GetObjects())
        if (object != nullptr && object->IsDictionary() && object->GetDictionary().HasKey("ByteRange"))
            found.push_back(object);
    return found;
}

// Says, for every valid signature, how the file went on after it: bytes that no later valid
// signature covers, and what each later revision that one does cover changed in the document.
void reportLaterChanges(const std::vector<CheckedSignature>& signatures, PdfRevisions& revisions, size_t fileSize,
                        ResultWithSigners& result) {
    size_t covered = 0;
    for (const auto& signature : signatures)
        if (signature.valid) covered = std::max(covered, static_cast<size_t>(*signature.layout.revision));
    const auto& all = revisions.revisions();
    const size_t coveredEnd = all[covered].end;
    result.unsignedChanges =
        std::any_of(signatures.begin(), signatures.end(), [](const CheckedSignature& s) { return s.valid; }) &&
        coveredEnd < fileSize;

    std::map<size_t, std::set<DocumentChange>> changes;  // each later revision judged once
    const auto signerClosing = [&](size_t index) -> const CheckedSignature* {
        const CheckedSignature* closing = nullptr;
        for (const auto& signature : signatures)
            if (signature.valid && *signature.layout.revision >= index &&
                (closing == nullptr || *signature.layout.revision < *closing->layout.revision))
                closing = &signature;
        return closing;
    };
    for (const auto& signature : signatures) {
        if (!signature.valid) continue;
        if (coveredEnd < fileSize)
            result.errors.push_back(std::string(texts::kChangedAfterSigning) + " " + signature.who);
        for (size_t index = *signature.layout.revision + 1; index <= covered; ++index) {
            auto judged = changes.find(index);
            if (judged == changes.end()) {
                const CheckedSignature* closing = signerClosing(index);
                const bool addsSignature = closing != nullptr && *closing->layout.revision == index;
                judged = changes.emplace(index, documentChanges(revisions, index, addsSignature)).first;
            }
            if (judged->second.empty()) continue;
            result.errors.push_back(std::string(texts::kChangedAfterSigning) + " " + signature.who + " " +
                                    texts::kChangesSignedBy + " " + signerClosing(index)->who + " (" +
                                    changeList(judged->second) + ")");
        }
    }
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
        PdfMemDocument document;
        loadPdfFromBuffer(document, file, false);

        const auto dictionaries = signatureDictionaries(document);
        VLOG_VERBOSE << "[M] Found signatures count: " << dictionaries.size();  // compat: log readers know this tag
        if (dictionaries.empty()) {
            result->errors.push_back("Файл не содержит подписей");  // compat: hosts show this text untranslated
            return result;
        }
        std::optional<PdfRevisions> revisions;
        try {
            revisions.emplace(file);
        } catch (const PdfError& error) {
            VLOG_ERROR << "PDF revisions unreadable: " << error.what();
        }

        std::vector<CheckedSignature> signatures;
        for (const PdfObject* dictionary : dictionaries) {
            CheckedSignature signature;
            signature.layout = examineSignature(*dictionary, file, revisions ? &*revisions : nullptr);
            signature.who = std::string(texts::kSignatureNumber) + std::to_string(signatures.size() + 1);
            std::vector<std::string> errors;
            if (signature.layout.forgery != SignatureForgery::MalformedByteRange) {
                const auto verified =
                    verifier_->verifyDetachedSign(signature.layout.signature, signature.layout.signedData);
                if (verified && verified->signers) signature.signers = *verified->signers;
                if (verified) errors = verified->errors;
            }
            if (!signature.signers.empty() && signature.signers.front() && signature.signers.front()->certificate)
                signature.who = signature.signers.front()->certificate->serialNumber;
            signature.valid = signature.layout.forgery == SignatureForgery::None && !signature.signers.empty() &&
                              std::all_of(signature.signers.begin(), signature.signers.end(),
                                          [](const SignInfoPtr& info) { return info && info->verified; });
            if (signature.layout.forgery != SignatureForgery::None) {
                for (const auto& info : signature.signers)
                    if (info) info->verified = false;
                result->errors.push_back(std::string(forgeryText(signature.layout.forgery)) + " " + signature.who);
            }
            // Never an empty answer: a signature that says nothing is said to be unreadable.
            if (signature.signers.empty() && errors.empty() && signature.layout.forgery == SignatureForgery::None)
                errors.push_back(std::string(texts::kSignatureUnreadable) + " " + signature.who);
            result->signers->insert(result->signers->end(), signature.signers.begin(), signature.signers.end());
            result->errors.insert(result->errors.end(), errors.begin(), errors.end());
            signatures.push_back(std::move(signature));
        }
        if (revisions) reportLaterChanges(signatures, *revisions, file.size(), *result);
    } catch (const PdfError& error) {
        result->errors.push_back(error.what());
    }
    return result;
}

}  // namespace Vesk::Crypto
