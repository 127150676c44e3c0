// The board's general-purpose outputs, numbered as the "set" commands number them: 0 power LED, 1 vibration
// motor, 2 reset of the microphone converter, 3 reset of the display (both resets act when low). Nothing is
// logged.
#pragma once

// Opens all lines and gives each its start level. A line that is still exported from an earlier run is
// unexported and opened again. Returns 0, or minus the number of lines that failed; a failed line stays
// closed.
int gpioOpenAll();

// Returns the level of line `id`: for an output what was last set (0, 1, or the value given), for an input
// what is read now. Returns -1 for no such line, a closed one, or a failed read, after which the line counts
// as closed.
int gpioGetLevel(int id);

// Sets line `id` high (`level` not 0) or low and keeps `level` as given. Returns 0, or -1 for no such line, a
// closed one or a failed write; the line counts as closed after a failed write.
int gpioSetLevel(int id, int level);

// Closes and unexports every open line.
void gpioCloseAll();

// Writes the state of line `id`, or with -1 of all lines, to standard error. Returns 0, or -1 for no such
// line.
int gpioDumpData(int id);
