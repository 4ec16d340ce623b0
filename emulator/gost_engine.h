#pragma once

namespace cades_emulator {

// Makes the GOST algorithms available to OpenSSL (once per process). Returns false
// when the GOST engine cannot be loaded; RSA and other built-in algorithms still work.
bool ensureGostEngine();

}  // namespace cades_emulator
