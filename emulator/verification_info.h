#pragma once

#include "abi.h"
#include "signer_check.h"

namespace cades_emulator {

// A CADES_VERIFICATION_INFO owned by the library until CadesFreeVerificationInfo.
PCADES_VERIFICATION_INFO newVerificationInfo(const SignerCheck& check);

// Parsed SignedData, or null with the last error set.
CmsPtr parseSignedData(const BYTE* data, DWORD size);

}  // namespace cades_emulator
