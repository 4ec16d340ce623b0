#pragma once
// Owns one message handle of the CAdES library and closes it with CryptMsgClose.

#include "cades/CadesAbi.h"
#include "cryptopro/CryptoProLibApi.h"

namespace Vesk::Crypto::CryptoPro {

class CpCryptMsgHandlerGuard {
public:
    explicit CpCryptMsgHandlerGuard(HCRYPTMSG message) : message_(message) {}
    ~CpCryptMsgHandlerGuard() {
        try {
            close();
        } catch (...) {
            // the library is gone; nothing left to close the handle with
        }
    }
    CpCryptMsgHandlerGuard(const CpCryptMsgHandlerGuard&) = delete;
    CpCryptMsgHandlerGuard& operator=(const CpCryptMsgHandlerGuard&) = delete;
    CpCryptMsgHandlerGuard(CpCryptMsgHandlerGuard&&) = delete;
    CpCryptMsgHandlerGuard& operator=(CpCryptMsgHandlerGuard&&) = delete;

    explicit operator bool() const { return message_ != nullptr; }
    HCRYPTMSG get() const { return message_; }

    // Closes the handle now; true when there was none or the library closed it.
    bool close() {
        if (message_ == nullptr) return true;
        HCRYPTMSG message = message_;
        message_ = nullptr;
        return CryptoProLibApi::instance().CryptMsgClose(message) != FALSE;
    }

private:
    HCRYPTMSG message_;
};

}  // namespace Vesk::Crypto::CryptoPro
