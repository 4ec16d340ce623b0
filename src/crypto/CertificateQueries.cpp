#include "crypto/CertificateQueries.h"

#include "common/Logging.h"
#include "crypto/CryptoProviderFactory.h"
#include "model/Answer.h"

#include <functional>

namespace Vesk::Crypto {
namespace {

// Runs one query against the provider's storage and answers with the certificates it returns.
std::string answerCertificates(CryptoProvider provider,
                               const std::function<CertificateList(ICertificateStorage&)>& query) {
    try {
        const auto storage = CryptoProviderFactory::getStorage(provider);
        if (!storage) return makeAnswer(nullptr, "tr{Certificate storage is null}");
        const auto certificates = query(*storage);
        if (certificates->empty()) return makeAnswer(nullptr, "tr{Certificates not found}");
        return makeAnswer(*certificates, nullptr);
    } catch (const nlohmann::json::exception& e) {
        VLOG_ERROR << "JSON Exception: " << e.what();
        return makeAnswer(nullptr, e.what());
    } catch (const std::exception& e) {
        VLOG_ERROR << "Exception: " << e.what();
        return makeAnswer(nullptr, e.what());
    }
}

}  // namespace

std::string getCertificateList(CryptoProvider provider) {
    initLogger();
    VLOG_VERBOSE << "[F] getCertificateList";
    return answerCertificates(provider, [](ICertificateStorage& storage) { return storage.getCertificatesList(); });
}

std::string findCertificate(const std::string& text, CryptoProvider provider) {
    initLogger();
    VLOG_VERBOSE << "[F] findCertificate: " << text;
    return answerCertificates(provider,
                              [&text](ICertificateStorage& storage) { return storage.findCertificateByString(text); });
}

std::string getProviderList() { return makeAnswer(CryptoProviderFactory::getAvaibleCryptoproviderList(), nullptr); }

}  // namespace Vesk::Crypto
