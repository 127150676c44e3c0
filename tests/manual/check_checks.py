#!/usr/bin/python3
"""Shows that the checks in this folder see what they are there for.

    check_checks.py SIMULATOR DAEMON

Each row of the table changes one file of a copy of the project; the named check has to fail then, and to name it.
"""

import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True  # the sources are no place for it

from documents import ROOT

NEEDED = ["README.md", "app", "completion", "docs", "examples", "freetype", "graphics", "hw", "sim", "tests/examples",
          "tests/manual"]
GCP, MAIN = "graphics/GraphicsCommandProcessor.cpp", "app/main.cpp"
PROTOCOL, SIMULATOR = "docs/protocol.md", "docs/simulator.md"

# Check (of examples: under which heading), file, what stands there, what shall stand there, what has to be told.
CHANGES = [
    # A change of the program that nobody has told.
    ("documents", GCP, '{"quit", &', '{"blit", &GCP::process_quit},\n    {"quit", &', "blit is missing"),
    ("documents", GCP, '"x2")', '"x3")', "line: the errors told"),
    ("documents", GCP, "display %d, bad size", "display %d, no size", "vdisp: the errors told"),
    ("documents", "graphics/GraphicsImageCommands.cpp", "shape %s not found", "no shape %s", "shape: the errors told"),
    ("documents", GCP, "was not recognized, ignored", "is not known", "Any other word: the errors told"),
    ("documents", GCP, "Pixel(0xFF808080)", "Pixel(0xFF7F7F7F)", "('gray', '0xFF7F7F7F') is missing"),
    ("documents", GCP, "16777216", "1048576", "the most pixels are 1048576"),
    ("documents", GCP, "OnDisplayInfo2(%u,%u,%u)", "OnDisplayInfo2(%u,%u)", "OnDisplayInfo2 with 2 values is missing"),
    ("documents", "graphics/GraphicsTextCommands.cpp", "kFontSizeStep = 2", "kFontSizeStep = 1", "protocol.md, ufont"),
    ("documents", "freetype/fnt_face.cpp", "img: unable to load", "img: no", "img: no font * error: *"),
    ("documents", "graphics/GrShape.cpp", "{'S', 'H',", "{'S', 'S',", "the mark SHPE is not where it was"),
    ("documents", "graphics/GrFont.cpp", "f_height <= 128", "f_height <= 64", "rows of every glyph, 3 to 64"),
    ("documents", MAIN, "{570, 570,", "{570, 571,", "571 is missing"),
    ("documents", MAIN, '{"Menu", 5, 0}', '{"Menu", 15, 0}', "protocol.md, Keys"),
    ("documents", MAIN, "{LED_BLINK, LED_OFF}", "{LED_ON, LED_OFF}", "Lights, states"),
    ("documents", MAIN, "{4, 9, 20,", "{4, 10, 20,", "Lights, steps"),
    ("documents", MAIN, "%s ReadErr", "%s ReadError", "ReadError ErrCt=%d,ErrNo=%d,%s is missing"),
    ("documents", "sim/script/ScriptParser.cpp", '{"close", {}', '{"shut", {}', "shut is missing"),
    ("documents", "sim/record/Recording.cpp", '{"gain", readGain', '{"volume", readGain', "volume is missing"),
    # A change of the documents that is not of the program.
    ("documents", PROTOCOL, "### `quit`", "### `leave`", "quit is missing"),
    ("documents", PROTOCOL, "g:rtext DISPLAY X Y", "g:rtext DISPLAY Y X", "beltpack_protocol.5, rtext"),
    ("documents", PROTOCOL, "< g:quit", "< g:Quit", "quit: no example"),
    ("documents", PROTOCOL, "[font](#font)", "[font](#fonts)", "#fonts: no such heading"),
    ("documents", PROTOCOL, "protocol/rect.png", "protocol/box.png", "rect.png: no document shows it"),
    ("documents", PROTOCOL, "| 299 |", "| 298 |", "298 does not exist"),
    ("documents", PROTOCOL, "- [Timing](#timing)\n", "", "#timing is missing"),
    ("documents", SIMULATOR, "| `--trace` |", "| `--traces` |", "--traces does not exist"),
    ("documents", SIMULATOR, "| `unplug PATH`, `plug PATH` |", "| `unplug PATH` |", "plug is missing"),
    ("documents", "docs/recording.md", "| `plug` |", "| `plugs` |", "plugs does not exist"),
    ("documents", "README.md", "[-t] [-s ms]", "[-t] [-s]", "-s ms is missing"),
    ("documents", "docs/man/beltpack_fpui.8", ".It Fl g\nCopy", ".It Fl c\nCopy", "beltpack_fpui.8, options"),
    ("documents", "docs/man/beltpack_fpui.8", '.It "Abort FSM', '.It "Abort', "Abort - ErrCt=%d does not exist"),
    ("documents", "docs/man/beltpack_sim.1", ".It Fl -gif", ".It Fl -gifs", "--gifs does not exist"),
    ("documents", "docs/man/beltpack_protocol.5", ".It 299 Ta", ".It 290 Ta", "290 does not exist"),
    ("documents", "docs/man/beltpack_protocol.5", ".Ss Events", ".Ss Events\n.Xy", "man/beltpack_protocol.5: mandoc"),
    ("documents", "docs/man/beltpack_files.5", "Li FNT2", "Li FNT2\n.El", "man/beltpack_files.5: mandoc"),
    # Completions.
    ("completion", "completion/beltpack_sim", " --trace", "", "does not offer --trace"),
    ("completion", "completion/beltpack_sim", "--lines", "--line", "offers --line, which is none"),
    ("completion", "completion/beltpack_sim", "--timeout", "", "does not offer --timeout"),
    ("completion", "completion/beltpack_sim", '"real virtual"', '"real"', "does not offer virtual"),
    ("completion", "completion/beltpack_sim", '"--artifacts ', '"', "does not offer --artifacts"),
    ("completion", "completion/beltpack_fpui", "-p -s", "-s", "does not offer -p"),
    # Examples: another picture, another answer, another state, one answer too few.
    ("examples of rect", PROTOCOL, "< g:rect 0 10 42 76 12 black", "< g:rect 0 10 42 76 11 black", "different"),
    ("examples of shape", PROTOCOL, '> OnError("shape bow', '> OnError("shape arrow', 'OnError("shape bow not found")'),
    ("examples of Gain", PROTOCOL, "# expect gain 8", "# expect gain 9", "gain"),
    ("examples of vdisp", PROTOCOL, '> OnError("display 2, bad size")\n', "", 'OnError("display 2, bad size")'),
]


def change(project, file, before, after):
    path = project / file
    text = path.read_text()
    if before not in text:
        raise SystemExit(f"{file}: {before!r} is not there any more; change this table")
    path.write_text(text.replace(before, after, 1))
    return text


def run(project, check, programs):
    """The check's status and what it tells."""
    kind, _, heading = check.partition(" of ")
    command = [project / f"tests/manual/check_{kind}.py"]
    command += [programs[0], project / "played", heading] if heading else programs
    told = subprocess.run(command, capture_output=True, text=True, timeout=600, check=False)
    return told.returncode, told.stdout + told.stderr


def copy_project(project):
    for name in NEEDED:
        if (ROOT / name).is_dir():
            shutil.copytree(ROOT / name, project / name, ignore=shutil.ignore_patterns("__pycache__"))
        else:
            shutil.copy(ROOT / name, project / name)


def main(simulator, daemon):
    programs = [Path(simulator).resolve(), Path(daemon).resolve()]
    failures = 0
    with tempfile.TemporaryDirectory() as name:
        project = Path(name)
        copy_project(project)
        for check, file, before, after, wanted in CHANGES:
            text = change(project, file, before, after)
            status, told = run(project, check, programs)
            (project / file).write_text(text)
            if status != 1 or wanted not in told:
                failures += 1
                print(f"{file}, {before!r} as {after!r}: status {status}, and {wanted!r} is not told but\n{told}")
    print(f"{len(CHANGES) - failures} of {len(CHANGES)} changes are seen")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:3]))
