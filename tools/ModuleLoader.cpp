#include "ModuleLoader.h"

#include "common/FileDescriptor.h"

#include <boost/dll/runtime_symbol_info.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

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

// Points standard error at /dev/null while it lives, so that what the module writes there (its
// console log) stays out of this program's output; this program's own messages come between.
class StandardErrorMuted {
public:
    StandardErrorMuted() {
        std::fflush(stderr);
        const Vesk::Crypto::fstools::FileDescriptor null(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        if (null.valid() && saved_.valid()) ::dup2(null.get(), STDERR_FILENO);
    }
    ~StandardErrorMuted() {
        std::fflush(stderr);
        if (saved_.valid()) ::dup2(saved_.get(), STDERR_FILENO);
    }
    StandardErrorMuted(const StandardErrorMuted&) = delete;
    StandardErrorMuted& operator=(const StandardErrorMuted&) = delete;

private:
    Vesk::Crypto::fstools::FileDescriptor saved_{::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)};
};

}  // namespace

ModuleLoader::ModuleLoader(const std::filesystem::path& library, bool showModuleLog)
    : library_(library.empty() ? defaultLibrary() : library,
               boost::dll::load_mode::search_system_folders | boost::dll::load_mode::rtld_now),
      showModuleLog_(showModuleLog) {
    // The alias holds the factory's address; the library stays loaded while library_ lives.
    auto& factory = *library_.get<Vesk::Crypto::PluginFactory*>(Vesk::Crypto::kCreateVeskCrypto);
    plugin_ = factory();
}

std::string ModuleLoader::execute(const std::string& request) {
    std::optional<StandardErrorMuted> muted;
    if (!showModuleLog_) muted.emplace();
    plugin_->executeRequest(request.data(), request.size());
    return std::string(plugin_->getResultString(), plugin_->getResultLength());
}
