#pragma once

#include <filesystem>

namespace Vesk::Crypto {

// A working copy beside a PDF, for stamping it before it is signed. The copy is removed when the
// guard ends unless it was kept under its final name.
class StampedPdfCopy {
public:
    explicit StampedPdfCopy(const std::filesystem::path& pdf);
    ~StampedPdfCopy();
    StampedPdfCopy(const StampedPdfCopy&) = delete;
    StampedPdfCopy& operator=(const StampedPdfCopy&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // Renames the copy over `target` in one step; false when that failed (the copy then goes).
    bool keepAs(const std::filesystem::path& target);

private:
    std::filesystem::path path_;
    bool kept_ = false;
};

}  // namespace Vesk::Crypto
