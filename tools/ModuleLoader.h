#pragma once
// Loads libVeskCrypto at run time through its exported factory, as the editor does.

#include <vesk/VeskCrypto.h>

#include <boost/dll/shared_library.hpp>
#include <boost/shared_ptr.hpp>

#include <filesystem>
#include <string>

class ModuleLoader {
public:
    // Loads the module; an empty path means the one built beside this program. The module's
    // console log (its records on standard error) is shown only when `showModuleLog` is set.
    ModuleLoader(const std::filesystem::path& library, bool showModuleLog);

    // Runs one request and returns its answer text.
    std::string execute(const std::string& request);

private:
    boost::dll::shared_library library_;
    boost::shared_ptr<VeskCryptoPlugin> plugin_;
    bool showModuleLog_;
};
