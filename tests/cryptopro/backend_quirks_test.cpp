// Behaviour of the CryptoPro back-end that hosts rely on, odd as it looks: the interface's
// spellings, the literal detached flag given to the decoder, the whole 500-byte text buffer and a
// store that never deletes. Search "compat:" in src/.

#include "crypto/CryptoProviderFactory.h"
#include "cryptopro/CpCertificateStorage.h"
#include "cryptopro/CpSigner.h"
#include "cryptopro/CpTexts.h"
#include "cryptopro/CpVerifySign.h"
#include "cryptopro/CryptoProLibApi.h"
#include "document/DefaultSignVerifycator.h"
#include "document/IFileVerifycator.h"

#include <gtest/gtest.h>

using namespace Vesk::Crypto;
using namespace Vesk::Crypto::CryptoPro;

TEST(Compatibility, InterfaceNamesKeepTheirSpelling) {
    // Renaming any of these breaks the build of this test, as it would break a host.
    ASSERT_TRUE(CryptoProviderFactory::CryptoProIsAvaible());
    EXPECT_EQ(CryptoProviderFactory::getAvaibleCryptoproviderList(),
              (std::vector<CryptoProvider>{CryptoProvider::CryptoPro, CryptoProvider::Native}));
    const std::shared_ptr<IFileVerifycator> verifier =
        std::make_shared<DefaultSignVerifycator>(CryptoProviderFactory::getVerifycator(CryptoProvider::CryptoPro));
    EXPECT_EQ(std::vector<std::string>{"Error load file: /nonexistent.sig is empty or not exists"},
              verifier->verify("/nonexistent.sig")->errors);
}

TEST(Compatibility, DetachedSignatureIsDecodedWithTheFlagValueOne) {
    const std::string text = "Счёт № 12";
    const std::vector<unsigned char> data(text.begin(), text.end());
    std::vector<unsigned char> signature;
    InternalSignOptions internal;
    SignOptions options;
    options.search_string = "0x0123456789ABCDEF01";  // the test PKI's 2012-256 user
    options.attach_type = SignAttachType::Detached;
    options.provider = CryptoProvider::CryptoPro;
    ASSERT_TRUE(CpSigner().signMessage(data, signature, options, internal)->success);

    // Watch the flags the type test opens its decoder with.
    auto& api = CryptoProLibApi::instance();
    const auto real = api.CryptMsgOpenToDecode;
    std::vector<DWORD> flags;
    api.CryptMsgOpenToDecode = [&](DWORD encoding, DWORD flag, DWORD type, HCRYPTPROV provider, PCERT_INFO recipient,
                                   PCMSG_STREAM_INFO stream) {
        flags.push_back(flag);
        return real(encoding, flag, type, provider, recipient, stream);
    };
    const auto detached = CpVerifySign::getSignParams(signature, true);
    const auto attached = CpVerifySign::getSignParams(signature, false);
    api.CryptMsgOpenToDecode = real;

    EXPECT_EQ((std::vector<DWORD>{1, 0}), flags) << "1 itself, not CMSG_DETACHED_FLAG (" << CMSG_DETACHED_FLAG << ")";
    EXPECT_TRUE(detached.recognized && attached.recognized);
}

TEST(Compatibility, WideToAnsiGivesTheWholeBuffer) {
    std::string out;
    WideToAnsi(L"Подпись", out);
    const std::string utf8 = "Подпись";
    EXPECT_EQ(utf8 + std::string(500 - utf8.size(), '\0'), out) << "the text, its zero and the unused rest";
    WideToAnsi(std::wstring(800, L'a'), out);
    EXPECT_EQ(500u, out.size()) << "longer input is cut at the buffer's size";
}

TEST(Compatibility, StorageNeverDeletesACertificate) {
    CpCertificateStorage storage(CpCertificateStorage::My);
    const auto before = storage.getCertificatesList();
    ASSERT_FALSE(before->empty());
    storage.deleteCertificate(before->front());
    EXPECT_EQ(before->size(), storage.certCount());
    EXPECT_EQ(1u, storage.findCertificateByString(before->front()->serialNumber)->size());
}
