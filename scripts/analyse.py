#!/usr/bin/env python3
"""Static analysis of the sources that a build compiles: clang-tidy with the checks of .clang-tidy, and cppcheck.

    analyse.py BUILD-FOLDER FOLDER...

Looks at the files in the given folders of the project, as the build's compile_commands.json compiles them, as many at a
time as there are processors. A file that was without findings is not looked at again as long as its preprocessed text,
comments included, and the checks stay the same: BUILD-FOLDER/analysis remembers. Prints what is found; exit status 1
when it is anything.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SUPPRESSIONS = ROOT / "scripts/cppcheck-suppressions.txt"
TIDY = "clang-tidy-14"
COMPILER = {".c": "clang-14", ".cpp": "clang++-14"}
CPPCHECK = ["cppcheck", "--quiet", "--enable=warning,performance,portability", "--inline-suppr",
            f"--suppressions-list={SUPPRESSIONS}", "--template=gcc", "--error-exitcode=1", "--max-configs=4"]


def run(command, folder=ROOT):
    return subprocess.run(command, cwd=folder, capture_output=True, text=True, check=False)


class Unit:
    """A source file with the options that it is compiled with."""

    def __init__(self, entry):
        self.path = pathlib.Path(entry["file"])
        self.folder = entry["directory"]
        self.options = [option for option in shlex.split(entry["command"])[1:]
                        if option[:2] in ("-D", "-I") or option.startswith("-std=")]
        words = shlex.split(entry["command"])
        for at, word in enumerate(words):
            if word == "-isystem":
                self.options += [word, words[at + 1]]

    def key(self):
        """What the outcome depends on, as a hexadecimal number."""
        text = run([COMPILER[self.path.suffix], *self.options, "-E", "-C", str(self.path)], self.folder)
        if text.returncode != 0:
            sys.exit(text.stderr)
        checks = [config.read_text() for folder in self.path.parents if folder.is_relative_to(ROOT)
                  for config in folder.glob(".clang-tidy")]
        # ROOT: a file's own place counts for nothing.
        everything = [text.stdout, *checks, SUPPRESSIONS.read_text(), pathlib.Path(__file__).read_text(), *self.options]
        return hashlib.sha256("\0".join(everything).encode()).hexdigest()

    def findings(self):
        tidy = run([TIDY, "--quiet", str(self.path), "--", *self.options], self.folder)
        # cppcheck knows the system's functions by itself and would get lost in their headers.
        own = [option for option in self.options if option[:2] in ("-D", "-I")]
        language = "--std=c11" if self.path.suffix == ".c" else "--std=c++17"
        check = run([*CPPCHECK, language, *own, str(self.path)])
        return "".join([tidy.stdout if tidy.returncode != 0 else "", check.stderr])


def analyse(unit, memory):
    """Returns the findings and whether the file had to be looked at."""
    stamp = memory / unit.key()
    if stamp.exists():
        return "", False
    found = unit.findings()
    if not found:
        stamp.touch()
    return found, True


def main(build, *folders):
    memory = pathlib.Path(build).resolve() / "analysis"
    memory.mkdir(parents=True, exist_ok=True)
    entries = json.loads((pathlib.Path(build) / "compile_commands.json").read_text())
    units = {unit.path: unit for unit in map(Unit, entries)
             if unit.path.relative_to(ROOT).parts[0] in folders}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        outcomes = list(pool.map(lambda unit: analyse(unit, memory), units.values()))
    # A header's finding comes with every file that includes it.
    print("".join(dict.fromkeys(found for found, _ in outcomes)), end="")
    faulty = sum(bool(found) for found, _ in outcomes)
    looked_at = sum(anew for _, anew in outcomes)
    print(f"{len(units)} files, {looked_at} of them looked at anew: {faulty or 'none'} with findings.")
    return 1 if faulty else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
