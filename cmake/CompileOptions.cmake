# beltpack_options: the warnings, sanitizers and include root that every target of the project uses.
# Includes are written from the project's root: #include "graphics/GrBase.h".

add_library(beltpack_options INTERFACE)
target_include_directories(beltpack_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(beltpack_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${BELTPACK_WERROR}>:-Werror>)

if(BELTPACK_SANITIZE)
  target_compile_options(beltpack_options INTERFACE
    -fsanitize=${BELTPACK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(beltpack_options INTERFACE -fsanitize=${BELTPACK_SANITIZE})
endif()

# The fuzzer is told which parts of the code an input reaches; not what is compared there, which takes a quarter of the
# time: words to look for stand in fuzz/dict/.
if(BELTPACK_FUZZ)
  target_compile_options(beltpack_options INTERFACE -fsanitize=fuzzer-no-link -fno-sanitize-coverage=trace-cmp)
endif()
