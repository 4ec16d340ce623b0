#pragma once
// Owns one certificate context of the CAdES library and frees it with the library's own call.

#include "cades/CadesAbi.h"

namespace Vesk::Crypto::CryptoPro {

class CertContextGuard {
public:
    explicit CertContextGuard(PCCERT_CONTEXT context = nullptr) : context_(context) {}
    ~CertContextGuard() { reset(); }
    CertContextGuard(const CertContextGuard&) = delete;
    CertContextGuard& operator=(const CertContextGuard&) = delete;
    CertContextGuard(CertContextGuard&& other) noexcept : context_(other.release()) {}
    CertContextGuard& operator=(CertContextGuard&& other) noexcept {
        if (this != &other) {
            reset();
            context_ = other.release();
        }
        return *this;
    }

    PCCERT_CONTEXT get() const { return context_; }
    explicit operator bool() const { return context_ != nullptr; }
    PCCERT_CONTEXT release() {
        auto context = context_;
        context_ = nullptr;
        return context;
    }
    void reset(PCCERT_CONTEXT context = nullptr);

private:
    PCCERT_CONTEXT context_;
};

}  // namespace Vesk::Crypto::CryptoPro
