// The rotary encoders: three Linux input devices that report relative motion.
#pragma once

#include <sys/time.h>

constexpr int kNumEncoders = 3;

// One encoder. The functions below take the application's array of three.
struct fp_renc_struct {
    const char* sName;       // name, not owned; null when none is set
    const char* sFileName;   // device path, not owned; an entry without one is not opened
    int iFd;                 // descriptor, -1 when closed
    int iKeyCode;            // device-side code; the reader does not compare it
    int iExtKeyCode;         // code that the application reports outward
    int iRotSteps;           // signed steps of the last read, clockwise positive
    int iCurrPos;            // position kept by the application; 0 after opening
    int iElapsedMs;          // ms from the previous to the current motion
    timeval tvCurr, tvPrev;  // time stamps of the current and the previous motion, taken from the events
};

// Fills the defaults of all three: device paths, codes 120 .. 122, closed.
void rencBuildAll(fp_renc_struct* renc);

// Names encoder `idx` (0 .. 2): `name` (not owned) is kept unless null, `extKeyCode` unless -1.
// Returns 0, or -1 after a log message when there is no such encoder.
int rencBuildEntry(fp_renc_struct* renc, int idx, const char* name, int extKeyCode);

// Opens every encoder that has a path; the records own the descriptors. A failure is logged and leaves -1.
void rencOpenAll(fp_renc_struct* renc);

// Closes every open encoder.
void rencCloseAll(fp_renc_struct* renc);

// Reads the waiting events of encoder `idx` once. Returns the signed number of steps, which may be 0 when
// turns cancel out, and sets the steps and times of the record; `iCurrPos` is the application's and stays.
// Returns 0 for a null array, no such encoder, or when nothing was read (the record is untouched then). When
// the device is gone (ENODEV), the failure is logged once and `iFd` is closed and set to -1.
int rencGetChg(fp_renc_struct* renc, int idx);
