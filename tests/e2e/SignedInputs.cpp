#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace fs = std::filesystem;

namespace vesk::test {
namespace {

void run(const std::string& command) {
    const auto result = runCommand(command + " 2>&1");
    ASSERT_EQ(result.exitCode, 0) << command << "\n" << result.output;
}

// One NSS database per process, holding the RSA user's key and certificate.
const fs::path& nssDatabase() {
    static const fs::path folder = [] {
        const fs::path dir = makeTempDir("nss");
        const fs::path p12 = dir / "user.p12";
        run("openssl pkcs12 -export -name rsauser -passout pass: -in " + q(pki("pem/user_rsa.crt")) + " -inkey " +
            q(pki("pem/user_rsa.key")) + " -out " + q(p12));
        run("certutil -N -d sql:" + q(dir) + " --empty-password");
        run("pk12util -i " + q(p12) + " -d sql:" + q(dir) + " -W ''");
        return dir;
    }();
    return folder;
}

}  // namespace

void useCadesLibrary(const std::string& path) {
    const auto folder = tempHome() / ".Vesk" / "editor";
    fs::create_directories(folder);
    std::ofstream(folder / "settings.json") << nlohmann::json{{"cades", path}, {"logLevel", "info"}}.dump();
}

void opensslSign(const fs::path& in, const fs::path& out, const std::string& user, bool detached) {
    std::string output;
    const int status = openssl("cms -sign -binary " + std::string(detached ? "" : "-nodetach ") + "-in " + q(in) +
                                   " -signer " + q(pki("pem/" + user + ".crt")) + " -inkey " +
                                   q(pki("pem/" + user + ".key")) + " -outform DER -out " + q(out),
                               &output);
    ASSERT_EQ(status, 0) << output;
}

void makePdf(const fs::path& out, int pages) {
    run(std::string(VESK_SAMPLE_PDF_PATH) + " " + q(out) + " --pages " + std::to_string(pages));
}

void pdfsigSign(const fs::path& in, const fs::path& out, const std::string& field) {
    run("pdfsig -add-signature -nssdir sql:" + q(nssDatabase()) + " -nick rsauser -new-signature-field-name " +
        shellQuote(field) + " " + q(in) + " " + q(out));
}

fs::path writeBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

}  // namespace vesk::test
