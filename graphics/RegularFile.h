// Opening the files that drawings are loaded from and saved to.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>

#include "freetype/fnt_file.h"

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;  // closed at the end of the scope

namespace regular_file {

// The bytes of an open regular file; -1 for anything else and when they cannot be told.
[[nodiscard]] inline std::int64_t size(int fd) {
    return fnt::regularFileSize(fd, "", AT_EMPTY_PATH);
}

// Takes the descriptor over. Null for -1 and when no stream can be made of it.
[[nodiscard]] inline File adopt(int fd, const char* mode) {
    std::FILE* const file = fd >= 0 ? ::fdopen(fd, mode) : nullptr;
    if (fd >= 0 && file == nullptr) {
        ::close(fd);
    }
    return File(file);
}

}  // namespace regular_file

// Opens a regular file for binary reading. Null for a null path, for a file that cannot be opened, and for a
// folder, a FIFO, a socket or a device. Never blocks: a FIFO that is named in a drawing command must not stop
// the panel.
[[nodiscard]] inline File openRegularFile(const char* path) {
    const int fd = path != nullptr ? ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    File file = regular_file::adopt(fd, "rb");
    return file != nullptr && regular_file::size(fd) >= 0 ? std::move(file) : nullptr;
}

// Bytes of an open regular file, wherever it is being read; 0 when they cannot be told.
[[nodiscard]] inline std::uint64_t regularFileSize(std::FILE* file) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(regular_file::size(::fileno(file)), 0));
}

// Opens a file for binary writing, made when there is none and emptied unless `keep` is true. Null for a null
// path and when it cannot be opened. Never waits for the reader of a FIFO.
[[nodiscard]] inline File createFile(const char* path, bool keep = false) {
    const int flags = O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC | (keep ? 0 : O_TRUNC);
    return regular_file::adopt(path != nullptr ? ::open(path, flags, 0666) : -1, "wb");
}

// Reads or writes `size` bytes. False when not all of them can be.
[[nodiscard]] inline bool readAll(std::FILE* file, unsigned char* bytes, std::size_t size) {
    return size == 0 || std::fread(bytes, size, 1, file) == 1;
}
[[nodiscard]] inline bool writeAll(std::FILE* file, const unsigned char* bytes, std::size_t size) {
    return size == 0 || std::fwrite(bytes, size, 1, file) == 1;
}

// Closes a file that was written to: only then is it known that all of it is there. False when it is not.
[[nodiscard]] inline bool finish(File file) {
    return std::fclose(file.release()) == 0;
}
