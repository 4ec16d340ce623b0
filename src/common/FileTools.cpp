#include "common/FileTools.h"

#include "common/Base64.h"
#include "common/CanonicalBase64.h"
#include "common/Logging.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <system_error>

namespace fs = std::filesystem;

namespace Vesk::Crypto::fstools {
namespace {

// Maps in the fresh pages of a large buffer with one call rather than one page fault per page,
// about a fiftieth of the time of hashing the file. Only a hint: older kernels refuse it.
void prefault(void* data, size_t size) {
#ifdef MADV_POPULATE_WRITE
    const auto page = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto begin = (reinterpret_cast<uintptr_t>(data) + page - 1) / page * page;
    const auto end = (reinterpret_cast<uintptr_t>(data) + size) / page * page;
    if (size >= (1u << 20) && end > begin) ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE);
#else
    (void)data, (void)size;
#endif
}

// Owns a file descriptor.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    bool close() {
        if (fd_ < 0) return true;
        const int rc = ::close(fd_);
        fd_ = -1;
        return rc == 0;
    }

private:
    int fd_;
};

bool writeAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
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
    std::error_code ec;
    std::ifstream in(path, std::ios::binary);
    if (fs::is_directory(path, ec) || !in) {
        VLOG_ERROR << "Open file: " << path.string() << " fault";
        return false;
    }
    in.seekg(0, std::ios::end);
    const auto size = in.tellg();
    in.seekg(0, std::ios::beg);
    if (size < 0) {
        VLOG_ERROR << "Open file: " << path.string() << " fault";
        return false;
    }
    out.reserve(static_cast<size_t>(size));
    prefault(out.data(), out.capacity());
    out.resize(static_cast<size_t>(size));
    if (size > 0 && !in.read(reinterpret_cast<char*>(out.data()), size)) {
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

bool writeFileAtomically(const fs::path& path, const void* data, size_t size) {
    const auto folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
    std::string pattern = (folder / ("." + path.filename().string() + ".tmp-XXXXXX")).string();
    FileDescriptor fd(::mkstemp(pattern.data()));
    if (!fd.valid()) return false;
    const fs::path temporary(pattern);

    bool ok = writeAll(fd.get(), static_cast<const char*>(data), size) && ::fsync(fd.get()) == 0;
    // A replaced file keeps its permissions; a new one gets the usual ones for the user.
    struct stat existing {};
    if (ok && ::stat(path.c_str(), &existing) == 0) {
        ok = ::fchmod(fd.get(), existing.st_mode & 07777) == 0;
    } else if (ok) {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ok = ::fchmod(fd.get(), 0666 & ~mask) == 0;
    }
    ok = fd.close() && ok;
    if (ok) ok = ::rename(temporary.c_str(), path.c_str()) == 0;
    if (!ok) {
        std::error_code ec;
        fs::remove(temporary, ec);
    }
    return ok;
}

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
    std::error_code ec;
    std::ifstream in(path, std::ios::binary);
    if (fs::is_directory(path, ec) || !in) {
        VLOG_ERROR << "Open file: " << path.string() << " error";
        return false;
    }
    // Read in blocks rather than byte by byte; the text still grows in one output string.
    const auto size = fs::file_size(path, ec);
    if (!ec) out.reserve(out.size() + (size + 2) / 3 * 4);
    base64::StreamEncoder encoder(out);
    std::vector<char> block(1 << 16);
    while (in.read(block.data(), static_cast<std::streamsize>(block.size())) || in.gcount() > 0) {
        encoder.update(block.data(), static_cast<size_t>(in.gcount()));
    }
    if (in.bad()) {
        VLOG_ERROR << "Open file: " << path.string() << " error";
        return false;
    }
    encoder.finish();
    return true;
}

bool saveFileFromBase64(const fs::path& path, std::string_view b64) {
    VLOG_VERBOSE << "[F] saveFileFromBase64: " << path.string();
    // A document from the editor is plain base64; its fast decoding gives the very same bytes.
    auto canonical = base64::decodeCanonical(b64);
    const std::string bytes = canonical ? std::move(*canonical) : base64::decode(b64.data(), b64.size());
    if (!writeFileAtomically(path, bytes.data(), bytes.size())) {
        VLOG_ERROR << "Open file: " << path.string() << " error";
        return false;
    }
    return true;
}

}  // namespace Vesk::Crypto::fstools
