#!/usr/bin/python3
"""Holds the documents and manual pages against the sources and the programs.

    check_documents.py SIMULATOR DAEMON

Whatever a user can say or read, commands, identifiers, key codes, lines, messages, options, script words, kinds of
records, has to stand in the documents, with its arguments and in both directions. What differs is told, with the name.
"""

import re
import subprocess
import sys

sys.dont_write_bytecode = True  # the sources are no place for it

import sources
from documents import PROTOCOL, ROOT, Document, coded, documents

MAN = ROOT / "docs/man"
COMPLAINTS = []


def complain(where, what):
    COMPLAINTS.append(f"{where}: {what}")


def same(where, told, meant):
    """Both are sets of names: what is told, and what there is."""
    for name in sorted(set(meant) - set(told), key=str):
        complain(where, f"{name} is missing")
    for name in sorted(set(told) - set(meant), key=str):
        complain(where, f"{name} does not exist")


def equal(where, told, meant):
    if told != meant:
        complain(where, f"tells {told}, and it is {meant}")


# docs/protocol.md


def shape_of(synopsis):
    """A synopsis's command and arguments, without brackets."""
    return re.sub(r"[\[\]]", "", synopsis).split()


def synopses(document):
    """Command word to its synopsis, from the blocks under the headings of commands."""
    found = {}
    for block in document.blocks:
        if block.language == "" and block.lines[0].startswith("g:"):
            found[block.heading] = block.lines[0]
    return found


def as_pattern(text):
    """A format as a pattern of what the documents write for it."""
    return re.sub(r"%[sdu]", r"[\\w.-]+", re.escape(text))


def told_errors(document, title):
    text = " ".join(document.section(title))
    found = re.search(r"\*\*Errors:\*\*(.*?)(?:  |$)", text)
    return coded(found[1]) if found else None


def check_errors(document, title, word):
    told, meant = told_errors(document, title), sources.messages(word)
    if told is None:
        complain("protocol.md", f"{title}: no line of errors")
        return
    alike = len(told) == len(meant) and all(re.fullmatch(as_pattern(m), t) for t, m in zip(told, meant))
    if not alike:
        complain("protocol.md", f"{title}: the errors told are {told}, and those of the program {meant}")


def check_commands(document):
    words = sources.commands()
    told = synopses(document)
    same("protocol.md, commands", told, words)
    for word in words:
        if word not in told:
            continue
        if shape_of(told[word])[0] != f"g:{word}":
            complain("protocol.md", f"{word}: the synopsis is that of another command")
        check_errors(document, word, word)
        examples = [b for b in document.blocks if b.language == "panel" and b.heading == word]
        if not any(re.match(rf"< g:{word}( |$)", line) for block in examples for line in block.lines):
            complain("protocol.md", f"{word}: no example")
    check_errors(document, "Any other word", "processCommand")


def ids(text):
    """Numbers of "9", "9 .. 12"."""
    numbers = [int(n) for n in re.findall(r"\d+", text)]
    return list(range(numbers[0], numbers[-1] + 1))


def first_numbers(rows):
    return [n for row in rows if re.match(r"\d", row[0]) for n in ids(row[0])]


def check_tables(document):
    rows = document.table("Keys")
    keys = {int(row[0]): row[1].split()[0] for row in rows if len(row) == 3}
    equal("protocol.md, Keys", dict(sorted(keys.items())), dict(sorted(sources.key_codes().items())))
    same("protocol.md, Colours", {tuple(coded(" ".join(r)) + r[1:]) for r in document.table("Colours") if "0x" in r[1]},
         {(name, value) for name, value in sources.colours().items()})
    told = first_numbers(document.table("Set commands", whole=False))
    same("protocol.md, Set commands", told, sources.set_identifiers())
    lights = document.table("Lights")
    states = [(r[1], r[2]) for r in lights if len(r) == 3 and r[0].isdigit()]
    equal("protocol.md, Lights, states", states, sources.pair_states())
    levels = [[int(n) for n in row[1:]] for row in lights if row[0] == "level"]
    equal("protocol.md, Lights, steps", levels, [sources.numbers("miDisplayContrastStepTab", sources.DAEMON)])
    equal("brightness steps", sources.numbers("miInternalBrtStepTab", "hw/fp_led.cpp"), levels[0] if levels else [])
    largest = sources.number("kLargestFontSize", "graphics/GraphicsTextCommands.cpp")
    step = sources.number("kFontSizeStep", "graphics/GraphicsTextCommands.cpp")
    sizes = [[int(n) for n in row[1:]] for row in document.table("ufont") if row[0] == "pixels"]
    equal("protocol.md, ufont", sizes, [[largest - step * slot for slot in range(10)]])
    most = sources.number("kMostVirtualPixels", sources.INTERPRETER)
    if str(most) not in " ".join(document.section("vdisp")):
        complain("protocol.md, vdisp", f"the most pixels are {most}")


def line_kind(text):
    """A line or its format without what changes: the name and the number of values, or the words."""
    name = re.match(r"(On\w+)\(", text)
    if name:
        return f"{name[1]} with {text.count(',') + 1} values"
    return re.sub(r"%[sd]|\b[A-Z]+\b", "*", text)


def check_event_lines(document):
    told = {line_kind(coded(row[0])[0]) for row in document.table("Event lines") if coded(row[0])[:1]}
    same("protocol.md, Event lines", told, {line_kind(line) for line in sources.event_lines()})


def check_contents(document):
    """Every section and every command is in the table of contents."""
    start = document.headings[1].line
    linked = {target for number, target in document.links() if number < start}
    wanted = [h.anchor for h in document.headings[1:] if h.level == 2] + command_anchors(document)
    same("protocol.md, contents", linked, {f"#{anchor}" for anchor in wanted})


def command_anchors(document):
    section = next(i for i, h in enumerate(document.headings) if h.text == "Drawing commands")
    rest = document.headings[section + 1:]
    end = next(i for i, h in enumerate(rest) if h.level == 2)
    return [h.anchor for h in rest[:end]]


# The other documents


def leading_words(step):
    """The lower-case words at a step's beginning, without its arguments."""
    return [word for word in re.sub(r"\[.*?\]", "", step).split() if re.fullmatch(r"[a-z]+~?", word)]


def rule_of(step, rules):
    words = leading_words(step)
    fitting = [rule for rule in rules if words[: len(rule.split())] == rule.split()]
    return max(fitting, key=len, default=f"`{step}`")


def check_script_words():
    rules = sources.script_words()
    cells = [row[0] for row in Document(ROOT / "docs/simulator.md").table("Scripts") if row[0].startswith("`")]
    same("simulator.md, Scripts", {rule_of(step, rules) for cell in cells for step in coded(cell)}, rules)


def check_record_kinds():
    document = Document(ROOT / "docs/recording.md")
    titles = ("What goes in", "What comes out")
    told = [coded(row[0])[0] for title in titles for row in document.table(title)]
    told += re.findall(r"^`([\w-]+)`: ", "\n".join(document.section("First and last")), re.M)
    same("recording.md", told, sources.record_kinds())


def option_names(text):
    return re.findall(r"(?<![\w-])--?[a-z][\w-]*", text)


def check_options(simulator, daemon):
    rows = Document(ROOT / "docs/simulator.md").table("Options")
    told = [name for row in rows for name in option_names(row[0])]
    long_names = {name for name in sources.simulator_options(simulator) if name.startswith("--")}
    same("simulator.md, Options", told, long_names)
    usage = re.findall(r"^beltpack_fpui (\[-.*)$", (ROOT / "README.md").read_text(), re.M)
    meant = {f"{o} {a}".strip() for o, a in sources.daemon_options(daemon).items()}
    same("README.md, usage", re.findall(r"\[(.*?)\]", "".join(usage)), meant)


def check_links():
    files = documents()
    anchors = {file.path: {h.anchor for h in file.headings} for file in files}
    pictures = set()
    for file in files:
        for number, target in file.links():
            if "://" in target:
                continue
            name, _, anchor = target.partition("#")
            path = (file.path.parent / name).resolve() if name else file.path
            where = f"{file.path.relative_to(ROOT)}:{number}"
            if not path.exists():
                complain(where, f"{target}: no such file")
            elif anchor and anchor not in anchors.get(path, {anchor}):
                complain(where, f"{target}: no such heading")
            pictures.add(path)
    for picture in sorted((ROOT / "docs/pictures").rglob("*.*")):
        if picture not in pictures:
            complain(picture.relative_to(ROOT), "no document shows it")


# Manual pages


def rendered(page):
    """A manual page as text, each paragraph on one line."""
    command = ["mandoc", "-T", "ascii", "-O", "width=500", MAN / page]
    run = subprocess.run(command, capture_output=True, text=True, check=True)
    return re.sub(".\b", "", run.stdout)


def check_pages():
    """mandoc and groff have nothing to say."""
    for page in sorted(MAN.iterdir()):
        for command in (["mandoc", "-T", "lint", "-W", "warning"], ["groff", "-ww", "-mdoc", "-Tascii", "-z"]):
            run = subprocess.run([*command, page], capture_output=True, text=True, check=False)
            if run.returncode != 0 or run.stdout + run.stderr:
                complain(f"man/{page.name}", f"{command[0]}: {run.stdout}{run.stderr}".strip())


def check_protocol_page(document):
    text = rendered("beltpack_protocol.5")
    lines = re.findall(r"^ +(g:\w+(?: .*[A-Z]\]*)?)(?:  .*)?$", text, re.M)
    told = {shape[0][2:]: shape for shape in map(shape_of, lines)}
    meant = {word: shape_of(synopsis) for word, synopsis in synopses(document).items()}
    same("man/beltpack_protocol.5, commands", told, meant)
    for word in sorted(set(told) & set(meant)):
        equal(f"man/beltpack_protocol.5, {word}", told[word], meant[word])
    rows = re.findall(r"^ +(\d+(?: \.\. \d+)?)   +(\w.*)$", text, re.M)
    codes = {int(number): name.split()[0] for number, name in rows if name.split()[0] in sources.key_codes().values()}
    equal("man/beltpack_protocol.5, keys", codes, dict(sorted(sources.key_codes().items())))
    others = [row for row in rows if row[1].split()[0] not in sources.key_codes().values()]
    same("man/beltpack_protocol.5, set commands", first_numbers(others), sources.set_identifiers())
    lines = re.findall(r"^ +((?:On[A-Z]\w+\(|img:).*)$", text, re.M)
    meant = {line_kind(line) for line in sources.event_lines()}
    same("man/beltpack_protocol.5, events", {line_kind(line) for line in lines}, meant)


def check_daemon_page(daemon):
    page = (MAN / "beltpack_fpui.8").read_text()
    described = page.split(".Sh DESCRIPTION")[1].split(".Sh ENVIRONMENT")[0]
    told = {f"-{name}": argument for name, argument in re.findall(r"^\.It Fl (\w)(?: Ar (\w+))?$", described, re.M)}
    equal("man/beltpack_fpui.8, options", told, dict(sorted(sources.daemon_options(daemon).items())))
    diagnostics = [text.replace(r"\(dq", '"') for text in re.findall(r'^\.It "(.*)"$', page, re.M)]
    same("man/beltpack_fpui.8, messages", diagnostics, [text.removeprefix("%s ") for text in sources.log_errors()])


def check_simulator_page(simulator):
    page = (MAN / "beltpack_sim.1").read_text()
    told = {f"-{name}": bool(rest) for name, rest in re.findall(r"^\.It Fl (-[\w-]+)(.*)$", page, re.M)}
    meant = {name: bool(rest) for name, rest in sources.simulator_options(simulator).items() if name.startswith("--")}
    same("man/beltpack_sim.1, options", told, meant)
    for name in sorted(set(told) & set(meant)):
        equal(f"man/beltpack_sim.1, {name}, argument", told[name], meant[name])


def font_limits():
    """The limits of a bitmap font's head, as the page writes them."""
    text = sources.read("graphics/GrFont.cpp")
    lowest, highest = sources.found(r"f_height >= (\d+) && h\.f_height <= (\d+)", text, "isValid")[0]
    widest = sources.found(r"f_width <= (\d+) &&", text, "isValid")[0]
    fewest, most = sources.found(r"f_byPline >= (\d+) && h\.f_byPline <= (\d+)", text, "isValid")[0]
    return [f"rows of every glyph, {lowest} to {highest}", f"width of every glyph, 0 to {widest}",
            f"bytes of a row, {fewest} to {most};"]


def check_files_page():
    """The marks at the beginning of the files, and the limits of fonts."""
    text = rendered("beltpack_files.5")
    marks = {
        "SHPE": ("graphics/GrShape.cpp", "'S', 'H', 'P', 'E'"),
        "font": ("graphics/GrFont.cpp", "'f', 'o', 'n', 't'"),
        "FNT2 or FNT3": ("freetype/fnt_cache_file.cpp", '"FNT2"'),
    }
    for mark, (file, coded_as) in marks.items():
        if coded_as not in sources.read(file):
            complain(file, f"the mark {mark} is not where it was")
        if not re.search(rf"^ +0 +4 +{mark}\b", text, re.M):
            complain("man/beltpack_files.5", f"the mark {mark} is missing")
    for limit in font_limits():
        if limit not in text:
            complain("man/beltpack_files.5", f"{limit!r} is missing")


def main(simulator, daemon):
    protocol = Document(PROTOCOL)
    check_commands(protocol)
    check_tables(protocol)
    check_event_lines(protocol)
    check_contents(protocol)
    check_script_words()
    check_record_kinds()
    check_options(simulator, daemon)
    check_links()
    check_pages()
    check_protocol_page(protocol)
    check_daemon_page(daemon)
    check_simulator_page(simulator)
    check_files_page()
    print("\n".join(COMPLAINTS) or "The documents tell what the programs do.")
    return 1 if COMPLAINTS else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
