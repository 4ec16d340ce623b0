#include "document/PdfLoading.h"

#include "document/PdfCiphers.h"
#include "document/PdfNesting.h"
#include "document/PdfSignatureProbe.h"
#include "document/Win1251Encoding.h"

#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/stream.hpp>
#include <boost/utility/base_from_member.hpp>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string_view>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

// PoDoFo creates its shared encodings, and each simple encoding its reverse table, on first use
// behind a check made outside its lock; made here once, they are only ever read afterwards.
void buildSharedEncodings() {
    const PdfEncoding* const encodings[] = {
        PdfEncodingFactory::GlobalPdfDocEncodingInstance(),       PdfEncodingFactory::GlobalWinAnsiEncodingInstance(),
        PdfEncodingFactory::GlobalMacRomanEncodingInstance(),     PdfEncodingFactory::GlobalStandardEncodingInstance(),
        PdfEncodingFactory::GlobalMacExpertEncodingInstance(),    PdfEncodingFactory::GlobalSymbolEncodingInstance(),
        PdfEncodingFactory::GlobalZapfDingbatsEncodingInstance(), PdfEncodingFactory::GlobalWin1250EncodingInstance(),
        PdfEncodingFactory::GlobalIso88592EncodingInstance(),     Win1251Encoding::instance(),
    };
    PdfEncodingFactory::GlobalIdentityEncodingInstance();
    const PdfString sample("A");
    for (const PdfEncoding* encoding : encodings) {
        try {
            encoding->ConvertToEncoding(sample, nullptr);
        } catch (const PdfError&) {
            // An encoding that cannot convert has no table to build.
        }
    }
}

using ArrayStream = boost::iostreams::stream<boost::iostreams::array_source>;

// Reads the caller's bytes where they are: PoDoFo's own buffer device copies the whole file twice
// over. The stream is built before the device that points at it, and goes with it.
class BorrowedBytesDevice : private boost::base_from_member<ArrayStream>, public PdfInputDevice {
public:
    BorrowedBytesDevice(const char* data, size_t size)
        : boost::base_from_member<ArrayStream>(data, size), PdfInputDevice(&member) {}
};

}  // namespace

void preparePdfLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        PdfError::EnableLogging(false);
        PdfError::EnableDebug(false);
        buildSharedEncodings();
    });
}

size_t pdfHeaderOffset(const std::vector<char>& bytes) {
    constexpr size_t kHeaderReach = 1024;
    const std::string_view start(bytes.data(), std::min(bytes.size(), kHeaderReach));
    const size_t header = start.find("%PDF-");
    if (header == std::string_view::npos || (header > 0 && isSignatureMessage(bytes))) return 0;
    return header;
}

void loadPdfFromBuffer(PdfMemDocument& document, const std::vector<char>& bytes, bool forUpdate) {
    preparePdfLibrary();
    if (!pdfNestingWithin(bytes.data(), bytes.size()))
        PODOFO_RAISE_ERROR_INFO(ePdfError_BrokenFile, "objects nested too deeply");
    // Every encrypted PDF names its encryption dictionary in a trailer, which is never compressed.
    if (std::string_view(bytes.data(), bytes.size()).find("/Encrypt") != std::string_view::npos)
        enableLegacyPdfCiphers();
    if (bytes.empty()) PODOFO_RAISE_ERROR(ePdfError_InvalidHandle);
    // PoDoFo takes the device over; it reads the bytes for as long as the document lives.
    const size_t header = pdfHeaderOffset(bytes);
    const PdfRefCountedInputDevice device(
        std::make_unique<BorrowedBytesDevice>(bytes.data() + header, bytes.size() - header).release());
    document.LoadFromDevice(device, forUpdate);
}

std::vector<const PdfObject*> findByteRanges(const PdfMemDocument& document) {
    std::vector<const PdfObject*> ranges;
    for (const PdfObject* object : document.GetObjects()) {
        if (object == nullptr || !object->IsDictionary()) continue;
        if (const PdfObject* range = object->GetDictionary().GetKey("ByteRange")) ranges.push_back(range);
    }
    return ranges;
}

}  // namespace Vesk::Crypto
