#include "common/Base64.h"

#include "common/Logging.h"

#include <openssl/evp.h>

#include <climits>
#include <memory>
#include <stdexcept>

namespace Vesk::Crypto {
namespace base64 {
namespace {

constexpr size_t kBlockInput = 3 * 16 * 1024;  // whole groups of three, so blocks join without padding

size_t encodedSize(size_t size) { return (size + 2) / 3 * 4; }

// Appends the base64 text of data; only the very last call may see a size that is not a multiple of 3.
void appendEncoded(std::string& out, const unsigned char* data, size_t size) {
    while (size > 0) {
        const size_t chunk = std::min(size, kBlockInput);
        const size_t start = out.size();
        out.resize(start + encodedSize(chunk) + 1);
        const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[start]), data, static_cast<int>(chunk));
        out.resize(start + static_cast<size_t>(written));
        data += chunk;
        size -= chunk;
    }
}

struct EncodeCtxDeleter {
    void operator()(EVP_ENCODE_CTX* ctx) const { EVP_ENCODE_CTX_free(ctx); }
};

}  // namespace

std::string encode(const void* data, size_t size) {
    std::string out;
    out.reserve(encodedSize(size));
    appendEncoded(out, static_cast<const unsigned char*>(data), size);
    return out;
}

std::string encode(const std::string& in) {
    VLOG_VERBOSE << "[F] encode";
    return encode(in.data(), in.size());
}

std::string decode(const std::string& in) {
    VLOG_VERBOSE << "[F] decode";
    return decode(in.data(), in.size());
}

std::string decode(const char* text, size_t size) {
    std::unique_ptr<EVP_ENCODE_CTX, EncodeCtxDeleter> ctx(EVP_ENCODE_CTX_new());
    if (!ctx) throw std::bad_alloc();
    EVP_DecodeInit(ctx.get());

    std::string out(size / 4 * 3 + 3, '\0');
    auto* dest = reinterpret_cast<unsigned char*>(out.data());
    const auto* source = reinterpret_cast<const unsigned char*>(text);
    size_t produced = 0;
    size_t remaining = size;
    while (remaining > 0) {
        const int chunk = static_cast<int>(std::min<size_t>(remaining, INT_MAX / 2));
        int written = 0;
        const int rc = EVP_DecodeUpdate(ctx.get(), dest + produced, &written, source, chunk);
        produced += static_cast<size_t>(written);
        if (rc < 0) {
            out.resize(produced);
            return out;
        }
        source += chunk;
        remaining -= static_cast<size_t>(chunk);
    }
    int tail = 0;
    if (EVP_DecodeFinal(ctx.get(), dest + produced, &tail) > 0) produced += static_cast<size_t>(tail);
    out.resize(produced);
    return out;
}

void StreamEncoder::update(const void* data, size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    while (pendingSize_ > 0 && pendingSize_ < 3 && size > 0) {
        pending_[pendingSize_++] = *bytes++;
        --size;
    }
    if (pendingSize_ == 3) {
        appendEncoded(out_, pending_, 3);
        pendingSize_ = 0;
    }
    const size_t whole = size / 3 * 3;
    appendEncoded(out_, bytes, whole);
    for (size_t i = whole; i < size; ++i) pending_[pendingSize_++] = bytes[i];
}

void StreamEncoder::finish() {
    appendEncoded(out_, pending_, pendingSize_);
    pendingSize_ = 0;
}

}  // namespace base64

std::filesystem::path getPathFromBase64(const std::string& text) {
    return std::filesystem::u8path(base64::decode(text));
}

}  // namespace Vesk::Crypto
