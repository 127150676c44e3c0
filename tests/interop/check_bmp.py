#!/usr/bin/python3
"""Holds the BMP codec against two other programs, pixel for pixel, in both directions.

    check_bmp.py BMP_TOOL FOLDER

BMP_TOOL is the program made of bmp_tool.cpp; FOLDER is emptied and used for the files. The others are ImageMagick
(convert) and Python's imaging library. Run by Debian's own Python, for which the package python3-pil is.

What of their files can be read: those with the 40-byte header, and a palette of 256 entries. That excludes
- ImageMagick's files without "BMP3:", which have a 124-byte header, its indexed pictures without "-compress None",
  which are run-length compressed, and those of up to 16 colours, which have 1 or 4 bits a pixel: all are refused;
- the imaging library's files with a shorter palette: these are misread or refused.
"""

import random
import shutil
import subprocess
import sys
from pathlib import Path

from PIL import Image

SIZES = [(1, 1), (1, 5), (2, 1), (3, 2), (5, 7), (33, 17), (96, 64), (255, 3)]
BIG = (4000, 4000)
DEPTHS = [8, 24, 32]

tool, folder = sys.argv[1], Path(sys.argv[2])
checks = 0
failures = 0


def expect(what, found, wanted):
    global checks, failures
    checks += 1
    if found != wanted:
        failures += 1
        print(f"{what}: {len(found)} bytes differ from the {len(wanted)} that are wanted")


def run(*command, **more):
    return subprocess.run(list(map(str, command)), check=True, stdout=subprocess.PIPE, **more).stdout


def written(depth, size):
    """A file of the codec."""
    path = folder / f"own_{depth}_{size[0]}x{size[1]}.bmp"
    run(tool, "write", depth, *size, path)
    return path


def dumped(path):
    """A file's pixels as the codec reads them, RGBA."""
    return run(tool, "dump", path)


def opaque(rgba):
    """RGBA bytes with every alpha 255."""
    result = bytearray(rgba)
    result[3::4] = b"\xff" * (len(rgba) // 4)
    return bytes(result)


def picture(depth, size):
    """The pixels that bmp_tool promises, RGBA."""
    result = bytearray()
    for y in range(size[1]):
        for x in range(size[0]):
            i = (5 * x + 3 * y + 4) % 256
            pixel = [i, 255 - i, 7 * i, 255] if depth == 8 else [7 * x + 13 * y, 3 * x + 5 * y + 1, x + 11 * y + 2, i]
            result += bytes(channel % 256 for channel in pixel)
    return bytes(result) if depth == 32 else opaque(result)


def noise(size):
    """Any pixels, RGBA, more than 16 colours where there is room for them."""
    return random.Random(str(size)).randbytes(4 * size[0] * size[1])


def magick_reads(path):
    return run("convert", path, "-depth", 8, "rgba:-")


def magick_writes(rgba, size, path, *options):
    run("convert", "-size", f"{size[0]}x{size[1]}", "-depth", 8, "rgba:-", *options, f"BMP3:{path}", input=rgba)


def pil_reads(path):
    """Without alpha, which the library does not look for in such files."""
    with Image.open(path) as image:
        return image.convert("RGB").convert("RGBA").tobytes()


def pil_picture(depth, rgba, size):
    image = Image.frombytes("RGBA", size, rgba)
    if depth == 32:
        return image
    if depth == 24:
        return image.convert("RGB")
    indexed = Image.frombytes("P", size, rgba[::4])
    indexed.putpalette(random.Random(8).randbytes(768))  # 256 entries
    return indexed


def own_files(depth, size):
    path = written(depth, size)
    wanted = picture(depth, size)
    expect(f"{path.name} read back", dumped(path), wanted)
    expect(f"{path.name} in ImageMagick", magick_reads(path), wanted)
    expect(f"{path.name} in the imaging library", pil_reads(path), opaque(wanted))


def pil_files(depth, size):
    path = folder / f"pil_{depth}_{size[0]}x{size[1]}.bmp"
    image = pil_picture(depth, noise(size), size)
    image.save(path)
    expect(path.name, dumped(path), image.convert("RGBA").tobytes())


def magick_files(depth, size):
    path = folder / f"magick_{depth}_{size[0]}x{size[1]}.bmp"
    rgba = noise(size)
    if depth == 32:
        magick_writes(rgba, size, path, "-define", "bmp3:alpha=true")
    elif depth == 24:
        rgba = opaque(rgba)
        magick_writes(rgba, size, path, "-alpha", "off", "-type", "TrueColor")
    else:
        # Many shades, in a picture that has room for them: fewer than 17 colours become 4 bits a pixel.
        if size[0] * size[1] < 256:
            return
        rgba = b"".join(bytes([i % 256, 255 - i % 256, i % 256, 255]) for i in range(size[0] * size[1]))
        magick_writes(rgba, size, path, "-alpha", "off", "-type", "Palette", "-compress", "None")
        rgba = magick_reads(path)  # it makes its own choice of up to 256 colours
    expect(path.name, dumped(path), rgba)


def big_files():
    """16 million pixels: too many to work out here, so the programs are held against each other."""
    path = written(24, BIG)
    pixels = dumped(path)
    expect(f"{path.name} in ImageMagick", magick_reads(path), pixels)
    expect(f"{path.name} in the imaging library", pil_reads(path), pixels)
    saved = folder / "pil_big.bmp"
    with Image.open(path) as image:
        image.save(saved)
    expect(saved.name, dumped(saved), pixels)
    path.unlink()
    saved.unlink()


def refused(path):
    """A file of a kind that the codec does not know."""
    found = subprocess.run([tool, "dump", path], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    expect(f"{path.name} refused", found.stdout, b"")
    expect(f"{path.name} refused", found.stderr,
           b"File is not a supported BMP variant (must be uncompressed 8, 24 or 32 BPP)\n")


def unsupported_files():
    long_header = folder / "magick_124_byte_header.bmp"
    run("convert", "-size", "4x4", "xc:red", "-type", "TrueColorMatte", long_header)
    refused(long_header)
    few_colors = folder / "magick_1_bit.bmp"
    run("convert", "-size", "4x4", "xc:red", "-type", "Palette", "-compress", "None", f"BMP3:{few_colors}")
    refused(few_colors)
    run_length = folder / "magick_rle.bmp"
    run("convert", "-size", "64x64", "gradient:red-blue", "-type", "Palette", f"BMP3:{run_length}")
    refused(run_length)


shutil.rmtree(folder, ignore_errors=True)
folder.mkdir(parents=True)
for depth in DEPTHS:
    for size in SIZES:
        own_files(depth, size)
        pil_files(depth, size)
        magick_files(depth, size)
unsupported_files()
big_files()
print(f"{checks - failures} of {checks} comparisons passed")
sys.exit(1 if failures else 0)
