/* The part of the preload shim that gives a program the simulator's time.
 *
 * In the program that the environment names, the C library's functions that tell the time read the
 * simulator's clock from a page that both share, and those that wait do so in two steps: they look at the
 * descriptors themselves, and when nothing is ready ask the simulator to be told when to look again. So the
 * simulator knows exactly when a program has nothing to do, which is when it moves the clock. Everywhere
 * else, and in a forked child that waits, all is the machine's.
 *
 * Waits of several threads at once are not told apart: programs have one thread that waits.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "sim/shim/shim.h"
#include "sim/shim/wire.h"

#if __SIZEOF_LONG__ == 4
/* Times of 32-bit programs that were built for 64-bit times. */
#define TIME64 1
struct timeval64 {
    int64_t tv_sec;
    int64_t tv_usec;
};
struct timespec64 {
    int64_t tv_sec;
    int32_t tv_nsec;
    int32_t unused; /* may hold anything in programs' records */
};
#endif

/* ---- The next library's functions ---- */

static struct {
    ssize_t (*read)(int, void*, size_t);
    int (*gettimeofday)(struct timeval*, void*);
    int (*clock_gettime)(clockid_t, struct timespec*);
    time_t (*time)(time_t*);
    int (*select)(int, fd_set*, fd_set*, fd_set*, struct timeval*);
    int (*pselect)(int, fd_set*, fd_set*, fd_set*, const struct timespec*, const sigset_t*);
    int (*poll)(struct pollfd*, nfds_t, int);
    int (*ppoll)(struct pollfd*, nfds_t, const struct timespec*, const sigset_t*);
    int (*usleep)(useconds_t);
    unsigned (*sleep)(unsigned);
    int (*nanosleep)(const struct timespec*, struct timespec*);
    int (*clock_nanosleep)(clockid_t, int, const struct timespec*, struct timespec*);
#ifdef TIME64
    int (*gettimeofday64)(struct timeval64*, void*);
    int (*clock_gettime64)(clockid_t, struct timespec64*);
    int64_t (*time64)(int64_t*);
    int (*select64)(int, fd_set*, fd_set*, fd_set*, struct timeval64*);
    int (*pselect64)(int, fd_set*, fd_set*, fd_set*, const struct timespec64*, const sigset_t*);
    int (*ppoll64)(struct pollfd*, nfds_t, const struct timespec64*, const sigset_t*);
    int (*nanosleep64)(const struct timespec64*, struct timespec64*);
    int (*clock_nanosleep64)(clockid_t, int, const struct timespec64*, struct timespec64*);
#endif
} next;

void find_clock_functions(void) {
    find_next(&next.read, "read");
    find_next(&next.gettimeofday, "gettimeofday");
    find_next(&next.clock_gettime, "clock_gettime");
    find_next(&next.time, "time");
    find_next(&next.select, "select");
    find_next(&next.pselect, "pselect");
    find_next(&next.poll, "poll");
    find_next(&next.ppoll, "ppoll");
    find_next(&next.usleep, "usleep");
    find_next(&next.sleep, "sleep");
    find_next(&next.nanosleep, "nanosleep");
    find_next(&next.clock_nanosleep, "clock_nanosleep");
#ifdef TIME64
    find_next(&next.gettimeofday64, "__gettimeofday64");
    find_next(&next.clock_gettime64, "__clock_gettime64");
    find_next(&next.time64, "__time64");
    find_next(&next.select64, "__select64");
    find_next(&next.pselect64, "__pselect64");
    find_next(&next.ppoll64, "__ppoll64");
    find_next(&next.nanosleep64, "__nanosleep64");
    find_next(&next.clock_nanosleep64, "__clock_nanosleep_time64");
#endif
}

/* ---- The clock ---- */

static struct {
    const struct beltpack_clock* page; /* NULL: time is the machine's */
    uint64_t name;                     /* the simulator's for this process */
    int wake;                          /* a byte here: look again */
    pid_t pid;
} virtual = {.wake = -1};

__attribute__((constructor)) static void join_clock(void) {
    ready();
    struct exchange call = {
        .request = {.operation = BELTPACK_CLOCK, .argument = O_CLOEXEC, .offset = getpid()}};
    if (!is_named_by(BELTPACK_CLOCK_VARIABLE) || !exchange(&call) || call.fds[1] < 0) {
        return;
    }
    virtual.wake = move_up(call.fds[0]);
    void* page = mmap(NULL, sizeof *virtual.page, PROT_READ, MAP_SHARED, call.fds[1], 0);
    close(call.fds[1]);
    if (page == MAP_FAILED || virtual.wake >= FD_SETSIZE) {
        close(virtual.wake);
        return;
    }
    virtual.name = (uint64_t)call.reply.result;
    virtual.pid = getpid();
    virtual.page = page;
}

static bool is_virtual(void) {
    ready();
    return virtual.page != NULL;
}

static bool waits_virtually(void) {
    return is_virtual() && virtual.pid == getpid();
}

enum { MICROSECONDS = 1000000, NANOSECONDS = 1000000000, NS_PER_US = 1000, US_PER_MS = 1000 };

static int64_t now(void) { /* microseconds since the simulator's start */
    return (int64_t)__atomic_load_n(&virtual.page->now, __ATOMIC_SEQ_CST);
}

/* The seconds that a clock showed at the simulator's start; false for clocks that stay the machine's. */
static bool start_of(clockid_t clock, int64_t* seconds) {
    switch (clock) {
        case CLOCK_REALTIME:
        case CLOCK_REALTIME_COARSE:
            *seconds = BELTPACK_CLOCK_EPOCH;
            return true;
        case CLOCK_MONOTONIC:
        case CLOCK_MONOTONIC_RAW:
        case CLOCK_MONOTONIC_COARSE:
        case CLOCK_BOOTTIME:
            *seconds = 0;
            return true;
        default:
            return false;
    }
}

/* ---- Waiting ---- */

static const int64_t FOREVER = -1;

/* What a call waits for; sets or fds, or none. */
struct wait_call {
    int (*look)(const struct wait_call*);  /* how many are ready now, or -1 */
    int (*sleep)(const struct wait_call*); /* until one is ready or the simulator wakes; -1: interrupted */
    const sigset_t* mask;
    int set_size;
    fd_set* sets[3];
    struct pollfd* fds;
    nfds_t count;
};

static bool ask(struct beltpack_request request) {
    request.device = virtual.name;
    struct exchange call = {.request = request};
    if (!exchange(&call)) {
        virtual.page = NULL; /* with the simulator its time is gone: on with the machine's */
        errno = EINTR;
        return false;
    }
    if (call.reply.error != 0) {
        errno = call.reply.error;
    }
    return call.reply.error == 0;
}

static bool take_wake(void) {
    char byte = 0;
    return next.read(virtual.wake, &byte, 1) == 1;
}

/* Whoever was woken by the simulator is known to be awake. The others say so, and take the byte that may have
 * crossed that. */
static void wake_up(void) {
    if (!take_wake() && ask((struct beltpack_request){.operation = BELTPACK_LEAVE})) {
        (void)take_wake();
    }
}

/* As the call that waits; 0: its time is up. */
static int wait_until(const struct wait_call* call, int64_t deadline) {
    int saved = errno;
    for (uint32_t first = 1;; first = 0) {
        /* Read before looking: whatever the simulator had done by then, the look has seen. */
        uint64_t stirs = __atomic_load_n(&virtual.page->stirs, __ATOMIC_SEQ_CST);
        int count = call->look(call);
        if (count != 0 || (deadline != FOREVER && now() >= deadline)) {
            return count;
        }
        if (!ask((struct beltpack_request){
                .operation = BELTPACK_WAIT, .argument = first, .inode = stirs, .offset = deadline})) {
            return -1;
        }
        bool interrupted = call->sleep(call) < 0;
        int error = errno;
        errno = saved;
        wake_up();
        if (interrupted || virtual.page == NULL) {
            errno = interrupted ? error : EINTR;
            return -1;
        }
    }
}

static const struct timespec no_time;

/* Sets may be no larger than the highest descriptor in them asks for. */
static void copy_set(fd_set* to, const fd_set* from, int size) {
    const size_t bits = 8 * sizeof(long);
    memcpy(to, from, ((size_t)size + bits - 1) / bits * sizeof(long));
}

/* Copies of the sets, for a call to change; those that are not there stay NULL. */
static void copy_sets(const struct wait_call* call, fd_set copies[3], fd_set* present[3]) {
    for (int i = 0; i < 3; ++i) {
        FD_ZERO(&copies[i]);
        present[i] = call->sets[i] != NULL ? &copies[i] : NULL;
        if (present[i] != NULL) {
            copy_set(&copies[i], call->sets[i], call->set_size);
        }
    }
}

static int look_at_sets(const struct wait_call* call) {
    fd_set copies[3];
    fd_set* present[3];
    copy_sets(call, copies, present);
    int count = next.pselect(call->set_size, present[0], present[1], present[2], &no_time, call->mask);
    for (int i = 0; i < 3 && count > 0; ++i) {
        if (present[i] != NULL) {
            copy_set(call->sets[i], present[i], call->set_size);
        }
    }
    return count;
}

static int sleep_on_sets(const struct wait_call* call) {
    fd_set copies[3];
    fd_set* present[3];
    copy_sets(call, copies, present);
    FD_SET(virtual.wake, &copies[0]);
    int size = call->set_size > virtual.wake ? call->set_size : virtual.wake + 1;
    return next.pselect(size, &copies[0], present[1], present[2], NULL, call->mask);
}

enum { POLL_LIMIT = 1024 };

static int look_at_fds(const struct wait_call* call) {
    return next.ppoll(call->fds, call->count, &no_time, call->mask);
}

static int sleep_on_fds(const struct wait_call* call) {
    struct pollfd fds[POLL_LIMIT + 1];
    if (call->count > 0) {
        memcpy(fds, call->fds, call->count * sizeof *fds);
    }
    fds[call->count] = (struct pollfd){.fd = virtual.wake, .events = POLLIN};
    return next.ppoll(fds, call->count + 1, NULL, call->mask);
}

static int wait_for_sets(int size, fd_set* readers, fd_set* writers, fd_set* exceptions, const sigset_t* mask,
                         int64_t deadline) {
    const struct wait_call call = {
        look_at_sets, sleep_on_sets, mask, size, {readers, writers, exceptions}, NULL, 0};
    int count = wait_until(&call, deadline);
    fd_set none;
    FD_ZERO(&none);
    for (int i = 0; i < 3 && count == 0; ++i) {
        if (call.sets[i] != NULL) {
            copy_set(call.sets[i], &none, size);
        }
    }
    return count;
}

static int wait_for_fds(struct pollfd* fds, nfds_t count, const sigset_t* mask, int64_t deadline) {
    const struct wait_call call = {look_at_fds, sleep_on_fds, mask, 0, {NULL, NULL, NULL}, fds, count};
    return wait_until(&call, deadline);
}

/* Sets and lists of these sizes are waited for here; larger ones are left to the kernel, and so are wrong
 * ones, for their error. */
static bool can_select(int size) {
    return size >= 0 && size <= FD_SETSIZE && waits_virtually();
}
static bool can_poll(nfds_t count) {
    return count <= POLL_LIMIT && waits_virtually();
}

/* ---- Times ---- */

/* When a time from now is up, rounded up to microseconds. False, with EINVAL: it is none. */
static bool deadline_after(int64_t seconds, int64_t nanoseconds, int64_t* deadline) {
    static const int64_t MOST = 1000000000; /* seconds; what is longer never ends */
    if (seconds < 0 || nanoseconds < 0) {
        errno = EINVAL;
        return false;
    }
    *deadline = FOREVER;
    if (seconds < MOST) {
        *deadline = now() + seconds * MICROSECONDS + (nanoseconds + NS_PER_US - 1) / NS_PER_US;
    }
    return true;
}

/* Of a time that has to be a proper one. */
static bool proper_deadline_after(int64_t seconds, int64_t nanoseconds, int64_t* deadline) {
    return deadline_after(seconds, nanoseconds < NANOSECONDS ? nanoseconds : -1, deadline);
}

static int64_t left_until(int64_t deadline) {
    int64_t left = deadline == FOREVER || virtual.page == NULL ? 0 : deadline - now();
    return left > 0 ? left : 0;
}

/* Fills in a timeval of either kind. */
#define STORE_TIMEVAL(to, seconds, microseconds)                                              \
    do {                                                                                      \
        (to)->tv_sec = (__typeof__((to)->tv_sec))((seconds) + (microseconds) / MICROSECONDS); \
        (to)->tv_usec = (__typeof__((to)->tv_usec))((microseconds) % MICROSECONDS);           \
    } while (0)

/* And a timespec of either kind. */
#define STORE_TIMESPEC(to, seconds, microseconds)                                               \
    do {                                                                                        \
        (to)->tv_sec = (__typeof__((to)->tv_sec))((seconds) + (microseconds) / MICROSECONDS);   \
        (to)->tv_nsec = (__typeof__((to)->tv_nsec))((microseconds) % MICROSECONDS * NS_PER_US); \
    } while (0)

/* ---- Telling the time ---- */

SHIM_EXPORT int gettimeofday(struct timeval* restrict time, void* restrict zone) {
    if (!is_virtual()) {
        return next.gettimeofday(time, zone);
    }
    STORE_TIMEVAL(time, BELTPACK_CLOCK_EPOCH, now());
    return 0;
}

SHIM_EXPORT int clock_gettime(clockid_t clock, struct timespec* time) {
    int64_t start = 0;
    if (!is_virtual() || !start_of(clock, &start)) {
        return next.clock_gettime(clock, time);
    }
    STORE_TIMESPEC(time, start, now());
    return 0;
}

SHIM_EXPORT time_t time(time_t* to) {
    if (!is_virtual()) {
        return next.time(to);
    }
    time_t seconds = (time_t)(BELTPACK_CLOCK_EPOCH + now() / MICROSECONDS);
    if (to != NULL) {
        *to = seconds;
    }
    return seconds;
}

/* ---- Waiting for descriptors ---- */

/* Like the kernel, select leaves the time that is left in its argument. */
SHIM_EXPORT int select(int size, fd_set* restrict readers, fd_set* restrict writers,
                       fd_set* restrict exceptions, struct timeval* restrict timeout) {
    if (!can_select(size)) {
        return next.select(size, readers, writers, exceptions, timeout);
    }
    int64_t deadline = FOREVER;
    if (timeout != NULL &&
        !deadline_after(timeout->tv_sec, (int64_t)timeout->tv_usec * NS_PER_US, &deadline)) {
        return -1;
    }
    int count = wait_for_sets(size, readers, writers, exceptions, NULL, deadline);
    if (timeout != NULL) {
        STORE_TIMEVAL(timeout, 0, left_until(deadline));
    }
    return count;
}

SHIM_EXPORT int pselect(int size, fd_set* restrict readers, fd_set* restrict writers,
                        fd_set* restrict exceptions, const struct timespec* restrict timeout,
                        const sigset_t* restrict mask) {
    if (!can_select(size)) {
        return next.pselect(size, readers, writers, exceptions, timeout, mask);
    }
    int64_t deadline = FOREVER;
    if (timeout != NULL && !proper_deadline_after(timeout->tv_sec, timeout->tv_nsec, &deadline)) {
        return -1;
    }
    return wait_for_sets(size, readers, writers, exceptions, mask, deadline);
}

SHIM_EXPORT int poll(struct pollfd* fds, nfds_t count, int milliseconds) {
    if (!can_poll(count)) {
        return next.poll(fds, count, milliseconds);
    }
    int64_t deadline = milliseconds < 0 ? FOREVER : now() + (int64_t)milliseconds * US_PER_MS;
    return wait_for_fds(fds, count, NULL, deadline);
}

SHIM_EXPORT int ppoll(struct pollfd* fds, nfds_t count, const struct timespec* timeout,
                      const sigset_t* mask) {
    if (!can_poll(count)) {
        return next.ppoll(fds, count, timeout, mask);
    }
    int64_t deadline = FOREVER;
    if (timeout != NULL && !proper_deadline_after(timeout->tv_sec, timeout->tv_nsec, &deadline)) {
        return -1;
    }
    return wait_for_fds(fds, count, mask, deadline);
}

/* The fortified forms are not declared by the headers without _FORTIFY_SOURCE. */
int __poll_chk(struct pollfd* fds, nfds_t count, int milliseconds, size_t room);
int __ppoll_chk(struct pollfd* fds, nfds_t count, const struct timespec* timeout, const sigset_t* mask,
                size_t room);

SHIM_EXPORT int __poll_chk(struct pollfd* fds, nfds_t count, int milliseconds, size_t room) {
    if (room / sizeof *fds < count) {
        abort();
    }
    return poll(fds, count, milliseconds);
}

SHIM_EXPORT int __ppoll_chk(struct pollfd* fds, nfds_t count, const struct timespec* timeout,
                            const sigset_t* mask, size_t room) {
    if (room / sizeof *fds < count) {
        abort();
    }
    return ppoll(fds, count, timeout, mask);
}

/* ---- Sleeping ---- */

static int sleep_until(int64_t deadline) {
    return wait_for_fds(NULL, 0, NULL, deadline);
}

/* clock_nanosleep but for its records. start: what the clock showed at the simulator's start; left: gets the
 * microseconds that an interrupted sleep lacks, and 0 otherwise. Returns an errno, and leaves errno alone. */
static int sleep_on_clock(int64_t start, int flags, int64_t seconds, int64_t nanoseconds, int64_t* left) {
    int saved = errno;
    int64_t deadline = 0;
    bool slept = false;
    if (proper_deadline_after(seconds, nanoseconds, &deadline)) {
        if ((flags & TIMER_ABSTIME) != 0) {
            int64_t end = (seconds - start) * MICROSECONDS + (nanoseconds + NS_PER_US - 1) / NS_PER_US;
            deadline = end > 0 ? end : 0;
        }
        slept = sleep_until(deadline) == 0;
    }
    int error = slept ? 0 : errno;
    *left = error == EINTR ? left_until(deadline) : 0;
    errno = saved;
    return error;
}

/* As nanosleep returns an errno. */
static int as_result(int error) {
    errno = error != 0 ? error : errno;
    return error != 0 ? -1 : 0;
}

SHIM_EXPORT int usleep(useconds_t microseconds) {
    if (!waits_virtually()) {
        return next.usleep(microseconds);
    }
    return sleep_until(now() + microseconds);
}

SHIM_EXPORT unsigned sleep(unsigned seconds) {
    if (!waits_virtually()) {
        return next.sleep(seconds);
    }
    int64_t deadline = now() + (int64_t)seconds * MICROSECONDS;
    return sleep_until(deadline) == 0 ? 0
                                      : (unsigned)((left_until(deadline) + MICROSECONDS - 1) / MICROSECONDS);
}

SHIM_EXPORT int clock_nanosleep(clockid_t clock, int flags, const struct timespec* time,
                                struct timespec* left) {
    int64_t start = 0;
    int64_t lacking = 0;
    if (!waits_virtually() || !start_of(clock, &start)) {
        return next.clock_nanosleep(clock, flags, time, left);
    }
    int error = sleep_on_clock(start, flags, time->tv_sec, time->tv_nsec, &lacking);
    if (error == EINTR && left != NULL && (flags & TIMER_ABSTIME) == 0) {
        STORE_TIMESPEC(left, 0, lacking);
    }
    return error;
}

SHIM_EXPORT int nanosleep(const struct timespec* time, struct timespec* left) {
    if (!waits_virtually()) {
        return next.nanosleep(time, left);
    }
    return as_result(clock_nanosleep(CLOCK_MONOTONIC, 0, time, left));
}

/* ---- The same for 64-bit times in 32-bit programs ---- */

#ifdef TIME64

int __gettimeofday64(struct timeval64* time, void* zone);
int __clock_gettime64(clockid_t clock, struct timespec64* time);
int64_t __time64(int64_t* to);
int __select64(int size, fd_set* readers, fd_set* writers, fd_set* exceptions, struct timeval64* timeout);
int __pselect64(int size, fd_set* readers, fd_set* writers, fd_set* exceptions,
                const struct timespec64* timeout, const sigset_t* mask);
int __ppoll64(struct pollfd* fds, nfds_t count, const struct timespec64* timeout, const sigset_t* mask);
int __nanosleep64(const struct timespec64* time, struct timespec64* left);
int __clock_nanosleep_time64(clockid_t clock, int flags, const struct timespec64* time,
                             struct timespec64* left);

SHIM_EXPORT int __gettimeofday64(struct timeval64* time, void* zone) {
    if (!is_virtual()) {
        return next.gettimeofday64(time, zone);
    }
    STORE_TIMEVAL(time, BELTPACK_CLOCK_EPOCH, now());
    return 0;
}

SHIM_EXPORT int __clock_gettime64(clockid_t clock, struct timespec64* time) {
    int64_t start = 0;
    if (!is_virtual() || !start_of(clock, &start)) {
        return next.clock_gettime64(clock, time);
    }
    STORE_TIMESPEC(time, start, now());
    return 0;
}

SHIM_EXPORT int64_t __time64(int64_t* to) {
    if (!is_virtual()) {
        return next.time64(to);
    }
    int64_t seconds = BELTPACK_CLOCK_EPOCH + now() / MICROSECONDS;
    if (to != NULL) {
        *to = seconds;
    }
    return seconds;
}

SHIM_EXPORT int __select64(int size, fd_set* readers, fd_set* writers, fd_set* exceptions,
                           struct timeval64* timeout) {
    if (!can_select(size)) {
        return next.select64(size, readers, writers, exceptions, timeout);
    }
    int64_t deadline = FOREVER;
    if (timeout != NULL && !deadline_after(timeout->tv_sec, timeout->tv_usec * NS_PER_US, &deadline)) {
        return -1;
    }
    int count = wait_for_sets(size, readers, writers, exceptions, NULL, deadline);
    if (timeout != NULL) {
        STORE_TIMEVAL(timeout, 0, left_until(deadline));
    }
    return count;
}

SHIM_EXPORT int __pselect64(int size, fd_set* readers, fd_set* writers, fd_set* exceptions,
                            const struct timespec64* timeout, const sigset_t* mask) {
    if (!can_select(size)) {
        return next.pselect64(size, readers, writers, exceptions, timeout, mask);
    }
    int64_t deadline = FOREVER;
    if (timeout != NULL && !proper_deadline_after(timeout->tv_sec, timeout->tv_nsec, &deadline)) {
        return -1;
    }
    return wait_for_sets(size, readers, writers, exceptions, mask, deadline);
}

SHIM_EXPORT int __ppoll64(struct pollfd* fds, nfds_t count, const struct timespec64* timeout,
                          const sigset_t* mask) {
    if (!can_poll(count)) {
        return next.ppoll64(fds, count, timeout, mask);
    }
    int64_t deadline = FOREVER;
    if (timeout != NULL && !proper_deadline_after(timeout->tv_sec, timeout->tv_nsec, &deadline)) {
        return -1;
    }
    return wait_for_fds(fds, count, mask, deadline);
}

SHIM_EXPORT int __clock_nanosleep_time64(clockid_t clock, int flags, const struct timespec64* time,
                                         struct timespec64* left) {
    int64_t start = 0;
    int64_t lacking = 0;
    if (!waits_virtually() || !start_of(clock, &start)) {
        return next.clock_nanosleep64(clock, flags, time, left);
    }
    int error = sleep_on_clock(start, flags, time->tv_sec, time->tv_nsec, &lacking);
    if (error == EINTR && left != NULL && (flags & TIMER_ABSTIME) == 0) {
        STORE_TIMESPEC(left, 0, lacking);
    }
    return error;
}

SHIM_EXPORT int __nanosleep64(const struct timespec64* time, struct timespec64* left) {
    if (!waits_virtually()) {
        return next.nanosleep64(time, left);
    }
    return as_result(__clock_nanosleep_time64(CLOCK_MONOTONIC, 0, time, left));
}

#endif
