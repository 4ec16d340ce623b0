#pragma once
// The module's persistent configuration: settings.json in the editor's per-user folder.

#include "common/Logging.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>

namespace Vesk::Crypto {

// $HOME/.Vesk/editor, or /tmp/.Vesk/editor without HOME.
std::filesystem::path getEditorSettingsHomePath();
// The settings file path; makes the folder first when it is missing.
std::filesystem::path getSettingsFilePath();
std::filesystem::path getLogFilePath();

// Level names of the settings file; an unknown name reads as "none".
std::string logLevelName(LogLevel level);
LogLevel logLevelFromName(const nlohmann::json& name);

class VeskCryptoSettings {
public:
    static VeskCryptoSettings& instance();

    explicit VeskCryptoSettings(std::filesystem::path settingsFile);
    VeskCryptoSettings(const VeskCryptoSettings&) = delete;
    VeskCryptoSettings& operator=(const VeskCryptoSettings&) = delete;

    void load(const std::filesystem::path& file);
    void save();

    LogLevel logLevel() const { return logLevel_; }
    const std::string& cryptoPro() const { return cryptoPro_; }
    const std::string& cades() const { return cades_; }
    const std::filesystem::path& settingsFile() const { return settingsFile_; }

    void setCryptoPro(std::string path) { cryptoPro_ = std::move(path); }

    friend void to_json(nlohmann::json& j, const VeskCryptoSettings& settings);
    friend void from_json(const nlohmann::json& j, VeskCryptoSettings& settings);

private:
    LogLevel logLevel_ = LogLevel::Info;
    std::string cryptoPro_;
    std::string cades_;
    std::filesystem::path settingsFile_;
};

}  // namespace Vesk::Crypto
