#include <vesk/VeskCrypto.h>

#include "plugin/ErrorGuard.h"
#include "plugin/RequestDispatcher.h"

#include <boost/make_shared.hpp>

boost::shared_ptr<VeskCryptoPlugin> VeskCryptoPlugin::create() {
    // Out of memory for the object itself: the host gets an empty pointer, not an exception.
    return Vesk::Crypto::guardCall([] { return boost::make_shared<VeskCryptoPlugin>(); },
                                   boost::shared_ptr<VeskCryptoPlugin>());
}

bool VeskCryptoPlugin::executeRequest(const char* data, size_t length) {
    // Only copying a huge request can fail here; the host still gets an answer.
    Vesk::Crypto::guardRequest(result_, [&] {
        const std::string request(data, length);
        std::string answer;
        Vesk::Crypto::executeJsonRequest(request, answer);
        result_ = std::move(answer);
    });
    return true;
}

size_t VeskCryptoPlugin::getResultLength() { return result_.size(); }

const char* VeskCryptoPlugin::getResultString() { return result_.c_str(); }
