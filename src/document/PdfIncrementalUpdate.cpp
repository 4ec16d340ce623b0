#include "document/PdfIncrementalUpdate.h"

#include "common/Logging.h"
#include "document/PdfLoading.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string_view>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

constexpr const char* kPasswordRefusal = "tr{The PDF is protected by a password}";

struct XrefEntry {
    pdf_objnum number;
    pdf_gennum generation;
    size_t offset;
};

void put(PdfOutputDevice& device, const std::string& text) { device.Write(text.data(), text.size()); }

// Where the file's last cross-reference section starts (its startxref value), and whether that
// section is a stream; PoDoFo has read the same section, so a file that loaded has one.
std::pair<pdf_int64, bool> lastCrossReference(const std::vector<char>& bytes, size_t headerOffset) {
    const std::string_view file(bytes.data() + headerOffset, bytes.size() - headerOffset);
    const size_t keyword = file.rfind("startxref");
    pdf_int64 offset = -1;
    if (keyword != std::string_view::npos) {
        size_t at = keyword + 9;
        while (at < file.size() && std::isspace(static_cast<unsigned char>(file[at]))) ++at;
        if (at < file.size() && std::isdigit(static_cast<unsigned char>(file[at]))) {
            offset = 0;
            for (; at < file.size() && std::isdigit(static_cast<unsigned char>(file[at])) &&
                   offset < (pdf_int64(1) << 50);
                 ++at)
                offset = offset * 10 + (file[at] - '0');
        }
    }
    if (offset < 0 || static_cast<size_t>(offset) >= file.size())
        PODOFO_RAISE_ERROR_INFO(ePdfError_InvalidXRef, "no startxref before the end of the file");
    // Some writers point startxref at the end-of-line before the section.
    size_t section = static_cast<size_t>(offset);
    while (section < file.size() && std::isspace(static_cast<unsigned char>(file[section]))) ++section;
    return {offset, file.substr(section, 4) != "xref"};
}

// Whether the trailer of the file's last cross-reference section names document information: the
// trailer after a table, or the dictionary of a cross-reference stream, both plain text.
bool lastTrailerNamesInfo(const std::vector<char>& bytes, size_t headerOffset, pdf_int64 section, bool isStream) {
    const std::string_view file(bytes.data() + headerOffset, bytes.size() - headerOffset);
    const size_t start = isStream ? static_cast<size_t>(section) : file.find("trailer", static_cast<size_t>(section));
    const size_t end = file.find(isStream ? "stream" : "startxref", start);
    if (start == std::string_view::npos || end == std::string_view::npos) return true;
    const std::string_view trailer = file.substr(start, end - start);
    for (size_t at = trailer.find("/Info"); at != std::string_view::npos; at = trailer.find("/Info", at + 1)) {
        const size_t next = at + 5;
        if (next >= trailer.size() || !std::isalnum(static_cast<unsigned char>(trailer[next]))) return true;
    }
    return false;
}

// The keys an update's trailer carries over from the document's trailer.
PdfDictionary updateTrailer(const PdfObject& documentTrailer, pdf_objnum size, pdf_int64 previous) {
    PdfDictionary trailer;
    trailer.AddKey(PdfName::KeySize, static_cast<pdf_int64>(size));
    for (const char* key : {"Root", "Info", "Encrypt", "ID"}) {
        if (const PdfObject* value = documentTrailer.GetDictionary().GetKey(key)) trailer.AddKey(key, *value);
    }
    trailer.AddKey("Prev", previous);
    return trailer;
}

// Classic "xref" subsections, one per run of consecutive object numbers.
void writeXrefTable(PdfOutputDevice& device, const std::vector<XrefEntry>& entries) {
    put(device, "xref\n");
    for (size_t first = 0; first < entries.size();) {
        size_t last = first + 1;
        while (last < entries.size() && entries[last].number == entries[last - 1].number + 1) ++last;
        put(device, std::to_string(entries[first].number) + " " + std::to_string(last - first) + "\n");
        for (size_t i = first; i < last; ++i) {
            char line[32];
            std::snprintf(line, sizeof line, "%010llu %05u n \n", static_cast<unsigned long long>(entries[i].offset),
                          static_cast<unsigned>(entries[i].generation));
            put(device, line);
        }
        first = last;
    }
}

// A cross-reference stream: type 1 entries of fields 1, offset-width and 2 bytes. Cross-reference
// streams are never encrypted.
void writeXrefStream(PdfOutputDevice& device, std::vector<XrefEntry> entries, PdfDictionary trailer, EPdfWriteMode mode,
                     size_t headerOffset) {
    const pdf_objnum number = static_cast<pdf_objnum>(trailer.GetKey(PdfName::KeySize)->GetNumber());
    entries.push_back({number, 0, device.Tell() - headerOffset});
    trailer.AddKey(PdfName::KeySize, static_cast<pdf_int64>(number + 1));

    int offsetWidth = 1;
    while (offsetWidth < 8 && (entries.back().offset >> (8 * offsetWidth)) != 0) ++offsetWidth;
    std::string data;
    PdfArray index;
    for (size_t first = 0; first < entries.size();) {
        size_t last = first + 1;
        while (last < entries.size() && entries[last].number == entries[last - 1].number + 1) ++last;
        index.push_back(static_cast<pdf_int64>(entries[first].number));
        index.push_back(static_cast<pdf_int64>(last - first));
        for (size_t i = first; i < last; ++i) {
            data += '\1';
            for (int byte = offsetWidth - 1; byte >= 0; --byte)
                data += static_cast<char>((entries[i].offset >> (8 * byte)) & 0xff);
            data += static_cast<char>((entries[i].generation >> 8) & 0xff);
            data += static_cast<char>(entries[i].generation & 0xff);
        }
        first = last;
    }
    trailer.AddKey(PdfName::KeyType, PdfName("XRef"));
    trailer.AddKey("Index", index);
    PdfArray widths;
    for (pdf_int64 width : {pdf_int64(1), pdf_int64(offsetWidth), pdf_int64(2)}) widths.push_back(width);
    trailer.AddKey("W", widths);

    trailer.AddKey(PdfName::KeyLength, static_cast<pdf_int64>(data.size()));
    // Written by hand: a PoDoFo stream needs a document to belong to, and this one must stay
    // outside it (unfiltered and unencrypted).
    put(device, std::to_string(number) + " 0 obj\n");
    PdfVariant(trailer).Write(&device, mode, nullptr);
    put(device, "\nstream\n");
    device.Write(data.data(), data.size());
    put(device, "\nendstream\nendobj\n");
}

// The first reference held directly in `value` (through its dictionaries and arrays, not through
// other objects) that `unreadable` holds for true.
template <typename Unreadable>
const PdfReference* findReference(const PdfVariant& value, const Unreadable& unreadable) {
    if (value.IsReference()) return unreadable(value.GetReference()) ? &value.GetReference() : nullptr;
    if (value.IsArray()) {
        for (const PdfObject& item : value.GetArray())
            if (const PdfReference* found = findReference(item, unreadable)) return found;
    } else if (value.IsDictionary()) {
        for (const auto& [key, item] : value.GetDictionary().GetKeys())
            if (const PdfReference* found = findReference(*item, unreadable)) return found;
    }
    return nullptr;
}

// PoDoFo 0.9.8 decrypts the strings of an AES-256 file with their padding left on (n bytes of
// value n, 1 to 16); written back, the padding would become part of the text, of a form's /DA for
// one. The strings of an object read from the file lose it again.
void stripAesPadding(PdfObject& value) {
    if ((value.IsString() || value.IsHexString()) && !value.GetString().IsUnicode()) {
        const PdfString& text = value.GetString();
        const pdf_long length = text.GetLength();
        const char* bytes = text.GetString();
        const int padding = length > 0 ? static_cast<unsigned char>(bytes[length - 1]) : 0;
        if (padding < 1 || padding > 16 || padding > length) return;
        for (pdf_long i = length - padding; i < length; ++i)
            if (static_cast<unsigned char>(bytes[i]) != padding) return;
        value = PdfObject(PdfString(bytes, length - padding, text.IsHex()));
    } else if (value.IsArray()) {
        for (PdfObject& item : value.GetArray()) stripAesPadding(item);
    } else if (value.IsDictionary()) {
        for (auto& [key, item] : value.GetDictionary().GetKeys()) stripAesPadding(*item);
    }
}

}  // namespace

PdfIncrementalUpdate::PdfIncrementalUpdate(PdfMemDocument& document, const std::vector<char>& bytes)
    : document_(document), bytes_(bytes), headerOffset_(pdfHeaderOffset(bytes)) {
    // Loaded as a plain document: the update is written here, not by PoDoFo, whose own update
    // writer refuses encrypted files, copies objects of object streams again, and ends every
    // update in a classic table without /Prev.
    try {
        loadPdfFromBuffer(document, bytes, false);
    } catch (const PdfError& error) {
        if (error.GetError() == ePdfError_InvalidPassword) throw PdfUpdateRefused(kPasswordRefusal);
        throw;
    }
    if (document.GetEncrypt() != nullptr) {
        VLOG_VERBOSE << "Encrypted PDF: the update is written with the document's own key";
        encrypt_.reset(PdfEncrypt::CreatePdfEncrypt(*document.GetEncrypt()));
    }

    // A new object takes a number no revision of the file has used: PoDoFo drops the encryption
    // dictionary and the object and cross-reference streams while it loads and would hand their
    // numbers, and those the file lists as free, to new objects.
    auto& objects = const_cast<PdfVecObjects&>(document.GetObjects());
    objects.SetCanReuseObjectNumbers(false);
    const PdfObject* size = document.GetTrailer()->GetDictionary().GetKey(PdfName::KeySize);
    originalSize_ = static_cast<pdf_objnum>(std::max<pdf_int64>(
        size != nullptr && size->IsNumber() ? size->GetNumber() : 0, static_cast<pdf_int64>(objects.GetObjectCount())));
    if (originalSize_ > 0) objects.SetObjectCount(PdfReference(originalSize_ - 1, 0));
}

PdfIncrementalUpdate::~PdfIncrementalUpdate() = default;

std::string PdfIncrementalUpdate::refusalToStamp() const {
    if (encrypt_ && !encrypt_->IsEditAllowed()) return "tr{The PDF's permissions forbid changing its pages}";
    return {};
}

std::string PdfIncrementalUpdate::refusalToSign() const {
    // A new signature field is a new form field: that takes both "modify" and "annotate and fill
    // forms" (filling an existing empty signature field alone would not).
    if (encrypt_ && !(encrypt_->IsEditAllowed() && encrypt_->IsEditNotesAllowed()))
        return "tr{The PDF's permissions forbid adding a signature}";
    return {};
}

bool PdfIncrementalUpdate::isWritten(const PdfObject& object) const {
    return object.IsDirty() || object.Reference().ObjectNumber() >= originalSize_;
}

std::string PdfIncrementalUpdate::refusalOfDamage() const {
    // A number within the file's that PoDoFo could not load: its entry points at another object
    // or at no object at all. (PoDoFo lists such numbers as free, so its free list cannot tell
    // them from numbers the file itself frees; a reference to one of those, in an object the
    // update changes, is refused too.)
    const PdfVecObjects& objects = document_.GetObjects();
    const auto unreadable = [&](const PdfReference& reference) {
        return reference.ObjectNumber() < originalSize_ && objects.GetObject(reference) == nullptr;
    };
    for (const PdfObject* object : objects) {
        if (!isWritten(*object)) continue;
        if (const PdfReference* broken = findReference(*object, unreadable)) {
            VLOG_ERROR << "The update would refer to object " << broken->ToString() << ", which does not read";
            return "tr{The PDF is damaged: objects it refers to cannot be read}";
        }
    }
    return {};
}

void PdfIncrementalUpdate::write(PdfOutputDevice& device) {
    const auto [previous, previousIsStream] = lastCrossReference(bytes_, headerOffset_);
    // Font subsets are cut when the document is written; PoDoFo's own writers do this first too.
    document_.EmbedSubsetFonts();
    device.Write(bytes_.data(), bytes_.size());
    if (!bytes_.empty() && bytes_.back() != '\n' && bytes_.back() != '\r') put(device, "\n");
    // Offsets count from the "%PDF-" header, as the file's own do when something precedes it.
    const auto offset = [&] { return device.Tell() - headerOffset_; };

    const EPdfWriteMode mode = document_.GetWriteMode();
    const bool metadataEncrypted = !encrypt_ || encrypt_->IsMetadataEncrypted();
    const PdfObject* trailerInfo = document_.GetTrailer()->GetDictionary().GetKey("Info");
    // PoDoFo changes the document information on loading (its producer, the date), and makes one
    // where the file has none, under a number it may take from the file's free or dropped objects
    // (the encryption dictionary's, for one). Neither is written: the file's own stays as it is.
    const PdfObject* info = trailerInfo != nullptr && trailerInfo->IsReference()
                                ? document_.GetObjects().GetObject(trailerInfo->GetReference())
                                : nullptr;
    std::vector<XrefEntry> entries;
    pdf_objnum size = originalSize_;
    const bool aes256 = encrypt_ && (encrypt_->GetEncryptAlgorithm() == PdfEncrypt::ePdfEncryptAlgorithm_AESV3 ||
                                     encrypt_->GetEncryptAlgorithm() == PdfEncrypt::ePdfEncryptAlgorithm_AESV3R6);
    for (PdfObject* object : document_.GetObjects()) {
        if (object == info || !isWritten(*object)) continue;
        if (aes256 && object->Reference().ObjectNumber() < originalSize_ &&
            (object->IsDictionary() || object->IsArray()))
            stripAesPadding(*object);
        const PdfReference& reference = object->Reference();
        entries.push_back({reference.ObjectNumber(), reference.GenerationNumber(), offset()});
        size = std::max(size, reference.ObjectNumber() + 1);
        // Metadata streams stay readable when the file says so (/EncryptMetadata false).
        const PdfObject* type = object->IsDictionary() ? object->GetDictionary().GetKey(PdfName::KeyType) : nullptr;
        const bool plain = !metadataEncrypted && type != nullptr && type->IsName() && type->GetName() == "Metadata";
        if (encrypt_) encrypt_->SetCurrentReference(reference);
        object->WriteObject(&device, mode, plain ? nullptr : encrypt_.get());
    }
    PdfDictionary trailer = updateTrailer(*document_.GetTrailer(), size, previous);
    if (!lastTrailerNamesInfo(bytes_, headerOffset_, previous, previousIsStream)) trailer.RemoveKey("Info");
    std::sort(entries.begin(), entries.end(),
              [](const XrefEntry& a, const XrefEntry& b) { return a.number < b.number; });
    VLOG_VERBOSE << "Incremental update: " << entries.size() << " objects";

    const size_t xrefOffset = offset();
    if (previousIsStream) {
        writeXrefStream(device, entries, trailer, mode, headerOffset_);
    } else {
        writeXrefTable(device, entries);
        put(device, "trailer\n");
        PdfObject(trailer).WriteObject(&device, mode, nullptr);
        put(device, "\n");
    }
    put(device, "startxref\n" + std::to_string(xrefOffset) + "\n%%EOF\n");
}

}  // namespace Vesk::Crypto
