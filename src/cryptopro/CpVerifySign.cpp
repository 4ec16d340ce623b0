#include "cryptopro/CpVerifySign.h"

#include "common/Logging.h"
#include "cryptopro/CadesHandle.h"
#include "cryptopro/CpCryptMsgHandlerGuard.h"
#include "cryptopro/CpStatusTexts.h"
#include "cryptopro/CpTexts.h"
#include "cryptopro/CryptoProLibApi.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <sstream>

namespace Vesk::Crypto::CryptoPro {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// The CAdES forms told apart, in the order they are tested.
struct KnownType {
    DWORD type;
    const char* logText;
};
constexpr KnownType kKnownTypes[] = {
    {CADES_X_LONG_TYPE_1, "Message is CADES_X_LONG_TYPE_1 message type"},
    {CADES_BES, "Message is CADES_BES message type"},
    {CADES_T, "Message is CADES_T message type"},
    {CADES_DEFAULT, "Message is CADES_DEFAULT message type"},
    {PKCS7_TYPE, "Message is PKCS7_TYPE message type"},
};

// A message parameter that the library lays out as a structure: the buffer is kept 8-byte
// aligned so that the structure can be read in place.
bool messageParam(HCRYPTMSG message, DWORD type, DWORD index, std::vector<std::uint64_t>& buffer, DWORD& size) {
    auto& api = CryptoProLibApi::instance();
    size = 0;
    if (!api.CryptMsgGetParam(message, type, index, nullptr, &size) || size == 0) return false;
    buffer.assign((size + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t), 0);
    return api.CryptMsgGetParam(message, type, index, buffer.data(), &size) != FALSE;
}

// A record naming a signer whose certificate the library did not hand out: only its serial.
CertificatePtr signerIdentity(HCRYPTMSG message, DWORD index) {
    auto certificate = std::make_shared<Certificate>();
    std::vector<std::uint64_t> buffer;
    DWORD size = 0;
    if (messageParam(message, CMSG_SIGNER_CERT_INFO_PARAM, index, buffer, size)) {
        const auto* info = reinterpret_cast<const CERT_INFO*>(buffer.data());
        certificate->serialNumber = getSerialNumber(info->SerialNumber.pbData, info->SerialNumber.cbData);
    }
    return certificate;
}

std::string describe(const Certificate& certificate) {
    std::ostringstream text;
    text << certificate;
    return text.str();
}

// The signer's certificate path up to its root, as the library builds it from its stores; a
// certificate already listed (shared by several signers) is not repeated.
void appendChain(ResultWithSigners& result, PCCERT_CONTEXT signer) {
    CERT_CHAIN_PARA chainPara{};
    chainPara.cbSize = sizeof(chainPara);
    PCCERT_CHAIN_CONTEXT rawChain = nullptr;
    const BOOL chained = CryptoProLibApi::instance().CertGetCertificateChain(nullptr, signer, nullptr, nullptr,
                                                                             &chainPara, 0, nullptr, &rawChain);
    const CertChainGuard chain(rawChain);
    if (!chained || chain == nullptr || chain->cChain == 0) {
        VLOG_ERROR << "CertGetCertificateChain() failed";
        return;
    }
    const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
    for (DWORD i = 0; i < simple.cElement; ++i) {
        CertificatePtr certificate = certContextToObject(simple.rgpElement[i]->pCertContext);
        if (!certificate) continue;
        const bool listed = std::any_of(result.chain->begin(), result.chain->end(), [&](const CertificatePtr& known) {
            return known->serialNumber == certificate->serialNumber && known->issuer == certificate->issuer;
        });
        if (!listed) result.chain->push_back(std::move(certificate));
    }
}

// The message decoded again, for its signers' attributes; null when the library refuses it.
HCRYPTMSG decodeAgain(const std::vector<unsigned char>& signature, bool detached) {
    auto& api = CryptoProLibApi::instance();
    CryptMessageHandle message(
        api.CryptMsgOpenToDecode(kEncoding, detached ? CMSG_DETACHED_FLAG : 0, 0, 0, nullptr, nullptr));
    if (message && !api.CryptMsgUpdate(message.get(), signature.data(), static_cast<DWORD>(signature.size()), TRUE))
        return nullptr;
    return message.release();
}

// The library's description of an error code read right after the call that failed, or the
// context when that call left no error code.
std::string libraryError(const std::string& context, DWORD code) {
    const auto error = GetResultWithError(context, code);
    return error && !error->errors.empty() ? error->errors.front() : context;
}

}  // namespace

int getSigningTime(FILETIME& time, HCRYPTMSG message, DWORD index) {
    auto& api = CryptoProLibApi::instance();
    DWORD size = 0;
    if (!api.CryptMsgGetParam(message, CMSG_SIGNER_AUTH_ATTR_PARAM, index, nullptr, &size) || size == 0) {
        VLOG_INFO << "The attribute CMSG_SIGNER_AUTH_ATTR_PARAM is not included into message.\r\n";
        return 0;
    }
    VLOG_INFO << "The attribute (CMSG_SIGNER_AUTH_ATTR_PARAM) has been acquired. Attribute size: " << size;

    std::vector<std::uint64_t> buffer;
    try {
        buffer.assign((size + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t), 0);
    } catch (const std::bad_alloc&) {
        VLOG_ERROR << "Decode memory allocation failed";
        return 0;
    }
    if (!api.CryptMsgGetParam(message, CMSG_SIGNER_AUTH_ATTR_PARAM, index, buffer.data(), &size)) {
        VLOG_ERROR << "Decode CMSG_SIGNER_AUTH_ATTR_PARAM failed";
        return 0;
    }
    const auto* attributes = reinterpret_cast<const CRYPT_ATTRIBUTES*>(buffer.data());
    if (attributes->cAttr != 0 && attributes->rgAttr == nullptr) {
        VLOG_ERROR << "Decode CMSG_SIGNER_AUTH_ATTR_PARAM #2 failed";
        return 0;
    }
    VLOG_INFO << "The attribute (CMSG_SIGNER_AUTH_ATTR_PARAM) returned. Length is " << size;

    for (DWORD i = 0; i < attributes->cAttr; ++i) {
        const CRYPT_ATTRIBUTE& attribute = attributes->rgAttr[i];
        if (attribute.pszObjId == nullptr || std::strcmp(attribute.pszObjId, szOID_RSA_signingTime) != 0) continue;
        if (attribute.cValue == 0 || attribute.rgValue == nullptr) return 0;
        FILETIME decoded{};
        DWORD decodedSize = sizeof(decoded);
        if (!api.CryptDecodeObject(kEncoding, szOID_RSA_signingTime, attribute.rgValue[0].pbData,
                                   attribute.rgValue[0].cbData, 0, &decoded, &decodedSize)) {
            return 0;
        }
        time = decoded;
        return 1;
    }
    return 0;
}

CpVerifySign::SignParams CpVerifySign::getSignParams(const std::vector<unsigned char>& signature, bool detached) {
    VLOG_VERBOSE << "[M] CpVerifySign::getSignParams";
    SignParams params;
    auto& api = CryptoProLibApi::instance();
    // compat: the detached flag goes to the decoder as the value 1 itself, not as CMSG_DETACHED_FLAG.
    CpCryptMsgHandlerGuard message(api.CryptMsgOpenToDecode(kEncoding, detached ? 1 : 0, 0, 0, nullptr, nullptr));
    if (!message) {
        VLOG_ERROR << "CryptMsgOpenToDecode() failed";
        return params;
    }
    if (!api.CryptMsgUpdate(message.get(), signature.data(), static_cast<DWORD>(signature.size()), TRUE)) {
        VLOG_ERROR << "CryptMsgUpdate() failed";
    } else {
        for (const auto& known : kKnownTypes) {
            CSP_BOOL answer = FALSE;
            if (!api.CadesMsgIsType(message.get(), 0, known.type, &answer)) {
                VLOG_ERROR << "CadesMsgIsType() failed";
                answer = FALSE;
            }
            if (answer) {
                VLOG_INFO << known.logText;
                params.recognized = true;
                params.type = known.type;
                break;
            }
        }
        if (!params.recognized) {
            VLOG_INFO << "Message is unknown CAdES message TYPE";
        }
    }
    if (!message.close()) {
        VLOG_ERROR << "CryptMsgClose() failed";
    }
    return params;
}

VerifySignResultPtr CpVerifySign::verifyAttachedSign(const std::vector<unsigned char>& signedMessage) {
    VLOG_VERBOSE << "[M] CpVerifySign::verifyAttachedSign";
    return verifyAttachedSignInner(signedMessage, nullptr);
}

VerifySignResultPtr CpVerifySign::verifyAttachedSignInner(const std::vector<unsigned char>& signedMessage,
                                                          const SignParams* params) {
    VLOG_VERBOSE << "[M] CpVerifySign::verifyAttachedSignInner";
    return verify(signedMessage, nullptr, params != nullptr ? *params : getSignParams(signedMessage, false));
}

VerifySignResultPtr CpVerifySign::verifyDetachedSign(const std::vector<unsigned char>& signature,
                                                     const std::vector<unsigned char>& originalData) {
    VLOG_VERBOSE << "[M] CpVerifySign::verifyDetachedSign";
    return verify(signature, &originalData, getSignParams(signature, true));
}

VerifySignResultPtr CpVerifySign::verify(const std::vector<unsigned char>& signature,
                                         const std::vector<unsigned char>* data, const SignParams& params) {
    auto result = std::make_shared<ResultWithSigners>();
    result->signers = std::make_shared<std::vector<SignInfoPtr>>();
    result->chain = std::make_shared<std::vector<CertificatePtr>>();
    auto& api = CryptoProLibApi::instance();
    const bool detached = data != nullptr;

    // The decoded message names the signers and carries their signed attributes.
    CpCryptMsgHandlerGuard message(
        api.CryptMsgOpenToDecode(kEncoding, detached ? CMSG_DETACHED_FLAG : 0, 0, 0, nullptr, nullptr));
    if (!message) {
        result->errors.push_back(libraryError("CpVerifySign::verify CryptMsgOpenToDecode", api.GetLastError()));
        return result;
    }
    if (!api.CryptMsgUpdate(message.get(), signature.data(), static_cast<DWORD>(signature.size()), TRUE)) {
        result->errors.push_back(libraryError("CpVerifySign::verify CryptMsgUpdate", api.GetLastError()));
        return result;
    }
    DWORD signerCount = 0;
    DWORD countSize = sizeof(signerCount);
    if (!api.CryptMsgGetParam(message.get(), CMSG_SIGNER_COUNT_PARAM, 0, &signerCount, &countSize)) {
        result->errors.push_back(
            libraryError("CpVerifySign::verify CryptMsgGetParam, for get signer count.", api.GetLastError()));
        return result;
    }

    CRYPT_VERIFY_MESSAGE_PARA cryptPara{};
    cryptPara.cbSize = sizeof(cryptPara);
    cryptPara.dwMsgAndCertEncodingType = kEncoding;
    CADES_VERIFICATION_PARA cadesPara{};
    cadesPara.dwSize = sizeof(cadesPara);
    CADES_VERIFY_MESSAGE_PARA verifyPara{};
    verifyPara.dwSize = sizeof(verifyPara);
    verifyPara.pVerifyMessagePara = &cryptPara;
    verifyPara.pCadesVerifyPara = &cadesPara;

    CertStoreGuard store;
    if (detached) {
        store.reset(api.CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
        if (!store) {
            VLOG_ERROR << "Failed CertOpenStore";
        }
        cadesPara.hStore = store.get();
    }

    // The decoded message and the library's own decoding inside each verification would each hold
    // the content: the message is let go while a signer is verified and decoded again after it.
    const bool bes = params.recognized && params.type == CADES_BES;
    for (DWORD index = 0; index < signerCount; ++index) {
        message.close();
        PCADES_VERIFICATION_INFO rawInfo = nullptr;
        BOOL called = FALSE;
        if (detached) {
            const BYTE* blocks[] = {data->data()};
            DWORD sizes[] = {static_cast<DWORD>(data->size())};
            called = api.CadesVerifyDetachedMessage(&verifyPara, index, signature.data(),
                                                    static_cast<DWORD>(signature.size()), 1, blocks, sizes, &rawInfo);
        } else {
            called = api.CadesVerifyMessage(&verifyPara, index, signature.data(), static_cast<DWORD>(signature.size()),
                                            nullptr, &rawInfo);
        }
        const DWORD verifyError = api.GetLastError();  // before the calls below replace it
        CadesVerificationInfoGuard info(rawInfo);
        message.reset(decodeAgain(signature, detached));

        auto signInfo = std::make_shared<SignInfo>();
        signInfo->certificate = info && info->pSignerCert ? certContextToObject(info->pSignerCert) : nullptr;
        if (!signInfo->certificate) signInfo->certificate = signerIdentity(message.get(), index);
        if (info && info->pSignerCert) appendChain(*result, info->pSignerCert);
        FILETIME signingTime{};
        getSigningTime(signingTime, message.get(), index);
        signInfo->certificate->signingTime = MyCertGetFileTime(signingTime);
        VLOG_INFO << "getSigningTime:" << signInfo->certificate->signingTime;

        signInfo->verified = called && info && info->dwStatus == CADES_VERIFY_SUCCESS;
        const std::string description = describe(*signInfo->certificate);
        if (signInfo->verified) {
            VLOG_INFO << (bes ? "CAdES-BES message verified successfully: " : "Message verified successfully: ")
                      << description;
        } else {
            VLOG_INFO << (bes ? "CAdES-BES message is not verified successfully: "
                              : "Message is not verified successfully: ")
                      << description;
            result->errors.push_back(info ? CadesVerifyMessageDwStatus(info->dwStatus)
                                          : libraryError("CpVerifySign::verify CadesVerifyMessage", verifyError));
        }
        result->signers->push_back(std::move(signInfo));
    }
    return result;
}

}  // namespace Vesk::Crypto::CryptoPro
