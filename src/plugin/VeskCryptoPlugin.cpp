#include "plugin/VeskCryptoPlugin.h"

#include "common/Answer.h"
#include "plugin/RequestDispatcher.h"

#include <boost/make_shared.hpp>

boost::shared_ptr<VeskCryptoPlugin> VeskCryptoPlugin::create() { return boost::make_shared<VeskCryptoPlugin>(); }

bool VeskCryptoPlugin::executeRequest(const char* data, size_t length) {
    try {
        const std::string request(data, length);
        std::string answer;
        const bool done = Vesk::Crypto::executeJsonRequest(request, answer);
        result_ = std::move(answer);
        return done;
    } catch (const std::exception& e) {
        // Only copying a huge request can fail here; the host still gets an answer.
        result_ = Vesk::Crypto::makeErrorAnswer(std::string("tr{Exception:} ") + e.what());
        return true;
    }
}

size_t VeskCryptoPlugin::getResultLength() { return result_.size(); }

const char* VeskCryptoPlugin::getResultString() { return result_.c_str(); }
