#include "chain.h"

#include <map>
#include <memory>
#include <mutex>

#include "certificate.h"
#include "file_time.h"
#include "gost_engine.h"
#include "last_error.h"
#include "store.h"

namespace cades_emulator {
namespace {

struct VerifyRecord {
    std::vector<DWORD> errorsByDepth;
};

DWORD trustBitsFor(int error) {
    switch (error) {
        case X509_V_OK:
            return CERT_TRUST_NO_ERROR;
        case X509_V_ERR_CERT_HAS_EXPIRED:
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return CERT_TRUST_IS_NOT_TIME_VALID;
        case X509_V_ERR_CERT_SIGNATURE_FAILURE:
        case X509_V_ERR_UNABLE_TO_DECRYPT_CERT_SIGNATURE:
        case X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY:
            return CERT_TRUST_IS_NOT_SIGNATURE_VALID;
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
            return CERT_TRUST_IS_UNTRUSTED_ROOT;
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
            return CERT_TRUST_IS_PARTIAL_CHAIN;
        case X509_V_ERR_INVALID_CA:
        case X509_V_ERR_PATH_LENGTH_EXCEEDED:
            return CERT_TRUST_INVALID_BASIC_CONSTRAINTS;
        default:
            return CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
    }
}

// Records every problem and lets the build go on, so that the whole chain is seen.
int recordAndContinue(int ok, X509_STORE_CTX* context) {
    if (!ok) {
        auto* record = static_cast<VerifyRecord*>(X509_STORE_CTX_get_app_data(context));
        const int depth = X509_STORE_CTX_get_error_depth(context);
        if (record != nullptr && depth >= 0) {
            if (record->errorsByDepth.size() <= static_cast<size_t>(depth))
                record->errorsByDepth.resize(static_cast<size_t>(depth) + 1, CERT_TRUST_NO_ERROR);
            record->errorsByDepth[static_cast<size_t>(depth)] |= trustBitsFor(X509_STORE_CTX_get_error(context));
        }
    }
    return 1;
}

}  // namespace

TrustMaterial loadTrust(const std::vector<X509*>& extra) {
    ensureGostEngine();
    TrustMaterial trust{X509StorePtr(X509_STORE_new()), newX509Stack()};
    for (const X509Ptr& root : loadSystemStoreCertificates("Root"))
        X509_STORE_add_cert(trust.anchors.get(), root.get());
    std::vector<X509Ptr> loaded = loadSystemStoreCertificates("CA");
    for (X509Ptr& personal : loadSystemStoreCertificates("My")) loaded.push_back(std::move(personal));
    for (const X509Ptr& candidate : loaded) pushShared(trust.untrusted.get(), candidate.get());
    for (X509* certificate : extra) pushShared(trust.untrusted.get(), certificate);
    return trust;
}

ChainResult buildChain(X509* certificate, const std::vector<X509*>& extraCertificates,
                       std::optional<std::time_t> when) {
    ChainResult result;
    TrustMaterial trust = loadTrust(extraCertificates);
    X509_STORE* trusted = trust.anchors.get();
    STACK_OF(X509)* untrusted = trust.untrusted.get();

    X509StoreCtxPtr context(X509_STORE_CTX_new());
    VerifyRecord record;
    if (!context || X509_STORE_CTX_init(context.get(), trusted, certificate, untrusted) != 1) {
        result.certificates.push_back(shareX509(certificate));
        result.elementErrors.push_back(CERT_TRUST_IS_PARTIAL_CHAIN);
        result.chainErrors = CERT_TRUST_IS_PARTIAL_CHAIN;
        return result;
    }
    X509_STORE_CTX_set_app_data(context.get(), &record);
    X509_STORE_CTX_set_verify_cb(context.get(), recordAndContinue);
    if (when) X509_STORE_CTX_set_time(context.get(), 0, *when);
    X509_verify_cert(context.get());

    STACK_OF(X509)* built = X509_STORE_CTX_get0_chain(context.get());
    for (int i = 0; built != nullptr && i < sk_X509_num(built); ++i) {
        result.certificates.push_back(shareX509(sk_X509_value(built, i)));
        const DWORD errors = static_cast<size_t>(i) < record.errorsByDepth.size()
                                 ? record.errorsByDepth[static_cast<size_t>(i)]
                                 : CERT_TRUST_NO_ERROR;
        result.elementErrors.push_back(errors);
        result.chainErrors |= errors;
    }
    for (size_t depth = result.certificates.size(); depth < record.errorsByDepth.size(); ++depth)
        result.chainErrors |= record.errorsByDepth[depth];
    if (result.certificates.empty()) {
        result.certificates.push_back(shareX509(certificate));
        result.elementErrors.push_back(CERT_TRUST_IS_PARTIAL_CHAIN);
        result.chainErrors |= CERT_TRUST_IS_PARTIAL_CHAIN;
    }
    return result;
}

}  // namespace cades_emulator

using namespace cades_emulator;

namespace {

// A chain context with everything it points to. Each call hands out a chain of its own, which
// lives until CertFreeCertificateChain releases it; the live ones are counted so that a caller's
// leak can be seen.
struct OwnedChain {
    CERT_CHAIN_CONTEXT context{};
    CERT_SIMPLE_CHAIN simpleChain{};
    PCERT_SIMPLE_CHAIN simpleChainPointer = nullptr;
    std::vector<CERT_CHAIN_ELEMENT> elements;
    std::vector<PCERT_CHAIN_ELEMENT> elementPointers;
    std::vector<CertificateReference> certificates;
};

std::mutex liveChainsMutex;
std::map<const CERT_CHAIN_CONTEXT*, std::unique_ptr<OwnedChain>>& liveChains() {
    initializeCertificateRegistry();  // created first, so it outlives the chains still held
    static std::map<const CERT_CHAIN_CONTEXT*, std::unique_ptr<OwnedChain>> chains;
    return chains;
}

std::unique_ptr<OwnedChain> makeOwnedChain(ChainResult result) {
    auto owned = std::make_unique<OwnedChain>();
    const size_t count = result.certificates.size();
    owned->elements.resize(count);
    for (size_t i = 0; i < count; ++i) {
        owned->certificates.push_back(
            CertificateReference::adopt(createCertificateContext(std::move(result.certificates[i]))));
        CERT_CHAIN_ELEMENT& element = owned->elements[i];
        element.cbSize = sizeof(CERT_CHAIN_ELEMENT);
        element.pCertContext = owned->certificates.back().get();
        element.TrustStatus.dwErrorStatus = result.elementErrors[i];
        owned->elementPointers.push_back(&element);
    }
    owned->simpleChain.cbSize = sizeof(CERT_SIMPLE_CHAIN);
    owned->simpleChain.TrustStatus.dwErrorStatus = result.chainErrors;
    owned->simpleChain.cElement = static_cast<DWORD>(count);
    owned->simpleChain.rgpElement = owned->elementPointers.data();
    owned->simpleChainPointer = &owned->simpleChain;
    owned->context.cbSize = sizeof(CERT_CHAIN_CONTEXT);
    owned->context.TrustStatus.dwErrorStatus = result.chainErrors;
    owned->context.cChain = 1;
    owned->context.rgpChain = &owned->simpleChainPointer;
    return owned;
}

}  // namespace

extern "C" BOOL CertGetCertificateChain(void* hChainEngine, PCCERT_CONTEXT pCertContext, LPFILETIME pTime,
                                        HCERTSTORE hAdditionalStore, PCERT_CHAIN_PARA pChainPara, DWORD dwFlags,
                                        void* pvReserved, PCCERT_CHAIN_CONTEXT* ppChainContext) {
    (void)hChainEngine, (void)dwFlags, (void)pvReserved;
    if (ppChainContext != nullptr) *ppChainContext = nullptr;
    const CertificateData* certificate = findCertificate(pCertContext);
    if (certificate == nullptr || pChainPara == nullptr || ppChainContext == nullptr) return fail(E_INVALIDARG);

    std::vector<X509*> extra;
    if (CertStore* additional = findStore(hAdditionalStore)) {
        for (const auto& reference : additional->certificates())
            if (reference.data() != nullptr) extra.push_back(reference.data()->x509());
    }
    std::optional<std::time_t> when;
    if (pTime != nullptr) when = fileTimeToUnixTime(*pTime);

    auto owned = makeOwnedChain(buildChain(certificate->x509(), extra, when));
    *ppChainContext = &owned->context;
    std::lock_guard<std::mutex> lock(liveChainsMutex);
    liveChains().emplace(&owned->context, std::move(owned));
    return TRUE;
}

extern "C" void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT pChainContext) {
    if (pChainContext == nullptr) return;
    std::lock_guard<std::mutex> lock(liveChainsMutex);
    liveChains().erase(pChainContext);
}

// The emulator's own diagnostic: chains handed out and not yet released.
extern "C" __attribute__((visibility("default"))) unsigned CadesEmulatorLiveChainCount(void) {
    std::lock_guard<std::mutex> lock(liveChainsMutex);
    return static_cast<unsigned>(liveChains().size());
}
