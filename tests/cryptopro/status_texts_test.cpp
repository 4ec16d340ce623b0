// Status and error texts of the CryptoPro back-end.
#include "cryptopro/CpStatusTexts.h"
#include "cryptopro/CryptoProLibApi.h"

#include <gtest/gtest.h>

#include <set>

using namespace Vesk::Crypto::CryptoPro;

TEST(StatusTexts, DefinedStatusesHaveTheirOwnTextsAndTheRestAreUnknown) {
    EXPECT_EQ("Сообщение содержит неверную подпись.", CadesVerifyMessageDwStatus(8));
    EXPECT_EQ("Сертификат, на ключе которого было подписано сообщение, не найден.", CadesVerifyMessageDwStatus(2));
    EXPECT_EQ(
        "Значение подписанного атрибута content-type не совпадает со значением, указанным в поле "
        "encapContentInfo.eContentType.",
        CadesVerifyMessageDwStatus(13));

    std::set<std::string> texts;
    for (DWORD status : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 13u}) {
        const std::string text = CadesVerifyMessageDwStatus(status);
        EXPECT_EQ(std::string::npos, text.find("не известен")) << status;
        texts.insert(text);
    }
    EXPECT_EQ(10u, texts.size()) << "every defined status has a text of its own";

    for (DWORD status : {0u, 10u, 11u, 12u, 14u, 4000000000u}) {
        EXPECT_EQ("Код ошибки: " + std::to_string(status) + " не известен", CadesVerifyMessageDwStatus(status));
    }
}

TEST(StatusTexts, ErrorResultsCarryTheLibraryTextOrTheCode) {
    auto& api = CryptoProLibApi::instance();
    ASSERT_TRUE(api.isLoaded()) << "the emulator was not bound";

    api.SetLastError(0);
    EXPECT_EQ("", GetLastErrorMessage());
    EXPECT_EQ(nullptr, GetResultWithError("no error")) << "no error code, no result";

    api.SetLastError(NTE_BAD_ALGID);
    EXPECT_EQ("Invalid algorithm specified.", GetLastErrorMessage());
    auto known = GetResultWithError("known code");
    ASSERT_NE(nullptr, known);
    EXPECT_FALSE(known->success);
    EXPECT_EQ(std::vector<std::string>{"Invalid algorithm specified."}, known->errors);

    api.SetLastError(0xDEAD0BEFu);
    auto unknown = GetResultWithError("unknown code");
    ASSERT_NE(nullptr, unknown);
    EXPECT_EQ(std::vector<std::string>{"Error 0xdead0bef"}, unknown->errors);
}
