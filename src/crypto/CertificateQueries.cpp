#include "crypto/CertificateQueries.h"

#include "common/Logging.h"
#include "crypto/CryptoProviderFactory.h"
#include "model/Answer.h"
#include "model/OperationGuard.h"

#include <functional>

namespace Vesk::Crypto {
namespace {

// Runs one query against the provider's storage and answers with the certificates it returns.
std::string answerCertificates(const GuardSite& site, CryptoProvider provider,
                               const std::function<CertificateList(ICertificateStorage&)>& query) {
    const auto failure = [&site](Caught kind, const std::string& text) -> std::string {
        if (kind == Caught::Other) throw;
        logAtSite(site, (kind == Caught::Json ? "JSON Exception: " : "Exception: ") + text);
        return makeAnswer(nullptr, text);
    };
    return guardOperation(failure, [&]() -> std::string {
        const auto storage = CryptoProviderFactory::getStorage(provider);
        if (!storage) return makeAnswer(nullptr, "tr{Certificate storage is null}");
        const auto certificates = query(*storage);
        if (certificates->empty()) return makeAnswer(nullptr, "tr{Certificates not found}");
        return makeAnswer(*certificates, nullptr);
    });
}

}  // namespace

std::string getCertificateList(CryptoProvider provider) {
    initLogger();
    VLOG_VERBOSE << "[F] getCertificateList";
    return answerCertificates(VESK_GUARD_SITE, provider,
                              [](ICertificateStorage& storage) { return storage.getCertificatesList(); });
}

std::string findCertificate(const std::string& text, CryptoProvider provider) {
    initLogger();
    VLOG_VERBOSE << "[F] findCertificate: " << text;
    return answerCertificates(VESK_GUARD_SITE, provider,
                              [&text](ICertificateStorage& storage) { return storage.findCertificateByString(text); });
}

std::string getProviderList() { return makeAnswer(CryptoProviderFactory::getAvaibleCryptoproviderList(), nullptr); }

}  // namespace Vesk::Crypto
