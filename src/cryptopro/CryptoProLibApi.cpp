#include "cryptopro/CryptoProLibApi.h"

#include "common/Settings.h"

#include <boost/dll/shared_library.hpp>

#include <sys/stat.h>

namespace Vesk::Crypto::CryptoPro {
namespace {

// Wraps a bound function so that it keeps the library loaded for as long as it lives.
template <typename R, typename... Args>
boost::function<R(Args...)> keepLoaded(const std::shared_ptr<boost::dll::shared_library>& library,
                                       R (*entry)(Args...)) {
    return [library, entry](Args... args) -> R { return entry(args...); };
}

// Only a regular file (or a link to one) is handed to the loader: opening a FIFO or a device
// would wait for a writer that never comes. A bare name is left to the loader's own search.
bool loadableFile(const std::string& path) {
    if (path.find('/') == std::string::npos) return true;
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string configuredLibraryPath() {
    const auto& configured = VeskCryptoSettings::instance().cades();
    return configured.empty() ? defaultCadesLibraryPath() : configured;
}

}  // namespace

std::string defaultCadesLibraryPath() {
#if defined(__APPLE__)
    return "/Applications/CryptoPro_ECP.app/Contents/MacOS/lib/libcades.dylib";
#elif defined(__aarch64__)
    return "/opt/cprocsp/lib/aarch64/libcades.so";
#else
    return "/opt/cprocsp/lib/amd64/libcades.so";
#endif
}

CryptoProLibApi& CryptoProLibApi::instance() {
    static CryptoProLibApi api(configuredLibraryPath());
    return api;
}

CryptoProLibApi::CryptoProLibApi(const std::string& libraryPath) {
    // A library that is missing, cannot be loaded or lacks a name leaves the binding
    // incomplete, silently: the CryptoPro provider is then simply not offered.
    if (!loadableFile(libraryPath)) return;
    try {
        auto library = std::make_shared<boost::dll::shared_library>(boost::dll::fs::path(libraryPath),
                                                                    boost::dll::load_mode::search_system_folders);
        library_ = library;
// NOLINTNEXTLINE(bugprone-macro-parentheses): the argument is a name
#define CADES_ENTRY(returnType, name, parameters) name = keepLoaded(library, &library->get<decltype(::name)>(#name));
#include "cades/CadesEntryPoints.def"
#undef CADES_ENTRY
    } catch (...) {
        return;
    }
    // An optional entry point that is missing stays empty.
// NOLINTBEGIN(bugprone-macro-parentheses): the argument is a name
#define CADES_ENTRY(returnType, name, parameters) \
    if (library_->has(#name)) name = keepLoaded(library_, &library_->get<decltype(::name)>(#name));
#include "cades/CadesOptionalEntryPoints.def"
#undef CADES_ENTRY
    // NOLINTEND(bugprone-macro-parentheses)
}

CryptoProLibApi::~CryptoProLibApi() = default;

bool CryptoProLibApi::isLoaded() const {
    if (!library_) return false;
    bool complete = true;
// NOLINTNEXTLINE(bugprone-macro-parentheses): the argument is a name
#define CADES_ENTRY(returnType, name, parameters) complete = complete && !name.empty();
#include "cades/CadesEntryPoints.def"
#undef CADES_ENTRY
    return complete;
}

}  // namespace Vesk::Crypto::CryptoPro
