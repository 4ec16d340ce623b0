#pragma once
// Run-time binding of the CryptoPro CAdES library: 73 entry points bound by name, once per
// process. Every CryptoPro object reaches the library only through instance().

#include "cryptopro/CadesAbi.h"

#include <boost/function.hpp>

#include <memory>
#include <string>

namespace boost::dll {
class shared_library;
}

namespace Vesk::Crypto::CryptoPro {

// The bound entry points, in binding order.
#define VESK_CADES_ENTRY_POINTS(X)                                                                                 \
    X(CadesMsgOpenToEncode) X(CadesMsgIsType) X(CadesMsgIsTypeEncoded) X(CadesMsgEnhanceSignature)                 \
    X(CadesMsgEnhanceSignatureAll) X(CadesMsgAddEnhancedSignature) X(CadesMsgVerifySignature)                      \
    X(CadesMsgCountersignEncoded) X(CadesMsgCountersign) X(CadesMsgVerifyCountersignatureEncoded)                  \
    X(CadesMsgGetSigningCertId) X(CadesMsgGetSigningCertIdEx) X(CadesMsgGetSigningCertIdEncoded)                   \
    X(CadesMsgGetSigningCertIdHashAlg) X(CadesMsgGetSignatureTimestamps) X(CadesMsgGetCadesCTimestamps)            \
    X(CadesMsgGetCertificateValues) X(CadesMsgGetRevocationValues) X(CadesMsgGetSigningCertIdHashAlgEx)            \
    X(CadesMsgGetSignatureTimestampsEx) X(CadesMsgGetCadesCTimestampsEx) X(CadesMsgGetCertificateValuesEx)         \
    X(CadesMsgGetRevocationValuesEx) X(CadesMsgGetSignatureTimestampsEncoded)                                      \
    X(CadesMsgGetCadesCTimestampsEncoded) X(CadesMsgGetCertificateValuesEncoded)                                   \
    X(CadesMsgGetRevocationValuesEncoded) X(CadesMsgGetSigningCertIdHashAlgEncoded) X(CadesSignMessage)            \
    X(CadesSignHash) X(CadesVerifyHash) X(CadesAddHashSignature) X(CadesVerifyMessage)                             \
    X(CadesVerifyDetachedMessage) X(CadesEnhanceMessage) X(CadesEnhanceMessageAll) X(CadesFreeVerificationInfo)    \
    X(CadesFreeBlob) X(CadesFreeBlobArray) X(CadesFormatMessage) X(CadesMsgConvertCreateContext)                   \
    X(CadesMsgConvertUpdate) X(CadesMsgConvertFreeContext) X(WideCharToMultiByte) X(MultiByteToWideChar)          \
    X(GetLastError) X(SetLastError) X(FileTimeToSystemTime) X(CertEnumCertificatesInStore)                         \
    X(CertFindCertificateInStore) X(CertOpenStore) X(CertCloseStore) X(CertDuplicateCertificateContext)            \
    X(CertFreeCertificateContext) X(CertAddEncodedCertificateToStore) X(CertGetNameStringW) X(CertGetNameStringA)  \
    X(LocalFree) X(LocalAlloc) X(CryptMsgOpenToDecode) X(CryptMsgUpdate) X(CryptMsgGetParam) X(CryptMsgClose)      \
    X(CertGetCertificateChain) X(CryptAcquireCertificatePrivateKey) X(CryptReleaseContext) X(CryptMsgControl)      \
    X(CryptDecodeObject) X(CryptEncodeObject) X(CryptVerifyDetachedMessageSignature)                               \
    X(CryptVerifyMessageSignature) X(FormatMessageW) X(CertOpenSystemStoreW)

// Where the library is looked for when the settings name none.
std::string defaultCadesLibraryPath();

class CryptoProLibApi {
public:
    static CryptoProLibApi& instance();

    CryptoProLibApi(const CryptoProLibApi&) = delete;
    CryptoProLibApi& operator=(const CryptoProLibApi&) = delete;
    ~CryptoProLibApi();

    // True only when the library is loaded and every entry point is bound.
    bool isLoaded() const;

    // Binds the library at this path; used once by instance(), and by tests.
    explicit CryptoProLibApi(const std::string& libraryPath);

#define VESK_DECLARE_ENTRY(name) boost::function<decltype(::name)> name;
    VESK_CADES_ENTRY_POINTS(VESK_DECLARE_ENTRY)
#undef VESK_DECLARE_ENTRY

private:
    std::shared_ptr<boost::dll::shared_library> library_;
};

}  // namespace Vesk::Crypto::CryptoPro
