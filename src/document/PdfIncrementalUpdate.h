#pragma once
// A PDF opened so that changes to it are appended as an incremental update: the file's own bytes
// stay as they are and every earlier signature stays valid.

#include <podofo/podofo.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Vesk::Crypto {

// A PDF that can be read but not honestly changed; what() is the answer's message.
class PdfUpdateRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The update holds only the changed and new objects (new ones numbered past every number the file
// has used), then a cross-reference section of the kind the file already uses whose /Prev names
// the file's last one. An encrypted file that opens with the empty user password (a file that
// carries permissions only) is loaded decrypted; its changed and new objects are encrypted with the
// document's own key and the trailer keeps the file's /Encrypt and /ID. Signature Contents are
// written as raw hex, never encrypted, as the PDF standard requires.
class PdfIncrementalUpdate {
public:
    // Loads `bytes` into `document`; both must outlive this object. PdfError when the file does
    // not load; PdfUpdateRefused when it needs a password to open.
    PdfIncrementalUpdate(PoDoFo::PdfMemDocument& document, const std::vector<char>& bytes);
    ~PdfIncrementalUpdate();
    PdfIncrementalUpdate(const PdfIncrementalUpdate&) = delete;
    PdfIncrementalUpdate& operator=(const PdfIncrementalUpdate&) = delete;

    // The refusal for changing the page content (stamping), or for adding a signature field,
    // that the document's permissions forbid; empty when allowed.
    std::string refusalToStamp() const;
    std::string refusalToSign() const;

    // The refusal of an update that would refer to objects of the file that cannot be read (the
    // file's cross-reference data does not match its objects: readers rebuild it, and would then
    // resolve the update's references through the damage); empty when every one reads.
    std::string refusalOfDamage() const;

    // Writes the original bytes followed by the update.
    void write(PoDoFo::PdfOutputDevice& device);

private:
    PoDoFo::PdfMemDocument& document_;
    const std::vector<char>& bytes_;
    bool isWritten(const PoDoFo::PdfObject& object) const;

    size_t headerOffset_;
    std::unique_ptr<PoDoFo::PdfEncrypt> encrypt_;
    PoDoFo::pdf_objnum originalSize_ = 0;
};

}  // namespace Vesk::Crypto
