// Runs one operation once between callgrind's switches, so that what it counts is that operation alone:
//   valgrind --tool=callgrind --collect-atstart=no count_instructions OPERATION
// Without an argument it lists the operations.

#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstring>

#include "operations.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        for (const Operation& operation : kOperations) {
            std::printf("%s %s\n", operation.name, operation.what);
        }
        return argc == 1 ? 0 : 2;
    }
    for (const Operation& operation : kOperations) {
        if (std::strcmp(operation.name, argv[1]) == 0) {
            BenchPanel panel;
            operation.run(panel);  // once before, so that what is loaded on first use does not count
            CALLGRIND_TOGGLE_COLLECT;
            operation.run(panel);
            CALLGRIND_TOGGLE_COLLECT;
            return 0;
        }
    }
    std::fprintf(stderr, "%s: no operation %s\n", argv[0], argv[1]);
    return 2;
}
