# Writes the files of a web page into a C++ source that defines sim::findPageFile.
#   cmake -D OUTPUT=FILE.cpp -D FILES="a.html;b.css" -P EmbedPage.cmake

set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")

set(arrays "")
set(table "")
set(count 0)
foreach(file IN LISTS FILES)
  get_filename_component(name ${file} NAME)
  get_filename_component(extension ${file} LAST_EXT)
  string(SUBSTRING ${extension} 1 -1 extension)
  set(path "/${name}")
  if(name STREQUAL "index.html")
    set(path "/")
  endif()
  file(READ ${file} hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(APPEND arrays "constexpr unsigned char kFile${count}[] = {${bytes}};\n")
  string(APPEND table
    "    {\"${path}\", \"${type_${extension}}\", {reinterpret_cast<const char*>(kFile${count}), sizeof kFile${count}}},\n")
  math(EXPR count "${count} + 1")
endforeach()

file(WRITE ${OUTPUT} "// Made by cmake/EmbedPage.cmake.
#include \"sim/web/PageFiles.h\"

namespace sim {
namespace {

${arrays}
const PageFile kFiles[] = {
${table}};

}  // namespace

const PageFile* findPageFile(std::string_view path) {
    for (const PageFile& file : kFiles) {
        if (file.path == path) {
            return &file;
        }
    }
    return nullptr;
}

}  // namespace sim
")
