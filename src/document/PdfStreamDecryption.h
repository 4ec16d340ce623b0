#pragma once
// Stream bodies of an encrypted PDF that opens with the empty user password (a file that carries
// permissions only), decrypted with the document's own key before PoDoFo loads the file: the
// nesting check reads object streams decoded, and in such a file they are encrypted.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace PoDoFo {
class PdfEncrypt;
}

namespace Vesk::Crypto {

class PdfStreamDecryption {
public:
    // Where the object `number` `generation` begins ("N G obj"), if the file holds it.
    using ObjectFinder = std::function<std::optional<std::size_t>(std::uint64_t number, std::uint64_t generation)>;

    // `trailer` is the offset of the trailer dictionary (or cross-reference stream dictionary)
    // that names the encryption. Only call this once the whole file passed the nesting check:
    // the trailer and the encryption dictionary are parsed by PoDoFo. Null when the encryption
    // is not one PoDoFo knows, or the file needs a password to open.
    static std::unique_ptr<PdfStreamDecryption> open(const char* data, std::size_t size, std::size_t trailer,
                                                     const ObjectFinder& find);
    ~PdfStreamDecryption();
    PdfStreamDecryption(const PdfStreamDecryption&) = delete;
    PdfStreamDecryption& operator=(const PdfStreamDecryption&) = delete;

    // The plain body of a stream of object `number` `generation`; false when it does not decrypt.
    bool decrypt(const char* body, std::size_t size, std::uint64_t number, std::uint64_t generation,
                 std::string& plain) const;

private:
    explicit PdfStreamDecryption(std::unique_ptr<PoDoFo::PdfEncrypt> encrypt);

    std::unique_ptr<PoDoFo::PdfEncrypt> encrypt_;
};

}  // namespace Vesk::Crypto
