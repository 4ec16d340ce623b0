#include "ModuleLoader.h"

#include <boost/dll/runtime_symbol_info.hpp>

namespace {

// Beside this program (the build tree), then where an installation puts it (BINDIR/../LIBDIR),
// so that an installation under any prefix finds its own module.
std::filesystem::path defaultLibrary() {
    const std::filesystem::path bindir = boost::dll::program_location().parent_path();
    for (const auto& candidate :
         {bindir / "libVeskCrypto.so.1", bindir / VESK_LIBDIR_FROM_BINDIR / "libVeskCrypto.so.1"}) {
        if (std::filesystem::exists(candidate)) return candidate;
    }
    return "libVeskCrypto.so.1";  // left to the system's library search
}

}  // namespace

ModuleLoader::ModuleLoader(const std::filesystem::path& library)
    : library_(library.empty() ? defaultLibrary() : library,
               boost::dll::load_mode::search_system_folders | boost::dll::load_mode::rtld_now) {
    // The alias holds the factory's address; the library stays loaded while library_ lives.
    auto& factory = *library_.get<Vesk::Crypto::PluginFactory*>(Vesk::Crypto::kCreateVeskCrypto);
    plugin_ = factory();
}

std::string ModuleLoader::execute(const std::string& request) {
    plugin_->executeRequest(request.data(), request.size());
    return std::string(plugin_->getResultString(), plugin_->getResultLength());
}
