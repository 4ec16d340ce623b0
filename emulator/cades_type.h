#pragma once

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

// The CAdES form of a signer, judged by its attributes (CADES_BES, CADES_T, CADES_X_LONG_TYPE_1,
// CADES_A or PKCS7_TYPE).
DWORD signerForm(CMS_SignerInfo* signer);

}  // namespace cades_emulator
