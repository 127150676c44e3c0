// Whether a name stands for a regular file, and how large that is.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>

namespace fnt {

// The bytes of a regular file; -1 for anything else, for none, and when they cannot be told. The arguments
// are those of statx(), whose fields have 64 bits everywhere: stat() fails on a 32-bit machine for a file
// with a time stamp beyond the year 2038.
[[nodiscard]] inline std::int64_t regularFileSize(int folder, const char* path, int flags) {
    struct statx status {};
    const bool regular =
        ::statx(folder, path, flags, STATX_TYPE | STATX_SIZE, &status) == 0 && S_ISREG(status.stx_mode);
    return regular ? static_cast<std::int64_t>(status.stx_size) : -1;
}

}  // namespace fnt
