#pragma once

#include <vector>

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

// A CRYPT_DATA_BLOB owned by the library until the caller frees it with CadesFreeBlob.
PCRYPT_DATA_BLOB newBlob(std::vector<BYTE> bytes);
// The same over bytes OpenSSL allocated (an encoded message), taken over without a copy.
PCRYPT_DATA_BLOB newBlob(OpenSslBuffer bytes, size_t size);

}  // namespace cades_emulator
