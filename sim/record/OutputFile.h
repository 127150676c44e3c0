// A file that is written piece by piece, and says why when it cannot be.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace sim {

class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile() { (void)close(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Makes the file, or empties it; one that was open is closed. False: see error().
    [[nodiscard]] bool open(const std::string& file);

    // Hands the bytes to the kernel before it returns, so that they outlive this process. False: see error();
    // so is every further write.
    [[nodiscard]] bool write(std::string_view bytes);

    // False: what was written may not be there, see error(). A file that is not open is closed already.
    [[nodiscard]] bool close();

    [[nodiscard]] bool isOpen() const { return m_fd >= 0; }
    [[nodiscard]] std::uint64_t bytes() const { return m_bytes; }  // written since open
    // E.g. "cannot write a.gif: No space left on device"; empty: nothing has failed since open.
    [[nodiscard]] const std::string& error() const { return m_error; }

private:
    bool failed();

    std::string m_name;
    int m_fd = -1;
    std::uint64_t m_bytes = 0;
    std::string m_error;
};

}  // namespace sim
