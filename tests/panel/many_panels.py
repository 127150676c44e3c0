#!/usr/bin/python3
"""Runs many emulated panels at once, each with a daemon and a web page of its own, as on a build machine.

    many_panels.py SIMULATOR [PANELS [SECONDS]]         (100 panels, 5 s)

Each panel draws ten frames a second and is asked for an answer with each. Held against what is promised: every answer
comes, every panel's last frame is its own, none lags behind by more than a second, and simulator and daemon of one
panel have less than 16 MB of private memory together. Run by Debian's own Python, for which the package python3-pil is.
"""

import asyncio
import io
import sys
import time
import urllib.request
from pathlib import Path

from PIL import Image

FRAMES_A_SECOND = 10
MOST_PRIVATE_KB = 16 * 1024
MOST_LAG_S = 1.0
START_TIMEOUT_S = 60


def private_kb(process_id):
    """Private memory of a process, in kB, by the kernel's count."""
    lines = Path(f"/proc/{process_id}/smaps_rollup").read_text().splitlines()
    return sum(int(line.split()[1]) for line in lines if line.startswith("Private_"))


def children(process_id):
    return [int(word) for word in Path(f"/proc/{process_id}/task/{process_id}/children").read_text().split()]


class Panel:
    def __init__(self, number, simulator):
        self.number = number
        self.simulator = simulator
        self.answers = 0
        self.worst_lag = 0.0
        self.asked = []  # when

    async def start(self):
        pipe = asyncio.subprocess.PIPE
        self.process = await asyncio.create_subprocess_exec(
            self.simulator, "--web", "0", stdin=pipe, stdout=pipe, stderr=pipe)
        self.address = (await self.process.stderr.readline()).decode().split()[-1]
        while not (await self.process.stdout.readline()).startswith(b"OnFpKey(99,"):
            assert not self.process.stdout.at_eof(), f"panel {self.number} does not start"
        self.reader = asyncio.create_task(self.count())

    async def count(self):
        async for line in self.process.stdout:
            assert line == b"OnDisplayInfo1(1,96,64)\n", line
            self.worst_lag = max(self.worst_lag, time.monotonic() - self.asked[self.answers])
            self.answers += 1

    def draw(self, frame):
        """A bar that moves, at last in the column of the panel's number modulo the width."""
        column = (self.number + frame) % 96
        self.asked.append(time.monotonic())
        self.process.stdin.write(b"g:clear 0\ng:rect 0 %d 0 1 64 white white\ng:flush 0 1\ng:info\n" % column)

    def memory(self):
        return sum(map(private_kb, [self.process.pid, *children(self.process.pid)]))

    async def end(self):
        self.process.stdin.close()
        status = await self.process.wait()
        await self.reader
        return status

    def shown_column(self):
        """The only lit column of the page's picture, or -1."""
        with urllib.request.urlopen(f"{self.address}picture.png?scale=1", timeout=10) as answer:
            picture = Image.open(io.BytesIO(answer.read())).convert("L")
        lit = picture.point(lambda level: 255 * (level > 127)).getbbox()
        return lit[0] if lit and lit[2] - lit[0] == 1 and lit[3] - lit[1] == 64 else -1


async def run(simulator, count, seconds):
    panels = [Panel(number, simulator) for number in range(count)]
    for batch in range(0, count, 10):
        await asyncio.wait_for(asyncio.gather(*(panel.start() for panel in panels[batch:batch + 10])), START_TIMEOUT_S)
    frames = seconds * FRAMES_A_SECOND
    start = time.monotonic()
    for frame in range(frames):
        await asyncio.sleep(max(0, start + frame / FRAMES_A_SECOND - time.monotonic()))
        for panel in panels:
            panel.draw(frame)
    took = time.monotonic() - start + 1 / FRAMES_A_SECOND
    memory = [panel.memory() for panel in panels]
    while any(panel.answers < frames for panel in panels) and time.monotonic() - start < took + 10:
        await asyncio.sleep(0.05)
    own = sum(panel.shown_column() == (panel.number + frames - 1) % 96 for panel in panels)
    statuses = await asyncio.gather(*(panel.end() for panel in panels))
    return panels, frames, took, memory, own, statuses


def main():
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 100
    seconds = int(sys.argv[3]) if len(sys.argv) > 3 else 5
    panels, frames, took, memory, own, statuses = asyncio.run(run(sys.argv[1], count, seconds))
    answers = sum(panel.answers for panel in panels)
    lag = max(panel.worst_lag for panel in panels)
    print(f"panels                              {count}")
    print(f"frames a second and panel           {frames / took:.1f}")
    print(f"answers, of {count * frames:<6}                  {answers}")
    print(f"longest wait for an answer          {1000 * lag:.0f} ms")
    print(f"most private memory of one panel    {max(memory)} kB")
    failures = []
    if answers != count * frames:
        failures.append("an answer is lost")
    if own != count:
        failures.append(f"{count - own} panels show another last frame than theirs")
    if any(statuses):
        failures.append(f"exit statuses {sorted(set(statuses))}")
    if max(memory) >= MOST_PRIVATE_KB:
        failures.append("too much memory")
    if lag > MOST_LAG_S:
        failures.append("an answer took too long")
    print("\n".join(failures) or "all as promised")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
