// RFC 3161 time-stamps: asking a service for a token, and checking a token found in a message.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <openssl/evp.h>

#include "abi.h"

namespace cades_emulator {

// Asks the time-stamp service at `address` for a token over `data` hashed with `digest`, with
// a nonce and the TSA's certificate requested, and checks the answer before taking it.
// Returns 0 with the token (DER ContentInfo) or the error code:
//   TSPCLI_ERROR_HTTP                   not reached, no answer in time, not an HTTP 200 answer
//   TSPCLI_ERROR_UnsuccessfullResponse  not a TimeStampResp, status not granted, or the token
//                                       does not verify (signature, TSA certificate and chain)
//   TSPCLI_ERROR_IncorrectNonce         the token answers another nonce
//   CRYPT_E_HASH_VALUE                  the token stamps another message imprint
DWORD requestTimeStamp(const std::string& address, const EVP_MD* digest, const std::vector<BYTE>& data,
                       std::vector<BYTE>& token);

// True when `token` is a time-stamp token over `data` signed by a time-stamping certificate
// that chains to a root of the Root store (`extra` may fill the path); its time goes to *when.
bool verifyTimeStampToken(const std::vector<BYTE>& token, const std::vector<BYTE>& data,
                          const std::vector<X509*>& extra, std::optional<FILETIME>* when);

}  // namespace cades_emulator
