"""Faults that are put into C++ text on purpose, one at a time: the rules of scripts/mutate.py.

They work on tokens and rely on how .clang-format sets them: a binary operator has blanks around it, a template's angle
bracket has not. Comments, texts, preprocessor lines and static_asserts are left alone.
"""
import re
from dataclasses import dataclass

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<preprocessor>^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<raw>R"(?P<mark>[^()\s]*)\(.*?\)(?P=mark)")
  | (?P<text>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
  | (?P<number>(?:0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d+)?)[uUlLfF]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><<=|>>=|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|::|[-+*/%&|^~!<>=?:;,.(){}\[\]])
""", re.X | re.S | re.M)

BINARY = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "+=": "-=", "-=": "+=",
}
STEPS = {"++": "--", "--": "++"}
CLOSING = {"(": ")", "[": "]", "{": "}"}
NOT_CALLED = {"if", "while", "for", "switch", "return", "static_assert", "sizeof", "case", "delete", "new", "throw",
              "else", "do", "using", "goto", "operator"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


@dataclass(frozen=True)
class Mutant:
    """The text between start and end is replaced by `new`."""
    rule: str
    start: int
    end: int
    new: str

    def apply(self, source):
        return source[:self.start] + self.new + source[self.end:]

    def line(self, source):
        return source.count("\n", 0, self.start) + 1

    def lines(self, source):
        """What stood there and what stands there now: the whole lines, without indentation, as one line."""
        first = source.rfind("\n", 0, self.start) + 1
        last = source.find("\n", self.end)
        last = len(source) if last < 0 else last
        before = source[first:last]
        after = source[first:self.start] + self.new + source[self.end:last]
        return " ".join(before.split()), " ".join(after.split())


def tokens(source):
    """The tokens that a rule may touch."""
    found = [Token(match.lastgroup if match.lastgroup != "mark" else "raw", match.group(), match.start())
             for match in TOKEN.finditer(source)]
    return [token for token in found if token.kind not in ("comment", "preprocessor")]


def matching(code, i):
    """The index of the bracket that closes the one at i, or the last index."""
    depth = 0
    for j in range(i, len(code)):
        if code[j].text in CLOSING and code[j].kind == "operator":
            depth += 1
        elif code[j].text in CLOSING.values() and code[j].kind == "operator":
            depth -= 1
            if depth == 0:
                return j
    return len(code) - 1


def asserted(code):
    """The indexes of tokens inside static_asserts, which no test can see."""
    inside = set()
    for i, token in enumerate(code):
        if token.text == "static_assert":
            inside.update(range(i, matching(code, i + 1) + 1))
    return inside


def is_binary(source, token):
    return source[token.start - 1:token.start] == " " and source[token.end:token.end + 1] in (" ", "\n")


def is_array_size(code, i):
    """A number that is the size of an array in its declaration: more room is no fault that shows."""
    return (2 < i < len(code) - 2 and code[i - 1].text == "[" and code[i + 1].text == "]" and
            code[i - 2].kind == "word" and (code[i - 3].kind == "word" or code[i - 3].text in ">*"))


def operators(source, code, i):
    token = code[i]
    if token.kind != "operator":
        return
    if token.text in BINARY and is_binary(source, token):
        yield Mutant("operator", token.start, token.end, BINARY[token.text])
    elif token.text in STEPS:
        yield Mutant("step", token.start, token.end, STEPS[token.text])


def constants(source, code, i):
    token = code[i]
    if token.kind != "number" or "." in token.text or is_array_size(code, i):
        return
    digits = token.text.rstrip("uUlLfF") if not token.text.startswith(("0x", "0X")) else token.text.rstrip("uUlL")
    suffix = token.text[len(digits):]
    value = int(digits.replace("'", ""), 0 if digits.lower().startswith("0x") or digits == "0" else 10)
    write = hex if digits.lower().startswith("0x") else str
    for other in (value + 1, value - 1):
        if other >= 0:
            yield Mutant("constant", token.start, token.end, write(other) + suffix)


def conditions(source, code, i):
    if code[i].text not in ("if", "while") or code[i + 1].text != "(":
        return
    last = matching(code, i + 1)
    inside = source[code[i + 1].end:code[last].start]
    if ";" not in inside:
        yield Mutant("condition", code[i + 1].end, code[last].start, f"!({inside})")


def calls(source, code, i):
    """A statement that is a call: some.thing->done(...);"""
    if code[i].kind != "word" or code[i].text in NOT_CALLED or code[i - 1].text not in (";", "{", "}"):
        return
    j = i
    while code[j + 1].text in (".", "->", "::") and code[j + 2].kind == "word":
        j += 2
    if code[j + 1].text != "(":
        return
    last = matching(code, j + 1)
    while last + 2 < len(code) and code[last + 1].text == "." and code[last + 2].kind == "word":  # a.b(1).c(2)
        last = matching(code, last + 3)
    if code[last + 1].text == ";":
        yield Mutant("call", code[i].start, code[last].end, "")


def returns(source, code, i):
    if code[i].text != "return" or code[i + 1].text == ";":
        return
    last = i + 1
    while code[last].text != ";":
        last = matching(code, last) + 1 if code[last].text in CLOSING else last + 1
    start, end = code[i + 1].start, code[last - 1].end
    value = source[start:end]
    flipped = {"true": "false", "false": "true"}.get(value)
    if flipped:
        yield Mutant("return", start, end, flipped)
    elif value not in ("nullptr", "{}", "0") and code[i + 1].kind != "number" and not value.startswith("*this"):
        yield Mutant("return", start, end, "{}")


def mutants(source):
    """All mutants of a file, in the order of their places."""
    code = tokens(source)
    hidden = asserted(code)
    found = []
    for i in range(1, len(code) - 3):
        if i not in hidden:
            for rule in (operators, constants, conditions, calls, returns):
                found.extend(rule(source, code, i))
    return found
