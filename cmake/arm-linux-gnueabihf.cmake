# 32-bit ARM hard-float for the station's i.MX6 (Cortex-A9 with NEON), with Debian's cross compiler. Libraries beyond
# the compiler's own are looked for in BELTPACK_ARM_SYSROOT, by default what scripts/arm-sysroot.sh unpacks, and the
# tests run with the libraries there.
cmake_path(SET arm_sysroot NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/arm-sysroot)
set(BELTPACK_ARM_SYSROOT ${arm_sysroot} CACHE PATH "Root of the ARM libraries")
if(NOT EXISTS ${BELTPACK_ARM_SYSROOT}/usr/include)
  message(FATAL_ERROR "No ARM libraries in ${BELTPACK_ARM_SYSROOT}: unpack them with scripts/arm-sysroot.sh")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES BELTPACK_ARM_SYSROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# The debugging information, too, is the same wherever the libraries lie.
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a9 -mfpu=neon -mfloat-abi=hard -ffile-prefix-map=${BELTPACK_ARM_SYSROOT}=")
# Nothing that an older compiler has made is linked: notes about GCC 7's other way to pass records are of no use.
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -Wno-psabi")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${BELTPACK_ARM_SYSROOT}/usr/lib/arm-linux-gnueabihf")
# Emulator and station find the libraries in their usual folders; a path of this machine has no place in a program.
set(CMAKE_SKIP_RPATH ON)
set(CMAKE_FIND_ROOT_PATH ${BELTPACK_ARM_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L ${BELTPACK_ARM_SYSROOT})
