#include "ModuleLoader.h"

#include <boost/dll/runtime_symbol_info.hpp>

namespace {

std::filesystem::path defaultLibrary() {
    const auto beside = boost::dll::program_location().parent_path() / "libVeskCrypto.so.1";
    if (std::filesystem::exists(beside)) return beside;
    return "libVeskCrypto.so.1";  // left to the system's library search
}

}  // namespace

ModuleLoader::ModuleLoader(const std::filesystem::path& library)
    : library_(library.empty() ? defaultLibrary() : library,
               boost::dll::load_mode::search_system_folders | boost::dll::load_mode::rtld_now) {
    // The alias holds the factory's address; the library stays loaded while library_ lives.
    using Factory = boost::shared_ptr<VeskCryptoPlugin>();
    auto& factory = *library_.get<Factory*>("createVeskCrypto");
    plugin_ = factory();
}

std::string ModuleLoader::execute(const std::string& request) {
    plugin_->executeRequest(request.data(), request.size());
    return std::string(plugin_->getResultString(), plugin_->getResultLength());
}
