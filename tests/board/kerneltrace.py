"""The kernel's own record of what happened, in the guest's time."""
import collections
import re

Event = collections.namedtuple("Event", "seconds name detail")

LINE = re.compile(r".{16,}?-\d+ +\[\d+\] \S+ +(\d+\.\d+): (\w+)[:(] ?(.*)")
FOLDER = "/sys/kernel/tracing"
# What is recorded, with a filter each: the daemon's start, the interrupts of the panel's keys, the end of each SPI
# message and the daemon's event lines.
EVENTS = {
    "sched/sched_process_exec": 'filename ~ "*beltpack_fpui"',
    "irq/irq_handler_entry": 'name == "Talk_1"',
    "spi/spi_message_done": None,
    "syscalls/sys_enter_write": 'fd == 1 && comm == "beltpack_fpui"',
}


class KernelTrace:
    """Records while it is used as a context; `events` has them afterwards."""

    def __init__(self, machine):
        self._machine = machine
        self.events = []

    def __enter__(self):
        self._machine.run(f"echo >{FOLDER}/trace")
        for event, only in EVENTS.items():
            if only:
                self._machine.run(f"echo '{only}' >{FOLDER}/events/{event}/filter")
            self._machine.run(f"echo 1 >{FOLDER}/events/{event}/enable")
        return self

    def __exit__(self, *_):
        for event in EVENTS:
            self._machine.run(f"echo 0 >{FOLDER}/events/{event}/enable")
        for line in self._machine.run(f"cat {FOLDER}/trace"):
            if match := LINE.match(line):
                self.events.append(Event(float(match[1]), match[2], match[3]))

    def times(self, name, detail=""):
        """When the events of this name, with this text in them, happened, in seconds."""
        return [event.seconds for event in self.events if event.name.startswith(name) and detail in event.detail]
