// Wall-clock functions for time-outs, blink phases and key timing, and a hex dump for diagnostics. The clock
// is gettimeofday throughout: a step of the system time moves every time-out with it.
#pragma once

#include <sys/time.h>

// A whole-second time difference split for display.
struct oxut_timeDiffParse_struct {
    unsigned int uiMs;    // always 0: differences are taken in whole seconds
    unsigned int uiSec;   // 0 .. 59
    unsigned int uiMin;   // 0 .. 59
    unsigned int uiHr;    // 0 .. 23
    unsigned int uiDays;  // days of 86400 s
};

// Fills `tv` with the time `ms` milliseconds from now; tv_usec may be 1000000. When the clock cannot be read,
// `tv` is `ms` after second 0.
// Returns 1, or 0 when the clock could not be read.
int oxut_gettimeofdayFutureMs(unsigned int ms, timeval* tv);

// Milliseconds of a clock that wraps after 2^20 s (about 12 days); 0 when the clock cannot be read.
[[nodiscard]] unsigned int oxut_gettimeofdayMs();

// Returns 1 when now is later than `tv`, 0 when it is not or the clock cannot be read.
[[nodiscard]] int oxut_timeout(const timeval* tv);

// Splits the whole seconds from `from` to `to` (microseconds are ignored) into `out`.
// Returns 0, or -1 with `out` untouched when `from` has more seconds than `to`.
int oxut_parseTimeDiffSec(const timeval* from, const timeval* to, oxut_timeDiffParse_struct* out);

// Milliseconds from one change of a control to the next, as the panel's event lines report them: 0 when `to`
// is before `from`, and differences of more than 86400 s count as one day. Any two time stamps are safe.
[[nodiscard]] int oxut_elapsedMs(const timeval* from, const timeval* to);

// Milliseconds left from `now` until `end`, which must not be before `now`. The seconds count modulo 2^20.
[[nodiscard]] int oxut_msLeft(const timeval* now, const timeval* end);

// Returns true when `a` is before `b`. Seconds are compared first: a tv_usec of 1000000 counts as before the
// next second, which is the same moment.
[[nodiscard]] bool oxut_isBefore(const timeval* a, const timeval* b);

// Dumps `len` bytes to standard error, 16 to a line with their offset, after a line with `title` and the
// length (left out when `title` is null). Lines end with carriage return and line feed.
void oxut_printBytes(const unsigned char* data, int len, const char* title);
