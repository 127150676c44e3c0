#!/usr/bin/env python3
"""Holds the commands of a release build against the hardening that what is shipped needs.

    check_flags.py BUILD-FOLDER PROJECT

The compilers of the presets know every flag here: GCC 12 (x86-64 and 32-bit ARM) and clang 14 (x86-64; for ARM clang has
no -fstack-clash-protection). An older C library reads level 3 of _FORTIFY_SOURCE as 2.
"""
import json
import os
import pathlib
import shlex
import sys

SHIPPED = ("app", "freetype", "graphics", "hw", "sim")
EVERYWHERE = ("-fstack-protector-strong", "-fstack-clash-protection")
PROGRAMS = EVERYWHERE + ("-fPIE", "-D_FORTIFY_SOURCE=3", "-D_GLIBCXX_ASSERTIONS")
# The shim defines the functions that fortified names would pass by, and it is a library.
SHIM = EVERYWHERE + ("-fPIC",)


def faults(arguments, wanted):
    """What is missing or unwanted in one command. Of contradicting flags the last one counts."""
    missing = [flag for flag in wanted if flag not in arguments]
    fortify = [flag for flag in arguments if flag.startswith(("-D_FORTIFY_SOURCE", "-U_FORTIFY_SOURCE"))]
    level = "-D_FORTIFY_SOURCE=3"
    if level in wanted and fortify and fortify[-1] != level:
        missing.append(f"{level} at the end, after {fortify[-1]}")
    if "-fno-stack-protector" in arguments:
        missing.append("a stack protector, by -fno-stack-protector")
    return missing


def main():
    build, project = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    checked = 0
    status = 0
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(os.path.relpath(entry["file"], project))
        if source.parts[0] not in SHIPPED:
            continue
        checked += 1
        wanted = SHIM if source.parts[:2] == ("sim", "shim") else PROGRAMS
        for fault in faults(shlex.split(entry["command"]), wanted):
            print(f"{source} is compiled without: {fault}")
            status = 1
    print(f"{checked} files")
    return status if checked else 1


sys.exit(main())
