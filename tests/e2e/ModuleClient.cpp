#include "ModuleClient.h"

#include "support/TempHome.h"

#include <openssl/evp.h>

namespace vesk::test {

ModuleClient::ModuleClient() : library_(VESK_MODULE_PATH, boost::dll::load_mode::rtld_now) {
    plugin_ = (*library_.get<PluginFactory*>("createVeskCrypto"))();
}

std::string ModuleClient::request(const std::string& text) {
    plugin_->executeRequest(text.data(), text.size());
    return std::string(plugin_->getResultString(), plugin_->getResultLength());
}

nlohmann::json ModuleClient::requestJson(const nlohmann::json& request) {
    return nlohmann::json::parse(this->request(request.dump()));
}

nlohmann::json ModuleClient::requestJson(const nlohmann::json& request, std::string& logged) {
    const size_t before = readFile(moduleLog()).size();
    const nlohmann::json answer = requestJson(request);
    logged = readFile(moduleLog()).substr(before);
    return answer;
}

std::filesystem::path moduleLog() { return tempHome() / ".Vesk" / "editor" / "VeskCryptoModule.log"; }

// Encoded with OpenSSL rather than the module's own codec, so the module is checked against
// an independent one.
std::string b64(const std::string& text) {
    std::string out(4 * ((text.size() + 2) / 3) + 1, '\0');
    const int size =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    out.resize(static_cast<size_t>(size));
    return out;
}

std::string unb64(const std::string& text) {
    std::string out(text.size(), '\0');
    int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                               reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (size < 0) return "<not base64>";
    // EVP_DecodeBlock counts the bytes that stand for the padding too.
    for (auto it = text.rbegin(); it != text.rend() && *it == '=' && size > 0; ++it) --size;
    out.resize(static_cast<size_t>(size));
    return out;
}

nlohmann::json signRequest(const std::string& file, const std::string& output, const std::string& attachType,
                           const std::string& serial, const nlohmann::json& extra) {
    nlohmann::json info = {{"provider", "CryptoPRO"}, {"attach_type", attachType}, {"search_string", b64(serial)}};
    info.update(extra);
    return {{"method", "sign"}, {"args", {{"file", b64(file)}, {"output_file", b64(output)}, {"sign_info", info}}}};
}

}  // namespace vesk::test
