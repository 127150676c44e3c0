// The eight front-panel LEDs, a green and a red one at each of four keys, through the kernel's LED class.
// Blinking is done in software: one phase clock for the whole group, advanced by ledSwBlinkManager().
//
// All functions take the group. Unless told otherwise they return -1 for a null group and for an LED index
// outside 0 .. 7. Levels are 0 .. 254, times are milliseconds.
#pragma once

#include <sys/time.h>

#include <cstdint>

constexpr int kNumLeds = 8;

constexpr int kLedOff = 1;
constexpr int kLedOn = 2;
constexpr int kLedBlink = 3;

constexpr int kLedRed = 1;
constexpr int kLedGreen = 2;

// One LED. The names are not owned.
struct fp_led_struct {
    const char* sBaseFolderName;  // short name: the tail of the LED's folder name
    const char* sBrtFileName;     // path of its brightness file; null when the LED has none
    int iBrtFd;                   // descriptor of that file, -1 when closed
    const char* sBlinkFileName;   // path of its trigger file; kept, but never opened here
    int iBlinkFd;                 // -1: the kernel's triggers are not used
    int iState;                   // kLedOff, kLedOn or kLedBlink
    int iLit;                     // 1 while it shows light
    int iBlinking;                // 1 while it takes part in the blinking
    int iCurrLvl;                 // last level recorded by ledSetState()
    int iOnLvl;                   // level used when lit
    int iColor;                   // kLedRed or kLedGreen
    int iBlinkOnMs, iBlinkOffMs;  // copies of the group's times
};

// The LEDs of the panel and their common blink clock.
struct fp_ledGrp_struct {
    int iBlinkOnMs, iBlinkOffMs;       // lengths of the two blink phases
    int iBrtNumSteps;                  // entries of the step table
    int* iBrtStepTable;                // level of each brightness step, not owned; null for none
    std::uint32_t uiBlinkActiveFlags;  // bit i is set while LED i blinks
    int iBlinkState;                   // 1 off phase, 2 on phase
    int iBlinkStateMs;                 // phase length or time left; 0 while the clock is stopped
    timeval tvTmoBlink;                // end of the current phase
    fp_led_struct led[kNumLeds];
};

// Fills the defaults: all LEDs closed and off, brightness step 5 of 11, blinking 500 ms on and 500 ms off.
// Returns 0.
int ledBuildAll(fp_ledGrp_struct* grp);

// Opens every brightness file; the group owns the descriptors. An opened LED starts off, at step 5, with the
// group's blink times; a failure is logged and leaves -1. Nothing is written.
void ledOpenAll(fp_ledGrp_struct* grp);

// Closes every open file of the group.
void ledCloseAll(fp_ledGrp_struct* grp);

// Switches an LED off, on or to blinking. Blinking writes nothing: the blink manager takes over. On does
// nothing and returns 0 while the LED's level is -1. Returns 0; -1 for another state; the negative result of
// a failed write, with the LED's record unchanged.
int ledSetState(fp_ledGrp_struct* grp, int idx, int state);
int ledGetState(fp_ledGrp_struct* grp, int idx);

// Sets the level used when lit, 0 .. 254 (-1 for others), and writes it when the LED shows light. Returns 0,
// or the negative result of a failed write; the level is kept then, too.
int ledSetBrt(fp_ledGrp_struct* grp, int idx, int level);
// As ledSetBrt() with the level of a brightness step, 0 .. steps - 1. Returns -1 for no such step, without a
// step table, and for a table level above 254.
int ledSetBrtStep(fp_ledGrp_struct* grp, int idx, int step);
int ledGetBrt(fp_ledGrp_struct* grp, int idx);
int ledGetColor(fp_ledGrp_struct* grp, int idx);
// Returns the number of brightness steps, -1 without a table.
int ledGetBrtNumSteps(fp_ledGrp_struct* grp);

// Returns the blink flags, bit i for LED i; 0 for a null group.
std::uint32_t ledGetBlinkFlags(fp_ledGrp_struct* grp);
// Sets the on time (`which` 0) or off time (others) of the group and all its LEDs, 100 .. 10000 ms; it counts
// from the next phase on. Returns 0, or -1 for other times.
int ledSetBlinkTime(fp_ledGrp_struct* grp, int which, int ms);
int ledGetBlinkTime(fp_ledGrp_struct* grp, int which);

// Advances the blink clock and switches the blinking LEDs at the end of a phase; write errors are ignored.
// The LEDs share one phase: one that starts to blink joins the others at the next change, and the first of
// all starts with the off phase. Call it whenever an LED's state was changed and when the returned time has
// passed. Returns the milliseconds until it wants to be called again, 0 when nothing blinks.
int ledSwBlinkManager(fp_ledGrp_struct* grp);

// Writes the records of the group and all LEDs (`idx` -1), or of one LED, to standard error. Returns 0.
int ledDumpData(fp_ledGrp_struct* grp, int idx);

// Does one step of the front-panel LED test; called periodically. Types (others count as 0):
//   0 one LED after the other           7 the same, blinking; needs open trigger files
//   1, 2 red, green through all steps    3, 4 red, green blinking at step 5
//   5, 6 red, green blinking, through all steps
// A change of type sets the LEDs up anew. LEDs that fail are dropped from the test: their descriptor is set
// to -1, not closed. The state of the test is one for the process. Returns the current brightness step.
int ledTestAll(fp_ledGrp_struct* grp, int type);
