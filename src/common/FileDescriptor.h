#pragma once
// An owned POSIX file descriptor, closed when its owner ends.

#include <unistd.h>

namespace Vesk::Crypto::fstools {

class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            fd_ = other.fd_;
            other.fd_ = -1;
        }
        return *this;
    }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    // Gives the descriptor up to a new owner.
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    bool close() {
        if (fd_ < 0) return true;
        const int rc = ::close(fd_);
        fd_ = -1;
        return rc == 0;
    }

private:
    int fd_;
};

}  // namespace Vesk::Crypto::fstools
