#pragma once

#include "abi.h"

namespace cades_emulator {

// Records the error for GetLastError and returns FALSE, for "return fail(code);".
BOOL fail(DWORD code);

// Same for entry points that return a pointer.
template <typename T>
T* failNull(DWORD code) {
    fail(code);
    return nullptr;
}

}  // namespace cades_emulator
