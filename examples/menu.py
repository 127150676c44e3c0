#!/usr/bin/env python3
"""An intercom menu: a small but whole controlling application of the front panel, in C++ in menu.cpp.

usage: menu.py [--idle SECONDS] [--tap MS] [DAEMON [ARGUMENT...]]

It starts the daemon, reads its event lines and answers with commands, until the daemon ends, a signal comes
or the other end of its standard input is closed. class Menu is the application: lines and the time in,
commands out. It knows no file and no clock, so that it can be tested alone; the rest joins it to them.
"""
import contextlib, os, re, select, signal, subprocess, sys, time

# The key codes of the event line OnFpKey(code,event,ms).
TALK_1, CALL_1, TALK_2, CALL_2, MENU, REAR, LEFT, RIGHT, HEADPHONE = 1, 2, 3, 4, 5, 6, 7, 8, 99
LEDS = 8  # the "set" number of a key's pair of LEDs is the key's code and this
LEDS_OFF, GREEN_ON, RED_BLINKS = 0, 1, 4  # states of a pair
CONTRAST, MIC_GAIN, LED_BRIGHTNESS = 201, 204, 520  # further "set" numbers
REPEAT_MS = 200  # a held key that repeats tells it every 33 ms; silent for this long, it is up
IDLE = 0  # the alarm that dims the display; the other alarms go by the code of their key
ENTRIES = [("Brightness", range(11)), ("LED light", range(11)), ("Sidetone", ["Off", "On"]),  # name, choices
           ("Channel", ["Stage", "Light", "Sound", "Party"]), ("Exit menu", [""])]
BRIGHTNESS, LED_LIGHT, _, CHANNEL, EXIT = range(5)


def limit(value, least, most):
    return min(max(value, least), most)


def talk_after(state, pressed, is_tap):
    """The state of a talk key after a change: a tap latches it, a held key talks until it is let go."""
    if pressed:
        return "off" if state == "latched" else "held"
    if state == "held":
        return "latched" if is_tap else "off"
    # A second release without a press: the first was no tap but the auto-repeat of a key that is still held,
    # which is told as a release, too. Talk on, as long as the repeats come.
    return "repeating" if state == "latched" else state


class Menu:
    def __init__(self, idle_ms, tap_ms):
        self.idle_ms, self.tap_ms = idle_ms, tap_ms  # dims after so long; a press shorter than this is a tap
        self.width = self.height = 0  # px; 0 until the daemon tells them
        self.talk = {TALK_1: "off", TALK_2: "off"}  # off, held, latched or repeating
        self.calling = {CALL_1: False, CALL_2: False}
        self.volume, self.gain, self.headphone = 10, 40, True  # 0 to 20; dB; plugged in
        self.selected, self.editing = None, False  # the open menu's entry; whether the knob changes its value
        self.values = [5, 5, 1, 0, 0]  # of each entry: which of its choices
        self.alarms, self.settings, self.screen = {}, {}, []  # when, ms; what the panel has been sent last

    def handle(self, line, now):
        """Takes one line of the daemon, without its line feed, and the time in ms. Returns what to send."""
        if found := re.match(r'OnFpId\("[^"]*",\d+,(\d+),(\d+)\)', line):  # it is ready
            self.width, self.height = map(int, found.groups())
            self.settings, self.screen = {}, []  # a panel that has just started has nothing of ours
        elif found := re.match(r"OnFpKey\((-?\d+),(-?\d+),(-?\d+)\)", line):
            self.take_event(*map(int, found.groups()), now)
        else:
            return []  # OnError and answers: nothing that the user did
        self.alarms[IDLE] = now + self.idle_ms  # whatever the user does keeps the display bright, or wakes it
        return self.update()

    def tick(self, now):
        """Does what is due at this time. Returns what to send."""
        for alarm in [alarm for alarm, at in self.alarms.items() if now >= at]:
            del self.alarms[alarm]  # without the alarm IDLE the display is dimmed
            if alarm != IDLE:
                self.talk[alarm] = "off"
        return self.update()

    def wait_ms(self, now):
        """The time until tick() has something to do, None for ever."""
        return max(0, min(self.alarms.values()) - now) if self.alarms else None

    def take_event(self, code, event, ms, now):
        pressed = event == 1  # else -1. After OnFpId each key tells its state so, with -1 for ms
        step = 1 if event == 2 else -1  # of a knob: 2 is clockwise, -2 is not
        if code in self.talk:
            self.talk[code] = talk_after(self.talk[code], pressed, ms < self.tap_ms)
            self.alarms.pop(code, None)
            if self.talk[code] == "repeating":
                self.alarms[code] = now + REPEAT_MS
        elif code in self.calling:
            self.calling[code] = pressed
        elif code == HEADPHONE:
            self.headphone = pressed
        elif code == MENU and pressed and ms >= 0 and self.selected in (None, EXIT):
            self.selected = 0 if self.selected is None else None  # opens or closes the menu
        elif code == MENU and pressed and ms >= 0:  # held at the start it does nothing
            self.editing = not self.editing  # from now on the knob changes the value, or moves on again
        elif code == REAR and self.editing:
            last = len(ENTRIES[self.selected][1]) - 1
            self.values[self.selected] = limit(self.values[self.selected] + step, 0, last)
        elif code == REAR and self.selected is not None:
            self.selected = limit(self.selected + step, 0, EXIT)
        elif code == LEFT:
            self.volume = limit(self.volume + step, 0, 20)
        elif code == RIGHT:
            self.gain = limit(self.gain + 3 * step, 16, 70)  # the amplifier's range and its steps

    def update(self):
        """Returns what brings the panel to the present state: what differs from what it has, if anything."""
        if self.width == 0:
            return []  # the daemon is not ready
        new = {key + LEDS: LEDS_OFF if state == "off" else GREEN_ON for key, state in self.talk.items()}
        new.update({key + LEDS: RED_BLINKS if on else LEDS_OFF for key, on in self.calling.items()})
        new.update({CONTRAST: self.values[BRIGHTNESS] if IDLE in self.alarms else 0, MIC_GAIN: self.gain,
                    LED_BRIGHTNESS: self.values[LED_LIGHT]})  # volume and the rest are for your audio device
        commands = [f"a:set {id} {new[id]}" for id in sorted(new) if self.settings.get(id) != new[id]]
        screen = self.main_screen() if self.selected is None else self.menu_screen()
        if screen != self.screen:
            commands += screen + ["g:flush 0"]  # only a flush shows what was drawn, the whole frame at once
        self.settings, self.screen = new, screen
        return commands

    def title(self, left, right):  # all black, then a white bar; rtext's x counts from the right edge
        return ["g:clear 0", "g:font 0 F9x5p", f"g:rect 0 0 0 {self.width} 11 white white",
                f"g:text 0 3 1 '{left}' black", f"g:rtext 0 -2 1 '{right}' black"]

    def top(self, row, rows):  # of a row below the title bar, px
        return 13 + row * ((self.height - 11) // rows)

    def lamp(self, row, label, text, lit):  # a box that is filled when lit; ctext's x counts from the middle
        x, y = self.width - 47, self.top(row, 4)
        paper, ink = ("white", "black") if lit else ("black", "white")
        return [f"g:text 0 3 {y + 1} '{label}' white", f"g:rect 0 {x} {y - 1} 45 12 white {paper}",
                f"g:ctext 0 {self.width // 2 - 24} {y + 1} '{text}' {ink}"]

    def main_screen(self):
        words = {"off": "off", "held": "TALK", "repeating": "TALK", "latched": "LATCH"}
        called = "+".join(str(key // 2) for key, on in self.calling.items() if on)  # the keys' numbers
        x, y = self.width - 66, self.top(3, 4)
        volume = [f"g:text 0 3 {y + 1} 'Vol' white", f"g:rect 0 {x} {y} 64 11 white"]  # one colour: a frame
        volume += [f"g:rect 0 {x + 2} {y + 2} {3 * self.volume} 7 white white"] * (self.volume > 0)
        return (self.title(ENTRIES[CHANNEL][1][self.values[CHANNEL]], f"Mic {self.gain} dB")
                + self.lamp(0, "Talk 1", words[self.talk[TALK_1]], self.talk[TALK_1] != "off")
                + self.lamp(1, "Talk 2", words[self.talk[TALK_2]], self.talk[TALK_2] != "off")
                + self.lamp(2, f"Call {called}", "ringing" if called else "-", called != "")
                + (volume if self.headphone else [f"g:ctext 0 0 {y + 1} 'No headphone' white"]))

    def menu_screen(self):
        screen = self.title("Menu", "change" if self.editing else "")
        for row, ((name, choices), value) in enumerate(zip(ENTRIES, self.values)):
            y, here = self.top(row, len(ENTRIES)), row == self.selected
            x = self.width - 34 if self.editing else 0  # the bar: over the value alone while that changes
            if here:
                screen.append(f"g:rect 0 {x} {y} {self.width - x} 10 white white")
            screen += [f"g:text 0 3 {y + 1} '{name}' {'black' if here and x == 0 else 'white'}",
                       f"g:rtext 0 -2 {y + 1} '{choices[value]}' {'black' if here else 'white'}"]
        return screen


def now_ms():
    return time.monotonic_ns() // 1_000_000  # the wall clock may be set meanwhile


def converse(menu, daemon, wake):
    source, rest = daemon.stdout.fileno(), b""
    poller = select.poll()
    for fd, events in ((source, select.POLLIN), (wake, select.POLLIN), (0, 0)):
        poller.register(fd, events)  # of 0 nothing is read: all that is told is that its other end closed
    while not {wake, 0} & (ready := {fd for fd, _ in poller.poll(menu.wait_ms(now_ms()))}):
        commands = []
        if source in ready:
            data = os.read(source, 4096)
            if not data:
                return  # the daemon has ended
            *lines, rest = (rest + data).split(b"\n")  # a read may end within a line
            for line in map(bytes.decode, lines):
                if line.startswith("OnError("):  # one of our drawing commands was wrong
                    print(line, file=sys.stderr)
                commands += menu.handle(line, now_ms())
        for command in commands + menu.tick(now_ms()):
            os.write(daemon.stdin.fileno(), command.encode() + b"\n")  # each whole, in a write of its own


def main():
    options, arguments = {"--idle": 10, "--tap": 300}, sys.argv[1:]  # s until it dims; ms of the longest tap
    while len(arguments) > 1 and arguments[0] in options:
        options[arguments[0]], arguments = float(arguments[1]), arguments[2:]
    wake, wake_end = os.pipe()
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: os.write(wake_end, b"!"))  # which ends the poll
    # In a session of its own: Ctrl-C at a terminal is then for us alone, and the daemon can end in order.
    command, pipe = arguments or ["beltpack_fpui"], subprocess.PIPE
    try:
        daemon = subprocess.Popen(command, stdin=pipe, stdout=pipe, bufsize=0, start_new_session=True)
    except OSError as error:
        print(f"{command[0]}: {error.strerror}", file=sys.stderr)
        return 127
    with contextlib.suppress(BrokenPipeError):  # the daemon has ended, and not read all
        converse(Menu(1000 * options["--idle"], options["--tap"]), daemon, wake)
    daemon.stdin.close()  # that ends the daemon, which darkens the panel
    while daemon.stdout.read(4096):
        pass  # what it still says; a full pipe would hold it
    return status if (status := daemon.wait()) >= 0 else 128 - status  # -n: ended by signal n


if __name__ == "__main__":
    sys.exit(main())
