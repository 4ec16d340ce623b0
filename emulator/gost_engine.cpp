#include "gost_engine.h"

#include <openssl/engine.h>

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

bool loadGostEngine() {
    ENGINE_load_builtin_engines();
    ENGINE* engine = ENGINE_by_id(kGostEngineId);
    if (engine == nullptr) engine = loadThroughDynamicEngine();
    if (engine == nullptr) return false;
    // The functional reference taken by ENGINE_init keeps the engine for the process.
    const bool ready = ENGINE_init(engine) == 1 && ENGINE_set_default(engine, ENGINE_METHOD_ALL) == 1;
    ENGINE_free(engine);
    return ready;
}

}  // namespace

bool ensureGostEngine() {
    static const bool loaded = loadGostEngine();
    return loaded;
}

}  // namespace cades_emulator
