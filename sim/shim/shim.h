/* What the parts of the preload shim share. Hidden from the programs that it is loaded into. */
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <sys/uio.h>

#include "sim/shim/wire.h"

#define SHIM_EXPORT __attribute__((visibility("default")))

/* Every function that the shim defines for programs calls this before anything else. */
void ready(void);

/* Stores the address of the next library's function in the function pointer that `function` points to; NULL
 * when there is none. */
void find_next(void* function, const char* name);

/* Whether the environment names this program, without its folder, in the variable. False without a simulator.
 */
bool is_named_by(const char* variable);

/* Gives the descriptor a high number, out of the way of programs that count on low ones, and O_CLOEXEC.
 * Returns the new one; when there is no room, the old one as it was. */
int move_up(int fd);

enum { DESCRIPTORS = 2 }; /* that go with one request or reply */

/* One call, on its way to the simulator and back. */
struct exchange {
    struct beltpack_request request;
    struct beltpack_reply reply;
    struct iovec parts[2]; /* payload of the request: up to two pieces; request.size is their sum */
    void* answer;          /* where the reply's payload goes, may be NULL */
    size_t answer_room;    /* bytes at answer */
    const int* given;      /* descriptors that go with the request: none or DESCRIPTORS, may be NULL */
    int fds[DESCRIPTORS];  /* the descriptors that came with the reply, or -1 */
};

/* False: there is no simulator any more. */
bool exchange(struct exchange* call);

/* Of virtual_clock.c: part of the set-up. */
void find_clock_functions(void);
