// Loads the installed module (its path from pkg-config, argv[1]) and asks its version through
// both direct request functions.

#include <vesk/VeskCrypto.h>

#include <dlfcn.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    void* module = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (!module) {
        std::fprintf(stderr, "usage: host MODULE (%s)\n", argc == 2 ? dlerror() : "");
        return 1;
    }
    for (const char* name : {Vesk::Crypto::kCryptoModuleCppExecFunc, Vesk::Crypto::kVeskExecuteJsonRequest}) {
        auto* alias = static_cast<Vesk::Crypto::JsonRequestFunction**>(dlsym(module, name));
        if (!alias) {
            std::fprintf(stderr, "no %s\n", name);
            return 1;
        }
        std::string answer;
        (**alias)(R"({"method":"version","args":{}})", answer);
        std::printf("%s %s\n", name, answer.c_str());
    }
    return dlclose(module);
}
