#include "ocsp_client.h"

#include <cstdlib>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "chain.h"
#include "http_client.h"

namespace cades_emulator {
namespace {

using OcspRequestPtr = std::unique_ptr<OCSP_REQUEST, OpenSslDeleter<OCSP_REQUEST_free>>;
using OcspResponsePtr = std::unique_ptr<OCSP_RESPONSE, OpenSslDeleter<OCSP_RESPONSE_free>>;
using OcspCertIdPtr = std::unique_ptr<OCSP_CERTID, OpenSslDeleter<OCSP_CERTID_free>>;

struct StringStackDeleter {
    void operator()(STACK_OF(OPENSSL_STRING) * stack) const { X509_email_free(stack); }
};

// The status of the one answer about `id`, when the response is current.
DWORD statusIn(OCSP_BASICRESP* basic, OCSP_CERTID* id) {
    int status = -1;
    int reason = 0;
    ASN1_GENERALIZEDTIME* revokedAt = nullptr;
    ASN1_GENERALIZEDTIME* thisUpdate = nullptr;
    ASN1_GENERALIZEDTIME* nextUpdate = nullptr;
    if (OCSP_resp_find_status(basic, id, &status, &reason, &revokedAt, &thisUpdate, &nextUpdate) != 1 ||
        OCSP_check_validity(thisUpdate, nextUpdate, 300, -1) != 1)
        return CRYPT_E_NO_REVOCATION_CHECK;
    if (status == V_OCSP_CERTSTATUS_REVOKED) return CRYPT_E_REVOKED;
    return status == V_OCSP_CERTSTATUS_GOOD ? 0 : CRYPT_E_NO_REVOCATION_CHECK;
}

DWORD judge(OCSP_REQUEST* request, const std::vector<BYTE>& answer, OCSP_CERTID* id, const std::vector<X509*>& extra,
            OcspBasicPtr& basic) {
    const unsigned char* cursor = answer.data();
    OcspResponsePtr response(d2i_OCSP_RESPONSE(nullptr, &cursor, static_cast<long>(answer.size())));
    if (!response || OCSP_response_status(response.get()) != OCSP_RESPONSE_STATUS_SUCCESSFUL)
        return CRYPT_E_NO_REVOCATION_CHECK;
    basic.reset(OCSP_response_get1_basic(response.get()));
    if (!basic || OCSP_check_nonce(request, basic.get()) != 1) return CRYPT_E_NO_REVOCATION_CHECK;
    TrustMaterial trust = loadTrust(extra);
    if (OCSP_basic_verify(basic.get(), trust.untrusted.get(), trust.anchors.get(), 0) != 1)
        return CRYPT_E_NO_REVOCATION_CHECK;
    return statusIn(basic.get(), id);
}

}  // namespace

std::string ocspAddressOf(X509* certificate) {
    std::unique_ptr<STACK_OF(OPENSSL_STRING), StringStackDeleter> addresses(X509_get1_ocsp(certificate));
    if (!addresses || sk_OPENSSL_STRING_num(addresses.get()) == 0) return {};
    const char* redirected = std::getenv("CADES_EMULATOR_OCSP_URL");
    if (redirected != nullptr && *redirected != '\0') return redirected;
    return sk_OPENSSL_STRING_value(addresses.get(), 0);
}

DWORD askCertificateStatus(const std::string& address, X509* certificate, X509* issuer, const std::vector<X509*>& extra,
                           std::vector<BYTE>& basicResponse, Reach reach) {
    OcspRequestPtr request(OCSP_REQUEST_new());
    OCSP_CERTID* id = OCSP_cert_to_id(EVP_sha1(), certificate, issuer);
    if (!request || id == nullptr || OCSP_request_add0_id(request.get(), id) == nullptr) {
        OCSP_CERTID_free(id);
        return NTE_BAD_DATA;
    }
    unsigned char* der = nullptr;
    const int length =
        OCSP_request_add1_nonce(request.get(), nullptr, -1) == 1 ? i2d_OCSP_REQUEST(request.get(), &der) : 0;
    if (length <= 0) return NTE_BAD_DATA;
    OpenSslBuffer ownedRequest(der);
    std::vector<BYTE> answer;
    if (!postToService(address, "application/ocsp-request", "application/ocsp-response",
                       std::vector<BYTE>(der, der + length), answer, reach))
        return CRYPT_E_REVOCATION_OFFLINE;
    OcspBasicPtr basic;
    const DWORD verdict = judge(request.get(), answer, id, extra, basic);
    ERR_clear_error();
    if (verdict != 0) return verdict;
    unsigned char* basicDer = nullptr;
    const int basicLength = i2d_OCSP_BASICRESP(basic.get(), &basicDer);
    if (basicLength <= 0) return CRYPT_E_NO_REVOCATION_CHECK;
    OpenSslBuffer ownedBasic(basicDer);
    basicResponse.assign(basicDer, basicDer + basicLength);
    return 0;
}

DWORD revocationNow(const std::vector<X509Ptr>& chain, const std::vector<X509*>& extra, size_t* failing) {
    for (size_t i = 0; i + 1 < chain.size(); ++i) {
        const std::string address = ocspAddressOf(chain[i].get());
        if (address.empty()) continue;
        std::vector<BYTE> answer;
        const DWORD error =
            askCertificateStatus(address, chain[i].get(), chain[i + 1].get(), extra, answer, Reach::Once);
        if (error == 0 || error == CRYPT_E_REVOCATION_OFFLINE) continue;
        if (failing != nullptr) *failing = i;
        return error;
    }
    return 0;
}

DWORD judgeKeptResponse(OCSP_BASICRESP* response, X509* certificate, X509* issuer, const std::vector<X509*>& extra,
                        std::time_t notBefore) {
    std::vector<X509*> helpers = extra;
    helpers.push_back(issuer);
    TrustMaterial trust = loadTrust(helpers);
    const ASN1_GENERALIZEDTIME* producedAt = OCSP_resp_get0_produced_at(response);
    struct tm parsed {};
    if (producedAt == nullptr || ASN1_TIME_to_tm(producedAt, &parsed) != 1) return CRYPT_E_NO_REVOCATION_CHECK;
    std::time_t produced = timegm(&parsed);
    // The responder's certificate is judged when it answered, not now.
    X509_VERIFY_PARAM_set_time(X509_STORE_get0_param(trust.anchors.get()), produced);
    const bool signedWell = OCSP_basic_verify(response, trust.untrusted.get(), trust.anchors.get(), 0) == 1;
    ERR_clear_error();
    if (!signedWell || produced < notBefore) return CRYPT_E_NO_REVOCATION_CHECK;

    OcspCertIdPtr id(OCSP_cert_to_id(EVP_sha1(), certificate, issuer));
    int status = -1;
    int reason = 0;
    ASN1_GENERALIZEDTIME* revokedAt = nullptr;
    ASN1_GENERALIZEDTIME* thisUpdate = nullptr;
    ASN1_GENERALIZEDTIME* nextUpdate = nullptr;
    if (!id || OCSP_resp_find_status(response, id.get(), &status, &reason, &revokedAt, &thisUpdate, &nextUpdate) != 1)
        return CRYPT_E_NO_REVOCATION_CHECK;
    if (status == V_OCSP_CERTSTATUS_REVOKED) return CRYPT_E_REVOKED;
    // thisUpdate at (or, within the usual skew, just after) producedAt, nextUpdate not before it.
    constexpr long kSkewSeconds = 300;
    int days = 0;
    int seconds = 0;
    if (status != V_OCSP_CERTSTATUS_GOOD || thisUpdate == nullptr ||
        ASN1_TIME_diff(&days, &seconds, producedAt, thisUpdate) != 1 || days * 86400L + seconds > kSkewSeconds)
        return CRYPT_E_NO_REVOCATION_CHECK;
    if (nextUpdate != nullptr && X509_cmp_time(nextUpdate, &produced) < 0) return CRYPT_E_NO_REVOCATION_CHECK;
    return 0;
}

int responseAbout(const std::vector<OCSP_BASICRESP*>& responses, X509* certificate, X509* issuer) {
    OcspCertIdPtr id(OCSP_cert_to_id(EVP_sha1(), certificate, issuer));
    for (size_t i = 0; id && i < responses.size(); ++i)
        if (OCSP_resp_find(responses[i], id.get(), -1) >= 0) return static_cast<int>(i);
    return -1;
}

}  // namespace cades_emulator
