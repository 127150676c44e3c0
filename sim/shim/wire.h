/* The records that the preload shim and the simulator exchange: one request and one reply a call, each one
 * packet of a SOCK_SEQPACKET connection. C and C++ read this header; the layout is the same for 32-bit and
 * 64-bit processes of one byte order.
 *
 * A connection belongs to one process (the simulator's address is an abstract Unix socket name that the
 * environment carries). A request is a beltpack_request followed by `size` bytes of payload, a reply a
 * beltpack_reply followed likewise. The reply to a successful BELTPACK_OPEN carries one descriptor
 * (SCM_RIGHTS); request and reply of BELTPACK_TAP, and the reply of BELTPACK_CLOCK, carry two. An open file
 * is named by the device and inode number of that descriptor, so that copies made by dup and fork, and
 * descriptors whose number was used before, are told apart without watching close.
 */
#pragma once

#include <assert.h>
#include <stdint.h>

/* Environment variable with the abstract socket's name, without the leading zero byte. */
#define BELTPACK_SOCKET_VARIABLE "BELTPACK_SIM_SOCKET"
/* Environment variable with the name of the program, without its folder, whose standard input and output go
 * through the simulator; not set when nobody looks at its lines. */
#define BELTPACK_TAP_VARIABLE "BELTPACK_SIM_TAP"
/* Environment variable with the name of the program, without its folder, whose time is the simulator's; not
 * set when all time is the machine's. */
#define BELTPACK_CLOCK_VARIABLE "BELTPACK_SIM_CLOCK"

enum {
    BELTPACK_BUS_LIMIT = 4096,     /* bytes: spidev's default buffer, and a page for a sysfs attribute */
    BELTPACK_PAYLOAD_LIMIT = 8192, /* bytes: the most that follows a request or a reply */
    BELTPACK_FILE_LIMIT = 1024     /* panel files open at once, over all processes */
};

enum beltpack_operation {
    BELTPACK_OPEN =
        1,          /* argument: open flags; event_size; payload: the path, no end mark. Reply: kind, slot */
    BELTPACK_READ,  /* argument: room in bytes. Reply: payload, the bytes; none for an input device, whose
                       events come through the descriptor: a reply without error lets the read go on there */
    BELTPACK_WRITE, /* argument: byte count asked for; payload: at most BELTPACK_BUS_LIMIT of them.
                       Reply: result, the bytes taken */
    BELTPACK_SEEK,  /* argument: SEEK_SET, ...; offset. Reply: result, the new position */
    BELTPACK_IOCTL, /* argument: request number; payload: the argument's bytes when the request writes.
                       Reply: result; payload, the bytes for the argument when the request reads */
    BELTPACK_TRANSFER, /* SPI_IOC_MESSAGE. offset: byte total; payload: for each transfer its length as
                          uint32_t and then its bytes (no payload when the total is over the limit). Reply:
                          result */
    BELTPACK_SYSLOG,   /* argument: priority with facility; event_size: length of the identifier; payload: the
                          identifier, then the message */
    BELTPACK_TAP,      /* carries the process's descriptors 0 and 1. Reply: carries those to put in their
                          places, in this order */
    BELTPACK_CLOCK,    /* the process's time is the simulator's from now on. offset: its process number;
                          argument: O_CLOEXEC. Reply: result, the name for the two below; carries a pipe's read
                          end, where a byte tells the process to look again, and the file with the clock */
    BELTPACK_WAIT,     /* nothing that the process waits for is ready. argument: 1 for the first look of its
                          call, then 0; device: its name; inode: beltpack_clock's stirs from before the look;
                          offset: when the call's time is up, in microseconds of the clock, -1: never. Reply:
                          error, with which the call fails, or 0: it sleeps until it has to look again */
    BELTPACK_LEAVE     /* it does not sleep any more. device: its name */
};

enum beltpack_kind { BELTPACK_INPUT = 1, BELTPACK_SPI, BELTPACK_ATTRIBUTE };

struct beltpack_request {
    uint32_t operation;  /* beltpack_operation */
    uint32_t argument;   /* see the operation */
    uint64_t device;     /* the file's st_dev; 0 where no file is open */
    uint64_t inode;      /* the file's st_ino; likewise */
    int64_t offset;      /* see the operation */
    uint32_t event_size; /* BELTPACK_OPEN: the process's sizeof(struct input_event) */
    uint32_t size;       /* payload bytes that follow */
};

struct beltpack_reply {
    int64_t result; /* what the call returns when error is 0 */
    int32_t error;  /* errno, or 0 */
    uint32_t kind;  /* BELTPACK_OPEN: beltpack_kind */
    uint32_t slot; /* BELTPACK_OPEN: below BELTPACK_FILE_LIMIT; not used by another file that is still open */
    uint32_t size; /* payload bytes that follow */
};

/* What the file with the clock begins with, for processes to map. Written by the simulator alone; both sides
 * use the compiler's atomic operations. */
struct beltpack_clock {
    uint64_t now;   /* microseconds since the simulator's start */
    uint64_t stirs; /* how often the simulator has done something that may have made a descriptor ready */
};

/* The time of day at which the clock starts: 2020-01-01 00:00:00 UTC. */
enum { BELTPACK_CLOCK_EPOCH = 1577836800 /* seconds */ };

static_assert(sizeof(struct beltpack_clock) == 16, "the clock is read by 32-bit and 64-bit processes");
static_assert(sizeof(struct beltpack_request) == 40, "requests cross from 32-bit to 64-bit processes");
static_assert(sizeof(struct beltpack_reply) == 24, "replies cross from 64-bit to 32-bit processes");
