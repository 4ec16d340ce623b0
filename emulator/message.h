// Messages opened with CryptMsgOpenToDecode: the encoded SignedData arrives through
// CryptMsgUpdate; after the final update it is decoded. For a detached message any
// later updates carry the detached content.
#pragma once

#include <vector>

#include "abi.h"
#include "openssl_ptr.h"

namespace cades_emulator {

struct DecodedMessage {
    bool detached = false;
    std::vector<BYTE> encoded; // as received; re-encoded once the message changes
    CmsPtr cms;                // set after the final update
    std::vector<BYTE> detachedContent;
    bool modified = false;

    int signerCount() const;
    CMS_SignerInfo* signer(DWORD index) const; // null when out of range
    // The signed content: the embedded one, or the detached content fed so far.
    std::vector<BYTE> content() const;
};

// The message behind a handle once decoded; otherwise null with the last error set.
DecodedMessage* decodedMessage(HCRYPTMSG handle);

} // namespace cades_emulator
