#include "common/Settings.h"

#include "common/FileTools.h"

#include <array>
#include <cstdlib>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace Vesk::Crypto {
namespace {

constexpr std::array<const char*, 7> kLevelNames = {"none", "fatal", "error", "warning", "info", "debug", "verbose"};

bool missing(const fs::path& path) {
    std::error_code ec;
    const auto status = fs::status(path, ec);
    return status.type() == fs::file_type::not_found || status.type() == fs::file_type::none;
}

}  // namespace

fs::path getEditorSettingsHomePath() {
    const char* home = std::getenv("HOME");
    return fs::path(home ? home : "/tmp") / ".Vesk" / "editor";
}

fs::path getSettingsFilePath() {
    const auto home = getEditorSettingsHomePath();
    if (missing(home)) {
        std::error_code ec;
        // compat: kept as the log has always had it: a successful creation is what gets logged.
        if (fs::create_directories(home, ec)) {
            VLOG_ERROR << "Error create Vesk home path: " << ec.message();
        }
    }
    return home / "settings.json";
}

fs::path getLogFilePath() { return getEditorSettingsHomePath() / "VeskCryptoModule.log"; }

std::string logLevelName(LogLevel level) {
    const auto index = static_cast<size_t>(level);
    return index < kLevelNames.size() ? kLevelNames[index] : kLevelNames[0];
}

LogLevel logLevelFromName(const nlohmann::json& name) {
    if (name.is_string()) {
        const auto& text = name.get_ref<const std::string&>();
        for (size_t i = 0; i < kLevelNames.size(); ++i) {
            if (text == kLevelNames[i]) return static_cast<LogLevel>(i);
        }
    }
    return LogLevel::None;  // compat: an unknown name silences the log, no fallback to the default
}

VeskCryptoSettings& VeskCryptoSettings::instance() {
    static VeskCryptoSettings settings(getSettingsFilePath());
    return settings;
}

VeskCryptoSettings::VeskCryptoSettings(fs::path settingsFile) : settingsFile_(std::move(settingsFile)) {
    if (missing(settingsFile_)) {
        save();
    } else {
        load(settingsFile_);
    }
}

void VeskCryptoSettings::load(const fs::path& file) {
    std::vector<char> bytes;
    fstools::readFileToVector(file, bytes);
    nlohmann::json::parse(bytes.begin(), bytes.end()).get_to(*this);
}

void VeskCryptoSettings::save() {
    std::string text = nlohmann::json(*this).dump();
    fstools::saveStringToFile(settingsFile_, text);
}

void to_json(nlohmann::json& j, const VeskCryptoSettings& settings) {
    j = nlohmann::json{
        {"logLevel", logLevelName(settings.logLevel_)}, {"cryptoPro", settings.cryptoPro_}, {"cades", settings.cades_}};
}

void from_json(const nlohmann::json& j, VeskCryptoSettings& settings) {
    if (!j.is_object()) return;
    if (j.contains("logLevel")) settings.logLevel_ = logLevelFromName(j.at("logLevel"));
    if (j.contains("cryptoPro")) j.at("cryptoPro").get_to(settings.cryptoPro_);
    if (j.contains("cades")) j.at("cades").get_to(settings.cades_);
}

}  // namespace Vesk::Crypto
