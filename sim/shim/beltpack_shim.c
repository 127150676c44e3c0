/* The preload shim of the emulated panel: gives an unmodified program its panel devices.
 *
 * Loaded through LD_PRELOAD, it stands before the C library's file calls. Calls on the panel's paths, and on
 * the descriptors that came from them, go to the simulator whose abstract socket the environment names;
 * everything else goes straight on to the next library. The simulator answers an open with a real descriptor,
 * so select, poll, dup, fork and close need no help from here.
 *
 * Without the environment variable the shim does nothing at all. With it, but no simulator behind it, the
 * panel's paths do not exist (ENOENT) and syslog goes to the system. When the simulator ends while devices
 * are open, calls on them fail with ENODEV.
 *
 * When a second variable names the program, its standard input and output are replaced by pipes of the
 * simulator, which passes on what goes through them.
 *
 * Paths are compared as they are given: absolute and in their usual spelling. Built without _FORTIFY_SOURCE,
 * _FILE_OFFSET_BITS and _TIME_BITS, which would rename the functions defined here.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/input.h>
#include <linux/spi/spidev.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "sim/shim/shim.h"
#include "sim/shim/wire.h"

/* ---- The next library's functions ---- */

static struct {
    int (*open)(const char*, int, ...);
    int (*open64)(const char*, int, ...);
    int (*openat)(int, const char*, int, ...);
    int (*openat64)(int, const char*, int, ...);
    FILE* (*fopen)(const char*, const char*);
    FILE* (*fopen64)(const char*, const char*);
    int (*ioctl)(int, unsigned long, ...);
    int (*ioctl_time64)(int, unsigned long, ...);
    ssize_t (*read)(int, void*, size_t);
    ssize_t (*write)(int, const void*, size_t);
    off_t (*lseek)(int, off_t, int);
    off64_t (*lseek64)(int, off64_t, int);
    void (*openlog)(const char*, int, int);
    void (*vsyslog)(int, const char*, va_list);
} next;

static void lock_exchange(void);
static void unlock_exchange(void);

/* ISO C has no conversion from an object pointer to a function pointer: the address is copied. */
void find_next(void* function, const char* name) {
    void* address = dlsym(RTLD_NEXT, name);
    memcpy(function, &address, sizeof address);
}

static char socket_name[sizeof(((struct sockaddr_un*)0)->sun_path)]; /* empty: the shim does nothing */

static void set_up(void) {
    find_next(&next.open, "open");
    find_next(&next.open64, "open64");
    find_next(&next.openat, "openat");
    find_next(&next.openat64, "openat64");
    find_next(&next.fopen, "fopen");
    find_next(&next.fopen64, "fopen64");
    find_next(&next.ioctl, "ioctl");
    find_next(&next.ioctl_time64, "__ioctl_time64");
    find_next(&next.read, "read");
    find_next(&next.write, "write");
    find_next(&next.lseek, "lseek");
    find_next(&next.lseek64, "lseek64");
    find_next(&next.openlog, "openlog");
    find_next(&next.vsyslog, "vsyslog");
    find_clock_functions();
    const char* name = getenv(BELTPACK_SOCKET_VARIABLE);
    if (name != NULL && strlen(name) < sizeof socket_name - 1) {
        strcpy(socket_name, name);
    }
    pthread_atfork(lock_exchange, unlock_exchange, unlock_exchange);
}

/* Other libraries call in before constructors have run, so every entry asks for the set-up. */
void ready(void) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, set_up);
}

/* ---- The exchange with the simulator ---- */

static pthread_mutex_t exchange_mutex = PTHREAD_MUTEX_INITIALIZER;

static void lock_exchange(void) {
    pthread_mutex_lock(&exchange_mutex);
}
static void unlock_exchange(void) {
    pthread_mutex_unlock(&exchange_mutex);
}

enum { CONTROL_DESCRIPTOR_FROM = 500 /* out of the way of programs that count on low numbers */ };

static struct {
    int fd;
    pid_t pid; /* the process that connected: a forked child makes its own connection */
    dev_t device;
    ino64_t inode; /* what fd was when it was connected: a program may close descriptors it does not know */
} control = {.fd = -1};

static bool control_is_open(void) {
    struct stat64 status;
    return control.fd >= 0 && fstat64(control.fd, &status) == 0 && status.st_dev == control.device &&
           status.st_ino == control.inode;
}

int move_up(int fd) {
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, CONTROL_DESCRIPTOR_FROM);
    if (moved < 0) {
        return fd;
    }
    close(fd);
    return moved;
}

static int connect_socket(void) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    size_t length = strlen(socket_name);
    memcpy(address.sun_path + 1, socket_name, length);
    int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    socklen_t size = (socklen_t)(offsetof(struct sockaddr_un, sun_path) + 1 + length);
    if (connect(fd, (const struct sockaddr*)&address, size) < 0) {
        close(fd);
        return -1;
    }
    return move_up(fd);
}

static bool connect_control(void) {
    if (control_is_open()) {
        if (control.pid == getpid()) {
            return true;
        }
        close(control.fd); /* the parent's */
    }
    control.fd = connect_socket();
    struct stat64 status;
    if (control.fd < 0 || fstat64(control.fd, &status) < 0) {
        return false;
    }
    control.pid = getpid();
    control.device = status.st_dev;
    control.inode = status.st_ino;
    return true;
}

union passed_descriptors {
    struct cmsghdr header;
    char room[CMSG_SPACE(DESCRIPTORS * sizeof(int))];
};

static bool send_request(struct exchange* call) {
    struct iovec parts[3] = {
        {.iov_base = &call->request, .iov_len = sizeof call->request}, call->parts[0], call->parts[1]};
    call->request.size = (uint32_t)(parts[1].iov_len + parts[2].iov_len);
    struct msghdr message = {.msg_iov = parts, .msg_iovlen = 3};
    union passed_descriptors passed = {{0}};
    if (call->given != NULL) {
        passed.header.cmsg_len = CMSG_LEN(DESCRIPTORS * sizeof(int));
        passed.header.cmsg_level = SOL_SOCKET;
        passed.header.cmsg_type = SCM_RIGHTS;
        memcpy(CMSG_DATA(&passed.header), call->given, DESCRIPTORS * sizeof(int));
        message.msg_control = &passed;
        message.msg_controllen = sizeof passed;
    }
    return sendmsg(control.fd, &message, MSG_NOSIGNAL) >= 0;
}

static bool receive_reply(struct exchange* call) {
    struct iovec parts[2] = {{.iov_base = &call->reply, .iov_len = sizeof call->reply},
                             {.iov_base = call->answer, .iov_len = call->answer_room}};
    union passed_descriptors passed;
    struct msghdr message = {
        .msg_iov = parts, .msg_iovlen = 2, .msg_control = &passed, .msg_controllen = sizeof passed};
    int flags = (call->request.argument & O_CLOEXEC) != 0 ? MSG_CMSG_CLOEXEC : 0;
    /* It sleeps for the reply: a program that looks for it, giving way in between, gives way to every other
     * busy program of the machine, each time for a whole time slice. */
    ssize_t length = recvmsg(control.fd, &message, flags);
    struct cmsghdr* header = length > 0 ? CMSG_FIRSTHDR(&message) : NULL;
    if (header != NULL && header->cmsg_type == SCM_RIGHTS) {
        memcpy(call->fds, CMSG_DATA(header), header->cmsg_len - CMSG_LEN(0));
    }
    return length >= (ssize_t)sizeof call->reply;
}

/* Signals stay blocked so that no handler of this thread can ask for the lock that it holds. */
bool exchange(struct exchange* call) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    call->fds[0] = call->fds[1] = -1;
    pthread_sigmask(SIG_SETMASK, &all, &before);
    lock_exchange();
    bool done = connect_control() && send_request(call) && receive_reply(call);
    unlock_exchange();
    pthread_sigmask(SIG_SETMASK, &before, NULL);
    return done;
}

/* The result of a call on an open file: the simulator's, or -1 with errno. */
static int64_t remote_result(struct exchange* call) {
    int saved = errno;
    errno = exchange(call) ? call->reply.error : ENODEV;
    if (errno != 0) {
        return -1;
    }
    errno = saved;
    return call->reply.result;
}

/* ---- The program ---- */

bool is_named_by(const char* variable) {
    char path[4096];
    const char* wanted = socket_name[0] != '\0' ? getenv(variable) : NULL;
    ssize_t length = wanted != NULL ? readlink("/proc/self/exe", path, sizeof path - 1) : -1;
    if (length <= 0) {
        return false;
    }
    path[length] = '\0';
    return strcmp(strrchr(path, '/') + 1, wanted) == 0;
}

/* ---- The tap ---- */

/* Before the program runs, descriptors of the simulator's take the places of its standard input and output. A
 * program that lacks one of the two keeps what it has. */
__attribute__((constructor)) static void tap_lines(void) {
    static const int own[DESCRIPTORS] = {STDIN_FILENO, STDOUT_FILENO};
    struct exchange call = {.request = {.operation = BELTPACK_TAP}, .given = own};
    ready();
    if (!is_named_by(BELTPACK_TAP_VARIABLE) || !exchange(&call)) {
        return;
    }
    for (int i = 0; i < DESCRIPTORS && call.fds[i] >= 0; ++i) {
        dup2(call.fds[i], own[i]);
        close(call.fds[i]);
    }
}

/* ---- Panel paths and open panel files ---- */

static bool is_panel_path(const char* path) {
    static const char* const devices[] = {"/dev/input/event1", "/dev/input/event2", "/dev/input/event3",
                                          "/dev/input/event4", "/dev/spidev3.0",    "/dev/spidev3.1",
                                          "/dev/spidev4.0"};
    static const char* const folders[] = {"/sys/class/leds/pca963x:", "/sys/class/gpio/"};
    if (path == NULL || path[0] != '/' || socket_name[0] == '\0') {
        return false;
    }
    for (size_t i = 0; i < sizeof devices / sizeof devices[0]; ++i) {
        if (strcmp(path, devices[i]) == 0) {
            return true;
        }
    }
    for (size_t i = 0; i < sizeof folders / sizeof folders[0]; ++i) {
        if (strncmp(path, folders[i], strlen(folders[i])) == 0) {
            return true;
        }
    }
    return false;
}

/* Written under the lock of an open, read without one: the inode goes to 0 first and is stored last. An entry
 * outlives its file until the simulator gives its slot to another; no other descriptor ever has its numbers.
 */
static struct panel_file {
    _Atomic uint64_t inode; /* 0: free */
    _Atomic uint64_t device;
    _Atomic uint32_t kind; /* beltpack_kind */
} files[BELTPACK_FILE_LIMIT];
static _Atomic uint32_t files_used; /* slots in use are below; 0 until the first panel device is opened */

static bool remember(int fd, const struct beltpack_reply* reply) {
    static pthread_mutex_t writers = PTHREAD_MUTEX_INITIALIZER;
    struct stat64 status;
    if (reply->slot >= BELTPACK_FILE_LIMIT || fstat64(fd, &status) < 0) {
        return false;
    }
    pthread_mutex_lock(&writers);
    struct panel_file* file = &files[reply->slot];
    atomic_store(&file->inode, 0);
    atomic_store(&file->device, status.st_dev);
    atomic_store(&file->kind, reply->kind);
    atomic_store(&file->inode, status.st_ino);
    if (atomic_load(&files_used) <= reply->slot) {
        atomic_store(&files_used, reply->slot + 1);
    }
    pthread_mutex_unlock(&writers);
    return true;
}

struct panel_descriptor {
    int fd;
    uint64_t device;
    uint64_t inode;
    uint32_t kind; /* beltpack_kind */
};

static bool is_panel_descriptor(int fd, struct panel_descriptor* descriptor) {
    uint32_t used = atomic_load(&files_used);
    struct stat64 status;
    if (used == 0) {
        return false;
    }
    int saved = errno;
    if (fstat64(fd, &status) < 0) {
        errno = saved; /* the next library reports the bad descriptor in its own way */
        return false;
    }
    for (uint32_t slot = 0; slot < used; ++slot) {
        const struct panel_file* file = &files[slot];
        if (atomic_load(&file->inode) == status.st_ino && atomic_load(&file->device) == status.st_dev) {
            *descriptor =
                (struct panel_descriptor){fd, status.st_dev, status.st_ino, atomic_load(&file->kind)};
            return true;
        }
    }
    return false;
}

static struct beltpack_request request_on(const struct panel_descriptor* descriptor, uint32_t operation,
                                          uint32_t argument) {
    return (struct beltpack_request){.operation = operation,
                                     .argument = argument,
                                     .device = descriptor->device,
                                     .inode = descriptor->inode};
}

/* ---- Calls on panel files ---- */

static int panel_open(const char* path, int flags) {
    struct exchange call = {.request = {.operation = BELTPACK_OPEN,
                                        .argument = (uint32_t)flags,
                                        .event_size = sizeof(struct input_event)},
                            .parts = {{.iov_base = (void*)path, .iov_len = strlen(path)}}};
    int saved = errno;
    errno = exchange(&call) ? call.reply.error : ENOENT;
    if (errno != 0) {
        return -1;
    }
    if (call.fds[0] < 0 || !remember(call.fds[0], &call.reply)) {
        errno = ENODEV;
        return -1;
    }
    errno = saved;
    return call.fds[0];
}

/* Events come through the descriptor itself, whole ones only; the simulator is asked first, so that its
 * faults take effect here too. The pipe's end of file means that the device, or the simulator, is gone. */
static ssize_t read_events(const struct panel_descriptor* descriptor, void* buffer, size_t count) {
    const size_t event_size = sizeof(struct input_event);
    if (count == 0) {
        return 0;
    }
    if (count < event_size) {
        errno = EINVAL;
        return -1;
    }
    struct exchange call = {.request = request_on(descriptor, BELTPACK_READ, (uint32_t)count)};
    if (remote_result(&call) < 0) {
        return -1;
    }
    ssize_t length = next.read(descriptor->fd, buffer, count - count % event_size);
    if (length == 0) {
        errno = ENODEV;
        return -1;
    }
    return length;
}

static ssize_t panel_read(const struct panel_descriptor* descriptor, void* buffer, size_t count) {
    if (descriptor->kind == BELTPACK_INPUT) {
        return read_events(descriptor, buffer, count);
    }
    size_t room = count < BELTPACK_BUS_LIMIT ? count : BELTPACK_BUS_LIMIT;
    struct exchange call = {.request = request_on(descriptor, BELTPACK_READ, (uint32_t)room),
                            .answer = buffer,
                            .answer_room = room};
    return (ssize_t)remote_result(&call);
}

static ssize_t panel_write(const struct panel_descriptor* descriptor, const void* buffer, size_t count) {
    struct exchange call = {.request = request_on(descriptor, BELTPACK_WRITE, (uint32_t)count)};
    call.parts[0].iov_base = (void*)buffer;
    call.parts[0].iov_len = count < BELTPACK_BUS_LIMIT ? count : BELTPACK_BUS_LIMIT;
    return (ssize_t)remote_result(&call);
}

static int64_t panel_seek(const struct panel_descriptor* descriptor, int64_t offset, int whence) {
    struct exchange call = {.request = request_on(descriptor, BELTPACK_SEEK, (uint32_t)whence)};
    call.request.offset = offset;
    return remote_result(&call);
}

/* Bytes from user memory whose address the kernel's record holds as a 64-bit number. */
static void* at(uint64_t address) {
    return (void*)(uintptr_t)address;
}

static size_t put_transfer(unsigned char* payload, const struct spi_ioc_transfer* transfer) {
    memcpy(payload, &transfer->len, sizeof transfer->len);
    payload += sizeof transfer->len;
    if (transfer->tx_buf != 0) {
        memcpy(payload, at(transfer->tx_buf), transfer->len);
    } else {
        memset(payload, 0, transfer->len);
    }
    return sizeof transfer->len + transfer->len;
}

/* The panel drives nothing onto the buses: what is received is zero. */
static void clear_received(const struct spi_ioc_transfer* transfers, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (transfers[i].rx_buf != 0) {
            memset(at(transfers[i].rx_buf), 0, transfers[i].len);
        }
    }
}

static int panel_transfer(const struct panel_descriptor* descriptor, unsigned long number,
                          const struct spi_ioc_transfer* transfers) {
    unsigned char payload[BELTPACK_PAYLOAD_LIMIT];
    size_t count = _IOC_SIZE(number) / sizeof *transfers;
    int64_t total = 0;
    for (size_t i = 0; i < count; ++i) {
        total += transfers[i].len;
    }
    struct exchange call = {.request = request_on(descriptor, BELTPACK_TRANSFER, (uint32_t)number)};
    call.request.offset = total;
    call.parts[0].iov_base = payload;
    for (size_t i = 0; i < count && total <= BELTPACK_BUS_LIMIT; ++i) {
        call.parts[0].iov_len += put_transfer(payload + call.parts[0].iov_len, &transfers[i]);
    }
    int result = (int)remote_result(&call);
    if (result >= 0) {
        clear_received(transfers, count);
    }
    return result;
}

static bool is_transfer(const struct panel_descriptor* descriptor, unsigned long number) {
    return descriptor->kind == BELTPACK_SPI && _IOC_TYPE(number) == SPI_IOC_MAGIC && _IOC_NR(number) == 0 &&
           _IOC_DIR(number) == _IOC_WRITE && _IOC_SIZE(number) % sizeof(struct spi_ioc_transfer) == 0;
}

static int panel_ioctl(const struct panel_descriptor* descriptor, unsigned long number, void* argument) {
    if (is_transfer(descriptor, number)) {
        return panel_transfer(descriptor, number, argument);
    }
    unsigned char answer[BELTPACK_BUS_LIMIT];
    struct exchange call = {.request = request_on(descriptor, BELTPACK_IOCTL, (uint32_t)number),
                            .answer = answer,
                            .answer_room = sizeof answer};
    size_t size = _IOC_SIZE(number);
    if ((_IOC_DIR(number) & _IOC_WRITE) != 0 && size <= BELTPACK_BUS_LIMIT) {
        call.parts[0].iov_base = argument;
        call.parts[0].iov_len = size;
    }
    int result = (int)remote_result(&call);
    if (result >= 0 && call.reply.size <= size) {
        memcpy(argument, answer, call.reply.size);
    }
    return result;
}

/* ---- Streams on panel files ---- */

static int descriptor_of(void* cookie) {
    return (int)(intptr_t)cookie;
}

static ssize_t stream_read(void* cookie, char* buffer, size_t size) {
    return read(descriptor_of(cookie), buffer, size);
}

/* A stream takes a result below the size as a failure and a negative one as undefined: 0 reports it. */
static ssize_t stream_write(void* cookie, const char* buffer, size_t size) {
    ssize_t written = write(descriptor_of(cookie), buffer, size);
    return written < 0 ? 0 : written;
}

static int stream_seek(void* cookie, off64_t* offset, int whence) {
    off64_t position = lseek64(descriptor_of(cookie), *offset, whence);
    if (position < 0) {
        return -1;
    }
    *offset = position;
    return 0;
}

static int stream_close(void* cookie) {
    return close(descriptor_of(cookie));
}

/* -1 for a mode that fopen does not know. */
static int flags_of_mode(const char* mode) {
    bool both = strchr(mode, '+') != NULL;
    int close_on_exec = strchr(mode, 'e') != NULL ? O_CLOEXEC : 0;
    int one_way = both ? O_RDWR : O_WRONLY;
    switch (mode[0]) {
        case 'r':
            return (both ? O_RDWR : O_RDONLY) | close_on_exec;
        case 'w':
            return one_way | O_CREAT | O_TRUNC | close_on_exec;
        case 'a':
            return one_way | O_CREAT | O_APPEND | close_on_exec;
        default:
            return -1;
    }
}

/* The C library's own streams would go past the functions of this file; its stream on given functions does
 * not. The descriptor is noted in it for those who ask with fileno. */
static FILE* panel_fopen(const char* path, const char* mode) {
    static const cookie_io_functions_t functions = {stream_read, stream_write, stream_seek, stream_close};
    int flags = flags_of_mode(mode);
    if (flags < 0) {
        errno = EINVAL;
        return NULL;
    }
    int fd = panel_open(path, flags);
    if (fd < 0) {
        return NULL;
    }
    FILE* stream = fopencookie((void*)(intptr_t)fd, mode, functions);
    if (stream == NULL) {
        close(fd);
        return NULL;
    }
    stream->_fileno = fd;
    return stream;
}

/* ---- The C library's file calls ---- */

/* The fortified forms are not declared by the headers without _FORTIFY_SOURCE. */
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
int __openat_2(int folder, const char* path, int flags);
int __openat64_2(int folder, const char* path, int flags);
ssize_t __read_chk(int fd, void* buffer, size_t count, size_t room);
void __syslog_chk(int priority, int flag, const char* format, ...) __attribute__((format(printf, 3, 4)));
void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));
int __ioctl_time64(int fd, unsigned long number, ...);

/* The mode argument is there only when the flags may create a file. */
#define MODE_ARGUMENT(mode, flags)                                    \
    mode_t mode = 0;                                                  \
    if (((flags)&O_CREAT) != 0 || ((flags)&O_TMPFILE) == O_TMPFILE) { \
        va_list arguments;                                            \
        va_start(arguments, flags);                                   \
        (mode) = va_arg(arguments, mode_t);                           \
        va_end(arguments);                                            \
    }

SHIM_EXPORT int open(const char* path, int flags, ...) {
    MODE_ARGUMENT(mode, flags)
    ready();
    return is_panel_path(path) ? panel_open(path, flags) : next.open(path, flags, mode);
}

SHIM_EXPORT int open64(const char* path, int flags, ...) {
    MODE_ARGUMENT(mode, flags)
    ready();
    return is_panel_path(path) ? panel_open(path, flags) : next.open64(path, flags, mode);
}

SHIM_EXPORT int openat(int folder, const char* path, int flags, ...) {
    MODE_ARGUMENT(mode, flags)
    ready();
    return is_panel_path(path) ? panel_open(path, flags) : next.openat(folder, path, flags, mode);
}

SHIM_EXPORT int openat64(int folder, const char* path, int flags, ...) {
    MODE_ARGUMENT(mode, flags)
    ready();
    return is_panel_path(path) ? panel_open(path, flags) : next.openat64(folder, path, flags, mode);
}

SHIM_EXPORT int __open_2(const char* path, int flags) {
    return open(path, flags);
}
SHIM_EXPORT int __open64_2(const char* path, int flags) {
    return open64(path, flags);
}
SHIM_EXPORT int __openat_2(int folder, const char* path, int flags) {
    return openat(folder, path, flags);
}
SHIM_EXPORT int __openat64_2(int folder, const char* path, int flags) {
    return openat64(folder, path, flags);
}

SHIM_EXPORT FILE* fopen(const char* path, const char* mode) {
    ready();
    return is_panel_path(path) ? panel_fopen(path, mode) : next.fopen(path, mode);
}

SHIM_EXPORT FILE* fopen64(const char* path, const char* mode) {
    ready();
    return is_panel_path(path) ? panel_fopen(path, mode) : next.fopen64(path, mode);
}

SHIM_EXPORT ssize_t read(int fd, void* buffer, size_t count) {
    struct panel_descriptor descriptor;
    ready();
    return is_panel_descriptor(fd, &descriptor) ? panel_read(&descriptor, buffer, count)
                                                : next.read(fd, buffer, count);
}

SHIM_EXPORT ssize_t __read_chk(int fd, void* buffer, size_t count, size_t room) {
    if (count > room) {
        abort();
    }
    return read(fd, buffer, count);
}

SHIM_EXPORT ssize_t write(int fd, const void* buffer, size_t count) {
    struct panel_descriptor descriptor;
    ready();
    return is_panel_descriptor(fd, &descriptor) ? panel_write(&descriptor, buffer, count)
                                                : next.write(fd, buffer, count);
}

/* Only attributes have a position: the others are pipes and sockets, which refuse as their drivers do. */
SHIM_EXPORT off_t lseek(int fd, off_t offset, int whence) {
    struct panel_descriptor descriptor;
    ready();
    return is_panel_descriptor(fd, &descriptor) && descriptor.kind == BELTPACK_ATTRIBUTE
               ? (off_t)panel_seek(&descriptor, offset, whence)
               : next.lseek(fd, offset, whence);
}

SHIM_EXPORT off64_t lseek64(int fd, off64_t offset, int whence) {
    struct panel_descriptor descriptor;
    ready();
    return is_panel_descriptor(fd, &descriptor) && descriptor.kind == BELTPACK_ATTRIBUTE
               ? panel_seek(&descriptor, offset, whence)
               : next.lseek64(fd, offset, whence);
}

SHIM_EXPORT int ioctl(int fd, unsigned long number, ...) {
    va_list arguments;
    va_start(arguments, number);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    struct panel_descriptor descriptor;
    ready();
    return is_panel_descriptor(fd, &descriptor) ? panel_ioctl(&descriptor, number, argument)
                                                : next.ioctl(fd, number, argument);
}

/* What ioctl is called in 32-bit programs with 64-bit times; the panel's requests hold no times. */
SHIM_EXPORT int __ioctl_time64(int fd, unsigned long number, ...) {
    va_list arguments;
    va_start(arguments, number);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    struct panel_descriptor descriptor;
    ready();
    if (is_panel_descriptor(fd, &descriptor)) {
        return panel_ioctl(&descriptor, number, argument);
    }
    return next.ioctl_time64 != NULL ? next.ioctl_time64(fd, number, argument)
                                     : next.ioctl(fd, number, argument);
}

/* ---- The system log ---- */

static const char* log_identifier = ""; /* the caller's, as openlog keeps it */

SHIM_EXPORT void openlog(const char* identifier, int options, int facility) {
    ready();
    log_identifier = identifier != NULL ? identifier : "";
    next.openlog(identifier, options, facility);
}

__attribute__((format(printf, 2, 0))) static bool log_remotely(int priority, const char* format,
                                                               va_list arguments) {
    char text[BELTPACK_BUS_LIMIT];
    int length = vsnprintf(text, sizeof text, format, arguments);
    if (length < 0) {
        return false;
    }
    size_t identifier = strnlen(log_identifier, 256);
    struct exchange call = {.request = {.operation = BELTPACK_SYSLOG,
                                        .argument = (uint32_t)priority,
                                        .event_size = (uint32_t)identifier},
                            .parts = {{.iov_base = (void*)log_identifier, .iov_len = identifier},
                                      {.iov_base = text, .iov_len = strlen(text)}}};
    return exchange(&call);
}

SHIM_EXPORT void vsyslog(int priority, const char* format, va_list arguments) {
    int saved = errno; /* the format may ask for it with %m */
    va_list again;
    va_copy(again, arguments);
    ready();
    if (socket_name[0] == '\0' || !log_remotely(priority, format, arguments)) {
        errno = saved;
        next.vsyslog(priority, format, again);
    }
    va_end(again);
    errno = saved;
}

SHIM_EXPORT void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

SHIM_EXPORT void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments) {
    (void)flag;
    vsyslog(priority, format, arguments);
}

SHIM_EXPORT void __syslog_chk(int priority, int flag, const char* format, ...) {
    (void)flag;
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}
