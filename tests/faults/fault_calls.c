/* A preload library that counts the calls of a daemon to the C library, and lets one of them fail.
 *
 * It has to stand before the shim of the emulated panel, so that it sees the calls as the daemon makes them,
 * to devices and to files alike. Only calls between the start and the end of main count, and only in the
 * program that BELTPACK_FAULT_PROGRAM names; the shell that popen() starts is left alone. Calls that the shim
 * makes while it serves one do not count either.
 *
 *   BELTPACK_FAULT_TRACE  a file that gets one line a call when the process ends in order:
 *                             NUMBER <tab> CALL <tab> PATH <tab> DETAIL
 *                         and one for each descriptor that is still open then: "open <tab> PATH"
 *   BELTPACK_FAULT        "NUMBER ERRNO HOW" lets this call fail: HOW "once", "always" (this one and every
 *                         later one of the same kind on the same path), or the number of times in a row.
 *                         A negative ERRNO -1 - N cuts the call to N bytes instead.
 *   BELTPACK_FAULT_COPY   the file that stands in for the copy of graphics commands, which has one place on a
 *                         machine
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/input.h>
#include <linux/spi/spidev.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

enum { MOST_DESCRIPTORS = 1024, PATH_ROOM = 128, TRACE_ROOM = 4 << 20, MOST_SHOWN = 160 };
/* The shim's own descriptors stand above. */
enum { PROGRAM_DESCRIPTORS = 500 };

/* ---- The next library's functions ---- */

typedef int (*main_function)(int, char**, char**);

#define NEXT_FUNCTIONS(apply)                                              \
    apply(int, open, (const char*, int, ...));                             \
    apply(int, close, (int));                                              \
    apply(ssize_t, read, (int, void*, size_t));                            \
    apply(ssize_t, write, (int, const void*, size_t));                     \
    apply(int, ioctl, (int, unsigned long, ...));                          \
    apply(off_t, lseek, (int, off_t, int));                                \
    apply(int, fcntl, (int, int, ...));                                    \
    apply(int, fstat, (int, struct stat*));                                \
    apply(int, statx, (int, const char*, int, unsigned, struct statx*));   \
    apply(void*, mmap, (void*, size_t, int, int, int, off_t));             \
    apply(int, select, (int, fd_set*, fd_set*, fd_set*, struct timeval*)); \
    apply(int, usleep, (useconds_t));                                      \
    apply(int, gettimeofday, (struct timeval*, void*));                    \
    apply(FILE*, popen, (const char*, const char*));                       \
    apply(int, pclose, (FILE*));                                           \
    apply(FILE*, fdopen, (int, const char*));                              \
    apply(int, fclose, (FILE*));                                           \
    apply(size_t, fread, (void*, size_t, size_t, FILE*));                  \
    apply(char*, fgets, (char*, int, FILE*));                              \
    apply(int, fputs, (const char*, FILE*));                               \
    apply(int, vprintf, (const char*, va_list));                           \
    apply(int, fflush, (FILE*));                                           \
    apply(int, __libc_start_main,                                          \
          (main_function, int, char**, main_function, void (*)(void), void (*)(void), void*))

#define DECLARE(result, name, arguments) result(*name) arguments
static struct { NEXT_FUNCTIONS(DECLARE); } next;

/* ISO C has no conversion from an object pointer to a function pointer: the address is copied. */
static void find(void* function, const char* name) {
    void* address = dlsym(RTLD_NEXT, name);
    memcpy(function, &address, sizeof address);
}

static void ready(void) {
#define FIND(result, name, arguments) find(&next.name, #name)
    if (next.open == NULL) {
        NEXT_FUNCTIONS(FIND);
    }
}

/* ---- The fault ---- */

static struct {
    bool counts;       /* the program's main function runs */
    int depth;         /* of calls that are being served */
    unsigned long now; /* the number of the last call */
    unsigned long at;  /* of the call that fails, 0 for none */
    int error;
    long left; /* how many more of its kind fail, -1 for all */
    char kind[16];
    char path[PATH_ROOM];
} fault;

static char path_of[MOST_DESCRIPTORS][PATH_ROOM];
static char trace[TRACE_ROOM];
static size_t traced;

static void remember(int fd, const char* path) {
    if (fd >= 0 && fd < MOST_DESCRIPTORS) {
        snprintf(path_of[fd], PATH_ROOM, "%s", path);
    }
}

static const char* name_of(int fd) {
    return fd >= 0 && fd < MOST_DESCRIPTORS ? path_of[fd] : "";
}

__attribute__((format(printf, 1, 2))) static void note(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    int length = vsnprintf(trace + traced, TRACE_ROOM - traced, format, arguments);
    va_end(arguments);
    traced += length > 0 && traced + (size_t)length < TRACE_ROOM ? (size_t)length : 0;
}

/* 0: the call goes on. Otherwise an errno, or a number below 0, see room_of(). */
static int count(const char* kind, const char* path, const char* detail) {
    if (!fault.counts || fault.depth > 0) {
        return 0;
    }
    ++fault.now;
    note("%lu\t%s\t%s\t%s\n", fault.now, kind, path, detail);
    if (fault.now == fault.at) {
        snprintf(fault.kind, sizeof fault.kind, "%s", kind);
        snprintf(fault.path, sizeof fault.path, "%s", path);
    } else if (fault.at == 0 || fault.now < fault.at || fault.left == 0 || strcmp(kind, fault.kind) != 0 ||
               strcmp(path, fault.path) != 0) {
        return 0;
    }
    fault.left -= fault.left > 0 ? 1 : 0;
    return fault.error;
}

/* The bytes that a read or write of `size` may have. */
static size_t room_of(int error, size_t size) {
    size_t room = (size_t)(-1 - error);
    return error < 0 && room < size ? room : size;
}

/* True, with errno, when the call is to fail. */
static bool fails(const char* kind, const char* path, const char* detail) {
    int error = count(kind, path, detail);
    if (error > 0) {
        errno = error;
    }
    return error > 0;
}

/* Bytes as a trace shows them. */
static const char* shown(const void* bytes, size_t size) {
    static char text[4 * MOST_SHOWN + 1];
    char* to = text;
    for (size_t i = 0; i < size && i < MOST_SHOWN; ++i) {
        unsigned char byte = ((const unsigned char*)bytes)[i];
        to +=
            byte >= 32 && byte < 127 && byte != '\\' ? sprintf(to, "%c", byte) : sprintf(to, "\\x%02x", byte);
    }
    *to = '\0';
    return text;
}

/* A call that goes on to the next library, with what that calls in turn not counted. */
#define PASS(result, call) \
    result;                \
    ready();               \
    ++fault.depth;         \
    result = next.call;    \
    --fault.depth

/* ---- Start and end ---- */

static main_function program_main;

static int counted_main(int argc, char** argv, char** environment) {
    fault.counts = true;
    int status = program_main(argc, argv, environment);
    fault.counts = false;
    return status;
}

static bool is_program(void) {
    char path[4096];
    const char* wanted = getenv("BELTPACK_FAULT_PROGRAM");
    ssize_t length = wanted != NULL ? readlink("/proc/self/exe", path, sizeof path - 1) : -1;
    if (length <= 0) {
        return false;
    }
    path[length] = '\0';
    return strcmp(strrchr(path, '/') + 1, wanted) == 0;
}

EXPORT int __libc_start_main(main_function function, int argc, char** argv, main_function start,
                             void (*end)(void), void (*linker_end)(void), void* stack_end);

EXPORT int __libc_start_main(main_function function, int argc, char** argv, main_function start,
                             void (*end)(void), void (*linker_end)(void), void* stack_end) {
    ready();
    program_main = function;
    const char* wanted = getenv("BELTPACK_FAULT");
    char how[16] = "once";
    if (wanted != NULL && sscanf(wanted, "%lu %d %15s", &fault.at, &fault.error, how) < 2) {
        abort();
    }
    fault.left = strcmp(how, "always") == 0 ? -1 : strcmp(how, "once") == 0 ? 1 : strtol(how, NULL, 10);
    remember(STDIN_FILENO, "stdin");
    remember(STDOUT_FILENO, "stdout");
    remember(STDERR_FILENO, "stderr");
    main_function entry = is_program() ? counted_main : function;
    return next.__libc_start_main(entry, argc, argv, start, end, linker_end, stack_end);
}

__attribute__((destructor)) static void write_trace(void) {
    const char* file = getenv("BELTPACK_FAULT_TRACE");
    if (program_main == NULL || file == NULL || !is_program()) {
        return;
    }
    ready();
    for (int fd = 0; fd < PROGRAM_DESCRIPTORS; ++fd) {
        if (next.fcntl(fd, F_GETFD) >= 0) {
            note("open\t%s\n", path_of[fd]);
        }
    }
    int fd = next.open(file, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    for (size_t done = 0; fd >= 0 && done < traced;) {
        ssize_t written = next.write(fd, trace + done, traced - done);
        if (written <= 0) {
            abort();
        }
        done += (size_t)written;
    }
    next.close(fd);
}

/* ---- Files and devices ---- */

EXPORT int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (fails("open", path, "")) {
        return -1;
    }
    const char* copy = getenv("BELTPACK_FAULT_COPY");
    bool copies = fault.counts && copy != NULL && strcmp(path, "/tmp/beltpack_GfxCommands.txt") == 0;
    int PASS(fd, open(copies ? copy : path, flags, mode));
    if (fault.depth == 0) {
        remember(fd, path);
    }
    return fd;
}

/* As the kernel does it: the descriptor is gone, whatever the call reports. */
EXPORT int close(int fd) {
    int error = count("close", name_of(fd), "");
    int PASS(result, close(fd));
    errno = error > 0 ? error : errno;
    return error > 0 ? -1 : result;
}

EXPORT ssize_t read(int fd, void* buffer, size_t size) {
    ready();
    if (!fault.counts || fault.depth > 0) {
        return next.read(fd, buffer, size);
    }
    int error = count("read", name_of(fd), "");
    if (error > 0) {
        errno = error;
        return -1;
    }
    ssize_t PASS(got, read(fd, buffer, room_of(error, size)));
    traced -= fault.depth == 0 ? 1 : 0; /* what came stands in the call's own line */
    note("%s\n", fd == STDIN_FILENO && got > 0 ? shown(buffer, (size_t)got) : "");
    return got;
}

EXPORT ssize_t write(int fd, const void* bytes, size_t size) {
    int error = count("write", name_of(fd), shown(bytes, size));
    if (error > 0) {
        errno = error;
        return -1;
    }
    ssize_t PASS(written, write(fd, bytes, room_of(error, size)));
    return written;
}

static const char* request_name(unsigned long number, const void* argument) {
    static char text[48];
    if (_IOC_TYPE(number) == SPI_IOC_MAGIC && _IOC_NR(number) == 0) {
        const struct spi_ioc_transfer* transfer = argument;
        snprintf(text, sizeof text, "transfer of %u", transfer->len);
        return text;
    }
    switch (number) {
        case SPI_IOC_WR_MODE:
            return "mode";
        case SPI_IOC_WR_BITS_PER_WORD:
            return "bits";
        case SPI_IOC_WR_MAX_SPEED_HZ:
            return "speed";
        default:
            return number == EVIOCGKEY(96) ? "keys" : "other";
    }
}

EXPORT int ioctl(int fd, unsigned long number, ...) {
    va_list arguments;
    va_start(arguments, number);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (fails("ioctl", name_of(fd), request_name(number, argument))) {
        return -1;
    }
    int PASS(result, ioctl(fd, number, argument));
    return result;
}

EXPORT off_t lseek(int fd, off_t offset, int whence) {
    if (fails("lseek", name_of(fd), "")) {
        return -1;
    }
    off_t PASS(result, lseek(fd, offset, whence));
    return result;
}

EXPORT int fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (fails("fcntl", name_of(fd), "")) {
        return -1;
    }
    int PASS(result, fcntl(fd, command, argument));
    return result;
}

EXPORT int fstat(int fd, struct stat* status) {
    if (fails("fstat", name_of(fd), "")) {
        return -1;
    }
    int PASS(result, fstat(fd, status));
    return result;
}

EXPORT int statx(int folder, const char* restrict path, int flags, unsigned mask,
                 struct statx* restrict status) {
    if (fails("statx", *path != '\0' ? path : name_of(folder), "")) {
        return -1;
    }
    int PASS(result, statx(folder, path, flags, mask, status));
    return result;
}

EXPORT void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) {
    if (fd >= 0 && fails("mmap", name_of(fd), "")) {
        return MAP_FAILED;
    }
    void* PASS(result, mmap(address, length, protection, flags, fd, offset));
    return result;
}

/* ---- Waiting and the time ---- */

EXPORT int select(int size, fd_set* restrict readers, fd_set* restrict writers, fd_set* restrict exceptions,
                  struct timeval* restrict timeout) {
    if (fails("select", "", "")) {
        return -1;
    }
    int PASS(result, select(size, readers, writers, exceptions, timeout));
    return result;
}

EXPORT int usleep(useconds_t microseconds) {
    if (fails("usleep", "", "")) {
        return -1;
    }
    int PASS(result, usleep(microseconds));
    return result;
}

EXPORT int gettimeofday(struct timeval* restrict time, void* restrict zone) {
    if (fails("gettimeofday", "", "")) {
        return -1;
    }
    int PASS(result, gettimeofday(time, zone));
    return result;
}

/* ---- The boot loader's tool ---- */

EXPORT FILE* popen(const char* command, const char* type) {
    if (fails("popen", command, "")) {
        return NULL;
    }
    FILE* PASS(stream, popen(command, type));
    if (stream != NULL) {
        remember(fileno(stream), command);
    }
    return stream;
}

EXPORT int pclose(FILE* stream) {
    int error = count("pclose", name_of(fileno(stream)), "");
    int PASS(result, pclose(stream));
    errno = error > 0 ? error : errno;
    return error > 0 ? -1 : result;
}

EXPORT char* fgets(char* restrict line, int size, FILE* restrict stream) {
    if (fails("fgets", name_of(fileno(stream)), "")) {
        return NULL;
    }
    char* PASS(result, fgets(line, size, stream));
    return result;
}

/* ---- Streams on files ---- */

EXPORT FILE* fdopen(int fd, const char* mode) {
    if (fails("fdopen", name_of(fd), "")) {
        return NULL;
    }
    FILE* PASS(stream, fdopen(fd, mode));
    return stream;
}

EXPORT int fclose(FILE* stream) {
    int error = count("fclose", name_of(fileno(stream)), "");
    int PASS(result, fclose(stream));
    errno = error > 0 ? error : errno;
    return error > 0 ? EOF : result;
}

EXPORT size_t fread(void* restrict bytes, size_t size, size_t wanted, FILE* restrict stream) {
    if (fails("fread", name_of(fileno(stream)), "")) {
        return 0;
    }
    size_t PASS(got, fread(bytes, size, wanted, stream));
    return got;
}

/* ---- Standard output ---- */

/* The stream's own code is to meet the failure: for one call its descriptor is another. */
struct swap {
    int kept;
    int failing;
    int reader; /* of a pipe that is full */
};

/* A descriptor on which a write fails with the errno. */
static int failing_descriptor(int error, int* reader) {
    int ends[2] = {-1, -1};
    char filling[4096] = {0};
    switch (error) {
        case ENOSPC:
            return next.open("/dev/full", O_WRONLY | O_CLOEXEC);
        case EIO: /* address 0 of this process */
            return next.open("/proc/self/mem", O_WRONLY | O_CLOEXEC);
        case EPIPE:
            if (pipe2(ends, O_CLOEXEC) == 0) {
                next.close(ends[0]);
            }
            return ends[1];
        case EAGAIN: /* nobody reads */
            if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
                while (next.write(ends[1], filling, sizeof filling) > 0) {
                }
            }
            *reader = ends[0];
            return ends[1];
        default:
            abort();
    }
}

static struct swap swap_output(int error) {
    struct swap swap = {-1, -1, -1};
    if (error > 0) {
        swap.failing = failing_descriptor(error, &swap.reader);
        swap.kept = next.fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, PROGRAM_DESCRIPTORS);
        if (swap.failing < 0 || swap.kept < 0 || dup2(swap.failing, STDOUT_FILENO) < 0) {
            abort();
        }
        next.close(swap.failing);
    }
    return swap;
}

static void swap_back(struct swap swap) {
    int saved = errno;
    if (swap.kept >= 0) {
        dup2(swap.kept, STDOUT_FILENO);
        next.close(swap.kept);
        next.close(swap.reader);
    }
    errno = saved;
}

EXPORT int fputs(const char* restrict text, FILE* restrict stream) {
    ready();
    if (stream != stdout) {
        return next.fputs(text, stream);
    }
    struct swap swap = swap_output(count("fputs", "stdout", shown(text, strlen(text))));
    int PASS(result, fputs(text, stream));
    swap_back(swap);
    return result;
}

EXPORT int printf(const char* restrict format, ...) {
    ready();
    va_list arguments;
    va_start(arguments, format);
    struct swap swap = swap_output(count("printf", "stdout", shown(format, strlen(format))));
    int PASS(result, vprintf(format, arguments));
    swap_back(swap);
    va_end(arguments);
    return result;
}

EXPORT int fflush(FILE* stream) {
    ready();
    struct swap swap = swap_output(stream == stdout ? count("fflush", "stdout", "") : 0);
    int PASS(result, fflush(stream));
    swap_back(swap);
    return result;
}
