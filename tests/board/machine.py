"""The emulated board: QEMU with a real kernel, driven and watched from outside.

Four connections lead into it: the guest's command line on the first serial line, the daemon's standard output on the
third (the second is the kernel's console), the emulator's test protocol for pins and memory, and its monitor."""
import ctypes
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time

WAIT = 20  # seconds: the longest wait for anything but the start
START = 60

# The guest's time is what it computes, 2 ns an instruction, and while it waits for something the real time: what is
# measured in it does not depend on how busy this machine is.
GUEST_TIME = ["-icount", "shift=1"]

KEY_BANK = "/machine/soc/gpio3"  # the emulator counts the banks from 1


class BoardError(Exception):
    """The board did not do what was waited for."""


def missing_parts(board_folder):
    """What has to be installed or unpacked before the board can run, as text; empty when nothing is missing."""
    tools = [tool for tool in ("qemu-system-arm", "dtc", "cpio") if shutil.which(tool) is None]
    parts = [f"{', '.join(tools)}: install with scripts/setup.sh test"] if tools else []
    if not list(pathlib.Path(board_folder).glob("boot/vmlinuz-*")):
        parts.append(f"no kernel in {board_folder}: unpack it with scripts/arm-sysroot.sh")
    return "; ".join(parts)


class Connection:
    """A Unix socket that is read line by line. The peer makes it, so that connecting may have to be tried again."""

    def __init__(self, path, deadline):
        self._rest = b""
        self._socket = socket.socket(socket.AF_UNIX)
        while True:
            try:
                self._socket.connect(str(path))
                return
            except OSError as error:
                if time.monotonic() > deadline:
                    raise BoardError(f"{path.name}: {error}") from error
                time.sleep(0.02)

    def send(self, line):
        self._socket.sendall(line.encode() + b"\n")

    def line(self, what, wait=WAIT):
        """The next line; `what` tells what it is waited for."""
        deadline = time.monotonic() + wait
        while b"\n" not in self._rest:
            left = deadline - time.monotonic()
            self._socket.settimeout(max(left, 0.001))
            try:
                data = self._socket.recv(65536)
            except TimeoutError:
                raise BoardError(f"nothing came for {wait} s while waiting for {what}") from None
            if not data:
                raise BoardError(f"the emulator has ended while waiting for {what}")
            self._rest += data
        line, self._rest = self._rest.split(b"\n", 1)
        return line.decode(errors="replace").rstrip("\r")

    def has_line(self):
        """True when a line waits to be read."""
        self._socket.setblocking(False)
        try:
            self._rest += self._socket.recv(65536)
        except BlockingIOError:
            pass
        return b"\n" in self._rest

    def close(self):
        self._socket.close()


class Machine:
    """One run of the board. Use it as a context: the emulator never outlives it, nor this process."""

    def __init__(self, board_folder, image_folder):
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix="beltpack_board."))
        self.trace_file = self._folder / "trace"
        self._qemu = subprocess.Popen(self._command(pathlib.Path(board_folder), pathlib.Path(image_folder)),
                                      stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                      preexec_fn=_end_with(os.getpid()))
        try:
            self._connect()
        except BaseException:
            self.close()
            raise

    def _command(self, board, image):
        kernel = sorted(board.glob("boot/vmlinuz-*"))[-1]
        (self._folder / "events").write_text("memory_region_ops_write\n")
        return ["qemu-system-arm", "-M", "sabrelite", "-m", "512M", *GUEST_TIME, "-kernel", kernel,
                "-dtb", image / "board.dtb", "-initrd", image / "root.gz",
                "-append", "console=ttymxc1,115200 quiet loglevel=4 panic=-1",
                "-display", "none", "-monitor", "none", "-no-reboot", "-nic", "none",
                "-serial", self._server("commands"), "-serial", f"file:{self._folder}/console",
                "-serial", self._server("output"),
                # A clock in the LED chip's place. What counts is that it answers, and that its registers 8 to 63
                # keep what is written: the driver reads the output registers, 12 and 13, back.
                "-device", "ds1338,bus=i2c-bus.2,address=0x60",
                "-qtest", self._server("qtest"), "-qtest-log", "none", "-qmp", self._server("monitor"),
                "-D", self.trace_file]

    def _server(self, name):
        return f"unix:{self._folder}/{name},server=on,wait=off"

    def _connect(self):
        deadline = time.monotonic() + WAIT
        self._commands, self._output, self._qtest, self._monitor = (
            Connection(self._folder / name, deadline) for name in ("commands", "output", "qtest", "monitor"))
        self._monitor.line("the monitor's greeting")
        self._ask_monitor("qmp_capabilities")
        self._wait_for_guest()
        self._ask_monitor("trace-event-set-state", name="memory_region_ops_write", enable=True)

    def _wait_for_guest(self):
        said = []
        while not said or said[-1] != "READY":
            try:
                said.append(self._commands.line("the guest's first command", START))
            except BoardError as error:
                raise BoardError(f"{error}; it said {said}; its console ends in\n{self.console()[-2000:]}") from None

    def console(self):
        """What the kernel has written."""
        return (self._folder / "console").read_text(errors="replace")

    def _ask_monitor(self, command, **arguments):
        self._monitor.send(json.dumps({"execute": command, "arguments": arguments}))
        while "return" not in (answer := json.loads(self._monitor.line(command))):
            if "error" in answer:
                raise BoardError(f"monitor: {command}: {answer['error']['desc']}")

    def _ask_qtest(self, command):
        self._qtest.send(command)
        answer = self._qtest.line(command)
        if not answer.startswith("OK"):
            raise BoardError(f"qtest: {command}: {answer}")
        return answer[3:]

    def set_pin(self, line, high):
        """Drives a line of the bank on which the keys are."""
        self._ask_qtest(f"set_irq_in {KEY_BANK} unnamed-gpio-in {line} {int(high)}")

    def read_word(self, address):
        """The 32-bit word at a physical address."""
        return int(self._ask_qtest(f"readl {address:#x}"), 16)

    def try_run(self, command):
        """Runs a shell command in the guest: its status and the lines that it wrote."""
        self._commands.send(command)
        lines = []
        while not (line := self._commands.line(f"the end of: {command}")).startswith("RC "):
            lines.append(line)
        return int(line[3:]), lines

    def run(self, command):
        """The same for one that has to succeed: its lines."""
        status, lines = self.try_run(command)
        if status != 0:
            raise BoardError(f"{command}: status {status}, {lines}")
        return lines

    def output_line(self):
        """The next line of the daemon's standard output."""
        return self._output.line("a line of the daemon")

    def has_output(self):
        return self._output.has_line()

    def close(self):
        """Ends the emulator and takes its files away."""
        self._qemu.kill()
        self._qemu.wait()
        shutil.rmtree(self._folder, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def _end_with(parent):
    """What the emulator's process does first: have the kernel end it with this one, however that ends."""
    library = ctypes.CDLL(None)
    set_death_signal = 1  # PR_SET_PDEATHSIG

    def prepare():
        library.prctl(set_death_signal, signal.SIGKILL)
        if os.getppid() != parent:
            os._exit(1)

    return prepare
