#include "common/FileTools.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace fs = std::filesystem;

namespace Vesk::Crypto::fstools {
namespace {

constexpr int kMaxLinkHops = 40;  // as the kernel's own limit for symlink chains

fs::path absoluteNormal(const fs::path& path) {
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    return (error ? path : absolute).lexically_normal();
}

}  // namespace

fs::path followLinks(const fs::path& path) {
    fs::path current = path;
    std::error_code error;
    for (int hop = 0; hop < kMaxLinkHops && fs::is_symlink(fs::symlink_status(current, error)); ++hop) {
        const fs::path target = fs::read_symlink(current, error);
        if (error) break;
        current = target.is_absolute() ? target : current.parent_path() / target;
    }
    return current;
}

bool isSameFile(const fs::path& a, const fs::path& b) {
    if (a.empty() || b.empty()) return false;
    std::error_code error;
    if (fs::exists(a, error) && fs::exists(b, error)) {
        const bool same = fs::equivalent(a, b, error);
        if (!error) return same;
    }
    // A file that does not exist yet: the same name once links and dots are resolved.
    const auto canonical = [](const fs::path& path) {
        std::error_code failed;
        const fs::path resolved = fs::weakly_canonical(absoluteNormal(followLinks(path)), failed);
        return failed ? absoluteNormal(followLinks(path)) : resolved;
    };
    return canonical(a) == canonical(b);
}

bool isRegularFile(const fs::path& path) {
    struct stat info {};
    return !path.empty() && ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

FileDescriptor openRegularFile(const fs::path& path) {
    // Checked before opening, since opening a FIFO or a tape has effects of its own, and again on
    // the open file, since the name may have changed hands in between.
    if (!isRegularFile(path)) return FileDescriptor();
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info {};
    if (!fd.valid() || ::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return FileDescriptor();
    const int flags = ::fcntl(fd.get(), F_GETFL);
    if (flags >= 0) ::fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK);
    return fd;
}

bool readFileTail(const fs::path& path, size_t count, std::string& out) {
    const FileDescriptor fd = openRegularFile(path);
    struct stat info {};
    if (!fd.valid() || ::fstat(fd.get(), &info) != 0 || static_cast<size_t>(info.st_size) < count) return false;
    out.assign(count, '\0');
    size_t done = 0;
    while (done < count) {
        const ssize_t got = ::pread(fd.get(), out.data() + done, count - done,
                                    info.st_size - static_cast<off_t>(count) + static_cast<off_t>(done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        done += static_cast<size_t>(got);
    }
    return true;
}

}  // namespace Vesk::Crypto::fstools
