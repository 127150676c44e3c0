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

# What is shipped is hardened: release builds, and no sanitizer, which checks more and does not go with it. Tests look
# for each of these in the linked files and in the commands (tests/packaging/check_hardening.sh, check_flags.py).
#   beltpack_hardening   for every shipped file, the preload shim included
#   beltpack_shipped     for every shipped program and its libraries
add_library(beltpack_hardening INTERFACE)
add_library(beltpack_shipped INTERFACE)
target_link_libraries(beltpack_shipped INTERFACE beltpack_hardening)
if(NOT BELTPACK_SANITIZE)
  set(release "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
  target_compile_options(beltpack_hardening INTERFACE
    $<${release}:-fstack-protector-strong>
    $<${release}:-fstack-clash-protection>
    # No path of this machine in what is shipped: builds in two places give the same bytes.
    $<${release}:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>)
  target_link_options(beltpack_hardening INTERFACE
    $<${release}:-Wl,-z,relro,-z,now,-z,noexecstack>)
  target_compile_options(beltpack_shipped INTERFACE
    # All of it ends in an executable: -fPIE is enough, and cheaper than -fPIC.
    $<${release}:-fPIE>
    # Undefined first: a distribution's compiler flags may set another level.
    $<${release}:-U_FORTIFY_SOURCE>
    $<${release}:-D_FORTIFY_SOURCE=3>
    $<${release}:-D_GLIBCXX_ASSERTIONS>)
  target_link_options(beltpack_shipped INTERFACE
    $<$<AND:${release},$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>>:-pie>)
endif()
