// Opening the files that drawings are loaded from.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

// Opens a regular file for binary reading; the caller closes it with fclose. Returns null for a null path,
// for a file that cannot be opened, and for a folder, a FIFO, a socket or a device. Never blocks: a FIFO that
// is named in a drawing command must not stop the panel.
[[nodiscard]] inline std::FILE* openRegularFile(const char* path) {
    const int fd = path != nullptr ? ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    struct stat st {};
    if (fd >= 0 && ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) {
        if (std::FILE* const file = ::fdopen(fd, "rb")) {
            return file;
        }
    }
    if (fd >= 0) {
        ::close(fd);
    }
    return nullptr;
}

// Bytes of an open regular file, wherever it is being read; 0 when they cannot be told.
[[nodiscard]] inline std::uint64_t regularFileSize(std::FILE* file) {
    struct stat st {};
    return ::fstat(::fileno(file), &st) == 0 && st.st_size > 0 ? static_cast<std::uint64_t>(st.st_size) : 0;
}
