#include "support.h"

#include "common/Logging.h"
#include "support/Process.h"
#include "support/TempHome.h"
#include "support/TestPki.h"

#include <gtest/gtest.h>

#include <fstream>
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

Bytes readFile(const fs::path& file) { return toBytes(vesk::test::readFile(file)); }

fs::path writeTemp(const std::string& name, const Bytes& data) {
    const fs::path file = vesk::test::makeTempDir("cp") / name;
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    if (!out) throw std::runtime_error("cannot write " + file.string());
    return file;
}

bool opensslVerifies(const Bytes& signature, const Bytes* detachedContent) {
    std::string args = "cms -verify -binary -inform DER -in " + path(writeTemp("signature.p7s", signature)) +
                       " -CAfile " + path(vesk::test::pki("pem/trusted.pem")) + " -out /dev/null";
    if (detachedContent != nullptr) args += " -content " + path(writeTemp("content.bin", *detachedContent));
    std::string output;
    const bool verified = vesk::test::openssl(args, &output) == 0;
    if (!verified) ADD_FAILURE() << "openssl cms -verify: " << output;
    return verified;
}

Vesk::Crypto::SignOptions signOptions(const std::string& searchString, Vesk::Crypto::SignAttachType attachType) {
    Vesk::Crypto::SignOptions options;
    options.search_string = searchString;
    options.attach_type = attachType;
    options.provider = Vesk::Crypto::CryptoProvider::CryptoPro;
    return options;
}

}  // namespace cptest
