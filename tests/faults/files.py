#!/usr/bin/env python3
"""Fills a folder with the files that the commands of long and failing sessions name.

  files.py FOLDER
"""

import shutil
import struct
import sys
from pathlib import Path

CASES = Path(__file__).resolve().parent.parent / "cases"
FILES = ("bitmaps/bell.bmp", "bitmaps/letter.bmp", "bitmaps/ring.bmp", "shapes/arrow.shp")
SCALABLE_FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
# A proportional font of 7 rows with the glyphs A and B.
BITMAP_FONT = struct.pack("<BbbbBB", 7, 1, 0, 1, 65, 66) + bytes(
    [5, 0x20, 0x50, 0x88, 0xF8, 0x88, 0x88, 0, 5, 0xF0, 0x88, 0xF0, 0x88, 0x88, 0xF0, 0])


def fill(folder):
    (folder / "font").mkdir(parents=True)
    (folder / "font/sans.ttf").symlink_to(SCALABLE_FONT)
    (folder / "blocks.fnt").write_bytes(b"font" + struct.pack("<I", len(BITMAP_FONT)) + BITMAP_FONT)
    for file in FILES:
        shutil.copy(CASES / file, folder)


if __name__ == "__main__":
    fill(Path(sys.argv[1]))
