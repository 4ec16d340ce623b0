// Certificate queries and provider answers through the module, with the CAdES emulator bound
// at run time through the settings' "cades" path.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "crypto/CertificateQueries.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace vesk::test;
using nlohmann::json;

namespace {

std::string unbase64(const json& value) { return unb64(value.get<std::string>()); }

const json kGetList = {{"method", "get_list"}, {"args", {{"provider", "CryptoPro"}}}};
const json kGetProviders = {{"method", "get_providers"}, {"args", json::object()}};

}  // namespace

TEST(Backend, CertificateListFromTheEmulatorStore) {
    useCadesLibrary(cadesLibraryUnderTest());
    ModuleClient client;
    EXPECT_EQ(client.request(kGetProviders.dump()), R"({"data":["CryptoPRO","Native"],"error":null})");

    const auto answer = client.requestJson(kGetList);
    ASSERT_TRUE(answer.at("error").is_null()) << answer.dump();
    const auto& list = answer.at("data");
    // Nine certificates in My, two of them sharing the serial 77: the later one stays.
    ASSERT_EQ(list.size(), 8u) << answer.dump();
    std::vector<std::string> serials;
    for (const auto& certificate : list) serials.push_back(certificate.at("SerialNumber"));
    EXPECT_TRUE(std::is_sorted(serials.begin(), serials.end()));

    const auto ivanov = std::find_if(list.begin(), list.end(),
                                     [](const json& c) { return c.at("SerialNumber") == "0x0123456789ABCDEF01"; });
    ASSERT_NE(ivanov, list.end());
    EXPECT_EQ(unbase64(ivanov->at("Subject")).rfind("CN=Иванов Иван Иванович, O=ООО «Ромашка», C=RU", 0), 0u)
        << unbase64(ivanov->at("Subject"));
    EXPECT_EQ(unbase64(ivanov->at("Issuer")), "CN=Тестовый подчинённый УЦ ГОСТ, O=АО «Тестовый УЦ», C=RU");
    EXPECT_EQ(ivanov->at("NotBefore"), "01/01/2024 00:00:00 UTC");
    EXPECT_EQ(ivanov->at("NotAfter"), "01/01/2044 00:00:00 UTC");
    EXPECT_EQ(ivanov->at("SigningTime"), "");

    const auto twin =
        std::find_if(list.begin(), list.end(), [](const json& c) { return c.at("SerialNumber") == "0x77"; });
    ASSERT_NE(twin, list.end());
    EXPECT_NE(unbase64(twin->at("Subject")).find("Двойник Б"), std::string::npos);

    EXPECT_EQ(client.request(R"({"method":"get_list","args":{}})"),
              R"({"data":null,"error":["tr{Param 'provider' in 'args' is not exists}"]})");
    EXPECT_EQ(client.request(R"({"method":"get_list","args":{"provider":"Native"}})"),
              R"({"data":null,"error":"tr{Certificate storage is null}"})");
    EXPECT_EQ(client.request(R"({"method":"get_list","args":{"provider":"КриптоПро"}})"),
              R"({"data":null,"error":"tr{Certificate storage is null}"})");

    // The search behind certificate choice: a full serial finds exactly one, a fragment all.
    using Vesk::Crypto::CryptoProvider;
    auto found = json::parse(Vesk::Crypto::findCertificate("0x4512", CryptoProvider::CryptoPro));
    ASSERT_EQ(found.at("data").size(), 1u);
    EXPECT_NE(unbase64(found.at("data").at(0).at("Subject")).find("Петрова"), std::string::npos);
    found = json::parse(Vesk::Crypto::findCertificate("ООО «Ромашка»", CryptoProvider::CryptoPro));
    EXPECT_EQ(found.at("data").size(), 5u);  // the sixth lost its serial to its twin
    found = json::parse(Vesk::Crypto::findCertificate("", CryptoProvider::CryptoPro));
    EXPECT_EQ(found.at("data").size(), 8u);
    EXPECT_EQ(Vesk::Crypto::findCertificate("нет такого", CryptoProvider::CryptoPro),
              R"({"data":null,"error":"tr{Certificates not found}"})");
}

TEST(Backend, WithoutTheLibraryOnlyNativeIsOffered) {
    useCadesLibrary("/nonexistent/libcades.so");
    ModuleClient client;
    EXPECT_EQ(client.request(kGetProviders.dump()), R"({"data":["Native"],"error":null})");
    EXPECT_EQ(client.request(kGetList.dump()), R"({"data":null,"error":"tr{Certificate storage is null}"})");
    EXPECT_EQ(Vesk::Crypto::findCertificate("x", Vesk::Crypto::CryptoProvider::CryptoPro),
              R"({"data":null,"error":"tr{Certificate storage is null}"})");

    // The missing verifier of the Native provider is no news: the error list stays empty.
    const auto signature = makeTempDir() / "a.txt.sig";
    writeBytes(signature, "signature");
    const std::string file = b64(signature.string());
    EXPECT_EQ(client.request(json{{"method", "verify"}, {"args", {{"file", file}}}}.dump()),
              R"({"data":null,"error":[]})");
    EXPECT_EQ(client.request(json{{"method", "extract"}, {"args", {{"file", file}, {"provider", "CryptoPRO"}}}}.dump()),
              R"({"data":null,"error":"tr{Объект извлечения данных пуст!}"})");
}

TEST(Backend, ALibraryLackingOneNameIsNotUsed) {
    useCadesLibrary(CADES_STUB_MISSING_PATH);
    ModuleClient client;
    EXPECT_EQ(client.request(kGetProviders.dump()), R"({"data":["Native"],"error":null})");
}

TEST(Backend, ALibraryWithEveryNameIsBound) {
    useCadesLibrary(CADES_STUB_ALL_PATH);
    ModuleClient client;
    EXPECT_EQ(client.request(kGetProviders.dump()), R"({"data":["CryptoPRO","Native"],"error":null})");
}
