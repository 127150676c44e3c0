"""One run of the daemon on the emulated board."""
import shlex
import time

from buses import BusRecord
from machine import WAIT, BoardError
from picture import frames

START_LINES = ['OnFpId("beltpack",1,96,64)'] + [f"OnFpKey({key},-1,-1)" for key in (4, 3, 5, 1, 2, 99)]


class Session:
    """Starts the daemon on a Machine, with its standard input in the test's hands. Use it as a context: at its end
    the daemon is ended, by force should it still run."""

    def __init__(self, machine, *options):
        self.machine = machine
        self._record = BusRecord(machine.trace_file)
        self._record.update()
        self._first_spi, self._first_led = len(self._record.spi), len(self._record.leds)
        machine.run("rm -f /tmp/in; mkfifo /tmp/in; echo 0 >/tmp/disptype; >/tmp/syslog")
        machine.run(f"beltpack_fpui {shlex.join(options)} </tmp/in >/dev/ttymxc2 2>/tmp/stderr & "
                    "daemon=$!; exec 5>/tmp/in")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.machine.try_run("exec 5>&-; for attempt in $(seq 100); do kill -0 $daemon || break; usleep 20000; done; "
                             "kill -9 $daemon; wait $daemon")
        while self.machine.has_output():
            self.machine.output_line()
        self._record.close()

    @property
    def spi(self):
        """The messages on the SPI buses since the start."""
        self._record.update()
        return self._record.spi[self._first_spi:]

    @property
    def leds(self):
        """The writes to the LED chip's registers since the start."""
        self._record.update()
        return self._record.leds[self._first_led:]

    def led_register(self, number):
        """The last value written to a register of the LED chip, or None."""
        written = [write.value for write in self.leds if write.register == number]
        return written[-1] if written else None

    def send(self, *lines):
        """Commands to the daemon's standard input, in one write."""
        self.machine.run("printf '%s\\n' " + shlex.join(lines) + " >&5")

    def line(self):
        return self.machine.output_line()

    def lines(self, count):
        return [self.line() for _ in range(count)]

    def wait_until(self, what, condition):
        """Waits until condition() is true and returns its value; `what` tells what it stands for."""
        deadline = time.monotonic() + WAIT
        while not (value := condition()):
            if time.monotonic() > deadline:
                raise BoardError(f"waited {WAIT} s in vain for {what}")
            time.sleep(0.02)
        return value

    def wait_frames(self, count):
        """Waits for so many frames since the start; returns the last."""
        return self.wait_until(f"frame {count}", lambda: frames(self.spi)[count - 1:])[0]

    def end(self):
        """Ends the daemon's input and waits for its end; returns its exit status."""
        return self.machine.try_run("exec 5>&-; wait $daemon")[0]

    def process_status(self, name):
        """A number of the daemon's /proc status."""
        line, = self.machine.run(f"grep ^{name}: /proc/$daemon/status")
        return int(line.split()[1])

    def system_log(self):
        return self.machine.run("cat /tmp/syslog")
