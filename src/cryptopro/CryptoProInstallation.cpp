#include "cryptopro/CryptoProInstallation.h"

#include "common/FileTools.h"
#include "common/Logging.h"
#include "common/Settings.h"

namespace fs = std::filesystem;

namespace Vesk::Crypto::fstools {

bool findCryptoProTool(const std::vector<fs::path>& roots, const std::vector<std::string>& names) {
    auto& settings = VeskCryptoSettings::instance();
    try {
        for (const auto& root : roots) {
            for (fs::recursive_directory_iterator it(root, fs::directory_options::skip_permission_denied), end;
                 it != end; ++it) {
                const auto name = it->path().filename().string();
                for (const auto& wanted : names) {
                    if (name != wanted) continue;
                    VLOG_INFO << "Crypto Pro found on path: " << it->path().string();
                    settings.setCryptoPro(it->path().string());
                    settings.save();
                    return true;
                }
            }
        }
    } catch (const fs::filesystem_error& e) {
        VLOG_ERROR << e.what();
    }
    VLOG_ERROR << "CryptoPRO not found!";
    return false;
}

bool cryptoproIsInstalled() { return cryptoproIsInstalledUnder({"/opt/cprocsp", "/opt", "/opt/cprocsp/lib"}); }

bool cryptoproIsInstalledUnder(const std::vector<fs::path>& roots) {
    VLOG_VERBOSE << "[F] cryptoproIsInstalled";
    auto& settings = VeskCryptoSettings::instance();
    if (!settings.cryptoPro().empty() && pathExists(settings.cryptoPro())) return true;
    settings.setCryptoPro("");
    settings.save();
    return findCryptoProTool(roots, {"cptools", "certmgr"});
}

}  // namespace Vesk::Crypto::fstools
