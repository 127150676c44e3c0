#!/usr/bin/python3
"""Runs the daemon on the emulated board: a real kernel with the real drivers, in QEMU. See docs/board.md.

    tests/board/run.py [-v] [-k PATTERN] [BUILD-FOLDER]      (default build/arm, built by the arm preset)

Exit status: 0 passed, 1 a test failed, 2 something is missing."""
import argparse
import pathlib
import signal
import subprocess
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[1]
PROGRAMS = ["bin/beltpack_fpui", "tests/board/board_encoders", "tests/unit/sim/shim_probe"]


def parse_arguments():
    parser = argparse.ArgumentParser(description="Tests of the daemon on the emulated board.")
    parser.add_argument("build", nargs="?", type=pathlib.Path, default=PROJECT / "build/arm")
    parser.add_argument("-k", dest="pattern", help="only the tests whose names hold this")
    parser.add_argument("-v", dest="verbose", action="store_true", help="name each test")
    parser.add_argument("--board", type=pathlib.Path, default=PROJECT / "build/arm-board",
                        help="the kernel, as scripts/arm-sysroot.sh unpacks it")
    parser.add_argument("--sysroot", type=pathlib.Path, default=PROJECT / "build/arm-sysroot")
    return parser.parse_args()


def missing(arguments, programs):
    """What has to be done before, as text; empty when nothing is missing."""
    try:
        from machine import missing_parts
        import PIL  # noqa: F401
    except ImportError as error:
        return f"{error}: install with scripts/setup.sh test"
    absent = [str(program) for program in programs if not program.exists()]
    if absent:
        return f"not built: {', '.join(absent)}: build the arm preset"
    return missing_parts(arguments.board)


def main():
    arguments = parse_arguments()
    programs = [arguments.build / program for program in PROGRAMS]
    if lack := missing(arguments, programs):
        print(f"{sys.argv[0]}: {lack}", file=sys.stderr)
        return 2
    from machine import Machine
    from test_board import Board
    image = arguments.build / "tests/board/image"
    subprocess.run([HERE / "make_image.sh", arguments.board, arguments.sysroot, image, *programs], check=True)
    loader = unittest.TestLoader()
    if arguments.pattern:
        loader.testNamePatterns = [f"*{arguments.pattern}*"]
    suite = loader.loadTestsFromTestCase(Board)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # through the context, which takes the files away
    with Machine(arguments.board, image) as machine:
        Board.machine, Board.artifacts = machine, image
        result = unittest.TextTestRunner(verbosity=1 + arguments.verbose).run(suite)
    return 0 if result.wasSuccessful() and result.testsRun else 1


if __name__ == "__main__":
    sys.path.insert(0, str(HERE))
    sys.dont_write_bytecode = True
    sys.exit(main())
