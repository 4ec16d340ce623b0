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
    // The request is read where the host keeps it: a save_file request holds a whole document.
    Vesk::Crypto::guardRequest(result_, [&] {
        std::string answer;
        Vesk::Crypto::executeJsonRequestText(std::string_view(data, length), answer);
        result_ = std::move(answer);
    });
    return true;
}

size_t VeskCryptoPlugin::getResultLength() { return result_.size(); }

const char* VeskCryptoPlugin::getResultString() { return result_.c_str(); }
