// Plain HTTP POST of a DER request to a time-stamp or OCSP service, with OpenSSL's HTTP client.
#pragma once

#include <string>
#include <vector>

#include "abi.h"

namespace cades_emulator {

// Every exchange, connecting included, ends within this many seconds.
constexpr int kServiceTimeoutSeconds = 5;

// An http:// address made only of printable ASCII; false for anything else (non-ASCII
// characters, https, no host), so that nothing is sent to an address the caller did not mean.
bool plainHttpAddress(const std::wstring& wide, std::string& address);

// How hard to try to reach a service: a service the caller asked for is given the whole bound
// (a refused connection is tried again); one merely named by a certificate, asked on the side
// (a revocation check at verification), is tried once, so that an absent one costs nothing.
enum class Reach { Persist, Once };

// Posts `request` and gives the body of a 200 answer of `expectedType` that holds one DER value;
// false when the service cannot be reached, does not answer within the bound, or answers otherwise.
bool postToService(const std::string& address, const char* contentType, const char* expectedType,
                   const std::vector<BYTE>& request, std::vector<BYTE>& answer, Reach reach = Reach::Persist);

}  // namespace cades_emulator
