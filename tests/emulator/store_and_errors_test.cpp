// Certificate stores, names, and the emulator's refusals and error codes.
#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <utility>

using namespace cadestest;

namespace {

std::string Name(PCCERT_CONTEXT cert, DWORD flags) {
    DWORD strType = CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;
    const DWORD size = CertGetNameStringA(cert, CERT_NAME_RDN_TYPE, flags, &strType, nullptr, 0);
    std::string buf(size, '\0');
    const DWORD written = CertGetNameStringA(cert, CERT_NAME_RDN_TYPE, flags, &strType, buf.data(), size);
    EXPECT_EQ(size, written);
    EXPECT_GT(written, 1u);
    buf.resize(written ? written - 1 : 0);  // the count includes the terminating zero
    return buf;
}

std::vector<std::string> CrtStems(const std::string& dir) {
    std::vector<std::string> stems;
    for (const auto& entry : std::filesystem::directory_iterator(pki(dir)))
        if (entry.path().extension() == ".crt") stems.push_back(entry.path().stem().string());
    std::sort(stems.begin(), stems.end());
    return stems;
}

void ExpectStoreHolds(const wchar_t* storeName, const std::string& dir) {
    StorePtr store(CertOpenSystemStoreW(0, storeName));
    ASSERT_TRUE(store) << dir;
    const std::vector<CertPtr> certs = ListStore(store.get());
    const std::vector<std::string> stems = CrtStems(dir);
    ASSERT_EQ(stems.size(), certs.size()) << dir;
    for (size_t i = 0; i < certs.size(); ++i)
        EXPECT_EQ(CertFileDer(pki(dir + "/" + stems[i] + ".crt")),
                  Bytes(certs[i]->pbCertEncoded, certs[i]->pbCertEncoded + certs[i]->cbCertEncoded))
            << dir << " entry " << i << " should be " << stems[i];
}

}  // namespace

TEST(EmulatorStore, SystemStoresFollowFileNameOrder) {
    ExpectStoreHolds(L"My", "My");
    ExpectStoreHolds(L"Root", "Root");
}

// Without CADES_EMULATOR_HOME the stores live in $HOME/.cades-emulator.
TEST(EmulatorStore, FallsBackToHomeFolder) {
    namespace fs = std::filesystem;
    const fs::path my = TempPath(".cades-emulator/My");
    fs::create_directories(my);
    fs::copy_file(pki("My/user_rsa.crt"), my / "only.crt");

    const std::string configured = std::getenv("CADES_EMULATOR_HOME") ? std::getenv("CADES_EMULATOR_HOME") : "";
    unsetenv("CADES_EMULATOR_HOME");
    StorePtr store(CertOpenSystemStoreW(0, L"My"));
    std::vector<CertPtr> certs;
    if (store) certs = ListStore(store.get());
    if (!configured.empty()) setenv("CADES_EMULATOR_HOME", configured.c_str(), 1);

    ASSERT_TRUE(store);
    ASSERT_EQ(1u, certs.size());
    EXPECT_EQ(CertDer("user_rsa"), Bytes(certs[0]->pbCertEncoded, certs[0]->pbCertEncoded + certs[0]->cbCertEncoded));
}

TEST(EmulatorStore, CertificateFieldsAndNames) {
    CertPtr cert = FindInMy("user_gost256");
    ASSERT_TRUE(cert);

    const std::string subject = Name(cert.get(), 0);
    EXPECT_EQ(0u, subject.find("CN=Иванов Иван Иванович, O=ООО «Ромашка», C=RU, ")) << subject;
    EXPECT_NE(std::string::npos, subject.find("12345678901")) << "SNILS missing: " << subject;
    EXPECT_NE(std::string::npos, subject.find("771234567890")) << "INN missing: " << subject;
    EXPECT_EQ("CN=Тестовый подчинённый УЦ ГОСТ, O=АО «Тестовый УЦ», C=RU", Name(cert.get(), CERT_NAME_ISSUER_FLAG));

    // Serial 01 23 45 67 89 AB CD EF 01 is kept least significant byte first.
    const CRYPT_INTEGER_BLOB& serial = cert->pCertInfo->SerialNumber;
    EXPECT_EQ((Bytes{0x01, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}),
              Bytes(serial.pbData, serial.pbData + serial.cbData));

    SYSTEMTIME notBefore{}, notAfter{};
    ASSERT_TRUE(FileTimeToSystemTime(&cert->pCertInfo->NotBefore, &notBefore));
    ASSERT_TRUE(FileTimeToSystemTime(&cert->pCertInfo->NotAfter, &notAfter));
    EXPECT_EQ(2024, notBefore.wYear);
    EXPECT_EQ(1, notBefore.wMonth);
    EXPECT_EQ(1, notBefore.wDay);
    EXPECT_EQ(0, notBefore.wHour + notBefore.wMinute + notBefore.wSecond);
    EXPECT_EQ(2044, notAfter.wYear);

    CertPtr rsa = FindInMy("user_rsa");
    ASSERT_TRUE(rsa);
    EXPECT_EQ("CN=Test User RSA, O=Test Org, C=RU", Name(rsa.get(), 0));
    EXPECT_EQ("CN=Test Root CA RSA, O=Test CA, C=RU", Name(rsa.get(), CERT_NAME_ISSUER_FLAG));
}

TEST(EmulatorSign, RefusesWhatItCannotSign) {
    const Bytes data = ToBytes("данные");
    CertPtr gost = FindInMy("user_gost256");
    CertPtr rsa = FindInMy("user_rsa");
    CertPtr nokey = FindInMy("user_nokey");
    ASSERT_TRUE(gost && rsa && nokey);

    for (const char* oid : {static_cast<const char*>(nullptr), "1.2.3.4"}) {
        SignOutcome s = Sign(gost.get(), oid, false, data);
        EXPECT_FALSE(s.ok) << (oid ? oid : "null OID");
        EXPECT_EQ(0x80090008u, s.error) << (oid ? oid : "null OID");  // NTE_BAD_ALGID
    }

    SignOutcome s = Sign(rsa.get(), kHash256, false, data);
    EXPECT_FALSE(s.ok) << "RSA key with a GOST hash";
    EXPECT_NE(0u, s.error);

    s = Sign(nokey.get(), kHash256, false, data);
    EXPECT_FALSE(s.ok) << "certificate without a key";
    EXPECT_NE(0u, s.error);
    EXPECT_FALSE(KeyHandle(nokey.get()).ok());

    // CAdES-X Long Type 1 needs a time-stamp service; none given, or an empty address.
    CADES_SERVICE_CONNECTION_PARA emptyTsp{};
    emptyTsp.dwSize = sizeof emptyTsp;
    emptyTsp.wszUri = L"";
    for (const CADES_SERVICE_CONNECTION_PARA* tsp : {&emptyTsp, static_cast<decltype(&emptyTsp)>(nullptr)}) {
        s = Sign(gost.get(), kHash256, false, data, CADES_X_LONG_TYPE_1, tsp);
        EXPECT_FALSE(s.ok);
        EXPECT_EQ(0xC2100121u, s.error);  // TSP address is empty
    }
}

// Features the emulator leaves out (countersignatures, hash
// signing, streaming) must refuse plainly rather than pretend to succeed.
TEST(EmulatorNotImplemented, RefusesWithENotImpl) {
    CRYPT_DATA_BLOB* blob = nullptr;
    CADES_BLOB_ARRAY* array = nullptr;
    BYTE byte = 0;

    // Each call answers true when it reported failure (FALSE, null or 0).
    const std::pair<const char*, std::function<bool()>> calls[] = {
        {"CadesMsgOpenToEncode", [&] { return !CadesMsgOpenToEncode(0x10001, 0, nullptr, nullptr, nullptr); }},
        {"CadesMsgCountersign", [&] { return !CadesMsgCountersign(nullptr, 0, 0, nullptr); }},
        {"CadesSignHash", [&] { return !CadesSignHash(nullptr, &byte, 1, nullptr, &blob); }},
        {"CadesVerifyHash", [&] { return !CadesVerifyHash(nullptr, 0, &byte, 1, &byte, 1, nullptr, nullptr); }},
        {"CadesMsgGetSignatureTimestamps", [&] { return !CadesMsgGetSignatureTimestamps(nullptr, 0, &array); }},
        {"CadesMsgGetSigningCertIdHashAlgEncoded",
         [&] { return CadesMsgGetSigningCertIdHashAlgEncoded(0x10001, &byte, 1) == 0; }},
        {"CadesMsgConvertCreateContext", [&] { return !CadesMsgConvertCreateContext(nullptr, &byte, 1); }},
        {"CryptMsgControl", [&] { return !CryptMsgControl(nullptr, 0, CMSG_CTRL_VERIFY_SIGNATURE, nullptr); }},
    };
    for (const auto& [name, call] : calls) {
        SetLastError(0);
        EXPECT_TRUE(call()) << name << " did not fail";
        EXPECT_EQ(E_NOTIMPL, GetLastError()) << name;
    }
    EXPECT_EQ(nullptr, blob);
    EXPECT_EQ(nullptr, array);
}
