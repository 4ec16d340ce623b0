// Loads the installed module and asks its version through both factory names.

#include <vesk/VeskCrypto.h>

#include <dlfcn.h>

#include <cstdio>
#include <string>

int main() {
    void* module = dlopen(VESK_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    for (const char* name : {Vesk::Crypto::kCreateVeskCrypto, Vesk::Crypto::kCreateRequestBuffer}) {
        auto* alias = static_cast<Vesk::Crypto::PluginFactory**>(dlsym(module, name));
        if (!alias) {
            std::fprintf(stderr, "no %s\n", name);
            return 1;
        }
        boost::shared_ptr<VeskCryptoPlugin> plugin = (**alias)();
        Vesk::Crypto::VeskPluginApi& api = *plugin;
        const std::string request = R"({"method":"version","args":{}})";
        api.executeRequest(request.data(), request.size());
        std::printf("%s %.*s\n", name, static_cast<int>(api.getResultLength()), api.getResultString());
    }
    return dlclose(module);
}
