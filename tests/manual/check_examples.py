#!/usr/bin/python3
"""Plays the examples of docs/protocol.md with the daemon on the emulated panel.

    check_examples.py SIMULATOR FOLDER [--update] [HEADING...]

Each block "panel" of the document is a session of its own: "< LINE" goes into the daemon, "> LINE" must be the next
line that comes out ("..." stands for any text), "# STEP" is a step of the simulator's scripts. At its end nothing more
may come, and where an image stands behind the block the display must show that very picture. Sessions start in a folder
with the files that the document's own Python block makes, and DejaVu Sans as font/sans.ttf. FOLDER is emptied and used
for all of this. With --update the pictures are written: look at them. With names of headings only what stands
under these.
"""

import re
import shutil
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True  # the sources are no place for it

from documents import PROTOCOL, Document

FONT = Path("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf")
SCALE = 4  # points a pixel in the document
READY = ["wait line OnFpKey(99,*", "wait frame 1"]
ASK = ["send g:info", "expect line OnDisplayInfo1(1,96,64)", "expect quiet"]


def answer(text):
    """A line of the document as the simulator's pattern."""
    return "*".join(re.sub(r"([*?\[\]\\])", r"\\\1", part) for part in text.split("..."))


def step(block, number, line):
    mark, _, text = line.partition(" ")
    if mark == "<":
        return f"send {text}"
    if mark == ">":
        return f"expect line~ {answer(text)}"
    if mark == "#":
        return text
    raise SystemExit(f"{PROTOCOL.name}:{number}: no line of an example: {line!r}")


def script(block):
    """The steps of a session. One that shows the start or the end of the daemon has it by itself."""
    steps = [step(block, block.line + i, line) for i, line in enumerate(block.lines) if line]
    starts = steps[0].startswith("expect line~ OnFpId") or any(s.startswith("start") for s in steps)
    ends = any(s.startswith("wait exit") for s in steps)
    whole = ([] if starts else READY) + steps + ([] if ends else ASK)
    if block.picture:
        whole.append(f'expect picture "{(PROTOCOL.parent / block.picture).resolve()}"')
    return "\n".join(whole) + "\n"


def make_files(document, folder):
    (folder / "font").mkdir(parents=True)
    (folder / "font/sans.ttf").symlink_to(FONT)
    programs = [block for block in document.blocks if block.language == "python"]
    if not programs:
        raise SystemExit(f"{PROTOCOL.name}: no Python block that makes the examples' files")
    for program in programs:
        subprocess.run([sys.executable, "-c", "\n".join(program.lines)], cwd=folder, check=True)


def play(simulator, block, folder, update):
    name = Path(block.picture).stem or f"line-{block.line}"
    file = folder / f"{name}.script"
    file.write_text(script(block))
    further = ["--update-pictures", "--scale", str(SCALE)] if update else []
    run = subprocess.run(
        [simulator, "--script", file, "--clock", "virtual", "--timeout", "120", "--artifacts", folder, *further],
        cwd=folder / "files",
        stdin=subprocess.DEVNULL,
        capture_output=True,
        text=True,
        errors="replace",
        timeout=600,
    )
    if run.returncode == 0:
        return True
    print(f"{PROTOCOL.name}:{block.line}: the example under {block.heading!r} is not as told (status {run.returncode})")
    print(run.stdout + run.stderr)
    return False


def main(simulator, folder, *further):
    update = "--update" in further
    wanted = [word for word in further if word != "--update"]
    folder = Path(folder)
    shutil.rmtree(folder, ignore_errors=True)
    document = Document(PROTOCOL)
    make_files(document, folder / "files")
    blocks = [b for b in document.blocks if b.language == "panel" and (not wanted or b.heading in wanted)]
    if not blocks:
        raise SystemExit("no examples")
    results = [play(Path(simulator).resolve(), block, folder.resolve(), update) for block in blocks]
    print(f"{results.count(True)} of {len(results)} examples are as told")
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
