#!/usr/bin/env python3
"""Puts faults into the daemon's code, one at a time, and looks whether the tests find them.

  scripts/mutate.py                          # 500 faults over the whole daemon
  scripts/mutate.py --count 50 hw/fp_led.cpp # 50 in one file
  scripts/mutate.py --list hw/fp_led.cpp     # all that could be put into it

Needs a build with tests (build/release). A fault costs one object file, compiled without optimisation, and the test
programs that hold it, linked with the objects of that build; tests/mutation/map.txt says which tests look at which
file. Their unit tests are run first, then their sessions on the emulated panel, until one fails. A time-out counts as
found. Nothing outside build/mutation is written; the sources stay as they are.

The same seed gives the same faults. Those that cannot be told from the original are either seen to compile to the same
code or listed in tests/mutation/equivalent.txt, and are not counted. Exit status 1: fewer than --least percent found.
"""
import argparse
import collections
import concurrent.futures
import json
import math
import os
import random
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import threading
import time
from dataclasses import dataclass, field
from pathlib import Path

sys.dont_write_bytecode = True
import mutate_rules  # noqa: E402

ROOT = Path(__file__).resolve().parent.parent
FOLDERS = ("app", "graphics", "freetype", "hw")
MEMORY = 4 << 30  # bytes of address space for a test, unless a sanitizer needs more
WAITING = 90      # seconds: a test that neither ends nor computes is given up after this


@dataclass
class Step:
    """A test that looks at a source: a unit test program, or a session of the daemon."""
    name: str
    parts: list  # sources to be compiled again; empty: the mutated one, or the test's own for a header

    @property
    def is_unit(self):
        return self.name.startswith("test_")


@dataclass
class Result:
    file: str
    mutant: mutate_rules.Mutant
    line: int
    above: str  # the line above
    before: str
    after: str
    verdict: str = ""  # killed, survived, equivalent, invalid
    by: str = ""
    seconds: float = 0.0


class TimedOut(Exception):
    pass


def run(command, cwd, seconds, env=None, processor=None, memory=None):
    """The exit status and the output of a command, which is ended with all its children after its time. A busy machine
    does not count: `processor` limits the seconds of processor time, `memory` the bytes of address space."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if processor:
            resource.setrlimit(resource.RLIMIT_CPU, (processor, processor + 1))
        if memory:
            resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
    with subprocess.Popen(command, cwd=cwd, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, start_new_session=True, preexec_fn=limit) as process:
        try:
            output, _ = process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired as error:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            raise TimedOut from error
        return process.returncode, output


def read_map(path):
    """source: test[+part...] ..."""
    covered = {}
    for line in path.read_text().splitlines():
        line = line.split("#")[0].strip()
        if line:
            source, tests = line.split(":")
            covered[source] = [Step(test.split("+")[0], test.split("+")[1:]) for test in tests.split()]
    return covered


def read_survivors(path):
    """The faults that an earlier report tells to have survived."""
    lines = path.read_text().split("\nSurvived\n")[1].split("\n\n")[0].splitlines()
    return {(place.split(":")[0], before[4:], after[4:])
            for place, before, after in zip(lines[0::3], lines[1::3], lines[2::3])}


def read_equivalents(path):
    """Blocks of: file, the line above where the next one does not stand for itself, "- before", "+ after", reason.
    As (file, above or None, before, after)."""
    known = set()
    for block in path.read_text().split("\n\n") if path.exists() else []:
        lines = [line.strip() for line in block.splitlines() if line.strip() and not line.startswith("#")]
        above = lines.pop(1) if len(lines) > 1 and not lines[1].startswith("- ") else None
        if len(lines) >= 4:
            known.add((lines[0], above, lines[1][2:], lines[2][2:]))
        elif lines:
            sys.exit(f"{path}: no reason is given for the fault in {lines[0]}")
    return known


class Build:
    """The commands of the build that the mutants borrow their objects from."""

    def __init__(self, folder):
        self.folder = folder.resolve()
        commands = json.loads((self.folder / "compile_commands.json").read_text())
        self._compile = {}
        for entry in commands:
            name = os.path.relpath(entry["file"], ROOT)
            self._compile.setdefault(name, shlex.split(entry["command"]))
        self._link = {}
        self.sanitized = any("-fsanitize" in entry["command"] for entry in commands)

    def compiler(self, source):
        """The command line of a source without its files, and the object that it makes."""
        words = list(self._compile[source])
        if Path(words[0]).name == "ccache":
            del words[0]
        out = words.index("-o")
        made = words[out + 1]
        del words[out:out + 2]
        words.remove(str(ROOT / source))
        words.remove("-c")
        return words, made

    def linker(self, target):
        if target not in self._link:
            text = subprocess.run(["ninja", "-C", self.folder, "-t", "commands", "-s", target], check=True,
                                  capture_output=True, text=True).stdout
            self._link[target] = next(shlex.split(part) for part in text.split(" && ") if " -o " in part)
        return list(self._link[target])

    def target(self, executable):
        return f"bin/{executable}" if executable == "beltpack_fpui" else f"tests/unit/{executable}"


@dataclass
class Worker:
    """A private folder in which one mutant after the other is built and tested."""
    build: Build
    folder: Path
    limits: dict
    objects: dict = field(default_factory=dict)
    daemon: tuple = ()  # what the daemon in the folder is made from

    def prepare(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        for name in ("bin", "run", "src", "obj"):
            (self.folder / name).mkdir(parents=True)
        # The simulator looks for the daemon and its shim beside itself.
        for file in (self.build.folder / "bin").glob("*beltpack_s*"):
            os.link(file, self.folder / "bin" / file.name)

    def place(self, file, text):
        shutil.rmtree(self.folder / "src")
        target = self.folder / "src" / file
        target.parent.mkdir(parents=True)
        target.write_text(text)
        self.objects = {}
        self.daemon = ()

    def command(self, source):
        """Compiles a source, with the mutated file in place of its original."""
        words, made = self.build.compiler(source)
        mutated = self.folder / "src" / source
        path = mutated if mutated.exists() else ROOT / source
        words[1:1] = [f"-I{self.folder / 'src'}", "-iquote", str((ROOT / source).parent), "-w"]
        return words, made, str(path)

    def compile(self, source):
        """The object's place in the build and the new one, or None when the mutant is no C++."""
        if source not in self.objects:
            words, made, path = self.command(source)
            out = str(self.folder / "obj" / f"{Path(source).name}.o")
            words = [word for word in words if not re.fullmatch(r"-O.|-g", word)]
            status, _ = run(words + ["-O0", "-c", path, "-o", out], self.build.folder, 300)
            self.objects[source] = (made, out) if status == 0 else None
        return self.objects[source]

    def assembly(self, source):
        """What the build's own compiler makes of the source."""
        words, _, path = self.command(source)
        _, text = run(words + ["-g0", "-S", path, "-o", "-"], self.build.folder, 300)
        return re.sub(rb"^\s*\.(file|ident).*$", b"", text, flags=re.M)

    def link(self, executable, parts):
        """The test program with these objects in it, or None."""
        out = self.folder / ("bin" if executable == "beltpack_fpui" else "run") / executable
        words = self.build.linker(self.build.target(executable))
        words[words.index("-o") + 1] = str(out)
        for part in parts:
            compiled = self.compile(part)
            if compiled is None:
                return None
            made, new = compiled
            if made in words:
                words[words.index(made)] = new
            else:
                words.insert(words.index("-o"), new)
        status, _ = run(words, self.build.folder, 120)
        return out if status == 0 else None

    def run_test(self, command, name):
        environment = dict(os.environ, GTEST_FAIL_FAST="1", GTEST_BRIEF="1", GTEST_COLOR="no",
                           ASAN_OPTIONS="verify_asan_link_order=0")
        status, output = run(command, self.folder / "run", WAITING, environment, self.limits.get(name),
                             None if self.build.sanitized else MEMORY)
        if status == -signal.SIGXCPU:
            raise TimedOut
        return status, output

    def unit(self, path):
        """How a unit test program ends: "" when it passes."""
        try:
            status, output = self.run_test([str(path)], path.name)
        except TimedOut:
            return f"{path.name}: time-out"
        if status == 0:
            return ""
        failed = re.search(rb"\[  FAILED  \] ([\w./]+)", output)
        return f"{path.name}: {failed[1].decode() if failed else f'status {status}'}"

    def session(self, name):
        command = [str(ROOT / "tests/run_case.sh"), str(self.folder / "bin/beltpack_sim"),
                   str(ROOT / "tests/cases" / name), str(self.folder / "run" / name)]
        options = ROOT / "tests/cases" / name / "sim-options"
        if not options.exists() or "--clock" not in options.read_text():
            command += ["--clock", "virtual"]  # the machine may be busy
        try:
            status, _ = self.run_test(command, name)
        except TimedOut:
            return f"case {name}: time-out"
        return f"case {name}" if status else ""

    def test(self, file, step):
        """How a test that looks at the file ends: "" when it passes, None when it cannot be built."""
        if step.is_unit:
            own = [file] if file.endswith(".cpp") else [f"tests/unit/{step.name}.cpp"]
            path = self.link(step.name, step.parts or own)
            return None if path is None else self.unit(path)
        parts = tuple(step.parts or [file])
        if self.daemon != parts:
            if self.link("beltpack_fpui", parts) is None:
                return None
            self.daemon = parts
        return self.session(step.name)

    def verdict(self, file, text, steps):
        self.place(file, text)
        for step in steps:
            ended = self.test(file, step)
            if ended is None:
                return "invalid", ""
            if ended:
                return "killed", ended
        return "survived", ""


class Mutation:
    def __init__(self, arguments):
        self.arguments = arguments
        self.build = Build(arguments.build)
        self.out = (arguments.folder or self.build.folder.parent / "mutation").resolve()
        self.map = read_map(ROOT / "tests/mutation/map.txt")
        self.known = read_equivalents(ROOT / "tests/mutation/equivalent.txt")
        self.again = read_survivors(arguments.again) if arguments.again else None
        self.limits = {}
        self.workers = [Worker(self.build, self.out / f"worker{i}", self.limits) for i in range(arguments.jobs)]
        self.free = list(self.workers)
        self.lock = threading.Lock()
        self.sources = {}
        self.start = time.monotonic()

    def files(self):
        if self.arguments.files:
            return self.arguments.files
        found = [path for folder in FOLDERS for path in (ROOT / folder).glob("*") if path.suffix in (".cpp", ".h")]
        return sorted(str(path.relative_to(ROOT)) for path in found)

    def pool(self):
        """All mutants as results without a verdict: one of each line in random order, then a second of each ..."""
        chance = random.Random(self.arguments.seed)
        rounds = collections.defaultdict(list)
        for file in self.files():
            source = self.sources[file] = (ROOT / file).read_text()
            of_line = collections.defaultdict(list)
            above = ["", *map(str.strip, source.splitlines())]
            for mutant in mutate_rules.mutants(source):
                before, after = mutant.lines(source)
                line = mutant.line(source)
                of_line[line].append(Result(file, mutant, line, above[line - 1], before, after))
            if of_line and file not in self.map:
                sys.exit(f"tests/mutation/map.txt names no tests for {file}")
            for results in of_line.values():
                chance.shuffle(results)
                for number, result in enumerate(results):
                    rounds[number].append(result)
        for number in sorted(rounds):
            chance.shuffle(rounds[number])
            for result in rounds[number]:
                if self.again is None or (result.file, result.before, result.after) in self.again:
                    yield result

    def measure(self):
        """Runs the tests on the unchanged sources: they must pass, and their times set the time-outs."""
        worker = self.workers[0]
        os.link(self.build.folder / "bin/beltpack_fpui", worker.folder / "bin/beltpack_fpui")
        for file in self.files():
            if not mutate_rules.mutants((ROOT / file).read_text()):
                continue
            for step in self.map[file]:
                if step.name not in self.limits:
                    self.limits[step.name] = self.time_of(worker, step)
        (worker.folder / "bin/beltpack_fpui").unlink()

    def time_of(self, worker, step):
        """Seconds of processor time after which the test is given up."""
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        ended = worker.unit(self.build.folder / self.build.target(step.name)) if step.is_unit else \
            worker.session(step.name)
        if ended:
            sys.exit(f"{ended} fails without any fault")
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        return math.ceil(2 + 5 * (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime))

    def examine(self, result):
        with self.lock:
            worker = self.free.pop()
        start = time.monotonic()
        try:
            if not self.known.isdisjoint((result.file, above, result.before, result.after)
                                         for above in (None, result.above)):
                result.verdict, result.by = "equivalent", "listed"
                return result
            source = self.sources[result.file]
            result.verdict, result.by = worker.verdict(result.file, result.mutant.apply(source), self.map[result.file])
            if result.verdict == "survived" and self.same_code(worker, result.file, source):
                result.verdict, result.by = "equivalent", "compiles to the same code"
            return result
        finally:
            result.seconds = time.monotonic() - start
            with self.lock:
                self.free.append(worker)

    def same_code(self, worker, file, source):
        """Whether the fault that was placed last changes nothing in what the build's compiler makes of the file, or of
        those that include it."""
        parts = [file] if file.endswith(".cpp") else {part for step in self.map[file] for part in step.parts
                                                      if not part.startswith("tests/")}
        changed = [worker.assembly(part) for part in parts]
        worker.place(file, source)
        return bool(parts) and changed == [worker.assembly(part) for part in parts]

    def write(self, results):
        """The report so far, so that a run that is ended early leaves one. Returns its text and the counts of all."""
        text, counts = report(results, time.monotonic() - self.start, self.arguments)
        (self.arguments.output or self.out / "report.txt").write_text(text)
        return text, counts

    def run(self):
        for worker in self.workers:
            worker.prepare()
        self.measure()
        pool, done, pending = self.pool(), [], set()
        counted = lambda: sum(result.verdict in ("killed", "survived") for result in done)
        with concurrent.futures.ThreadPoolExecutor(self.arguments.jobs) as threads:
            while True:
                while len(pending) < self.arguments.jobs and counted() + len(pending) < self.arguments.count:
                    result = next(pool, None)
                    if result is None:
                        break
                    pending.add(threads.submit(self.examine, result))
                if not pending:
                    return done
                ready, pending = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
                for future in ready:
                    done.append(future.result())
                    self.progress(done[-1], counted())
                    self.write(done)

    def progress(self, result, number):
        if not self.arguments.quiet:
            print(f"{number:4} {result.verdict:10} {result.file}:{result.line} {result.seconds:.1f}s {result.by}",
                  flush=True)


def percentage(killed, survived):
    return 100.0 * killed / max(1, killed + survived)


def report(results, seconds, arguments):
    """The text of the report: a table by folder, then what survived, then what was not counted."""
    counts = collections.defaultdict(collections.Counter)
    for result in results:
        for row in (result.file.split("/")[0], "all"):
            counts[row][result.verdict] += 1
    lines = [f"seed {arguments.seed}, {seconds:.0f} s, {arguments.jobs} at a time", "",
             f"{'folder':10} {'mutants':>8} {'killed':>8} {'survived':>9} {'percent':>8} {'equivalent':>11}"]
    for row in (*FOLDERS, "all"):
        killed, survived = counts[row]["killed"], counts[row]["survived"]
        lines.append(f"{row:10} {killed + survived:8} {killed:8} {survived:9} {percentage(killed, survived):8.1f} "
                     f"{counts[row]['equivalent']:11}")
    for verdict, title in (("survived", "Survived"), ("equivalent", "Equivalent, not counted"), ("killed", "Killed")):
        lines += ["", title]
        for result in sorted((r for r in results if r.verdict == verdict), key=lambda r: (r.file, r.line)):
            lines += [f"{result.file}:{result.line}: {result.by or result.mutant.rule}", f"  - {result.before}",
                      f"  + {result.after}"]
    return "\n".join(lines) + "\n", counts["all"]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", help="sources, from the project's root (default: the whole daemon)")
    parser.add_argument("--build", type=Path, default=ROOT / "build/release", help="a build with tests")
    parser.add_argument("--count", type=int, default=500, help="how many faults (default 500)")
    parser.add_argument("--seed", type=int, default=1, help="chooses them (default 1)")
    parser.add_argument("--jobs", type=int, default=2, help="how many at a time (default 2)")
    parser.add_argument("--least", type=float, default=90, help="percent that have to be found (default 90)")
    parser.add_argument("--folder", type=Path, help="where to work (default BUILD/../mutation)")
    parser.add_argument("--output", type=Path, help="the report (default report.txt in that folder)")
    parser.add_argument("--again", type=Path, metavar="REPORT", help="only those that survived in this report")
    parser.add_argument("--list", action="store_true", help="list the faults and do nothing")
    parser.add_argument("--quiet", action="store_true", help="no line for each fault")
    arguments = parser.parse_args()

    mutation = Mutation(arguments)
    if arguments.list:
        for result in mutation.pool():
            print(f"{result.file}:{result.line}: {result.mutant.rule}\n  - {result.before}\n  + {result.after}")
        return 0
    text, counts = mutation.write(mutation.run())
    print(text.split("\nEquivalent")[0])
    print(f"The report is {arguments.output or mutation.out / 'report.txt'}")
    return 0 if percentage(counts["killed"], counts["survived"]) >= arguments.least and counts["killed"] else 1


if __name__ == "__main__":
    sys.exit(main())
