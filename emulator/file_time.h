#pragma once

#include <ctime>
#include <optional>

#include <openssl/asn1.h>

#include "abi.h"

namespace cades_emulator {

FILETIME unixTimeToFileTime(std::time_t seconds);
std::optional<std::time_t> fileTimeToUnixTime(const FILETIME& fileTime);
// UTCTime or GeneralizedTime to FILETIME.
std::optional<FILETIME> asn1TimeToFileTime(const ASN1_TIME* time);

}  // namespace cades_emulator
