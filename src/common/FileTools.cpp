#include "common/FileTools.h"

#include "common/Base64.h"
#include "common/Logging.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace fs = std::filesystem;

namespace Vesk::Crypto::fstools {
namespace {

// Maps in the fresh pages of a large buffer with one call rather than one page fault per page,
// about a fiftieth of the time of hashing the file. Only a hint: older kernels refuse it.
void prefault(void* data, size_t size) {
#ifdef MADV_POPULATE_WRITE
    const auto page = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
    const uintptr_t skipped = (page - reinterpret_cast<uintptr_t>(data) % page) % page;  // up to the first whole page
    if (size < (1u << 20) || size <= skipped + page) return;
    ::madvise(static_cast<char*>(data) + skipped, (size - skipped) / page * page, MADV_POPULATE_WRITE);
#else
    (void)data, (void)size;
#endif
}

// Reads a whole open file into `out`, growing it when the file grows while it is read.
template <typename Byte>
bool readAll(int fd, std::vector<Byte>& out) {
    static_assert(sizeof(Byte) == 1, "byte vectors only");
    struct stat info {};
    if (::fstat(fd, &info) != 0) return false;
    out.reserve(static_cast<size_t>(info.st_size));
    prefault(out.data(), out.capacity());
    out.resize(static_cast<size_t>(info.st_size));
    size_t done = 0;
    while (done < out.size()) {
        const ssize_t got = ::read(fd, out.data() + done, out.size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) break;
        done += static_cast<size_t>(got);
    }
    out.resize(done);
    // A file that grew while it was read: the rest too.
    char more[1 << 14];
    for (;;) {
        const ssize_t got = ::read(fd, more, sizeof(more));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) return true;
        out.insert(out.end(), reinterpret_cast<const Byte*>(more), reinterpret_cast<const Byte*>(more) + got);
    }
}

}  // namespace

bool pathExists(const fs::path& path) {
    std::error_code ec;
    return fs::exists(fs::symlink_status(path, ec));
}

template <typename Byte>
bool readFileToVector(const fs::path& path, std::vector<Byte>& out) {
    if (!pathExists(path)) {
        VLOG_ERROR << "File " << path.string() << " is not exists";
        return false;
    }
    if (!out.empty()) {
        VLOG_DEBUG << "Buffer is not empty, but is cleaned for read";
        out.clear();
    }
    const FileDescriptor fd = openRegularFile(path);
    if (!fd.valid() || !readAll(fd.get(), out)) {
        VLOG_ERROR << "Open file: " << path.string() << " fault";
        out.clear();
        return false;
    }
    return true;
}

template <typename Byte>
bool saveVectorToFile(const fs::path& path, const std::vector<Byte>& data) {
    if (data.empty()) {
        VLOG_ERROR << "There is nothing to save";
        return false;
    }
    if (!writeFileAtomically(path, data.data(), data.size())) {
        VLOG_ERROR << "Open file: " << path.string() << " fault";
        return false;
    }
    return true;
}

template bool readFileToVector<unsigned char>(const fs::path&, std::vector<unsigned char>&);
template bool readFileToVector<char>(const fs::path&, std::vector<char>&);
template bool saveVectorToFile<unsigned char>(const fs::path&, const std::vector<unsigned char>&);
template bool saveVectorToFile<char>(const fs::path&, const std::vector<char>&);

bool saveStringToFile(const fs::path& path, std::string& text) {
    std::error_code ec;
    if (path.has_parent_path() && !fs::exists(path.parent_path(), ec)) fs::create_directories(path.parent_path(), ec);
    if (!writeFileAtomically(path, text.data(), text.size())) {
        VLOG_ERROR << "Open file: " << path.string() << " fault";
        return false;
    }
    return true;
}

bool readFileAsBase64(const fs::path& path, std::string& out) {
    VLOG_VERBOSE << "[F] readFileAsBase64: " << path.string();
    if (!pathExists(path)) {
        VLOG_ERROR << "File not found: " << path.string();
        return false;
    }
    const FileDescriptor fd = openRegularFile(path);
    struct stat info {};
    if (!fd.valid() || ::fstat(fd.get(), &info) != 0) {
        VLOG_ERROR << "Open file: " << path.string() << " error";
        return false;
    }
    // Read in blocks rather than byte by byte; the text still grows in one output string.
    out.reserve(out.size() + (static_cast<size_t>(info.st_size) + 2) / 3 * 4);
    base64::StreamEncoder encoder(out);
    std::vector<char> block(1 << 16);
    for (;;) {
        const ssize_t got = ::read(fd.get(), block.data(), block.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            VLOG_ERROR << "Open file: " << path.string() << " error";
            return false;
        }
        if (got == 0) break;
        encoder.update(block.data(), static_cast<size_t>(got));
    }
    encoder.finish();
    return true;
}

bool saveFileFromBase64(const fs::path& path, std::string_view b64) {
    VLOG_VERBOSE << "[F] saveFileFromBase64: " << path.string();
    // Decoded block by block straight into the file: the bytes are never held whole.
    const FileContent content{[b64] { return base64::decodedSize(b64.data(), b64.size()); },
                              [b64](const ByteSink& sink) { return base64::decode(b64.data(), b64.size(), sink); }};
    if (!writeFileAtomically(path, content)) {
        VLOG_ERROR << "Open file: " << path.string() << " error";
        return false;
    }
    return true;
}

}  // namespace Vesk::Crypto::fstools
