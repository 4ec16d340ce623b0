#include "support.h"

#include "common/Logging.h"
#include "support/Process.h"
#include "support/TempHome.h"
#include "support/TestPki.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace cptest {
namespace {

// Points the module's settings at the built emulator before anything reads them, so that
// CryptoProLibApi::instance() binds it.
class EmulatorEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        const fs::path folder = vesk::test::tempHome() / ".Vesk" / "editor";
        fs::create_directories(folder);
        std::ofstream(folder / "settings.json")
            << R"({"logLevel":"verbose","cades":")" << vesk::test::cadesLibraryUnderTest() << R"(","cryptoPro":""})";
        Vesk::Crypto::initLogger();
    }
};

const bool kRegistered = (::testing::AddGlobalTestEnvironment(new EmulatorEnvironment), true);

std::string path(const std::string& text) { return vesk::test::shellQuote(text); }

}  // namespace

Bytes toBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

Bytes readFile(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + file.string());
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

fs::path writeTemp(const std::string& name, const Bytes& data) {
    const fs::path file = vesk::test::makeTempDir("cp") / name;
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    if (!out) throw std::runtime_error("cannot write " + file.string());
    return file;
}

bool opensslVerifies(const Bytes& signature, const Bytes* detachedContent, Bytes* content) {
    const fs::path signatureFile = writeTemp("signature.p7s", signature);
    const fs::path out = signatureFile.parent_path() / "content.out";
    std::string args = "cms -verify -binary -inform DER -in " + path(signatureFile) + " -CAfile " +
                       path(pki("pem/trusted.pem")) + " -out " + path(out);
    if (detachedContent != nullptr) args += " -content " + path(writeTemp("content.bin", *detachedContent));
    std::string output;
    const bool verified = openssl(args, &output) == 0;
    if (!verified) ADD_FAILURE() << "openssl cms -verify: " << output;
    if (verified && content != nullptr) *content = readFile(out);
    return verified;
}

int carriedCertificates(const Bytes& signature) {
    std::string output;
    if (openssl("pkcs7 -inform DER -print_certs -in " + path(writeTemp("signature.p7s", signature)), &output) != 0)
        return -1;
    int count = 0;
    for (size_t at = output.find("-----BEGIN CERTIFICATE-----"); at != std::string::npos;
         at = output.find("-----BEGIN CERTIFICATE-----", at + 1)) {
        ++count;
    }
    return count;
}

Vesk::Crypto::SignOptions signOptions(const std::string& searchString, Vesk::Crypto::SignAttachType attachType) {
    Vesk::Crypto::SignOptions options;
    options.search_string = searchString;
    options.attach_type = attachType;
    options.cades_type = Vesk::Crypto::CadesType::CadesBes;
    options.provider = Vesk::Crypto::CryptoProvider::CryptoPro;
    return options;
}

}  // namespace cptest
