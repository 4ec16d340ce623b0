#pragma once
// Tells signed files apart: by name (signature extensions, original and signature file beside each
// other) and, for PDFs, by content; routes a file verification to the right file verifier.

#include "model/Enums.h"
#include "model/Results.h"

#include <boost/optional.hpp>

#include <cstdint>
#include <filesystem>
#include <list>
#include <string>
#include <utility>

namespace Vesk::Crypto {

class SignTypeDeterminator {
public:
    enum SignFormat : int32_t {
        Unknown = 0,
        AttachedFile = 1,  // attached CAdES signature file
        DetachedFile = 2,  // detached CAdES signature beside its original
        PAdESPdf = 3,      // PDF with PAdES signature(s)
        CryptoProPdf = 4,  // PDF that is itself an attached signature message
        UnsignedPdf = 5,
    };

    struct SignFormatInfo {
        int32_t format = Unknown;
        std::string originalFile;
        std::string signFile;
    };

    static std::pair<bool, std::string> isSignExtension(const std::filesystem::path& file);
    static boost::optional<std::filesystem::path> getOriginalOf(const std::filesystem::path& file);
    static boost::optional<std::filesystem::path> getSignFor(const std::filesystem::path& file);

    static bool isCpPdfSignFormat(const std::filesystem::path& file);
    static bool isPAdESSignFormat(const std::filesystem::path& file);
    static bool isDetached(const std::filesystem::path& file);
    static bool isMixedSign(const std::list<SignFormatInfo>& formats);

    static std::list<SignFormatInfo> getSignFormats(const std::filesystem::path& file);
    static VerifySignResultPtr verifySign(const std::filesystem::path& file, CryptoProvider provider);
};

}  // namespace Vesk::Crypto
