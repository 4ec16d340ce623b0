// LocalAlloc/LocalFree: the C heap, so that buffers the library allocates for the
// caller (FormatMessageW, CryptDecodeObject with CRYPT_DECODE_ALLOC_FLAG) and buffers
// the caller allocates are freed the same way.
#include <cstdlib>

#include "abi.h"
#include "last_error.h"

using namespace cades_emulator;

extern "C" HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes) {
    if ((uFlags & ~LMEM_ZEROINIT) != 0)
        return failNull<void>(ERROR_INVALID_PARAMETER);  // movable memory does not exist here
    const size_t size = uBytes == 0 ? 1 : static_cast<size_t>(uBytes);
    void* memory = (uFlags & LMEM_ZEROINIT) != 0 ? std::calloc(1, size) : std::malloc(size);
    if (memory == nullptr) return failNull<void>(E_OUTOFMEMORY);
    return memory;
}

extern "C" HLOCAL LocalFree(HLOCAL hMem) {
    std::free(hMem);
    return nullptr;
}
