#include "document/PdfRevisions.h"

#include "document/PdfLoading.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <tuple>

namespace Vesk::Crypto {

using namespace PoDoFo;

namespace {

constexpr size_t kTokenBuffer = 4096;

std::string_view view(const std::vector<char>& file) { return {file.data(), file.size()}; }

int64_t numberOf(const PdfObject* object, int64_t otherwise) {
    return object != nullptr && object->IsNumber() ? object->GetNumber() : otherwise;
}

// An object stream: its offset table and decoded bytes.
struct ObjectStream {
    std::vector<char> data;
    std::vector<std::pair<int64_t, int64_t>> table;  // object number, offset after /First
    int64_t first = 0;
};

}  // namespace

struct PdfRevisions::State {
    PdfRefCountedInputDevice device;
    PdfRefCountedBuffer buffer{kTokenBuffer};
    PdfVecObjects owner;
    std::map<int64_t, std::unique_ptr<PdfParserObject>> atOffset;
    std::map<int64_t, ObjectStream> streams;
    std::map<std::pair<int64_t, int64_t>, std::unique_ptr<PdfObject>> inStreams;
    std::optional<std::vector<size_t>> startxrefs;
    std::vector<size_t> eofs;
};

std::vector<char> decodedStream(PdfObject& object) {
    std::vector<char> bytes;
    try {
        if (!object.HasStream()) return bytes;
        char* data = nullptr;
        pdf_long length = 0;
        object.GetStream()->GetFilteredCopy(&data, &length);
        if (data != nullptr) bytes.assign(data, data + length);
        podofo_free(data);
    } catch (const PdfError&) {
        bytes.clear();
    }
    return bytes;
}

PdfRevisions::PdfRevisions(const std::vector<char>& file) : file_(file), state_(std::make_unique<State>()) {
    state_->device = borrowedInputDevice(file);
    header_ = static_cast<int64_t>(pdfHeaderOffset(file));
    const size_t keyword = view(file).rfind("startxref");
    if (keyword == std::string_view::npos) PODOFO_RAISE_ERROR_INFO(ePdfError_NoXRef, "no startxref");
    std::optional<int64_t> offset = header_ + std::strtoll(file.data() + keyword + 9, nullptr, 10);
    std::set<int64_t> seen;
    while (offset && seen.insert(*offset).second) {
        PdfRevision revision;
        std::optional<int64_t> previous;
        readSection(*offset, revision, previous);
        std::tie(revision.eof, revision.end) = endAfter(static_cast<size_t>(*offset));
        revisions_.push_back(std::move(revision));
        offset = previous;
    }
    std::stable_sort(revisions_.begin(), revisions_.end(),
                     [](const PdfRevision& a, const PdfRevision& b) { return a.end < b.end; });
}

PdfRevisions::~PdfRevisions() = default;

namespace {

// Where each occurrence of `word` starts, in order.
std::vector<size_t> positionsOf(std::string_view text, std::string_view word) {
    std::vector<size_t> positions;
    for (size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + word.size()))
        positions.push_back(at);
    return positions;
}

// The first position at or after `from`; npos when none.
size_t firstFrom(const std::vector<size_t>& positions, size_t from) {
    const auto found = std::lower_bound(positions.begin(), positions.end(), from);
    return found == positions.end() ? std::string_view::npos : *found;
}

}  // namespace

std::pair<size_t, size_t> PdfRevisions::endAfter(size_t from) const {
    // Found once for the whole file: a chain of many sections must not scan it once per section.
    if (!state_->startxrefs) {
        state_->startxrefs = positionsOf(view(file_), "startxref");
        state_->eofs = positionsOf(view(file_), "%%EOF");
    }
    const std::string_view text = view(file_);
    const size_t startxref = firstFrom(*state_->startxrefs, from);
    const size_t eof = startxref == std::string_view::npos ? startxref : firstFrom(state_->eofs, startxref);
    if (eof == std::string_view::npos) PODOFO_RAISE_ERROR_INFO(ePdfError_BrokenFile, "no %%EOF after a section");
    size_t end = eof + 5;
    if (end < text.size() && text[end] == '\r') ++end;
    if (end < text.size() && text[end] == '\n') ++end;
    return {eof + 5, end};
}

void PdfRevisions::readSection(int64_t offset, PdfRevision& revision, std::optional<int64_t>& previous) {
    if (offset < 0 || static_cast<size_t>(offset) >= file_.size())
        PODOFO_RAISE_ERROR_INFO(ePdfError_InvalidXRef, "section outside the file");
    size_t at = static_cast<size_t>(offset);
    while (at < file_.size() && PdfTokenizer::IsWhitespace(static_cast<unsigned char>(file_[at]))) ++at;
    if (view(file_).substr(at, 4) == "xref")
        readTable(offset, revision, previous);
    else
        readStreamSection(offset, revision, previous);
}

void PdfRevisions::readTable(int64_t offset, PdfRevision& revision, std::optional<int64_t>& previous) {
    state_->device.Device()->Seek(offset);
    PdfTokenizer tokens(state_->device, state_->buffer);
    if (!tokens.IsNextToken("xref")) PODOFO_RAISE_ERROR(ePdfError_NoXRef);
    const char* token = nullptr;
    while (tokens.GetNextToken(token) && std::string_view(token) != "trailer") {
        const int64_t first = std::strtoll(token, nullptr, 10);
        const int64_t count = tokens.GetNextNumber();
        if (first < 0 || count < 0 || count > static_cast<int64_t>(file_.size()))
            PODOFO_RAISE_ERROR(ePdfError_InvalidXRef);
        for (int64_t i = 0; i < count; ++i) {
            const int64_t place = tokens.GetNextNumber();
            tokens.GetNextNumber();  // generation
            if (!tokens.GetNextToken(token)) PODOFO_RAISE_ERROR(ePdfError_InvalidXRef);
            if (std::string_view(token) == "n")
                revision.objects.emplace(static_cast<pdf_objnum>(first + i), PdfObjectPlace{header_ + place, 0, 0});
        }
    }
    PdfVariant trailer;
    tokens.GetNextVariant(trailer, nullptr);
    if (!trailer.IsDictionary()) PODOFO_RAISE_ERROR(ePdfError_NoTrailer);
    readTrailer(trailer.GetDictionary(), revision, previous);
    // A hybrid file: the stream lists the objects that only readers of streams know of.
    if (const PdfObject* supplement = trailer.GetDictionary().GetKey("XRefStm"); supplement && supplement->IsNumber()) {
        std::optional<int64_t> ignored;
        PdfRevision streamed;
        readStreamSection(header_ + supplement->GetNumber(), streamed, ignored);
        revision.objects.insert(streamed.objects.begin(), streamed.objects.end());
    }
}

void PdfRevisions::readStreamSection(int64_t offset, PdfRevision& revision, std::optional<int64_t>& previous) {
    PdfObject* section = objectAt(offset);
    if (section == nullptr || !section->IsDictionary() || !section->HasStream())
        PODOFO_RAISE_ERROR_INFO(ePdfError_NoXRef, "no cross-reference section");
    const PdfDictionary& dictionary = section->GetDictionary();
    const PdfObject* widths = dictionary.GetKey("W");
    if (widths == nullptr || !widths->IsArray() || widths->GetArray().size() != 3)
        PODOFO_RAISE_ERROR(ePdfError_InvalidXRefStream);
    int64_t w[3];
    for (size_t i = 0; i < 3; ++i) {
        w[i] = numberOf(&widths->GetArray()[i], -1);
        if (w[i] < 0 || w[i] > 8) PODOFO_RAISE_ERROR(ePdfError_InvalidXRefStream);
    }
    const size_t entrySize = static_cast<size_t>(w[0] + w[1] + w[2]);
    PdfArray index;
    if (const PdfObject* given = dictionary.GetKey("Index"); given && given->IsArray())
        index = given->GetArray();
    else {
        index.push_back(PdfObject(static_cast<pdf_int64>(0)));
        index.push_back(PdfObject(static_cast<pdf_int64>(numberOf(dictionary.GetKey("Size"), 0))));
    }

    const std::vector<char> data = decodedStream(*section);
    size_t at = 0;
    const auto field = [&](int64_t width, int64_t otherwise) {
        if (width == 0) return otherwise;
        int64_t value = 0;
        for (int64_t i = 0; i < width; ++i) value = value * 256 + static_cast<unsigned char>(data[at++]);
        return value;
    };
    for (size_t i = 0; i + 1 < index.size(); i += 2) {
        const int64_t first = numberOf(&index[i], -1);
        const int64_t count = numberOf(&index[i + 1], -1);
        if (first < 0 || count < 0) PODOFO_RAISE_ERROR(ePdfError_InvalidXRefStream);
        for (int64_t n = 0; n < count && entrySize > 0 && at + entrySize <= data.size(); ++n) {
            const int64_t type = field(w[0], 1);
            const int64_t second = field(w[1], 0);
            const int64_t third = field(w[2], 0);
            const auto number = static_cast<pdf_objnum>(first + n);
            if (type == 1) revision.objects.emplace(number, PdfObjectPlace{header_ + second, 0, 0});
            if (type == 2) revision.objects.emplace(number, PdfObjectPlace{-1, static_cast<pdf_objnum>(second), third});
        }
    }
    readTrailer(dictionary, revision, previous);
}

void PdfRevisions::readTrailer(const PdfDictionary& trailer, PdfRevision& revision, std::optional<int64_t>& previous) {
    if (const PdfObject* root = trailer.GetKey("Root"); root && root->IsReference())
        revision.root = root->GetReference();
    if (const PdfObject* info = trailer.GetKey("Info"); info && info->IsReference())
        revision.info = info->GetReference();
    revision.encrypted = trailer.HasKey("Encrypt");
    if (const PdfObject* prev = trailer.GetKey("Prev"); prev && prev->IsNumber())
        previous = header_ + prev->GetNumber();
}

std::optional<size_t> PdfRevisions::endingAt(size_t end) const {
    for (size_t i = 0; i < revisions_.size(); ++i)
        if (revisions_[i].end == end || revisions_[i].eof == end) return i;
    return std::nullopt;
}

const PdfObjectPlace* PdfRevisions::place(pdf_objnum number, size_t index) const {
    for (size_t i = std::min(index + 1, revisions_.size()); i-- > 0;) {
        const auto found = revisions_[i].objects.find(number);
        if (found != revisions_[i].objects.end()) return &found->second;
    }
    return nullptr;
}

PdfObject* PdfRevisions::objectAt(int64_t offset) {
    auto& parsed = state_->atOffset[offset];
    if (parsed || offset < 0 || static_cast<size_t>(offset) >= file_.size()) return parsed.get();
    try {
        auto object = std::make_unique<PdfParserObject>(&state_->owner, state_->device, state_->buffer, offset);
        object->SetLoadOnDemand(true);
        object->ParseFile(nullptr);
        parsed = std::move(object);
    } catch (const PdfError&) {
        parsed.reset();
    }
    return parsed.get();
}

PdfObject* PdfRevisions::object(pdf_objnum number, size_t index) {
    const PdfObjectPlace* where = place(number, index);
    if (where == nullptr) return nullptr;
    if (where->offset < 0) return objectInStream(number, *where, index);
    PdfObject* found = objectAt(where->offset);
    return found != nullptr && found->Reference().ObjectNumber() == number ? found : nullptr;
}

PdfObject* PdfRevisions::objectInStream(pdf_objnum number, const PdfObjectPlace& where, size_t index) {
    const PdfObjectPlace* streamPlace = place(where.stream, index);
    if (streamPlace == nullptr || streamPlace->offset < 0) return nullptr;
    const int64_t offset = streamPlace->offset;
    auto& parsed = state_->inStreams[{offset, where.index}];
    if (parsed) return parsed.get();

    auto loaded = state_->streams.find(offset);
    if (loaded == state_->streams.end()) {
        ObjectStream stream;
        if (PdfObject* holder = objectAt(offset); holder != nullptr && holder->IsDictionary()) {
            stream.data = decodedStream(*holder);
            stream.first = numberOf(holder->GetDictionary().GetKey("First"), 0);
            const int64_t count = numberOf(holder->GetDictionary().GetKey("N"), 0);
            try {
                PdfTokenizer tokens(stream.data.data(), stream.data.size());
                for (int64_t i = 0; i < count; ++i) {
                    const int64_t object = tokens.GetNextNumber();
                    stream.table.emplace_back(object, tokens.GetNextNumber());
                }
            } catch (const PdfError&) {
                // A short table: the objects listed so far are kept.
            }
        }
        loaded = state_->streams.emplace(offset, std::move(stream)).first;
    }
    const ObjectStream& stream = loaded->second;
    if (where.index < 0 || static_cast<size_t>(where.index) >= stream.table.size()) return nullptr;
    const auto [listed, relative] = stream.table[static_cast<size_t>(where.index)];
    const int64_t at = stream.first + relative;
    if (listed != number || relative < 0 || at < 0 || static_cast<size_t>(at) >= stream.data.size()) return nullptr;
    try {
        PdfTokenizer tokens(stream.data.data() + at, stream.data.size() - static_cast<size_t>(at));
        PdfVariant value;
        tokens.GetNextVariant(value, nullptr);
        parsed = std::make_unique<PdfObject>(PdfReference(number, 0), value);
    } catch (const PdfError&) {
        parsed.reset();
    }
    return parsed.get();
}

std::pair<size_t, size_t> PdfRevisions::extentAt(int64_t offset) const {
    if (offset < 0 || static_cast<size_t>(offset) >= file_.size()) return {0, 0};
    const size_t end = view(file_).find("endobj", static_cast<size_t>(offset));
    if (end == std::string_view::npos) return {0, 0};
    return {static_cast<size_t>(offset), end + 6};
}

}  // namespace Vesk::Crypto
