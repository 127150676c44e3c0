// The files that make the page, as they lie in page/, built into the program.
#pragma once

#include <string_view>

namespace sim {

struct PageFile {
    std::string_view path;  // as requested: "/" for index.html, else "/" and the file's name
    std::string_view type;  // its Content-Type
    std::string_view bytes;
};

// nullptr: there is no such file.
[[nodiscard]] const PageFile* findPageFile(std::string_view path);

}  // namespace sim
