#include "document/PdfStreamDecryption.h"

#include "document/PdfCiphers.h"

#include <podofo/podofo.h>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

// The object PoDoFo reads at `offset` of the file: a direct object, or with `indirect` the one
// after "N G obj".
bool parseAt(const char* data, size_t size, size_t offset, bool indirect, PdfVariant& object) {
    if (offset >= size) return false;
    PdfTokenizer tokenizer(data + offset, size - offset);
    if (indirect) {
        tokenizer.GetNextNumber();
        tokenizer.GetNextNumber();
        if (!tokenizer.IsNextToken("obj")) return false;
    }
    tokenizer.GetNextVariant(object, nullptr);
    return true;
}

}  // namespace

PdfStreamDecryption::PdfStreamDecryption(std::unique_ptr<PdfEncrypt> encrypt) : encrypt_(std::move(encrypt)) {}

PdfStreamDecryption::~PdfStreamDecryption() = default;

std::unique_ptr<PdfStreamDecryption> PdfStreamDecryption::open(const char* data, size_t size, size_t trailer,
                                                               const ObjectFinder& find) {
    try {
        PdfVariant trailerDictionary;
        if (!parseAt(data, size, trailer, false, trailerDictionary) || !trailerDictionary.IsDictionary())
            return nullptr;
        const PdfDictionary& keys = trailerDictionary.GetDictionary();
        const PdfObject* id = keys.GetKey("ID");
        const PdfObject* named = keys.GetKey("Encrypt");
        if (id == nullptr || !id->IsArray() || id->GetArray().empty() ||
            !(id->GetArray()[0].IsString() || id->GetArray()[0].IsHexString()) || named == nullptr)
            return nullptr;

        PdfVariant dictionary;
        if (named->IsReference()) {
            const PdfReference& reference = named->GetReference();
            const auto at = find(reference.ObjectNumber(), reference.GenerationNumber());
            if (!at || !parseAt(data, size, *at, true, dictionary)) return nullptr;
        } else {
            dictionary = *named;
        }
        if (!dictionary.IsDictionary()) return nullptr;

        // RC4 serves the password check of RC4 and AES-128 files alike.
        enableLegacyPdfCiphers();
        const PdfObject encryption(dictionary.GetDictionary());
        std::unique_ptr<PdfEncrypt> encrypt(PdfEncrypt::CreatePdfEncrypt(&encryption));
        if (!encrypt || !encrypt->Authenticate("", id->GetArray()[0].GetString())) return nullptr;
        return std::unique_ptr<PdfStreamDecryption>(new PdfStreamDecryption(std::move(encrypt)));
    } catch (const PdfError&) {
        return nullptr;
    }
}

bool PdfStreamDecryption::decrypt(const char* body, size_t size, uint64_t number, uint64_t generation,
                                  std::string& plain) const {
    try {
        encrypt_->SetCurrentReference(
            PdfReference(static_cast<pdf_objnum>(number), static_cast<pdf_gennum>(generation)));
        // A block cipher may write up to a block beyond its input before it drops the padding.
        plain.assign(size + 32, '\0');
        pdf_long length = static_cast<pdf_long>(size);
        encrypt_->Decrypt(reinterpret_cast<const unsigned char*>(body), static_cast<pdf_long>(size),
                          reinterpret_cast<unsigned char*>(plain.data()), length);
        if (length < 0 || static_cast<size_t>(length) > plain.size()) return false;
        plain.resize(static_cast<size_t>(length));
        return true;
    } catch (const PdfError&) {
        return false;
    }
}

}  // namespace Vesk::Crypto
