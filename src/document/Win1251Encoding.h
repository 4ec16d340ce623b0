#pragma once
// The Windows-1251 (Cyrillic) code page as a one-byte PDF encoding.

#include <podofo/podofo.h>

namespace Vesk::Crypto {

// Built on PoDoFo's WinAnsi encoding, so that a font using it gets a standard /BaseEncoding with
// a /Differences array for the Cyrillic half; readers need no knowledge of code page 1251.
class Win1251Encoding : public PoDoFo::PdfWinAnsiEncoding {
public:
    Win1251Encoding();

    // The one instance fonts of this module use; it lives as long as the process.
    static const Win1251Encoding* instance();

protected:
    const PoDoFo::PdfName& GetID() const override;
    const PoDoFo::pdf_utf16be* GetToUnicodeTable() const override;

private:
    PoDoFo::PdfName id_;
};

}  // namespace Vesk::Crypto
