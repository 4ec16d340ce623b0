#pragma once
// Enumerations of the request protocol with their fixed JSON spellings. Reading an unknown
// spelling, or a value of another JSON type, gives the first row of the table.

#include <nlohmann/json.hpp>

#include <cstdint>

namespace Vesk::Crypto {

enum class CryptoProvider : int32_t { None = -1, CryptoPro = 1, Native = 2 };
enum class CadesType : int32_t { None = -1, CadesBes = 0, CadesXLongType1 = 1 };
enum class SignAttachType : int32_t { None = -1, Attached = 0, Detached = 1, PAdES = 2 };
enum class PdfTextAlignment : int32_t { Left = 0, Center = 1, Right = 2 };

// "CryptoPro" is accepted on input; output always spells "CryptoPRO".
NLOHMANN_JSON_SERIALIZE_ENUM(CryptoProvider, {
                                                 {CryptoProvider::None, nullptr},
                                                 {CryptoProvider::CryptoPro, "CryptoPRO"},
                                                 {CryptoProvider::CryptoPro, "CryptoPro"},
                                                 {CryptoProvider::Native, "Native"},
                                             })

NLOHMANN_JSON_SERIALIZE_ENUM(CadesType, {
                                            {CadesType::None, nullptr},
                                            {CadesType::CadesBes, "CadesBes"},
                                            {CadesType::CadesXLongType1, "CadesXLongType1"},
                                        })

NLOHMANN_JSON_SERIALIZE_ENUM(SignAttachType, {
                                                 {SignAttachType::None, nullptr},
                                                 {SignAttachType::Attached, "Attached"},
                                                 {SignAttachType::Detached, "Detached"},
                                                 {SignAttachType::PAdES, "PAdES"},
                                             })

// compat: no null row: an unknown alignment is Left.
NLOHMANN_JSON_SERIALIZE_ENUM(PdfTextAlignment, {
                                                   {PdfTextAlignment::Left, "Left"},
                                                   {PdfTextAlignment::Center, "Center"},
                                                   {PdfTextAlignment::Right, "Right"},
                                               })

}  // namespace Vesk::Crypto
