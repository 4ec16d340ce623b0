#include "gost_engine.h"

#include "openssl_ptr.h"

#include <openssl/engine.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>

#include <initializer_list>

namespace cades_emulator {
namespace {

constexpr const char* kGostEngineId = "gost";
constexpr const char* kGostEngineFile = "/usr/lib/x86_64-linux-gnu/engines-3/gost.so";

ENGINE* loadThroughDynamicEngine() {
    ENGINE* engine = ENGINE_by_id("dynamic");
    if (engine == nullptr) return nullptr;
    if (ENGINE_ctrl_cmd_string(engine, "SO_PATH", kGostEngineFile, 0) != 1 ||
        ENGINE_ctrl_cmd_string(engine, "ID", kGostEngineId, 0) != 1 ||
        ENGINE_ctrl_cmd_string(engine, "LOAD", nullptr, 0) != 1) {
        ENGINE_free(engine);
        return nullptr;
    }
    return engine;
}

// The engine builds the curve of a parameter set on its first use and keeps it, without a lock:
// two threads meeting a parameter set for the first time at once lose one curve (LeakSanitizer
// sees it when two hosts sign on two threads). Every parameter set is met once here, before any
// other thread can use the engine.
void prepareParameterSets() {
    const struct {
        int algorithm;
        std::initializer_list<const char*> parameterSets;
    } algorithms[] = {
        {NID_id_GostR3410_2001, {"A", "B", "C", "XA", "XB"}},
        {NID_id_GostR3410_2012_256, {"A", "B", "C", "XA", "XB", "TCA", "TCB", "TCC", "TCD"}},
        {NID_id_GostR3410_2012_512, {"A", "B", "C"}},
    };
    for (const auto& algorithm : algorithms) {
        for (const char* parameterSet : algorithm.parameterSets) {
            const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_id(algorithm.algorithm, nullptr));
            EVP_PKEY* parameters = nullptr;
            if (context && EVP_PKEY_paramgen_init(context.get()) == 1 &&
                EVP_PKEY_CTX_ctrl_str(context.get(), "paramset", parameterSet) > 0)
                EVP_PKEY_paramgen(context.get(), &parameters);
            const EvpPkeyPtr owned(parameters);
        }
    }
}

bool loadGostEngine() {
    ENGINE_load_builtin_engines();
    ENGINE* engine = ENGINE_by_id(kGostEngineId);
    if (engine == nullptr) engine = loadThroughDynamicEngine();
    if (engine == nullptr) return false;
    // The functional reference taken by ENGINE_init keeps the engine for the process.
    const bool ready = ENGINE_init(engine) == 1 && ENGINE_set_default(engine, ENGINE_METHOD_ALL) == 1;
    ENGINE_free(engine);
    if (ready) prepareParameterSets();
    return ready;
}

}  // namespace

bool ensureGostEngine() {
    static const bool loaded = loadGostEngine();
    return loaded;
}

}  // namespace cades_emulator
