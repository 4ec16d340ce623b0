#pragma once
// The revisions of a PDF as its cross-reference data lays them out: where each one ends, which
// objects each one (re)defines, and the value of an object as any one revision sees it. Classic
// tables, cross-reference streams, hybrid files and objects inside object streams are read; each
// section and each object is read at most once.

#include <podofo/podofo.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Vesk::Crypto {

// Where a revision puts one object: at a byte offset, or inside an object stream.
struct PdfObjectPlace {
    int64_t offset = -1;            // of "N G obj"; -1 for an object inside an object stream
    PoDoFo::pdf_objnum stream = 0;  // the object stream holding it
    int64_t index = 0;              // its index there
    bool operator==(const PdfObjectPlace& other) const {
        return offset == other.offset && stream == other.stream && index == other.index;
    }
};

struct PdfRevision {
    size_t end = 0;  // one past its "%%EOF" and the end of line after it
    size_t eof = 0;  // one past its "%%EOF": a file without an end of line there may get one later
    std::map<PoDoFo::pdf_objnum, PdfObjectPlace> objects;  // the objects in use that it defines
    std::optional<PoDoFo::PdfReference> root;
    std::optional<PoDoFo::PdfReference> info;
    bool encrypted = false;
};

class PdfRevisions {
public:
    // Reads the cross-reference chain from the last "startxref" back; PdfError when it does not read.
    explicit PdfRevisions(const std::vector<char>& file);
    ~PdfRevisions();
    PdfRevisions(const PdfRevisions&) = delete;
    PdfRevisions& operator=(const PdfRevisions&) = delete;

    // In file order, earliest first.
    const std::vector<PdfRevision>& revisions() const { return revisions_; }
    // The revision ending exactly at `end` (with or without the end of line after "%%EOF"), if any.
    std::optional<size_t> endingAt(size_t end) const;
    // Where revision `index` (and those before it) last placed the object; null when none did.
    const PdfObjectPlace* place(PoDoFo::pdf_objnum number, size_t index) const;
    // The object as revision `index` sees it; null when it has none or it does not parse. Its
    // stream, if any, is read on demand and still encoded (and encrypted, in an encrypted file).
    PoDoFo::PdfObject* object(PoDoFo::pdf_objnum number, size_t index);
    // The object defined at a byte offset; null when it does not parse.
    PoDoFo::PdfObject* objectAt(int64_t offset);
    // The object defined at `offset`, ending where "endobj" follows; {0, 0} when none.
    std::pair<size_t, size_t> extentAt(int64_t offset) const;

private:
    struct State;
    void readSection(int64_t offset, PdfRevision& revision, std::optional<int64_t>& previous);
    void readTable(int64_t offset, PdfRevision& revision, std::optional<int64_t>& previous);
    void readStreamSection(int64_t offset, PdfRevision& revision, std::optional<int64_t>& previous);
    void readTrailer(const PoDoFo::PdfDictionary& trailer, PdfRevision& revision, std::optional<int64_t>& previous);
    PoDoFo::PdfObject* objectInStream(PoDoFo::pdf_objnum number, const PdfObjectPlace& place, size_t index);
    std::pair<size_t, size_t> endAfter(size_t from) const;

    const std::vector<char>& file_;
    // Where the header starts: the file's offsets count from there, positions here from byte 0.
    int64_t header_ = 0;
    std::vector<PdfRevision> revisions_;
    std::unique_ptr<State> state_;
};

// The decoded bytes of a stream (its filters undone); empty when it has none or they fail.
std::vector<char> decodedStream(PoDoFo::PdfObject& object);

}  // namespace Vesk::Crypto
