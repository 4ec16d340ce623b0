// Output in the CryptoAPI manner: a structure and everything it points to in one
// caller-supplied buffer. A null buffer asks for the size; a short one gets
// ERROR_MORE_DATA and the size needed. The layout is computed twice with the same
// code: once to measure, once to write.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "abi.h"
#include "last_error.h"

namespace cades_emulator {

class PackedLayout {
public:
    explicit PackedLayout(BYTE* base) : base_(base) {}

    // Reserves room for `count` objects of T; returns where they are (null while measuring).
    template <typename T>
    T* reserve(size_t count = 1) {
        size_ = (size_ + alignof(T) - 1) / alignof(T) * alignof(T);
        T* at = base_ != nullptr ? reinterpret_cast<T*>(base_ + size_) : nullptr;
        if (at != nullptr) std::memset(static_cast<void*>(at), 0, sizeof(T) * count);
        size_ += sizeof(T) * count;
        return at;
    }

    BYTE* copy(const std::vector<BYTE>& bytes) { return copy(bytes.data(), bytes.size()); }

    BYTE* copy(const BYTE* bytes, size_t size) {
        BYTE* at = reserve<BYTE>(size);
        if (at != nullptr && size != 0) std::memcpy(at, bytes, size);
        return size == 0 ? nullptr : at;
    }

    char* copy(const std::string& text) {
        char* at = reserve<char>(text.size() + 1);
        if (at != nullptr) std::memcpy(at, text.c_str(), text.size() + 1);
        return at;
    }

    CRYPT_DATA_BLOB blob(const std::vector<BYTE>& bytes) {
        return CRYPT_DATA_BLOB{static_cast<DWORD>(bytes.size()), copy(bytes)};
    }

    size_t size() const { return size_; }
    bool writing() const { return base_ != nullptr; }

private:
    BYTE* base_;
    size_t size_ = 0;
};

template <typename Build>
BOOL deliverPacked(void* pvData, DWORD* pcbData, Build build) {
    if (pcbData == nullptr) return fail(E_INVALIDARG);
    PackedLayout measure(nullptr);
    build(measure);
    const DWORD needed = static_cast<DWORD>(measure.size());
    if (pvData == nullptr) {
        *pcbData = needed;
        return TRUE;
    }
    if (*pcbData < needed) {
        *pcbData = needed;
        return fail(ERROR_MORE_DATA);
    }
    PackedLayout write(static_cast<BYTE*>(pvData));
    build(write);
    *pcbData = needed;
    return TRUE;
}

inline BOOL deliverBytes(void* pvData, DWORD* pcbData, const BYTE* bytes, size_t size) {
    return deliverPacked(pvData, pcbData, [&](PackedLayout& out) { out.copy(bytes, size); });
}

inline BOOL deliverBytes(void* pvData, DWORD* pcbData, const std::vector<BYTE>& bytes) {
    return deliverBytes(pvData, pcbData, bytes.data(), bytes.size());
}

inline BOOL deliverDword(void* pvData, DWORD* pcbData, DWORD value) {
    return deliverPacked(pvData, pcbData, [&](PackedLayout& out) {
        if (DWORD* at = out.reserve<DWORD>()) *at = value;
    });
}

}  // namespace cades_emulator
