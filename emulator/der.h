// Hand-assembled DER for the CAdES evidence structures OpenSSL has no types for
// (ETSI TS 101 733 / RFC 5126: complete references, certificate and revocation values).
#pragma once

#include <initializer_list>
#include <vector>

#include "abi.h"

namespace cades_emulator::der {

using Bytes = std::vector<BYTE>;

constexpr BYTE kSequence = 0x30;
constexpr BYTE kOctetString = 0x04;

// One element: tag, definite length, content.
Bytes element(BYTE tag, const Bytes& content);
Bytes sequence(std::initializer_list<Bytes> parts);
Bytes sequenceOf(const std::vector<Bytes>& items);
// [number] EXPLICIT (constructed, context-specific).
Bytes explicitTag(unsigned number, const Bytes& content);

// The DER element at the start of `encoded`: its first tag octet in *tag, its content octets
// in *content (when not null) and its whole length in *total; false when it is not one
// well-formed definite-length element.
bool split(const BYTE* encoded, size_t size, BYTE* tag, Bytes* content, size_t* total);
// The elements one after another in a constructed content; false when malformed.
bool children(const Bytes& content, std::vector<Bytes>* elements);

}  // namespace cades_emulator::der
