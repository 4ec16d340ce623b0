#include "common/Base64.h"
#include "model/Results.h"
#include "model/SignOptions.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace Vesk::Crypto;
using nlohmann::json;

TEST(Records, CertificateSignerAndResultForms) {
    auto certificate = std::make_shared<Certificate>(
        Certificate{"CN=Иванов Иван, O=ООО Ромашка, C=RU", "CN=Тестовый УЦ, C=RU", "01/02/2025 10:00:00 UTC",
                    "01/02/2027 10:00:00 UTC", "0x0A0201", kNoSigningTime});
    json expected = json::parse(R"({"NotBefore":"01/02/2025 10:00:00 UTC","NotAfter":"01/02/2027 10:00:00 UTC",)"
                                R"("SerialNumber":"0x0A0201","SigningTime":""})");
    expected.update(
        {{"Subject", base64::encode(certificate->subject)}, {"Issuer", base64::encode(certificate->issuer)}});
    EXPECT_EQ(json(*certificate), expected);

    certificate->signingTime = "03/04/2026 05:06:07 UTC";
    expected.update({{"SigningTime", "03/04/2026 05:06:07 UTC"}, {"Verifyed", true}});
    const auto signers =
        std::make_shared<std::vector<SignInfoPtr>>(1, std::make_shared<SignInfo>(SignInfo{certificate, true}));
    EXPECT_EQ(json(ResultWithSigners{signers, nullptr, {}}),
              (json{{"data", json::array({expected})}, {"error", nullptr}}));

    EXPECT_EQ(json(ResultWithSigners{}).dump(), R"({"data":null,"error":[]})");
    EXPECT_EQ(json(ResultWithSigners{nullptr, std::make_shared<std::vector<CertificatePtr>>(), {"A"}}).dump(),
              R"({"chain":[],"data":null,"error":["A"]})");

    EXPECT_EQ(json(RequestApiResult{false, {"A", "B"}}).dump(), R"({"data":false,"error":["A","B"]})");
    EXPECT_EQ(json(RequestApiResult{true, {"ignored"}}).dump(), R"({"data":true,"error":null})");

    // A signer without a certificate writes nothing rather than failing.
    EXPECT_TRUE(json(SignInfo{nullptr, true}).is_null());
}

TEST(Records, SignOptionsDefaultsSpellingsAndTypeErrors) {
    const auto defaults = json::object().get<SignOptions>();
    EXPECT_EQ(std::tie(defaults.reason, defaults.lang, defaults.provider, defaults.cades_type,
                       defaults.save_with_errors, defaults.watermark.split_long_strings),
              std::make_tuple("Причина не указана", "ru", CryptoProvider::None, CadesType::CadesBes, true, true));

    json args = json::parse(R"({"output_file":"not base64 at all","sign_info":{"provider":"CryptoPro",)"
                            R"("attach_type":"PAdES","cades_type":"CadesXLongType1","cosign":true,"watermark":)"
                            R"({"page":2,"strings":[{"text":"Подписано"},{"alignment":"Justify"}]}}})");
    args["file"] = base64::encode("/tmp/Договор.pdf");
    args["sign_info"]["search_string"] = base64::encode("Иванов");
    const auto options = args.get<SignOptions>();
    EXPECT_EQ(std::make_tuple(options.file.string(), options.search_string, options.provider, options.attach_type,
                              options.cades_type, options.cosign, options.watermark.page),
              std::make_tuple("/tmp/Договор.pdf", "Иванов", CryptoProvider::CryptoPro, SignAttachType::PAdES,
                              CadesType::CadesXLongType1, true, 2));
    ASSERT_EQ(options.watermark.strings.size(), 2u);
    EXPECT_EQ(options.watermark.strings[0].font, "Courier New");
    EXPECT_EQ(options.watermark.strings[0].font_color, "#6480e8");
    EXPECT_FLOAT_EQ(options.watermark.strings[0].font_size, 9.0f);
    EXPECT_EQ(options.watermark.strings[1].alignment, PdfTextAlignment::Left);

    EXPECT_EQ(json("CryptoPRO").get<CryptoProvider>(), CryptoProvider::CryptoPro);
    EXPECT_EQ(json("Native").get<CryptoProvider>(), CryptoProvider::Native);
    EXPECT_EQ(json("cryptopro").get<CryptoProvider>(), CryptoProvider::None);
    EXPECT_EQ(json(7).get<SignAttachType>(), SignAttachType::None);
    EXPECT_EQ(json(CryptoProvider::CryptoPro), "CryptoPRO");
    EXPECT_EQ(json(CryptoProvider::None), nullptr);

    EXPECT_THROW((json{{"sign_info", {{"cosign", "yes"}}}}.get<SignOptions>()), json::type_error);
    EXPECT_THROW((json{{"file", 5}}.get<SignOptions>()), json::type_error);
    EXPECT_THROW((json{{"sign_info", {{"watermark", {{"strings", "x"}}}}}}.get<SignOptions>()), json::type_error);

    // Only four fields of a watermark line are written back.
    EXPECT_EQ(json(options.watermark.strings[0]).dump(),
              R"({"font_color":"#6480e8","font_size":9.0,"line_spacing":0.0,"text":"Подписано"})");
}
