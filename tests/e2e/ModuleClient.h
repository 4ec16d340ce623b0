#pragma once
// Drives the built module through its exported names, as a host does.

#include <vesk/VeskCrypto.h>

#include <boost/dll/shared_library.hpp>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>

namespace vesk::test {

using DirectRequest = Vesk::Crypto::JsonRequestFunction;
using Vesk::Crypto::PluginFactory;

class ModuleClient {
public:
    ModuleClient();

    // Runs one request through a plugin object made by createVeskCrypto.
    std::string request(const std::string& text);
    nlohmann::json requestJson(const nlohmann::json& request);
    nlohmann::json call(const std::string& method, const nlohmann::json& args) {
        return requestJson({{"method", method}, {"args", args}});
    }
    // Runs one request; what the module logged meanwhile lands in `logged`.
    nlohmann::json requestJson(const nlohmann::json& request, std::string& logged);

    boost::dll::shared_library& library() { return library_; }
    VeskCryptoPlugin& plugin() { return *plugin_; }

private:
    boost::dll::shared_library library_;
    boost::shared_ptr<VeskCryptoPlugin> plugin_;
};

// The log file the module writes in the test process's HOME.
std::filesystem::path moduleLog();

std::string b64(const std::string& text);
std::string unb64(const std::string& text);
// The module's answers: a file's path as data, or an error.
inline nlohmann::json answerWith(const std::filesystem::path& path) {
    return {{"data", b64(path.string())}, {"error", nullptr}};
}
inline nlohmann::json failed(const nlohmann::json& error) { return {{"data", nullptr}, {"error", error}}; }
// A refusal with one text.
inline nlohmann::json refusal(const std::string& text) { return failed(nlohmann::json::array({text})); }

// A "verify" request of a file.
inline nlohmann::json verifyRequest(const std::filesystem::path& file) {
    return {{"method", "verify"}, {"args", {{"file", b64(file.string())}}}};
}
// A "sign" request by the certificate with serial-number text `serial`; `extra` adds to or
// overrides its "sign_info".
nlohmann::json signRequest(const std::string& file, const std::string& output, const std::string& attachType,
                           const std::string& serial, const nlohmann::json& extra = nlohmann::json::object());

}  // namespace vesk::test
