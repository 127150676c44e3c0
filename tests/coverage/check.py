#!/usr/bin/env python3
"""Holds a coverage report against the promise: every line is run, but for those listed as out of reach.

    check.py REPORT.json UNREACHABLE.txt LEAST-BRANCH-PERCENT

The report is gcovr's JSON. Exit status 1, naming the places, when a line that is not listed was not run, when a listed
one was run after all or is no longer there, or when too few branches were taken.
"""
import json
import pathlib
import sys


def read_unreachable(path):
    """The listed places as {(file, text): reason}. How they are written is told in the file's own head."""
    places = {}
    file = text = None
    for number, line in enumerate(pathlib.Path(path).read_text().splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        if not line.startswith(" "):
            file = line
        elif line.startswith("        "):
            places[file, text] += line.strip() + " "
        elif file is None:
            sys.exit(f"{path}:{number}: a line of no file")
        else:
            text = line.strip()
            places[file, text] = ""
    missing = [f"{file}: {text}" for (file, text), reason in places.items() if not reason]
    if missing:
        sys.exit(f"{path}: no reason for\n  " + "\n  ".join(missing))
    return places


def code_lines(report):
    """Yields (file, number, text, runs, taken branches, branches) of every line of code. The text is the line's with the
    one before it, as it is listed."""
    for entry in report["files"]:
        source = pathlib.Path(entry["file"]).read_text().splitlines()
        for line in entry["lines"]:
            if line.get("gcovr/noncode"):
                continue
            number = line["line_number"]
            branches = line["branches"]
            taken = sum(branch["count"] > 0 for branch in branches)
            text = " ... ".join(part.strip() for part in source[number - 2:number])
            yield entry["file"], number, text, line["count"], taken, len(branches)


def main(report_path, unreachable_path, least_branches):
    unreachable = read_unreachable(unreachable_path)
    lines = list(code_lines(json.loads(pathlib.Path(report_path).read_text())))
    faults = []
    for file, number, text, runs, _, _ in lines:
        listed = (file, text) in unreachable
        if runs == 0 and not listed:
            faults.append(f"{file}:{number}: never run: {text}")
        if runs > 0 and listed:
            faults.append(f"{file}:{number}: run, although {unreachable_path} lists it: {text}")
    present = {(file, text) for file, _, text, *_ in lines}
    faults += [f"{file}: no longer there, but in {unreachable_path}: {text}"
               for file, text in unreachable if (file, text) not in present]

    run = sum(runs > 0 for _, _, _, runs, _, _ in lines)
    taken = sum(line[4] for line in lines)
    branches = sum(line[5] for line in lines)
    percent = 100 * taken / branches
    if percent < float(least_branches):
        faults.append(f"{percent:.1f} % of the branches taken, which is less than {least_branches} %")
    print(f"{run} of {len(lines)} lines run, {len(unreachable)} listed as out of reach; "
          f"{taken} of {branches} branches taken ({percent:.1f} %)")
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
