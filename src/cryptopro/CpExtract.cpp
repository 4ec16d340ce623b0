#include "cryptopro/CpExtract.h"

#include "common/Logging.h"
#include "cryptopro/CpCryptMsgHandlerGuard.h"
#include "cryptopro/CpMessageParam.h"
#include "cryptopro/CpStatusTexts.h"
#include "cryptopro/CryptoProLibApi.h"

namespace Vesk::Crypto::CryptoPro {

RequestApiResultPtr CpExtract::extractMessage(const std::vector<unsigned char>& signedMessage,
                                              std::vector<unsigned char>& content) {
    VLOG_VERBOSE << "[M] CpExtract::extractMessage";
    auto& api = CryptoProLibApi::instance();

    CpCryptMsgHandlerGuard message(
        api.CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr));
    if (!message) return GetResultWithError("CpExtract::extractMessage CryptMsgOpenToDecode");

    if (!api.CryptMsgUpdate(message.get(), signedMessage.data(), static_cast<DWORD>(signedMessage.size()), TRUE))
        return GetResultWithError("CpExtract::extractMessage CryptMsgUpdate");

    if (auto failed =
            readMessageParam(message.get(), CMSG_CONTENT_PARAM, content, "CpExtract::extractMessage", "extracted"))
        return failed;

    VLOG_INFO << "The message was extracted successfully.";
    auto result = std::make_shared<RequestApiResult>();
    result->success = true;
    return result;
}

}  // namespace Vesk::Crypto::CryptoPro
