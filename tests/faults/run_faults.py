#!/usr/bin/env python3
"""Lets every call of the daemon fail, one in each run of a session, and holds what comes against fault_rules.py.

  run_faults.py --simulator FILE --daemon FILE --faults FILE [--brief] [--every N] [--session NAME] [--call NUMBER]
                [-j JOBS]

The sessions run on the emulated panel with its virtual clock, so that each run makes the same calls up to the fault.
Every call is failed with each error that fits it, once and for good. --brief takes one of these runs for each kind of
call on each path, --every N every Nth of those that are left.
Exit status 1 when something did not hold, 3 when a call has no rule.
"""

import argparse
import collections
import dataclasses
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from queue import SimpleQueue

import fault_rules
import files
from fault_rules import told
from panel_log import PanelLog

HERE = Path(__file__).resolve().parent
TIME_OUT = 600  # seconds: a run takes a fraction of one, but the machine may be busy
TIMES_IN_A_ROW = "25"


@dataclasses.dataclass(frozen=True)
class Session:
    name: str
    end: str  # the system log message with which the daemon begins to end
    last_part: str  # the call with which the part begins that nothing follows, as "CALL PATH DETAIL"
    calls_before: int = 0  # and so many calls before it


SESSIONS = [
    # From the last "g:info 7" on nothing is repeated.
    Session("panel", "readInput Abort FSM.*", r"read stdin g:info 7.*"),
    # From the lights that are put out before the display's variant is asked for.
    Session("panel_test", "fpTest_main exit: .*", "popen .*", 8),
]


@dataclasses.dataclass(frozen=True)
class Call:
    number: int
    kind: str
    path: str
    detail: str


@dataclasses.dataclass(frozen=True)
class Fault:
    session: Session
    call: Call
    error: int
    rule: fault_rules.Rule
    for_good: bool

    def __str__(self):
        how = "for good" if self.for_good else "once"
        call = self.call
        what = f"{call.kind} {call.path} {call.detail}".strip()
        return f"{self.session.name} call {call.number}: {what}: {told(self.error)}, {how}"


@dataclasses.dataclass
class Run:
    status: int  # of the simulator
    lines: list  # standard output, without milliseconds
    errors: str  # standard error
    log: PanelLog
    picture: bytes
    copy: bytes
    calls: list
    left_open: collections.Counter


class Tester:
    def __init__(self, options, work):
        self.options = options
        self.shim = Path(options.simulator).parent / "libbeltpack_shim.so"
        self.folders = SimpleQueue()
        for job in range(options.jobs):
            folder = work / str(job)
            files.fill(folder)
            self.folders.put(folder)
        self.fault_free = {}

    def run(self, session, fault=""):
        folder = self.folders.get()
        try:
            return self._run_in(folder, session, fault)
        finally:
            self.folders.put(folder)

    def _run_in(self, folder, session, fault):
        out = folder / "out"
        shutil.rmtree(out, ignore_errors=True)
        out.mkdir()
        environment = dict(os.environ, BELTPACK_FAULT_PROGRAM=Path(self.options.daemon).name,
                           BELTPACK_FAULT_TRACE=str(out / "trace"), BELTPACK_FAULT_COPY=str(out / "copy"))
        environment.setdefault("ASAN_OPTIONS", "verify_asan_link_order=0")
        if fault:
            environment["BELTPACK_FAULT"] = fault
        done = subprocess.run(self._command(session, out), cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=TIME_OUT, check=False)
        calls, left_open = read_trace(out / "trace")
        picture = out / "end.png" if (out / "end.png").exists() else out / "last.png"
        return Run(done.returncode, split_lines(done.stdout.decode()), done.stderr.decode(errors="replace"),
                   PanelLog(out / "log", lambda text: re.fullmatch(session.end, text, re.S)), read(picture),
                   read(out / "copy"), calls, left_open)

    def _command(self, session, out):
        options = self.options
        # The library in front of the shim that the simulator puts first.
        preload = f"LD_PRELOAD={options.faults}:{self.shim}"
        return [options.simulator, "--clock", "virtual", "--script", HERE / f"{session.name}.session",
                "--log", out / "log", "--artifacts", out, "--screenshot", out / "last.png",
                "--timeout", str(TIME_OUT // 2), "--", "env", preload, options.daemon]

    def learn(self, session):
        """Plays the session without a fault, twice: the calls must be the same."""
        first, second = self.run(session), self.run(session)
        if first.status != 0 or first.calls != second.calls or first.lines != second.lines:
            sys.exit(f"{session.name}: status {first.status}, or two sessions differ\n{first.errors}")
        self.fault_free[session.name] = first
        return first.calls

    def try_out(self, fault):
        """The list of what did not hold."""
        how = "once"
        if fault.for_good:
            how = TIMES_IN_A_ROW if fault.rule.in_a_row else "always"
        try:
            run = self.run(fault.session, f"{fault.call.number} {fault.error} {how}")
        except subprocess.TimeoutExpired:
            return ["it hangs"]
        return check(fault, run, self.fault_free[fault.session.name])


def read(path):
    return path.read_bytes() if path.exists() else b""


def split_lines(text):
    """Without what depends on the moment; a message that has no line feed is a line too."""
    text = re.sub(r"(img: unable to load font \S+ error: \d+)", r"\1\n", text)
    return [re.sub(r"(OnFpKey\(-?\d+,-?\d+,)\d+\)", r"\1MS)", line) for line in text.splitlines()]


def read_trace(path):
    calls = []
    left_open = collections.Counter()
    for line in read(path).decode().splitlines():
        fields = line.split("\t")
        if fields[0] == "open":
            left_open[fields[1]] += 1
        else:
            calls.append(Call(int(fields[0]), *fields[1:]))
    return calls, left_open


# ---- What has to hold


def check(fault, run, fault_free):
    problems = check_end(fault, run, fault_free)
    if problems or run.status == 42:
        return problems
    return check_lines(fault, run, fault_free) + check_log(fault, run, fault_free) + check_state(fault, run, fault_free)


def check_end(fault, run, fault_free):
    """In order, without a sanitizer's word, and nothing left open."""
    if re.search("Sanitizer|runtime error:", run.errors):
        return ["a sanitizer reports:\n" + run.errors]
    if run.status == 42 and fault.rule.stays and fault.session.name == "panel_test":
        return []  # no key, no exit
    problems = []
    if run.log.status != 0:
        problems.append(f"the daemon ended with status {run.log.status}")
    if run.status != 0 and not (fault.for_good and fault.rule.ends and run.status == 3):
        problems.append(f"the session ended with status {run.status}: {run.errors.strip()}")
    if not run.calls:
        problems.append("it did not end in order")
    elif not is_reached(fault.call, run.calls):
        problems.append("the call was not reached")
    for path, count in (run.left_open - fault_free.left_open).items():
        if not re.fullmatch(fault.rule.leak, path):
            problems.append(f"{count} descriptors of {path or 'no path'} are left open")
    return problems


def is_reached(call, calls):
    reached = calls[call.number - 1:call.number]
    return [(made.kind, made.path) for made in reached] == [(call.kind, call.path)]


def check_lines(fault, run, fault_free):
    lost, more = fault.rule.lost, fault.rule.more
    if fault.for_good:
        lost, more = fault.rule.lost_for_good, fault.rule.more_for_good
    before, now = collections.Counter(fault_free.lines), collections.Counter(run.lines)
    missing, besides = list((before - now).elements()), list((now - before).elements())
    if lost == "one":
        # What had no line feed goes with the line that it stands in front of.
        lines = [line for line in missing if not line.startswith("img: ")]
        missing = lines[1:]
    problems = [f"line is missing: {line}" for line in missing if not re.fullmatch(lost, line)]
    problems += [f"line is new: {line}" for line in besides if not re.fullmatch(more, line)]
    if fault_free.copy != run.copy and fault.rule.copy:
        problems.append("the copy of the graphics commands differs")
    return problems


def errors_of(run):
    return collections.Counter(text.strip() for priority, text in run.log.messages if priority == "err")


def check_log(fault, run, fault_free):
    wanted = fault.rule.message(fault.error)
    allowed = "|".join(filter(None, [fault.rule.messages, wanted and escaped(wanted)]))
    problems = []
    if wanted and not any(re.fullmatch(escaped(wanted), text) for text in errors_of(run)):
        problems.append(f"not logged: {wanted}")
    for text in errors_of(run) - errors_of(fault_free):
        if not re.fullmatch(allowed, text, re.S):
            problems.append(f"logged besides: {text}")
    return problems


def escaped(message):
    """The message as an expression, with .* as in the rule."""
    return ".*".join(re.escape(part) for part in message.split(".*"))


def check_state(fault, run, fault_free):
    """The panel at the end. What the last part of a session does is not done again, so that it need not be whole."""
    if fault.call.number >= last_part(fault.session, fault_free.calls) and not fault.for_good:
        return []
    spared = fault.rule.for_good if fault.for_good else fault.rule.once
    pairs = [("end", "picture", fault_free.picture, run.picture)]
    states = [("end", fault_free.log.at_end, run.log.at_end)]
    if fault.session.name == "panel" and not (fault.for_good and fault.rule.ends):
        states.append(("session", fault_free.log.before_end, run.log.before_end))
    for place, before, now in states:
        pairs += [(place, name, before[name], (now or {}).get(name)) for name in before]
    return [f"at the {place} {name} is another" for place, name, before, now in pairs
            if before != now and not any(re.fullmatch(part, name) for part in spared)]


def last_part(session, calls):
    last = max(call.number for call in calls
               if re.fullmatch(session.last_part, f"{call.kind} {call.path} {call.detail}".strip()))
    return last - session.calls_before


# ---- The runs


def faults_of(session, calls):
    faults, without = [], set()
    for call in calls:
        rules = fault_rules.rules_of(session.name, call)
        if not rules:
            without.add(f"{call.kind} {call.path} {call.detail}")
        for rule in rules:
            faults += [Fault(session, call, error, rule, for_good) for error in rule.errors
                       for for_good in (False, True)]
    for call in sorted(without):
        print(f"{session.name}: no rule for {call}", file=sys.stderr)
    return faults, not without


def brief(faults):
    """One for each kind of call on each path: another one of its calls, errors and ways from kind to kind."""
    by_kind = collections.defaultdict(list)
    for fault in faults:
        by_kind[fault.session.name, fault.call.kind, fault.call.path].append(fault)
    return [choice[37 * turn % len(choice)] for turn, choice in enumerate(by_kind.values())]


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("simulator", "daemon", "faults"):
        parser.add_argument(f"--{name}", required=True, type=os.path.abspath)
    parser.add_argument("--brief", action="store_true")
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("--session", choices=[session.name for session in SESSIONS])
    parser.add_argument("--call", type=int)
    parser.add_argument("-j", "--jobs", type=int, default=os.cpu_count())
    return parser.parse_args()


def main():
    options = parse_options()
    start = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="beltpack-faults-") as work:
        tester = Tester(options, Path(work))
        faults, complete, calls = [], True, 0
        for session in SESSIONS:
            if options.session in (None, session.name):
                made = tester.learn(session)
                found, known = faults_of(session, made)
                print(f"{session.name}: {len(made)} calls, {len(found)} faults", flush=True)
                faults, complete, calls = faults + found, complete and known, calls + len(made)
        if options.call:
            faults = [fault for fault in faults if fault.call.number == options.call]
        if options.brief:
            faults = brief(faults)
        faults = faults[::options.every]
        failed = collections.Counter()
        with ThreadPoolExecutor(options.jobs) as pool:
            for fault, problems in zip(faults, pool.map(tester.try_out, faults)):
                if problems:
                    failed[f"{fault.call.kind} {fault.call.path}"] += 1
                    print("\n  ".join([f"FAILED {fault}"] + problems), flush=True)
    summary(faults, failed, time.monotonic() - start)
    return 3 if not complete else 1 if failed else 0


def summary(faults, failed, seconds):
    kinds = collections.Counter(fault.call.kind for fault in faults)
    print(f"{len(faults)} runs, each with one fault, in {seconds:.0f} s: {sum(failed.values())} failed")
    print("  " + ", ".join(f"{kind} {count}" for kind, count in kinds.most_common()))
    for call, count in failed.most_common():
        print(f"  {count} failed: {call}")


if __name__ == "__main__":
    sys.exit(main())
