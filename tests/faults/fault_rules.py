"""What has to hold when a call of the daemon fails: one rule a kind of call, looked up from top to bottom.

Whatever fails, the daemon goes on, ends in order when its input does, and closes what it closes otherwise. A rule adds
what a single failure may cost beyond the moment, and what a call that fails for good may cost; all else has to be as in
the session without a fault: lines, panel, system log.
"""

import os
import re
from dataclasses import dataclass, replace
from errno import (EACCES, EAGAIN, EBUSY, ECHILD, EFAULT, EINTR, EINVAL, EIO, EMFILE, ENODEV, ENOENT, ENOMEM, ENOSPC,
                   EPIPE, ETIMEDOUT)

NOTHING = "(?!)"
DISPLAY = ("frame", "contrast", "picture")
ALL = DISPLAY + ("led:.*", "output:.*", "gain")
COPY = "/tmp/beltpack_GfxCommands.txt"
ERROR_LINE = r"OnError\(.*"
FONT_LINES = r"img: unable to load font .*|OnError\(.utext, no font .*"
COMMAND_LINES = ERROR_LINE + "|" + FONT_LINES


def cut(size):
    """In place of an errno: the call is cut to so many bytes."""
    return -1 - size


def told(error):
    return os.strerror(error) if error > 0 else f"cut to {-1 - error} bytes"


@dataclass(frozen=True)
class Rule:
    calls: str  # regular expression: CALL and, behind a blank, PATH
    errors: tuple  # errno numbers, or cut(BYTES)
    detail: str = ".*"  # regular expression of what the call is about
    sessions: str = ".*"
    log: str = ""  # format of the message that must be logged, with {error} and {text}; "" for none
    once: tuple = ()  # parts of the state that a single failure may cost; {0} is the first group of `calls`
    lost: str = NOTHING  # lines that may be missing after a single failure
    more: str = NOTHING  # lines that may come besides
    for_good: tuple = ()  # the same for a call that fails from now on
    lost_for_good: str = NOTHING
    more_for_good: str = NOTHING
    in_a_row: bool = False  # it cannot fail for good: it fails many times in a row instead
    leak: str = NOTHING  # descriptors that stay open
    copy: bool = True  # the copy of the graphics commands is whole
    ends: bool = False  # for good: the daemon ends by itself
    stays: bool = False  # for good: the session cannot be ended any more
    messages: str = NOTHING  # errors that may be logged besides

    def message(self, error):
        return self.log.format(error=error, text=os.strerror(error)) if self.log and error > 0 else ""


DEVICE_ERRORS = (ENOENT, EACCES, EMFILE)
FILE_ERRORS = (ENOENT, EACCES, EMFILE, EIO)
BUS_ERRORS = (EIO, ENODEV, ETIMEDOUT, EINTR)
KEYS = r"OnFpKey\((1|2|3|4|5|99),.*"
INITIAL_KEYS = r"OnFpKey\((1|2|3|4|5|99),-?1,-1\)"
ENCODERS = {"1": "7", "2": "8", "3": "6"}

RULES = [
    # The display. Its set-up is sent once: without it the glass stays dark, while frames and contrast still arrive. All
    # else is sent again with the next frame, to a device that is opened again.
    Rule(r"ioctl /dev/spidev3.0", BUS_ERRORS, detail="transfer of 26", once=("picture",), for_good=DISPLAY),
    Rule(r"(?:open|ioctl) /dev/spidev3.0", BUS_ERRORS + (EMFILE,), detail="(?!transfer).*", once=("picture",),
         for_good=DISPLAY),
    Rule(r"(?:open|ioctl) /dev/spidev3.1", BUS_ERRORS + (EMFILE,), detail="(?!transfer).*", for_good=DISPLAY),
    Rule(r"ioctl /dev/spidev3.[01]", BUS_ERRORS, detail="transfer.*", for_good=DISPLAY),
    # The amplifier: opened again with the next gain.
    Rule(r"(?:open|ioctl) /dev/spidev4.0", BUS_ERRORS, for_good=("gain",)),

    # Outputs: exported anew once at the start; a line whose value cannot be written is given up and stays exported.
    Rule(r"(?:open|write) /sys/class/gpio/export", DEVICE_ERRORS + (EBUSY, cut(1)),
         for_good=("output:254", "output:9", "output:105", "output:255")),
    Rule(r"(?:open|write) /sys/class/gpio/gpio(\d+)/direction", DEVICE_ERRORS + (EIO, cut(1)),
         for_good=("output:{0}",)),
    Rule(r"open /sys/class/gpio/gpio(\d+)/value", DEVICE_ERRORS, for_good=("output:{0}",)),
    Rule(r"write /sys/class/gpio/gpio(\d+)/value", (EIO, ENODEV, cut(0)), once=("output:{0}",),
         for_good=("output:{0}",), leak="/sys/class/gpio/gpio.*/value"),
    Rule(r"(?:open|write) /sys/class/gpio/unexport", DEVICE_ERRORS),

    # Lights: one that cannot be opened is not used; one that cannot be written to keeps its level until the next time.
    # The panel test gives up a light that it cannot write to.
    Rule(r"open /sys/class/leds/pca963x:(\w+:\w+)/brightness", DEVICE_ERRORS, log="ledOpen Error {error}: {text}",
         once=("led:{0}",), for_good=("led:{0}",)),
    Rule(r"write /sys/class/leds/pca963x:(\w+:\w+)/brightness", (EIO, ENODEV, EINTR), sessions="panel_test",
         once=("led:{0}",), for_good=("led:{0}",), leak="/sys/class/leds/.*"),
    Rule(r"write /sys/class/leds/pca963x:(\w+:\w+)/brightness", (EIO, ENODEV, EINTR, cut(1)), for_good=("led:{0}",)),

    # Encoders and keys: one that cannot be opened, or is gone, tells nothing; all other failures lose nothing.
    Rule(r"open /dev/input/event4", DEVICE_ERRORS, log="buttonOpenGrp Error {error}: {text}", lost=KEYS,
         more=INITIAL_KEYS, lost_for_good=KEYS, more_for_good=INITIAL_KEYS, stays=True),
    Rule(r"ioctl /dev/input/event4", (EIO, ENODEV), log="buttonOpenGrp ioctl EVIOCGKEY Error {error}: {text}",
         lost=INITIAL_KEYS, more=INITIAL_KEYS, lost_for_good=INITIAL_KEYS, more_for_good=INITIAL_KEYS),
    Rule(r"open /dev/input/event([123])", DEVICE_ERRORS, log="rencOpen Error {error}: {text}",
         lost=r"OnFpKey\({encoder},.*", lost_for_good=r"OnFpKey\({encoder},.*"),
    Rule(r"read /dev/input/event4", (ENODEV,), log="buttonGetGrpData Error {error}: {text}", lost=KEYS,
         lost_for_good=KEYS, stays=True),
    Rule(r"read /dev/input/event([123])", (ENODEV,), log="rencGetChg Error {error}: {text}",
         lost=r"OnFpKey\({encoder},.*", lost_for_good=r"OnFpKey\({encoder},.*"),
    # One event of 24 bytes instead of all: the rest comes with the next read, so that a turn is told in more lines.
    Rule(r"read /dev/input/event([123])", (EIO, EINTR, EAGAIN, cut(24)), in_a_row=True,
         more=r"OnFpKey\({encoder},.*", more_for_good=r"OnFpKey\({encoder},.*"),
    Rule(r"read /dev/input/event4", (EIO, EINTR, EAGAIN, cut(24)), in_a_row=True),

    # Standard input. A command that comes in two reads loses its first part; four failures in a row end the daemon.
    Rule(r"read stdin", (EINTR, EAGAIN), in_a_row=True, messages="readInput No Data.*"),
    Rule(r"read stdin", (EIO,), for_good=ALL, lost_for_good=".*", copy=False, ends=True,
         messages="readInput ReadErr ErrCt=4,ErrNo=5,Input/output error|readInput Abort FSM.*"),
    Rule(r"read stdin", (cut(1),), once=ALL, lost=".*", more=COMMAND_LINES, in_a_row=True, for_good=ALL,
         lost_for_good=".*", more_for_good=COMMAND_LINES, copy=False, messages=".*"),
    # Standard output: the line is lost, no more.
    Rule(r"(?:fputs|printf|fflush) stdout", (EPIPE, ENOSPC, EAGAIN, EIO), lost="one", lost_for_good=".*",
         messages="sendOutput ERR=.* writing: .*"),

    # Waiting and the clock.
    Rule(r"select ", (EINTR, ENOMEM, EINVAL), in_a_row=True),
    Rule(r"usleep ", (EINTR,), in_a_row=True),
    Rule(r"gettimeofday ", (EFAULT,), in_a_row=True),

    # The boot loader's tool: without it the panel is variant 0.
    Rule(r"popen .*", (EMFILE, ENOMEM), log='getDisplayType Could not open "fw_printenv -n disptype"'),
    Rule(r"fgets .*", (EIO,), log="getDisplayType no disptype returned from cmd fw_printenv -n disptype"),
    Rule(r"pclose .*", (ECHILD,),
         log="getDisplayType cmd fw_printenv -n disptype, get disptype ERROR: No child processes"),

    # The copy of the graphics commands: it stops for good, and the descriptor stays open.
    Rule(r"open " + re.escape(COPY), DEVICE_ERRORS, copy=False,
         log="processGraphicsCommand Could not open " + COPY + " Err={error},{text}"),
    Rule(r"write " + re.escape(COPY), (ENOSPC, EIO, EINTR), copy=False,
         log="processGraphicsCommand Could not write .*" + COPY + " WriteLen=.*,Err={error},{text}"),
    Rule(r"write " + re.escape(COPY), (cut(0),), copy=False,
         messages="processGraphicsCommand Could not write .*"),

    # Fonts, shapes, bitmaps: a file that cannot be read is told, and can be loaded again.
    Rule(r"(?:statx|open) font/.*", FILE_ERRORS, more=FONT_LINES, for_good=("picture", "frame"),
         more_for_good=FONT_LINES),
    Rule(r"fstat font/.*", (EIO, ENOMEM), more=FONT_LINES, for_good=("picture", "frame"), more_for_good=FONT_LINES),
    Rule(r"(?:mmap|fcntl) font/.*", (ENOMEM, EINVAL)),  # without a mapping FreeType reads the file
    Rule(r"(?:open|fdopen|statx|fread) .*\.(?:bmp|shp|fnt)", FILE_ERRORS, more=ERROR_LINE,
         for_good=("picture", "frame"), more_for_good=ERROR_LINE),

    Rule(r"open /dev/null", (EMFILE, ENOENT)),
    # What close reports is of no use: the descriptor is gone.
    Rule(r"(?:close|fclose) .*", (EIO, EINTR)),
]


def rules_of(session, call):
    """The rules of a call, each with the errors that it is about, and what its places stand for filled in."""
    found = []
    seen = set()
    for rule in RULES:
        match = re.fullmatch(rule.calls, f"{call.kind} {call.path}")
        if match and re.fullmatch(rule.detail, call.detail) and re.fullmatch(rule.sessions, session):
            errors = tuple(error for error in rule.errors if error not in seen)
            seen.update(errors)
            found.append(_filled(rule, match.groups(), errors))
    return found


def _filled(rule, groups, errors):
    encoder = ENCODERS.get(groups[0], "") if groups else ""

    def names(parts):
        return tuple(part.format(*groups) for part in parts)

    def lines(pattern):
        return pattern.replace("{encoder}", encoder)

    return replace(rule, errors=errors, once=names(rule.once), for_good=names(rule.for_good), lost=lines(rule.lost),
                   more=lines(rule.more), lost_for_good=lines(rule.lost_for_good),
                   more_for_good=lines(rule.more_for_good))
