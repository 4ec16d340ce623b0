#include "cryptopro/CpMessageParam.h"

#include "common/Logging.h"
#include "cryptopro/CpStatusTexts.h"
#include "cryptopro/CryptoProLibApi.h"

namespace Vesk::Crypto::CryptoPro {

RequestApiResultPtr readMessageParam(HCRYPTMSG message, DWORD param, std::vector<unsigned char>& out,
                                     const std::string& context, const std::string& what) {
    auto& api = CryptoProLibApi::instance();
    DWORD length = 0;
    if (!api.CryptMsgGetParam(message, param, 0, nullptr, &length))
        return GetResultWithError(context + " CryptMsgGetParam, for get " + what + " message length.");
    VLOG_INFO << "The size for the " << what << " BLOB is " << length;

    out.resize(length);
    if (!api.CryptMsgGetParam(message, param, 0, out.data(), &length))
        return GetResultWithError(context + " CryptMsgGetParam, for get " + what + " message data.");
    out.resize(length);
    return nullptr;
}

}  // namespace Vesk::Crypto::CryptoPro
