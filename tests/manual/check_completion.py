#!/usr/bin/python3
"""Holds the shell completions against the programs' own help.

    check_completion.py SIMULATOR DAEMON

Bash itself completes here, as it does behind the tab key. Offered have to be exactly the options of the help, and
behind an option that takes something what the help says that it takes.
"""

import re
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True  # the sources are no place for it

import sources
from documents import ROOT

FOLDER = ROOT / "completion"
FILES = ["today.rec", "a file.panel", "pictures/"]
COMPLAINTS = []


def offered(words, folder):
    """What is offered for the last of the words of a command line."""
    program = words[0]
    quoted = " ".join(shlex.quote(word) for word in words)
    script = f"""
        source {shlex.quote(str(FOLDER / program))}
        COMP_WORDS=({quoted}) COMP_CWORD={len(words) - 1}
        function=$(complete -p {program})
        [[ $function =~ -F\\ ([^ ]+) ]] || exit 3
        "${{BASH_REMATCH[1]}}"
        ((${{#COMPREPLY[@]}} == 0)) || printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    command = ["bash", "--norc", "-eu", "-c", script]
    run = subprocess.run(command, cwd=folder, capture_output=True, text=True, check=False)
    if run.returncode != 0 or run.stderr:
        COMPLAINTS.append(f"{quoted}: status {run.returncode} {run.stderr.strip()}")
    return run.stdout.splitlines()


def expect(words, wanted, folder):
    got = offered(words, folder)
    for word in sorted(set(wanted) - set(got)):
        COMPLAINTS.append(f"completion/{words[0]}: {' '.join(words)!r} does not offer {word}")
    for word in sorted(set(got) - set(wanted)):
        COMPLAINTS.append(f"completion/{words[0]}: {' '.join(words)!r} offers {word}, which is none")
    if len(got) != len(set(got)):
        COMPLAINTS.append(f"completion/{words[0]}: {' '.join(words)!r} offers something twice")


def values_of(argument):
    """The values that the help lists: "TEXT:{real,virtual}" or "INT:INT in [0 - 1]" in full; None for others."""
    listed = re.search(r"\{(.*)\}", argument)
    return listed[1].split(",") if listed else None


def check_daemon(daemon, folder):
    expect(["beltpack_fpui", "-"], sources.daemon_options(daemon), folder)
    expect(["beltpack_fpui", "-p", "-t", "-"], sources.daemon_options(daemon), folder)
    for option, argument in sources.daemon_options(daemon).items():
        if argument:
            expect(["beltpack_fpui", option, ""], [], folder)


def check_simulator(simulator, folder):
    options = sources.simulator_options(simulator)
    names = {*options, "--"}
    expect(["beltpack_sim", "-"], names, folder)
    expect(["beltpack_sim", "--re"], {name for name in names if name.startswith("--re")}, folder)
    everything = set(offered(["beltpack_sim", "-"], folder))
    for option, argument in options.items():
        got = set(offered(["beltpack_sim", option, "" if argument else "-"], folder))
        if argument and got & names:
            COMPLAINTS.append(f"completion/beltpack_sim: options are offered where {option} takes {argument}")
        if not argument and got != everything:
            COMPLAINTS.append(f"completion/beltpack_sim: behind {option}, which takes nothing, options are missing")
        if values_of(argument) is not None:
            expect(["beltpack_sim", option, ""], values_of(argument), folder)
            expect(["beltpack_sim", option, "=", values_of(argument)[0][:2]], values_of(argument)[:1], folder)


def check_files(folder):
    for option in ("--script", "--replay", "--record", "--log", "--gif", "--screenshot"):
        expect(["beltpack_sim", option, ""], [file.rstrip("/") for file in FILES], folder)
    expect(["beltpack_sim", "--replay", "t"], ["today.rec"], folder)
    expect(["beltpack_sim", "--replay", "="], [file.rstrip("/") for file in FILES], folder)
    for option in ("--frames", "--artifacts"):
        expect(["beltpack_sim", option, ""], ["pictures"], folder)
    expect(["beltpack_sim", "--trace", "--", "./t"], ["./today.rec"], folder)
    expect(["beltpack_sim", "--", "cat", "a"], ["a file.panel"], folder)
    expect(["beltpack_sim", "--", "cat", "--s"], [], folder)
    if "bash" not in offered(["beltpack_sim", "--", "bas"], folder):
        COMPLAINTS.append("completion/beltpack_sim: no command is offered behind --")


def main(simulator, daemon):
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        for file in FILES:
            (folder / file).mkdir() if file.endswith("/") else (folder / file).touch()
        check_daemon(Path(daemon).resolve(), folder)
        check_simulator(Path(simulator).resolve(), folder)
        check_files(folder)
    print("\n".join(COMPLAINTS) or "The completions offer what the programs take.")
    return 1 if COMPLAINTS else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
