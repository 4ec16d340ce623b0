#pragma once
// Whole-file reading and writing. Nothing here throws for a missing or unreadable file:
// each function answers false after one log line.

#include "common/ByteSink.h"
#include "common/FileDescriptor.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Vesk::Crypto::fstools {

// Only regular files (after symlinks are followed) are read: a FIFO, a device or a folder is no
// document, and reading one could block or never end.
template <typename Byte>
bool readFileToVector(const std::filesystem::path& path, std::vector<Byte>& out);

template <typename Byte>
bool saveVectorToFile(const std::filesystem::path& path, const std::vector<Byte>& data);

// Replaces the file whole or not at all. A symlink is written through (the link stays a link),
// a replaced file keeps its owner, mode and hard links, and a kill in the middle leaves no
// temporary file behind for good. Only a regular file (or no file yet) is ever replaced.
bool writeFileAtomically(const std::filesystem::path& path, const void* data, size_t size);

// Content made piece by piece as it is written, so that it need not be held whole: `produce`
// hands every piece to the sink, in order, and answers false when the sink does; a write may ask
// for it more than once. `size` is asked only when space must be reserved first.
struct FileContent {
    std::function<size_t()> size;
    std::function<bool(const ByteSink&)> produce;
};
bool writeFileAtomically(const std::filesystem::path& path, const FileContent& content);

bool saveStringToFile(const std::filesystem::path& path, std::string& text);

bool readFileAsBase64(const std::filesystem::path& path, std::string& out);
// The text may be a span of a larger request: it is decoded straight from there.
bool saveFileFromBase64(const std::filesystem::path& path, std::string_view b64);

bool pathExists(const std::filesystem::path& path);

// The path with the symlinks of its last component followed: the name a write finally lands on.
std::filesystem::path followLinks(const std::filesystem::path& path);

// True when both paths name the same file on disk, however they are spelled: the same file when
// both exist, the same canonical path otherwise. An empty path names no file.
bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

// True for a regular file once symlinks are followed.
bool isRegularFile(const std::filesystem::path& path);

// Opens a regular file for reading; never blocks on a FIFO or a device, which give an invalid
// descriptor like a missing file does.
FileDescriptor openRegularFile(const std::filesystem::path& path);

// The last `count` bytes of a regular file; false when it is shorter or no regular file.
bool readFileTail(const std::filesystem::path& path, size_t count, std::string& out);

}  // namespace Vesk::Crypto::fstools
