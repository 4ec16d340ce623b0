// Replacing a user's file safely: whole or not at all, through symlinks, keeping owner, mode and
// hard links, and leaving no temporary file behind after a kill.

#include "common/FileTools.h"
#include "common/Logging.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace Vesk::Crypto::fstools {
namespace {

enum class Outcome { Written, NoTemporary, Failed };

fs::path folderOf(const fs::path& file) { return file.has_parent_path() ? file.parent_path() : fs::path("."); }

bool permissionDenied(int error) { return error == EACCES || error == EPERM || error == EROFS; }

// Our temporaries are named ".vesk-PID-RANDOM", the PID in ten digits: the name is short and of
// one length whatever the target's (a long target name must not make it pass the system's limit),
// and the PID tells whether its writer still runs. Older versions put the target's name in front
// (".NAME.vesk-PID-RANDOM"); their leftovers are recognised too.
constexpr const char* kTemporaryPrefix = ".vesk-";

fs::path temporaryName(const fs::path& target) {
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    thread_local std::mt19937_64 generator{std::random_device{}()};
    std::string suffix(10, '0');
    for (char& c : suffix) c = alphabet[generator() % (sizeof(alphabet) - 1)];
    char pid[16];
    std::snprintf(pid, sizeof(pid), "%010ld", static_cast<long>(::getpid()));
    return folderOf(target) / (kTemporaryPrefix + std::string(pid) + "-" + suffix);
}

// Removes the temporaries of ours in the target's folder whose writer was killed before it could.
void removeStaleTemporaries(const fs::path& target) {
    const std::string olderPrefix = "." + target.filename().string() + kTemporaryPrefix;
    std::error_code error;
    for (fs::directory_iterator it(folderOf(target), error), end; !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        size_t prefix = 0;
        for (const std::string& candidate : {std::string(kTemporaryPrefix), olderPrefix})
            if (name.compare(0, candidate.size(), candidate) == 0) prefix = candidate.size();
        if (prefix == 0) continue;
        char* rest = nullptr;
        const long pid = std::strtol(name.c_str() + prefix, &rest, 10);
        if (pid <= 0 || rest == nullptr || *rest != '-' || pid == ::getpid()) continue;
        struct stat info {};
        if (::lstat(it->path().c_str(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != ::geteuid()) continue;
        if (::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH) continue;  // its writer still runs
        VLOG_INFO << "Removing a temporary file left by a stopped writer: " << it->path().string();
        ::unlink(it->path().c_str());
    }
}

bool writeAll(int fd, const char* data, size_t size, off_t offset = -1) {
    while (size > 0) {
        const ssize_t written = offset < 0 ? ::write(fd, data, size) : ::pwrite(fd, data, size, offset);
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
        if (offset >= 0) offset += written;
    }
    return true;
}

// Writes the whole content from the file's current position, or from `offset` when one is given.
bool writeContent(int fd, const FileContent& content, off_t offset = -1) {
    return content.produce([fd, &offset](const char* data, size_t size) {
        if (!writeAll(fd, data, size, offset)) return false;
        if (offset >= 0) offset += static_cast<off_t>(size);
        return true;
    });
}

void syncFolder(const fs::path& folder) {
    const FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.valid()) ::fsync(fd.get());
}

// Rewrites the file itself, for the cases a new file cannot stand in for it: other hard links
// must see the new content, or the folder or the owner cannot be written. The space is reserved
// first, so a full disk fails before the old content is touched.
bool rewriteInPlace(const fs::path& target, const struct stat& existing, const FileContent& content) {
    const FileDescriptor fd(::open(target.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (!fd.valid() || ::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_dev != existing.st_dev ||
        info.st_ino != existing.st_ino)
        return false;
    const size_t size = content.size();
#ifdef FALLOC_FL_KEEP_SIZE
    if (size > 0 && ::fallocate(fd.get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) != 0 && errno == ENOSPC)
        return false;
#endif
    return writeContent(fd.get(), content, 0) && ::ftruncate(fd.get(), static_cast<off_t>(size)) == 0 &&
           ::fsync(fd.get()) == 0;
}

// Writes the content into a new file in the target's folder and puts it in the target's place.
// The new file is unnamed (O_TMPFILE) until it is whole, so a kill leaves nothing behind;
// where the system has no unnamed files, it is named as a temporary of ours.
Outcome replaceThroughTemporary(const fs::path& target, const struct stat* existing, const FileContent& content,
                                bool unnamed) {
    const fs::path folder = folderOf(target);
    fs::path temporary;
    FileDescriptor fd;
#ifdef O_TMPFILE
    if (unnamed) {
        fd = FileDescriptor(::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
        if (!fd.valid() && permissionDenied(errno)) return Outcome::NoTemporary;
    }
#else
    unnamed = false;
#endif
    if (!fd.valid()) {
        unnamed = false;
        temporary = temporaryName(target);
        fd = FileDescriptor(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
        if (!fd.valid()) return permissionDenied(errno) ? Outcome::NoTemporary : Outcome::Failed;
    }
    const auto fail = [&](Outcome outcome) {
        if (!temporary.empty()) ::unlink(temporary.c_str());
        return outcome;
    };

    if (!writeContent(fd.get(), content)) return fail(Outcome::Failed);
    if (existing != nullptr) {
        // The owner first: changing it clears set-user-ID bits, which the mode then restores.
        struct stat mine {};
        if (::fstat(fd.get(), &mine) != 0) return fail(Outcome::Failed);
        if ((mine.st_uid != existing->st_uid || mine.st_gid != existing->st_gid) &&
            ::fchown(fd.get(), existing->st_uid, existing->st_gid) != 0)
            return fail(Outcome::NoTemporary);
        if (::fchmod(fd.get(), existing->st_mode & 07777) != 0) return fail(Outcome::Failed);
    }
    if (::fsync(fd.get()) != 0) return fail(Outcome::Failed);

    if (unnamed) {
        const std::string self = "/proc/self/fd/" + std::to_string(fd.get());
        // A new file takes its name at once, whole; an existing one is replaced by a rename.
        if (existing == nullptr && ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, target.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            syncFolder(folder);
            return Outcome::Written;
        }
        temporary = temporaryName(target);
        if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, temporary.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            temporary.clear();
            fd.close();
            return replaceThroughTemporary(target, existing, content, false);  // no /proc: a named one
        }
    }
    if (!fd.close() || ::rename(temporary.c_str(), target.c_str()) != 0) return fail(Outcome::Failed);
    syncFolder(folder);
    return Outcome::Written;
}

}  // namespace

bool writeFileAtomically(const fs::path& path, const FileContent& content) {
    if (path.empty()) return false;
    const fs::path target = followLinks(path);  // the link stays a link; its file gets the content
    struct stat existing {};
    const bool exists = ::stat(target.c_str(), &existing) == 0;
    if (!exists && errno != ENOENT) return false;
    if (exists && !S_ISREG(existing.st_mode)) {
        VLOG_ERROR << "Not a regular file, left as it is: " << target.string();
        return false;
    }
    if (exists && existing.st_nlink > 1) return rewriteInPlace(target, existing, content);

    removeStaleTemporaries(target);
    const Outcome outcome = replaceThroughTemporary(target, exists ? &existing : nullptr, content, true);
    if (outcome == Outcome::NoTemporary && exists) return rewriteInPlace(target, existing, content);
    return outcome == Outcome::Written;
}

bool writeFileAtomically(const fs::path& path, const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    return writeFileAtomically(
        path, FileContent{[size] { return size; }, [bytes, size](const ByteSink& sink) { return sink(bytes, size); }});
}

}  // namespace Vesk::Crypto::fstools
