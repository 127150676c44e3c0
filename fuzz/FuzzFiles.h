// Files that a target makes out of its input, and what it does with output.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "fuzz/FuzzTarget.h"

// A file whose bytes are replaced again and again.
class FuzzFile {
public:
    // In memory, without a name in any folder.
    FuzzFile() : m_fd(::memfd_create("fuzz", MFD_CLOEXEC)) {
        require(m_fd >= 0, "a file in memory can be made");
        m_path = "/proc/self/fd/" + std::to_string(m_fd);
    }
    // By name.
    explicit FuzzFile(const char* path)
        : m_fd(::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666)), m_path(path) {
        require(m_fd >= 0, "a file can be made in the working folder");
    }
    ~FuzzFile() { ::close(m_fd); }
    FuzzFile(const FuzzFile&) = delete;
    FuzzFile& operator=(const FuzzFile&) = delete;

    [[nodiscard]] const char* path() const { return m_path.c_str(); }

    void put(const void* bytes, std::size_t size) {
        const bool written = ::pwrite(m_fd, bytes, size, 0) == static_cast<ssize_t>(size) &&
                             ::ftruncate(m_fd, static_cast<off_t>(size)) == 0;
        require(written, "the file takes the input");
    }
    void put(const std::string& bytes) { put(bytes.data(), bytes.size()); }

private:
    int m_fd;
    std::string m_path;
};

// A working folder of the process's own in the folder for temporary files, which had better be in memory. It
// is removed at the process's regular end.
class FuzzFolder {
public:
    FuzzFolder() : m_before(std::filesystem::current_path()) {
        std::string pattern = std::filesystem::temp_directory_path() / "fuzz-XXXXXX";
        require(::mkdtemp(&pattern[0]) != nullptr, "a folder for temporary files can be made");
        m_path = pattern;
        std::filesystem::current_path(m_path);
        std::filesystem::create_directory("font");
    }
    ~FuzzFolder() {
        std::filesystem::current_path(m_before);
        std::filesystem::remove_all(m_path);
    }
    FuzzFolder(const FuzzFolder&) = delete;
    FuzzFolder& operator=(const FuzzFolder&) = delete;

private:
    std::filesystem::path m_before;
    std::filesystem::path m_path;
};

// Gives a standard stream a place where everything is lost, without a system call. The descriptor stays:
// reports of a fuzzer go there by themselves.
inline void silence(std::FILE*& stream) {
    cookie_io_functions_t nowhere = {};
    nowhere.write = [](void*, const char*, std::size_t size) { return static_cast<ssize_t>(size); };
    stream = ::fopencookie(nullptr, "w", nowhere);
    require(stream != nullptr, "a stream without a file can be made");
}
