#include "plugin/VeskCryptoPlugin.h"

#include "common/Answer.h"
#include "plugin/RequestDispatcher.h"

#include <boost/make_shared.hpp>

boost::shared_ptr<VeskCryptoPlugin> VeskCryptoPlugin::create() { return boost::make_shared<VeskCryptoPlugin>(); }

bool VeskCryptoPlugin::executeRequest(const char* data, size_t length) {
    try {
        // The request is read where the host keeps it: a save_file request holds a whole document.
        std::string answer;
        const bool done = Vesk::Crypto::executeJsonRequestText(std::string_view(data, length), answer);
        result_ = std::move(answer);
        return done;
    } catch (const std::exception& e) {
        // Even running out of memory leaves the host an answer.
        result_ = Vesk::Crypto::makeErrorAnswer(std::string("tr{Exception:} ") + e.what());
        return true;
    }
}

size_t VeskCryptoPlugin::getResultLength() { return result_.size(); }

const char* VeskCryptoPlugin::getResultString() { return result_.c_str(); }
