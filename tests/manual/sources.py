"""What the sources and programs say, to be held against the documents: names, tables and texts as they stand there."""

import re
import subprocess

from documents import ROOT

INTERPRETER = "graphics/GraphicsCommandProcessor.cpp"
INTERPRETER_FILES = [INTERPRETER, "graphics/GraphicsTextCommands.cpp", "graphics/GraphicsImageCommands.cpp"]
DAEMON = "app/main.cpp"
LITERAL = r'"((?:[^"\\]|\\.)*)"'


def read(name):
    return (ROOT / name).read_text()


def found(pattern, text, where):
    """All matches, of which there must be some: a pattern that matches nothing any more checks nothing."""
    matches = re.findall(pattern, text, re.S | re.M)
    if not matches:
        raise SystemExit(f"{where}: nothing matches {pattern!r}; has the code been rewritten?")
    return matches


def initializer(name, file):
    """The text between the braces of a table."""
    return found(rf"\b{name}\[\w*\] = \{{(.*?)\}};", read(file), file)[0]


def plain(literal):
    """A C string literal's text, without the line feed at its end."""
    return literal.replace('\\"', '"').removesuffix("\\n")


# The drawing language


def commands():
    """Command words in the table's order."""
    return [word for word, handler in found(r'\{"(\w+)", &\w+::process_(\w+)\}', read(INTERPRETER), INTERPRETER)]


def functions():
    """The interpreter's member functions, name to body."""
    text = "".join(read(file) for file in INTERPRETER_FILES)
    member = r"^[^\s#/].*?GraphicsCommandProcessor::(\w+)\([^;{}]*?\)(?: const)? \{\n(.*?)^\}"
    return dict(found(member, text, INTERPRETER))


def messages(word):
    """The error texts of a command as formats, in the order in which they are checked."""
    bodies = functions()
    names = ("needInt", "needString", "needColor")
    needs = {name: found(r"error\(" + LITERAL, bodies[name], name)[0] for name in names}
    calls = "|".join(sorted((name for name in bodies if name not in needs), key=len, reverse=True))
    need = r'(?P<need>need\w+)\([^"()]*"(?P<name>\w+)"\)'
    event = re.compile(rf"{need}|\berror\({LITERAL}|(?<![>.:\w])(?P<call>{calls})\(")
    texts = []

    def walk(body):
        for match in event.finditer(body):
            if match["need"]:
                texts.append(needs[match["need"]].replace("%s", match["name"]))
            elif match["call"]:
                walk(bodies[match["call"]])
            else:
                texts.append(plain(match[3]))

    walk(bodies[word if word in bodies else f"process_{word}"])
    own = [re.sub(r"^%s, ", f"{word}, ", text) for text in texts]
    return list(dict.fromkeys(own))


def colours():
    return dict(found(r'\{"(\w+)", Pixel\((0x[0-9A-F]{8})\)\}', initializer("kColors", INTERPRETER), "kColors"))


def number(name, file):
    return int(found(rf"\b{name} = (\d+);", read(file), file)[0])


# The daemon


def numbers(name, file):
    return [int(n) for n in found(r"\d+", initializer(name, file), name)]


def set_identifiers():
    ids = []
    for first, last in found(r"\{(\d+), (\d+), \w+\}", initializer("kSetCommands", DAEMON), "kSetCommands"):
        ids.extend(range(int(first), int(last) + 1))
    return ids


def key_codes():
    """Code to name; encoders are told by their kind."""
    keys = found(r'\{"(\w+)", (\d+), \d\}', initializer("kBtnEntries", DAEMON), "kBtnEntries")
    encoders = found(r'\{"(\w+)", (\d+)\}', initializer("kRencEntries", DAEMON), "kRencEntries")
    return {int(code): name for name, code in keys + encoders}


def pair_states():
    """(green, red) by state, as off, on, blinking."""
    words = {"LED_OFF": "off", "LED_ON": "on", "LED_BLINK": "blinking"}
    pairs = found(r"\{(LED_\w+), (LED_\w+)\}", initializer("kPairStates", DAEMON), "kPairStates")
    return [(words[green], words[red]) for green, red in pairs]


def event_lines():
    """The formats of all lines that a controller may read."""
    files = [DAEMON, *INTERPRETER_FILES, *(str(f.relative_to(ROOT)) for f in (ROOT / "freetype").glob("*.cpp"))]
    text = "".join(read(file) for file in files)
    told = re.findall(r"printf\((?:\w+, sizeof \w+, )?" + LITERAL, text)
    lines = [plain(line) for line in told if re.match(r"On[A-Z]|img:", line)]
    if len(lines) < 5:
        raise SystemExit("the daemon's lines are not where they were")
    return lines


def log_errors():
    """The formats of all messages at error priority, without the function's name in front."""
    files = [ROOT / DAEMON, *sorted((ROOT / "hw").glob("*.cpp"))]
    text = "".join(file.read_text() for file in files)
    return list(dict.fromkeys(plain(t) for t in found(r"syslog\(LOG_ERR,\s*" + LITERAL, text, "syslog")))


# The simulator


def script_words():
    file = "sim/script/ScriptParser.cpp"
    return found(r'^\s*\{"([a-z ~]+)", \{.*?\}, \d\},$', read(file), file)


def record_kinds():
    file = "sim/record/Recording.cpp"
    return found(r'\{"([\w-]+)", read\w+\}', initializer("kKinds", file), file)


# The programs' own help


def help_of(program, option):
    run = subprocess.run([program, option], capture_output=True, text=True, timeout=600, check=False)
    return run.stdout + run.stderr


def daemon_options(daemon):
    """Option to its argument, empty for none."""
    return dict(found(r"^  (-\w)(?: (\w+))?  +\S", help_of(daemon, "-h"), "the daemon's help"))


def simulator_options(simulator):
    """Every name of every option, to what stands behind it, empty for nothing."""
    lines = found(r"^  ((?:-\w,)?--[\w-]+)(?: (?!Needs:)(\S+))?", help_of(simulator, "--help"), "the simulator's help")
    return {name: argument for names, argument in lines for name in names.split(",")}
