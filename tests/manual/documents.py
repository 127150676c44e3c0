"""The documents as data: headings, tables, code blocks, links, and the examples of docs/protocol.md."""

import re
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PROTOCOL = ROOT / "docs/protocol.md"


@dataclass
class Heading:
    level: int
    text: str  # without backticks
    anchor: str
    line: int  # of the file, from 1


@dataclass
class Block:
    """A fenced block."""

    language: str
    line: int  # of its first line of text
    lines: list = field(default_factory=list)
    picture: str = ""  # the file of the image behind the block, as it stands there
    heading: str = ""


def anchor_of(text):
    """The name under which a heading can be linked to."""
    kept = re.sub(r"[^\w\- ]", "", text.lower())
    return kept.replace(" ", "-")


class Document:
    """One Markdown file. Fenced blocks count neither as headings nor as tables or links."""

    def __init__(self, path):
        self.path = path
        self.headings = []
        self.blocks = []
        self.prose = []  # (line number, text) outside of fenced blocks
        self._read(path.read_text().split("\n"))

    def _read(self, lines):
        block = None
        behind = None  # the block that nothing but an image may follow yet
        for number, line in enumerate(lines, 1):
            if line.startswith("```"):
                if block is None:
                    block = Block(line[3:].strip(), number + 1, heading=self._heading())
                else:
                    self.blocks.append(block)
                    block, behind = None, block
            elif block is not None:
                block.lines.append(line)
            else:
                behind = self._read_prose(number, line, behind)
        if block is not None:
            raise SystemExit(f"{self.path}:{block.line}: the block has no end")

    def _heading(self):
        return self.headings[-1].text if self.headings else ""

    def _read_prose(self, number, line, behind):
        self.prose.append((number, line))
        heading = re.match(r"(#+) (.*)", line)
        if heading:
            text = heading[2].replace("`", "").strip()
            self.headings.append(Heading(len(heading[1]), text, anchor_of(text), number))
        image = re.match(r"!\[[^]]*\]\(([^)]+)\)$", line)
        if behind is not None and image:
            behind.picture = image[1]
        return behind if line == "" else None

    def section(self, title, whole=True):
        """The prose of a heading, up to the next one of its level or above; if not `whole`, up to the next one."""
        found = [h for h in self.headings if h.text == title]
        if len(found) != 1:
            raise SystemExit(f"{self.path}: {len(found)} headings {title!r}")
        ends = [h.line for h in self.headings if h.line > found[0].line and (h.level <= found[0].level or not whole)]
        end = min(ends, default=10**9)
        return [text for number, text in self.prose if found[0].line < number < end]

    def table(self, title, whole=True):
        """The cells of all table rows of a section, a list of strings each, without the heads of the tables."""
        kept = []
        for line in self.section(title, whole):
            if not line.startswith("|"):
                continue
            cells = [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
            if all(re.fullmatch(r"-+", cell) for cell in cells):
                kept.pop()  # the head
            else:
                kept.append(cells)
        return kept

    def links(self):
        """(line number, target) of every link and image."""
        for number, text in self.prose:
            shown = re.sub(r"`[^`]*`", "", text)
            for target in re.findall(r"\]\(([^)\s]+)\)", shown):
                yield number, target


def documents():
    paths = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]
    return [Document(path) for path in paths]


def coded(text):
    """What stands between backticks."""
    return re.findall(r"`([^`]+)`", text)
