// Status and error texts of the CryptoPro back-end that no request shows whole.
#include "cryptopro/CpStatusTexts.h"

#include <gtest/gtest.h>

#include <set>

using namespace Vesk::Crypto::CryptoPro;

TEST(StatusTexts, DefinedStatusesHaveTheirOwnTextsAndTheRestAreUnknown) {
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
    for (DWORD status : {0u, 10u, 11u, 12u, 14u, 4000000000u})
        EXPECT_EQ("Код ошибки: " + std::to_string(status) + " не известен", CadesVerifyMessageDwStatus(status));
}

TEST(StatusTexts, ErrorResultsCarryTheLibraryTextOrTheCode) {
    EXPECT_EQ(nullptr, GetResultWithError("no error", 0)) << "no error code, no result";
    const auto unknown = GetResultWithError("unknown code", 0xDEAD0BEFu);
    ASSERT_NE(nullptr, unknown);
    EXPECT_FALSE(unknown->success);
    EXPECT_EQ(std::vector<std::string>{"Error 0xdead0bef"}, unknown->errors);
}
