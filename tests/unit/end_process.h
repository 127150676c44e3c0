// Ends a process that a test has started.
#pragma once

#include <unistd.h>

#ifdef BELTPACK_COVERAGE
extern "C" void __gcov_dump();
#endif

// As _exit(), but a build that measures coverage keeps what the process has run.
[[noreturn]] inline void endProcess(int status) {
#ifdef BELTPACK_COVERAGE
    __gcov_dump();
#endif
    _exit(status);
}
