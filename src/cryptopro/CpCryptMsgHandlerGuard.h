#pragma once
// Owns one message handle of the CAdES library and closes it with CryptMsgClose.

#include "cryptopro/CadesHandle.h"

namespace Vesk::Crypto::CryptoPro {

class CpCryptMsgHandlerGuard {
public:
    explicit CpCryptMsgHandlerGuard(HCRYPTMSG message) : message_(message) {}

    explicit operator bool() const { return static_cast<bool>(message_); }
    HCRYPTMSG get() const { return message_.get(); }

    // Closes the handle held and takes the given one.
    void reset(HCRYPTMSG message) {
        close();
        message_.reset(message);
    }

    // Closes the handle now; true when there was none or the library closed it.
    bool close() {
        HCRYPTMSG message = message_.release();
        return message == nullptr || closeCryptMessage(message);
    }

private:
    CryptMessageHandle message_;
};

}  // namespace Vesk::Crypto::CryptoPro
