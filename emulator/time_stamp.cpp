#include "time_stamp.h"

#include <openssl/err.h>
#include <openssl/rand.h>
#include <openssl/ts.h>

#include "chain.h"
#include "file_time.h"
#include "http_client.h"
#include "openssl_ptr.h"

namespace cades_emulator {
namespace {

using TsReqPtr = std::unique_ptr<TS_REQ, OpenSslDeleter<TS_REQ_free>>;
using TsRespPtr = std::unique_ptr<TS_RESP, OpenSslDeleter<TS_RESP_free>>;
using TsVerifyCtxPtr = std::unique_ptr<TS_VERIFY_CTX, OpenSslDeleter<TS_VERIFY_CTX_free>>;
using TsMsgImprintPtr = std::unique_ptr<TS_MSG_IMPRINT, OpenSslDeleter<TS_MSG_IMPRINT_free>>;
using TsTstInfoPtr = std::unique_ptr<TS_TST_INFO, OpenSslDeleter<TS_TST_INFO_free>>;
using Pkcs7Ptr = std::unique_ptr<PKCS7, OpenSslDeleter<PKCS7_free>>;
using X509AlgorPtr = std::unique_ptr<X509_ALGOR, OpenSslDeleter<X509_ALGOR_free>>;
using Asn1IntegerPtr = std::unique_ptr<ASN1_INTEGER, OpenSslDeleter<ASN1_INTEGER_free>>;
using BignumPtr = std::unique_ptr<BIGNUM, OpenSslDeleter<BN_free>>;

TsReqPtr makeRequest(const EVP_MD* digest, const std::vector<BYTE>& data) {
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int hashLength = 0;
    static const unsigned char nothing = 0;
    if (EVP_Digest(data.empty() ? &nothing : data.data(), data.size(), hash, &hashLength, digest, nullptr) != 1)
        return nullptr;
    TsReqPtr request(TS_REQ_new());
    TsMsgImprintPtr imprint(TS_MSG_IMPRINT_new());
    X509AlgorPtr algorithm(X509_ALGOR_new());
    unsigned char nonceBytes[8];
    BignumPtr nonceNumber;
    Asn1IntegerPtr nonce;
    if (!request || !imprint || !algorithm || RAND_bytes(nonceBytes, sizeof nonceBytes) != 1) return nullptr;
    nonceBytes[0] &= 0x7F;  // a positive number
    nonceNumber.reset(BN_bin2bn(nonceBytes, sizeof nonceBytes, nullptr));
    nonce.reset(nonceNumber ? BN_to_ASN1_INTEGER(nonceNumber.get(), nullptr) : nullptr);
    X509_ALGOR_set_md(algorithm.get(), digest);
    if (!nonce || TS_REQ_set_version(request.get(), 1) != 1 ||
        TS_MSG_IMPRINT_set_algo(imprint.get(), algorithm.get()) != 1 ||
        TS_MSG_IMPRINT_set_msg(imprint.get(), hash, static_cast<int>(hashLength)) != 1 ||
        TS_REQ_set_msg_imprint(request.get(), imprint.get()) != 1 ||
        TS_REQ_set_nonce(request.get(), nonce.get()) != 1 || TS_REQ_set_cert_req(request.get(), 1) != 1)
        return nullptr;
    return request;
}

std::vector<BYTE> encodeRequest(TS_REQ* request) {
    unsigned char* der = nullptr;
    const int length = i2d_TS_REQ(request, &der);
    if (length <= 0) return {};
    OpenSslBuffer owned(der);
    return std::vector<BYTE>(der, der + length);
}

bool granted(TS_RESP* response) {
    const ASN1_INTEGER* status = TS_STATUS_INFO_get0_status(TS_RESP_get_status_info(response));
    const long value = status != nullptr ? ASN1_INTEGER_get(status) : -1;
    return (value == TS_STATUS_GRANTED || value == TS_STATUS_GRANTED_WITH_MODS) &&
           TS_RESP_get_token(response) != nullptr;
}

// The verification context gets its own trust material, which it owns from then on.
bool giveTrust(TS_VERIFY_CTX* context, const std::vector<X509*>& extra) {
    TrustMaterial trust = loadTrust(extra);
    if (!trust.anchors || !trust.untrusted) return false;
    TS_VERIFY_CTX_set_store(context, trust.anchors.release());
    TS_VERIFY_CTX_set_certs(context, trust.untrusted.release());
    return true;
}

DWORD verdictOfFailedCheck() {
    const unsigned long error = ERR_peek_last_error();
    ERR_clear_error();
    if (ERR_GET_LIB(error) == ERR_LIB_TS && ERR_GET_REASON(error) == TS_R_NONCE_MISMATCH)
        return TSPCLI_ERROR_IncorrectNonce;
    if (ERR_GET_LIB(error) == ERR_LIB_TS && ERR_GET_REASON(error) == TS_R_MESSAGE_IMPRINT_MISMATCH)
        return CRYPT_E_HASH_VALUE;
    return TSPCLI_ERROR_UnsuccessfullResponse;
}

}  // namespace

DWORD requestTimeStamp(const std::string& address, const EVP_MD* digest, const std::vector<BYTE>& data,
                       std::vector<BYTE>& token) {
    TsReqPtr request = makeRequest(digest, data);
    const std::vector<BYTE> encoded = request ? encodeRequest(request.get()) : std::vector<BYTE>();
    if (encoded.empty()) return NTE_BAD_DATA;
    std::vector<BYTE> answer;
    if (!postToService(address, "application/timestamp-query", "application/timestamp-reply", encoded, answer))
        return TSPCLI_ERROR_HTTP;
    const unsigned char* cursor = answer.data();
    TsRespPtr response(d2i_TS_RESP(nullptr, &cursor, static_cast<long>(answer.size())));
    if (!response || !granted(response.get())) {
        ERR_clear_error();
        return TSPCLI_ERROR_UnsuccessfullResponse;
    }
    // Version, imprint, nonce, signature and the TSA's certificate, as the request asked.
    TsVerifyCtxPtr context(TS_REQ_to_TS_VERIFY_CTX(request.get(), nullptr));
    if (!context || !giveTrust(context.get(), {})) return NTE_BAD_DATA;
    TS_VERIFY_CTX_add_flags(context.get(), TS_VFY_SIGNATURE);
    if (TS_RESP_verify_response(context.get(), response.get()) != 1) return verdictOfFailedCheck();
    unsigned char* der = nullptr;
    const int length = i2d_PKCS7(TS_RESP_get_token(response.get()), &der);
    if (length <= 0) return TSPCLI_ERROR_UnsuccessfullResponse;
    OpenSslBuffer owned(der);
    token.assign(der, der + length);
    return 0;
}

bool verifyTimeStampToken(const std::vector<BYTE>& token, const std::vector<BYTE>& data,
                          const std::vector<X509*>& extra, std::optional<FILETIME>* when) {
    const unsigned char* cursor = token.data();
    Pkcs7Ptr parsed(d2i_PKCS7(nullptr, &cursor, static_cast<long>(token.size())));
    TsVerifyCtxPtr context(TS_VERIFY_CTX_new());
    BioPtr content = memoryBio(data);
    if (!parsed || !context || !content || !giveTrust(context.get(), extra)) {
        ERR_clear_error();
        return false;
    }
    TS_VERIFY_CTX_set_flags(context.get(), TS_VFY_VERSION | TS_VFY_SIGNATURE | TS_VFY_DATA);
    TS_VERIFY_CTX_set_data(context.get(), content.release());
    const bool valid = TS_RESP_verify_token(context.get(), parsed.get()) == 1;
    ERR_clear_error();
    if (valid && when != nullptr) {
        TsTstInfoPtr info(PKCS7_to_TS_TST_INFO(parsed.get()));
        if (info) *when = asn1TimeToFileTime(TS_TST_INFO_get_time(info.get()));
    }
    return valid;
}

}  // namespace cades_emulator
