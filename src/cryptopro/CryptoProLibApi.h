#pragma once
// Run-time binding of the CryptoPro CAdES library: 73 entry points bound by name, once per
// process. Every CryptoPro object reaches the library only through instance().

#include "cades/CadesAbi.h"

#include <boost/function.hpp>

#include <memory>
#include <string>

namespace boost::dll {
class shared_library;
}

namespace Vesk::Crypto::CryptoPro {

// Where the library is looked for when the settings name none.
std::string defaultCadesLibraryPath();

class CryptoProLibApi {
public:
    static CryptoProLibApi& instance();

    CryptoProLibApi(const CryptoProLibApi&) = delete;
    CryptoProLibApi& operator=(const CryptoProLibApi&) = delete;
    ~CryptoProLibApi();

    // True only when the library is loaded and every entry point is bound.
    bool isLoaded() const;

    // Binds the library at this path; used once by instance(), and by tests.
    explicit CryptoProLibApi(const std::string& libraryPath);

// NOLINTNEXTLINE(bugprone-macro-parentheses): the argument is a name
#define CADES_ENTRY(returnType, name, parameters) boost::function<decltype(::name)> name;
#include "cades/CadesEntryPoints.def"
    // Bound when the library has them; empty otherwise, and not counted by isLoaded().
#include "cades/CadesOptionalEntryPoints.def"
#undef CADES_ENTRY

private:
    std::shared_ptr<boost::dll::shared_library> library_;
};

}  // namespace Vesk::Crypto::CryptoPro
