// Per-thread last error, as the CryptoAPI reports failures.
#include "last_error.h"

namespace cades_emulator {
namespace {
thread_local DWORD lastError = ERROR_SUCCESS;
}

BOOL fail(DWORD code) {
    lastError = code;
    return FALSE;
}

}  // namespace cades_emulator

using namespace cades_emulator;

extern "C" DWORD GetLastError(void) { return lastError; }

extern "C" void SetLastError(DWORD dwErrCode) { lastError = dwErrCode; }
