#pragma once

#include <vector>

#include "abi.h"

namespace cades_emulator {

// A CRYPT_DATA_BLOB owned by the library until the caller frees it with CadesFreeBlob.
PCRYPT_DATA_BLOB newBlob(std::vector<BYTE> bytes);

} // namespace cades_emulator
