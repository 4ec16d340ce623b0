#include "blob.h"

#include "handle_registry.h"
#include "last_error.h"

namespace cades_emulator {
namespace {

struct OwnedBlob {
    CRYPT_DATA_BLOB blob{};
    std::vector<BYTE> bytes;
    OpenSslBuffer encoded;
};

HandleRegistry<OwnedBlob>& blobs() {
    static HandleRegistry<OwnedBlob> registry;
    return registry;
}

}  // namespace

PCRYPT_DATA_BLOB newBlob(std::vector<BYTE> bytes) {
    auto owned = std::make_unique<OwnedBlob>();
    owned->bytes = std::move(bytes);
    owned->blob.cbData = static_cast<DWORD>(owned->bytes.size());
    owned->blob.pbData = owned->bytes.data();
    PCRYPT_DATA_BLOB handle = &owned->blob;
    blobs().add(handle, std::move(owned));
    return handle;
}

PCRYPT_DATA_BLOB newBlob(OpenSslBuffer bytes, size_t size) {
    auto owned = std::make_unique<OwnedBlob>();
    owned->blob.cbData = static_cast<DWORD>(size);
    owned->blob.pbData = bytes.get();
    owned->encoded = std::move(bytes);
    PCRYPT_DATA_BLOB handle = &owned->blob;
    blobs().add(handle, std::move(owned));
    return handle;
}

}  // namespace cades_emulator

using namespace cades_emulator;

extern "C" CSP_BOOL CadesFreeBlob(PCRYPT_DATA_BLOB pBlob) {
    if (pBlob == nullptr) return TRUE;
    return blobs().take(pBlob) ? TRUE : fail(E_INVALIDARG);
}

// No blob array is ever handed out by this library, so only null can be freed.
extern "C" CSP_BOOL CadesFreeBlobArray(PCADES_BLOB_ARRAY pBlobArray) {
    return pBlobArray == nullptr ? TRUE : fail(E_INVALIDARG);
}
