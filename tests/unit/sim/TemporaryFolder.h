// A folder of the test's own, removed with all that is in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "sim_test.XXXXXX";
        m_path = ::mkdtemp(pattern.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(m_path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::string path() const { return m_path; }
    [[nodiscard]] std::string file(const std::string& name) const { return m_path / name; }
    [[nodiscard]] bool empty() const { return std::filesystem::is_empty(m_path); }

    [[nodiscard]] std::string read(const std::string& name) const {
        std::ifstream stream(file(name));
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    void write(const std::string& name, const std::string& text) const { std::ofstream(file(name)) << text; }

private:
    std::filesystem::path m_path;
};
