// Messages opened with CryptMsgOpenToDecode: the encoded SignedData arrives through
// CryptMsgUpdate; after the final update it is decoded. For a detached message any
// later updates carry the detached content.
#pragma once

#include <vector>

#include "abi.h"
#include "openssl_ptr.h"
#include "signer_check.h"

namespace cades_emulator {

struct DecodedMessage {
    bool detached = false;
    // As received when it came in several updates; a message given whole in its final update is
    // decoded where the caller keeps it, and re-encoded when asked for, as after a change.
    std::vector<BYTE> encoded;
    CmsPtr cms;  // set after the final update
    std::vector<BYTE> detachedContent;
    bool modified = false;

    int signerCount() const;
    CMS_SignerInfo* signer(DWORD index) const;  // null when out of range
    // The signed content: the embedded one, or the detached content fed so far. Valid while the
    // message lives and takes no further updates.
    ContentView content() const;
};

// The message behind a handle once decoded; otherwise null with the last error set.
DecodedMessage* decodedMessage(HCRYPTMSG handle);

}  // namespace cades_emulator
