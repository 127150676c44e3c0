// A working folder of a test's own: what the code under test opens by a relative name is looked for there.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class ScratchFolder {
public:
    ScratchFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "beltpack-XXXXXX";
        m_path = ::mkdtemp(pattern.data());
        std::filesystem::current_path(m_path);
    }
    ~ScratchFolder() {
        std::filesystem::current_path(m_home);
        std::filesystem::remove_all(m_path);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

private:
    std::filesystem::path m_home = std::filesystem::current_path();
    std::filesystem::path m_path;
};

inline void writeFile(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
}

inline std::string readFile(const std::string& name) {
    std::ifstream stream(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// A shape file: the sides' low 16 bits and whatever mask is given.
inline std::string shapeFile(unsigned width, unsigned height, const std::string& mask) {
    const auto low = [](unsigned v) { return static_cast<char>(v & 0xFF); };
    return std::string("SHPE") + low(width) + low(width >> 8) + low(height) + low(height >> 8) + mask;
}
