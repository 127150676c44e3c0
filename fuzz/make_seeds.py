#!/usr/bin/env python3
"""Writes the hand-made inputs of the fuzz targets, those named seed_..., into fuzz/corpus/.

    fuzz/make_seeds.py

A target's first comment tells what its input holds. A face is made here number by number: FreeType's own parsers see
a small whole font of each kind first.
"""

import pathlib
import re
import struct

ROOT = pathlib.Path(__file__).resolve().parent.parent
CORPUS = ROOT / "fuzz" / "corpus"


def seed(target, name, content):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / f"seed_{name}").write_bytes(content)


def interpreter():
    """The sessions of the tests, and one that uses what the target's folder holds."""
    for session in sorted((ROOT / "tests" / "cases").glob("*/session")):
        lines = re.findall(r"^send g: ?(.*)$", session.read_text(errors="replace"), re.M)
        lines = [line for line in lines if not line.startswith(("ufont", "utext"))]
        text = "\n".join(lines).encode()
        if 20 < len(text) < 600:
            seed("interpreter", session.parent.name, text)
    seed("interpreter", "assets", b"font 0 a.fnt\ntext 0 1 2 'Ab\\x21' red\nshape 0 a 3 4 white black\nshaped a\n"
         b"bmp a.bmp\nbmpa b.bmp\nbmpt a.bmp #F00\nbmpdraw 0 a.bmp 5 5\nbmpdraw 0 b.bmp 90 60\nbmpdel b.bmp\n")
    seed("interpreter", "displays", b"vdisp 1 20 30\ncopy 1 0\ncopy 0 1 2 3 4 5 0 0\nclear 1 (1,2,3)\ninfo\ninfo 1\n"
         b"color #11223344 mine\nrect 1 -3 -3 300 9 mine\nline 1 0 0 99999 -7 blue\nvdispd 1\nset 1 2\nflush 0 1\nquit\n")
    seed("interpreter", "open_quotes", b"'quit\n\"info\ntext 0 1 2 'Ab\n'quit' \n")


def utext():
    for name, lines in {
        "fitted": b"0 'Stage left' white\n0 Lighting white\n3 'Production director' #0F0",
        "slots": b"0 'Stage left' white 2 3 4\n3 'a\\nb' red 5 10 10 53\n2 gjpq 7 9 -5 -5 4096\n1 x blue 0 0 0 12293",
        "utf8": b"0 '\xc3\x85ngstr\xc3\xb6m \xe2\x80\xa6' white\n0 \xff\xfe\x80\xf0\x9f white 1 1 1 8192",
    }.items():
        seed("utext", name, lines)


def framing():
    seed("framing", "commands", b"\x04\x16g:clear 0\ng:flush 0 1\na:\n\x04\x0aa:set 9 1\n")
    seed("framing", "two_pieces", b"\x04\x09g:clear 0\x04\x01\n\x04\x03g:x\x81\x01\x81\x01")
    seed("framing", "too_long", b"\x02A\x72\x06\x04\x0bg:flush 0\n\n")
    seed("framing", "kept_tail", b"\x04\x02x\n\x02A\x72\x06\x04\x05B\ng:c\x02\n\x10\x00")
    seed("framing", "test_mode", b"\x04\x18a:set 200 0\ng:clear 0\nx\n")
    seed("framing", "debug", b"\x04\x0ca:set 299 3\n\x04\x0cg:rect 0 1\n\n\x04\x0ca:set 299 0\n\x00\x08\x10\x18")
    seed("framing", "many", b"\xfb\x09g:clear 0\x00\x80\x90\x90\x90\x90")


def shape():
    bell = b"SHPE\x05\x00\x03\x00" + bytes([0, 1, 1, 1, 0, 1, 1, 1, 1, 1, 0, 0, 1, 0, 0])
    seed("shape", "bell", b"\x5f\x3f\x42\x43" + bell)
    seed("shape", "edge", b"\x07\x03\x46\x42" + bell)
    seed("shape", "left", b"\x07\x03\x3d\xff\xff\xff\xff\x7f" + bell)
    seed("shape", "no_width", b"\x07\x03\x3d\x3d" + b"SHPE\x00\x00\x03\x00")
    seed("shape", "short", b"\x07\x03\x3d\x3d" + bell[:-1])


def bitmap_font():
    def font(height, width, row_bytes, glyphs):
        data = struct.pack("6B", height, 1, width, row_bytes, 65, 64 + len(glyphs)) + b"".join(glyphs)
        return b"font" + struct.pack("<I", len(data)) + data

    fixed = font(5, 5, 1, [b"\x20\x50\xf8\x88\x88", b"\xf0\x88\xf0\x88\xf0"])
    proportional = font(4, 0, 2, [b"\x0a" + b"\xff\xc0" * 4, b"\x03" + b"\xa0\x00" * 4])
    wide = font(3, 64, 8, [b"\xaa" * 24])
    for name, content in {"fixed": fixed, "proportional": proportional, "wide": wide}.items():
        seed("bitmap_font", name, b"\x5f\x3f\x42\x43\x00\x04ABAx" + content)
        seed("bitmap_font", name + "_edge", b"\x0f\x07\x3c\x3e\x07\x42\x04ABAx" + content)


def bmp():
    def file(width, height, depth):
        row = (width * depth // 8 + 3) // 4 * 4
        size = row * height
        head = struct.pack("<2sIHHI", b"BM", 54 + size, 0, 0, 54)
        head += struct.pack("<IIIHHIIIIII", 40, width, height, 1, depth, 0, size, 0, 0, 0, 0)
        palette = bytes(range(16)) if depth == 8 else b""
        return head + palette + bytes(i * 7 & 0x7F if depth != 8 else i % 4 for i in range(size))

    for depth in (8, 24, 32):
        for kind in (0, 1, 2):
            seed("bmp", f"{depth}_{kind}", b"\x1f\x0f\x41\x42" + bytes([kind, 1, 1]) + file(5, 4, depth))
        seed("bmp", f"{depth}_edge", b"\x07\x03\x3e\x45" + bytes([0, 1, 1]) + file(9, 7, depth))
    seed("bmp", "32_over", b"\x07\x03\x42\x41" + bytes([1, 1, 1]) + file(9, 7, 32))


def text_job(kind=0, flags=0, rect=(), width=60, height=30):
    return struct.pack("<BHBBB", kind, flags, width, height, 100) + bytes(64 + n for n in rect)


def glyph_cache():
    seed("glyph_cache", "whole", text_job() + b"\x00\x00\x00" + b"Channel W~j 1")
    seed("glyph_cache", "lines", text_job(1, 0x35, (2, 3, 40, 20)) + b"\x00\x00\x00" + b"Stage left\nTalk 12")
    seed("glyph_cache", "cut", text_job(3, 0x3005, (2, 3, 20, 20)) + b"\x00\x00\x00" + b"Production")
    seed("glyph_cache", "changed", text_job(4) + b"\x03\x03\x40\x00\x01\xff\xff\x41\x10\x00" + b"\x00\x00" + b"ABC")
    seed("glyph_cache", "short", text_job() + b"\x00\x00\x18" + b"ABC")


def font_names():
    for number, name in enumerate((b"ft:sans.ttf:12px", b"ft:sans.ttf", b"ft:sans.ttf:10.5", b"ft:sans.ttf:", b"small",
                                   b"ft:folder.ttf:8px", b"ft:../font/sans.ttf:4096px", b"ft:sans.ttf:1e3", b"ft:",
                                   b"ft:./././././././././././././././././././././././././sans.ttf:9")):
        seed("font_names", f"{number:02}", name)


def table(records):
    return b"".join(struct.pack(">" + kind, value) for kind, value in records)


def truetype():
    """Two glyphs, an empty one and a box for the letters A to Z, 1000 units an em."""
    box = table([("h", 1), ("h", 0), ("h", 0), ("h", 500), ("h", 700), ("H", 3), ("H", 0)])
    box += b"\x01\x01\x01\x01" + table([("h", 0), ("h", 500), ("h", 0), ("h", -500)])
    box += table([("h", 0), ("h", 0), ("h", 700), ("h", 0)]) + b"\x00\x00"
    cmap = table([("H", 0), ("H", 1), ("H", 3), ("H", 1), ("I", 12)])
    ends, starts, deltas = (90, 0xFFFF), (65, 0xFFFF), (0, 1)
    body = table([("H", 4), ("H", 2), ("H", 0)]) + struct.pack(">HH", *ends) + b"\0\0" + struct.pack(">HH", *starts)
    body += struct.pack(">HH", *deltas) + struct.pack(">HH", 4, 0) + struct.pack(">26H", *([1] * 26))
    cmap += table([("H", 4), ("H", 8 + len(body)), ("H", 0)]) + body
    tables = {
        b"cmap": cmap,
        b"glyf": box,
        b"head": table([("I", 0x10000), ("I", 0x10000), ("I", 0), ("I", 0x5F0F3CF5), ("H", 0), ("H", 1000), ("Q", 0),
                        ("Q", 0), ("h", 0), ("h", 0), ("h", 500), ("h", 700), ("H", 0), ("H", 8), ("h", 2), ("h", 0),
                        ("h", 0)]),
        b"hhea": table([("I", 0x10000), ("h", 800), ("h", -200), ("h", 90), ("H", 600)]) + b"\0" * 22 + b"\0\x02",
        b"hmtx": struct.pack(">HhHh", 300, 0, 600, 50),
        b"kern": table([("H", 0), ("H", 1), ("H", 0), ("H", 20), ("H", 1), ("H", 1), ("H", 6), ("H", 0), ("H", 0),
                        ("H", 1), ("H", 1), ("h", -80)]),
        b"loca": struct.pack(">HHH", 0, 0, len(box) // 2),
        b"maxp": table([("I", 0x10000), ("H", 2), ("H", 4), ("H", 1), ("H", 0), ("H", 0), ("H", 2)]) + b"\0" * 16,
    }
    head = table([("I", 0x10000), ("H", len(tables)), ("H", 128), ("H", 3), ("H", 0)])
    at = len(head) + 16 * len(tables)
    entries = content = b""
    for tag, data in tables.items():
        entries += tag + struct.pack(">III", 0, at, len(data))
        data += b"\0" * (-len(data) % 4)
        content += data
        at += len(data)
    return head + entries + content


def damaged_face():
    bdf = (ROOT / "tests" / "unit" / "bitmap_font.h").read_text()
    bdf = re.search(r'R"\((.*)\)"', bdf, re.S).group(1).encode()
    without_bits = re.sub(rb"BITMAP\n([0-9A-F]+\n)+", b"", bdf)
    for name, face in {"truetype": truetype(), "bdf": bdf, "no_bits": without_bits}.items():
        for size in range(4):
            seed("damaged_face", f"{name}_{size}", bytes([size]) + text_job(1, 0x35, (2, 3, 40, 20)) + b"\x05AgBAA" + face)


def string():
    indexes = b"".join(b"\x00\x18" + bytes([64 + index, 66]) for index in (-7, -6, -1, 0, 5, 6))
    seed("string", "edges", b"\x00\x03\x06\v\t xy\v" + indexes + b"\x00\x15\x01\x03\x03 \tz\x01\x15\x00\x1a\x01\x17")
    seed("string", "append", b"\x00\x03\x05hello\x01\x04\x06 World\x03\x05\x00\x17\x04\x18\x41\x43\x05\x19o\x03llo\x05\x1a")
    seed("string", "parts", b"\x00\x03\x09\t a b\r\n \0\x00\x15\x01\x0a\x03abc\x01\x1b\x01\x12\x03\x0d\x07\x16\x05\x00\x02xy")
    seed("string", "buffer", b"\x02\x11\x0aabcdef\0ghi\xff\x02\x11\x03abc\x02\x02\x07\x80\0\0\0\x02\x08\xff\xff\xff\xff\1\0\0\0")


def dict_():
    seed("dict", "keys", b"\x00\x00\x03Red\x00\x05redder\x04\x03RED\x07\x06redish\x08\x00\x06\x03red\x07\x04redx\x09\x00")
    seed("dict", "limits", b"\x05\x00\x02ab\x03\x04abcd\x03\x05\x03abc\x02\x09\x01x\xd1\x00\x00\x01a\x08\x02p.")


def devices():
    seed("devices", "keys", b"\x10\x01\x05\x04\x11\x00\x06\x02\x18\x1a\x14\x10\x01\x02\x1a\x18\x60")
    seed("devices", "encoders", b"\x05\x01\x01\x07\x05\x01\xff\x08\x02\x04\x81\x01\x00\x00\x00\x80\xff\xff\xff\x7f\0\0\0\0\x02\x20")
    seed("devices", "broken", b"\x01\x05abcde\x1a\x04\x10\x01\x07\x01\x03xyz\x1a\x03\x38\x78\x1a")


for make in (interpreter, utext, framing, shape, bitmap_font, bmp, glyph_cache, font_names, damaged_face, string, dict_,
             devices):
    make()
