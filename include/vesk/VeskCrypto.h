#pragma once
// libVeskCrypto: what a host needs to load the signing module at run time.
//
// The module is loaded, not linked: open libVeskCrypto.so.1 with dlopen (or Boost.DLL) and read
// one of the four exported names below. Each is a pointer-sized variable (a Boost.DLL alias in
// the "boostdll" section) whose value is the address of the function, so read it once:
//
//     void* module = dlopen("libVeskCrypto.so.1", RTLD_NOW);
//     auto* create = *static_cast<Vesk::Crypto::PluginFactory**>(
//         dlsym(module, Vesk::Crypto::kCreateVeskCrypto));
//     boost::shared_ptr<VeskCryptoPlugin> plugin = create();
//     const std::string request = R"({"method":"version","args":{}})";
//     plugin->executeRequest(request.data(), request.size());
//     const std::string answer(plugin->getResultString(), plugin->getResultLength());
//
// Every call answers with a JSON text {"data":...,"error":...} and returns true; failures travel
// in "error". Release the plugin objects before closing the module. One plugin object is not safe
// for concurrent calls: use one per thread, or serialise them.

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <string>

namespace Vesk::Crypto {

// The plugin interface. Its virtual table, in slot order, is the module's binary interface:
// the complete and the deleting destructor, executeRequest, getResultLength, getResultString.
class VeskPluginApi {
public:
    virtual ~VeskPluginApi() = default;
    // Runs the JSON request held in data[0, length) and keeps its answer.
    virtual bool executeRequest(const char* data, size_t length) = 0;
    // Byte length of the last answer (UTF-8, no terminator counted).
    virtual size_t getResultLength() = 0;
    // The last answer, zero-terminated; valid until the next request on this object.
    virtual const char* getResultString() = 0;
};

}  // namespace Vesk::Crypto

// The plugin object the factory makes. A host reaches it only through the exported factory;
// its members are not exported.
class VeskCryptoPlugin : public Vesk::Crypto::VeskPluginApi {
public:
    static boost::shared_ptr<VeskCryptoPlugin> create();

    ~VeskCryptoPlugin() override = default;
    bool executeRequest(const char* data, size_t length) override;
    size_t getResultLength() override;
    const char* getResultString() override;

private:
    std::string result_;
};

namespace Vesk::Crypto {

// createVeskCrypto, createRequestBuffer: make a plugin object; an empty pointer when out of memory.
using PluginFactory = boost::shared_ptr<VeskCryptoPlugin>();
// CryptoModuleCppExecFunc, VeskExecuteJsonRequest: run one request, the answer goes to result.
using JsonRequestFunction = bool(const std::string& request, std::string& result);

// The four exported names.
inline constexpr char kCreateVeskCrypto[] = "createVeskCrypto";
inline constexpr char kCreateRequestBuffer[] = "createRequestBuffer";
inline constexpr char kCryptoModuleCppExecFunc[] = "CryptoModuleCppExecFunc";
inline constexpr char kVeskExecuteJsonRequest[] = "VeskExecuteJsonRequest";

}  // namespace Vesk::Crypto
