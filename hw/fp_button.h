// The front-panel buttons and switches: up to eight keys of one Linux input device.
#pragma once

#include <sys/time.h>

constexpr int kNumButtons = 8;

// One button.
struct fp_btn_struct {
    const char* sName;       // display name, not owned; null when none is set
    int iKeyCode;            // code that the device reports for it
    int iExtKeyCode;         // code that the application reports outward
    int iType;               // meaning set by the application
    int iActive;             // 1 while the entry is in use
    int iChange;             // 1 when the last buttonGetGrpData() that read events saw one for it
    int iCurrVal;            // last event value: 0 released, 1 pressed, 2 auto-repeat; or the initial state
    int iElapsedMs;          // ms from the previous to the current change
    timeval tvCurr, tvPrev;  // time stamps of the current and the previous change, taken from the events
};

// The buttons of the panel.
struct fp_btnGrp_struct {
    const char* sFileName;  // device path, not owned
    int iFd;                // descriptor, -1 when closed
    fp_btn_struct btn[kNumButtons];
};

// Fills the defaults: the panel's device path, closed, all entries inactive with the codes 100 + index.
void buttonBuildGrp(fp_btnGrp_struct* grp);

// Takes entry `idx` (0 .. 7) into use. `name` (not owned) is kept unless null, `extKeyCode` and `type` unless
// -1; the device's key code stays. Returns 0, or -1 after a log message when there is no such entry.
int buttonBuildEntry(fp_btnGrp_struct* grp, int idx, const char* name, int extKeyCode, int type);

// Opens the device and takes the present state of the active buttons as their current value (left as they are
// when the device cannot tell). Failures are logged. Returns the descriptor, which the group owns, or -1.
int buttonOpenGrp(fp_btnGrp_struct* grp);

// Reads the waiting events once and updates values, change flags and times of the active buttons. Returns how
// many buttons changed; 0 when nothing was read, and the change flags are then those of the call before. When
// the device is gone (ENODEV), the failure is logged once and `iFd` is closed and set to -1.
int buttonGetGrpData(fp_btnGrp_struct* grp);

// Closes the device unless it is closed. `iFd` keeps its value: the group is not to be read afterwards.
void buttonCloseGrp(fp_btnGrp_struct* grp);
