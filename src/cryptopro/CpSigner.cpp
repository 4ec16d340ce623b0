#include "cryptopro/CpSigner.h"

#include "common/Logging.h"
#include "cryptopro/CadesHandle.h"
#include "cryptopro/CpCryptMsgHandlerGuard.h"
#include "cryptopro/CpMessageParam.h"
#include "cryptopro/CpStatusTexts.h"
#include "cryptopro/CpVerifySign.h"
#include "cryptopro/CryptoProLibApi.h"

#include <cstring>
#include <filesystem>
#include <sstream>

namespace Vesk::Crypto::CryptoPro {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

DWORD cadesTypeOf(CadesType type) {
    switch (type) {
        case CadesType::CadesBes:
            return CADES_BES;
        case CadesType::CadesXLongType1:
            return CADES_X_LONG_TYPE_1;
        default:
            return 0;
    }
}

// The time-stamp service address: each byte becomes one wide character, sign-extended, so
// only plain ASCII addresses survive.
std::wstring widen(const std::string& text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (const char c : text) wide.push_back(static_cast<wchar_t>(static_cast<signed char>(c)));
    return wide;
}

// The CAdES records of one signing: its type and the time-stamp service they point to. Kept
// in one place because the records point into each other.
struct CadesSignRecords {
    CadesSignRecords(const SignOptions& options, bool alwaysWithTsp) : tspUrl(widen(options.tsp_url)) {
        tsp.dwSize = sizeof(tsp);
        tsp.wszUri = tspUrl.c_str();
        cades.dwSize = sizeof(cades);
        cades.dwCadesType = cadesTypeOf(options.cades_type);
        if (alwaysWithTsp || cades.dwCadesType == CADES_X_LONG_TYPE_1) cades.pTspConnectionPara = &tsp;
    }
    CadesSignRecords(const CadesSignRecords&) = delete;
    CadesSignRecords& operator=(const CadesSignRecords&) = delete;

    std::wstring tspUrl;
    CADES_SERVICE_CONNECTION_PARA tsp{};
    CADES_SIGN_PARA cades{};
};

RequestApiResultPtr failure(const std::string& message) {
    auto result = std::make_shared<RequestApiResult>();
    result->success = false;
    result->errors.push_back(message);
    return result;
}

std::string describe(const Certificate& certificate) {
    std::ostringstream text;
    text << certificate;
    return text.str();
}

}  // namespace

const char* GetHashOid(PCCERT_CONTEXT context) {
    VLOG_VERBOSE << "[F] GetHashOid";
    if (context == nullptr || context->pCertInfo == nullptr) {
        VLOG_ERROR << "Certificate context null";
        return nullptr;
    }
    const char* keyOid = context->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
    if (keyOid == nullptr) return nullptr;
    if (std::strcmp(keyOid, szOID_CP_GOST_R3410EL) == 0) return szOID_CP_GOST_R3411;
    if (std::strcmp(keyOid, szOID_CP_GOST_R3410_12_256) == 0) return szOID_CP_GOST_R3411_12_256;
    if (std::strcmp(keyOid, szOID_CP_GOST_R3410_12_512) == 0) return szOID_CP_GOST_R3411_12_512;
    return nullptr;
}

CpSigner::CpSigner() : storage_(CpCertificateStorage::My) {}

RequestApiResultPtr CpSigner::signMessage(const std::vector<unsigned char>& data, std::vector<unsigned char>& signature,
                                          const SignOptions& options, InternalSignOptions&) {
    VLOG_VERBOSE << "[M] CpSigner::signMessage";
    auto result = std::make_shared<RequestApiResult>();
    auto& api = CryptoProLibApi::instance();

    const auto found = storage_.findCertificateByString(options.search_string);
    if (found->empty()) {
        VLOG_ERROR << "Certificate " << options.search_string << " not found!";
        result->errors.push_back("tr{Certificate not found}");
        return result;
    }
    const PCCERT_CONTEXT context = storage_.getContext(*found->front());

    CRYPT_SIGN_MESSAGE_PARA signPara{};
    signPara.cbSize = sizeof(signPara);
    signPara.dwMsgEncodingType = kEncoding;
    signPara.pSigningCert = context;
    signPara.HashAlgorithm.pszObjId = const_cast<LPSTR>(GetHashOid(context));
    std::vector<PCCERT_CONTEXT> messageCertificates{context};

    CadesSignRecords records(options, false);

    CADES_SIGN_MESSAGE_PARA para{};
    para.dwSize = sizeof(para);
    para.pSignMessagePara = &signPara;
    para.pCadesSignPara = &records.cades;

    // The message carries the signer's chain without its root.
    CERT_CHAIN_PARA chainPara{};
    chainPara.cbSize = sizeof(chainPara);
    PCCERT_CHAIN_CONTEXT rawChain = nullptr;
    const BOOL chained =
        api.CertGetCertificateChain(nullptr, context, nullptr, nullptr, &chainPara, 0, nullptr, &rawChain);
    const CertChainGuard chain(rawChain);
    if (!chained)
        return GetResultWithError("CpSigner::signMessage CadesSignMessage");  // compat: reported as a signing failure
    if (chain != nullptr && chain->cChain > 0 && chain->rgpChain[0]->cElement > 1) {
        const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
        messageCertificates.clear();
        for (DWORD i = 0; i + 1 < simple.cElement; ++i)
            messageCertificates.push_back(simple.rgpElement[i]->pCertContext);
    }
    signPara.cMsgCert = static_cast<DWORD>(messageCertificates.size());
    signPara.rgpMsgCert = messageCertificates.data();

    const bool detached =
        options.attach_type == SignAttachType::Detached || options.attach_type == SignAttachType::PAdES;
    const BYTE* blocks[] = {data.data()};
    DWORD sizes[] = {static_cast<DWORD>(data.size())};
    CRYPT_DATA_BLOB* rawBlob = nullptr;
    if (!api.CadesSignMessage(&para, detached ? TRUE : FALSE, 1, blocks, sizes, &rawBlob))
        return GetResultWithError("CpSigner::signMessage CadesSignMessage");
    const CadesBlobGuard blob(rawBlob);

    signature.assign(blob->pbData, blob->pbData + blob->cbData);
    result->success = true;
    return result;
}

RequestApiResultPtr CpSigner::addCoSign(const std::vector<unsigned char>& signedMessage,
                                        std::vector<unsigned char>& result, const SignOptions& options,
                                        InternalSignOptions&) {
    VLOG_VERBOSE << "[M] CpSigner::addCoSign ";
    auto& api = CryptoProLibApi::instance();

    if (options.attach_type == SignAttachType::Detached)
        return failure("tr{Соподпись для отсоединённой подписи не поддерживается.}");

    std::error_code ec;
    if (!std::filesystem::exists(options.file, ec)) {
        VLOG_ERROR << "File: " << options.file.string() << " not exists";
        return failure("tr{File} " + options.file.string() + " tr{is not exists, exit with false}");
    }

    const auto found = storage_.findCertificateByString(options.search_string);
    if (found->empty()) {
        VLOG_ERROR << "Certificate " << options.search_string << " not found!";
        return failure("tr{Certificate not found}");
    }
    const CertificatePtr& chosen = found->front();

    CpVerifySign verifier;
    const auto verified = verifier.verifyAttachedSignInner(signedMessage, nullptr);
    if (!verified) return GetResultWithError("CpSigner::addCoSign verifyAttachedSign result is null");
    if (!verified->signers) return GetResultWithError("CpSigner::addCoSign verifyAttachedSign signInfoList is null");
    if (verified->signers->empty())
        return GetResultWithError("CpSigner::addCoSign verifyAttachedSign signInfoList is empty");

    for (const auto& signer : *verified->signers) {
        if (signer && signer->certificate && signer->certificate->serialNumber == chosen->serialNumber)
            return failure("tr{Документ уже подписан сертификатом} " + describe(*chosen));
    }
    for (const auto& signer : *verified->signers) {
        if (!signer || !signer->verified)
            // compat: hosts translate this key with its doubled prefix
            return failure("tr{CpSigner::addCoSign CpSigner::addCoSign Signature is not valid}");
    }

    const PCCERT_CONTEXT context = storage_.getContext(*chosen);
    CryptProvGuard key;
    if (!api.CryptAcquireCertificatePrivateKey(context, 0, nullptr, key.provider(), key.keySpec(),
                                               key.callerMustFree()))
        return GetResultWithError("CpSigner::addCoSign CryptAcquireCertificatePrivateKey");

    const DWORD flags = options.attach_type == SignAttachType::PAdES ? CMSG_DETACHED_FLAG : 0;
    CpCryptMsgHandlerGuard message(api.CryptMsgOpenToDecode(kEncoding, flags, 0, 0, nullptr, nullptr));
    if (!message) return GetResultWithError("CpSigner::addCoSign CryptMsgOpenToDecode");
    if (!api.CryptMsgUpdate(message.get(), signedMessage.data(), static_cast<DWORD>(signedMessage.size()), TRUE))
        return GetResultWithError("CpSigner::addCoSign CryptMsgUpdate");

    CMSG_SIGNER_ENCODE_INFO signer{};
    signer.cbSize = sizeof(signer);
    signer.pCertInfo = context->pCertInfo;
    signer.hCryptProv = key.get();
    signer.dwKeySpec = key.keySpecValue();
    signer.HashAlgorithm.pszObjId = const_cast<LPSTR>(GetHashOid(context));

    CadesSignRecords records(options, true);

    CADES_COSIGN_PARA cosignPara{};
    cosignPara.dwSize = sizeof(cosignPara);
    cosignPara.pSigner = &signer;
    cosignPara.pCadesSignPara = &records.cades;

    if (!api.CadesMsgAddEnhancedSignature(message.get(), &cosignPara))
        return GetResultWithError("CpSigner::addCoSign CadesMsgAddEnhancedSignature failed.");
    VLOG_INFO << "CpSigner::addCoSign CadesMsgAddEnhancedSignature success";

    if (auto failed = readMessageParam(message.get(), CMSG_ENCODED_MESSAGE, result, "CpSigner::addCoSign", "encoded"))
        return failed;

    VLOG_INFO << "The message was cosigned successfully.";
    auto outcome = std::make_shared<RequestApiResult>();
    outcome->success = true;
    return outcome;
}

RequestApiResultPtr CpSigner::enhanceSignature(const std::vector<unsigned char>& signature, bool detached,
                                               std::vector<unsigned char>& result, const SignOptions& options) {
    VLOG_VERBOSE << "[M] CpSigner::enhanceSignature";
    auto& api = CryptoProLibApi::instance();
    CpCryptMsgHandlerGuard message(
        api.CryptMsgOpenToDecode(kEncoding, detached ? CMSG_DETACHED_FLAG : 0, 0, 0, nullptr, nullptr));
    if (!message) return GetResultWithError("CpSigner::enhanceSignature CryptMsgOpenToDecode");
    if (!api.CryptMsgUpdate(message.get(), signature.data(), static_cast<DWORD>(signature.size()), TRUE))
        return GetResultWithError("CpSigner::enhanceSignature CryptMsgUpdate");
    DWORD signers = 0;
    DWORD size = sizeof(signers);
    if (!api.CryptMsgGetParam(message.get(), CMSG_SIGNER_COUNT_PARAM, 0, &signers, &size))
        return GetResultWithError("CpSigner::enhanceSignature CryptMsgGetParam, for get signer count.");

    SignOptions xlong = options;
    xlong.cades_type = CadesType::CadesXLongType1;
    CadesSignRecords records(xlong, true);
    for (DWORD index = 0; index < signers; ++index) {
        CSP_BOOL already = FALSE;
        if (api.CadesMsgIsType(message.get(), index, CADES_X_LONG_TYPE_1, &already) && already) {
            VLOG_INFO << "Signer " << index << " is CADES_X_LONG_TYPE_1 already";
            continue;
        }
        if (!api.CadesMsgEnhanceSignature(message.get(), index, &records.cades))
            return GetResultWithError("CpSigner::enhanceSignature CadesMsgEnhanceSignature");
        VLOG_INFO << "Signer " << index << " enhanced to CADES_X_LONG_TYPE_1";
    }
    if (auto failed =
            readMessageParam(message.get(), CMSG_ENCODED_MESSAGE, result, "CpSigner::enhanceSignature", "encoded"))
        return failed;
    auto outcome = std::make_shared<RequestApiResult>();
    outcome->success = true;
    return outcome;
}

}  // namespace Vesk::Crypto::CryptoPro
