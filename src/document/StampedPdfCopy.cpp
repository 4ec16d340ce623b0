#include "document/StampedPdfCopy.h"

#include "common/Logging.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace Vesk::Crypto {
namespace fs = std::filesystem;

StampedPdfCopy::StampedPdfCopy(const fs::path& pdf) {
    // The name is reserved by creating the file, in the PDF's own folder so that the final
    // rename never crosses file systems.
    const fs::path folder = pdf.has_parent_path() ? pdf.parent_path() : fs::path(".");
    std::string pattern = (folder / ("." + pdf.stem().string() + ".stamp-XXXXXX.pdf")).string();
    const int fd = ::mkstemps(pattern.data(), 4);
    if (fd >= 0) {
        ::close(fd);
        path_ = pattern;
    } else {
        VLOG_ERROR << "Cannot create a working copy beside " << pdf.string();
        path_ = folder / ("." + pdf.filename().string() + ".stamp");
    }
}

StampedPdfCopy::~StampedPdfCopy() {
    if (kept_) return;
    std::error_code error;
    fs::remove(path_, error);
}

bool StampedPdfCopy::keepAs(const fs::path& target) {
    std::error_code error;
    // The copy was made private; it takes the permissions of the file it replaces.
    const auto replaced = fs::status(target, error);
    fs::permissions(path_,
                    fs::exists(replaced) ? replaced.permissions()
                                         : fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                                               fs::perms::others_read,
                    error);
    fs::rename(path_, target, error);
    if (error) {
        VLOG_ERROR << "Cannot rename " << path_.string() << " to " << target.string() << ": " << error.message();
        return false;
    }
    kept_ = true;
    return true;
}

}  // namespace Vesk::Crypto
