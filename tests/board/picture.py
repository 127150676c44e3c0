"""The display's picture from the bytes on its two buses, and its comparison with PNG files."""
from PIL import Image, ImageChops

WIDTH, HEIGHT = 96, 64
PAGES = 8
SCALE = 4  # of the pictures that are written
SET_PAGE = 0xB0
COLUMN_32 = bytes([0x00, 0x12])  # where the glass of variant 0 begins


class BusError(AssertionError):
    """Bytes that the display's controller would not understand as part of a frame."""


def _page_of(message, number):
    """Checks that a message selects this page, from the first visible column on."""
    expected = bytes([SET_PAGE | number]) + COLUMN_32
    if (message.device, message.data) != ("3.0", expected):
        raise BusError(f"{expected.hex(' ')} expected for page {number}, got {message}")


def _picture(pages):
    """Bit k of byte c of page p is the pixel of row 8 p + k and column 95 - c."""
    picture = Image.new("1", (WIDTH, HEIGHT))
    for page, data in enumerate(pages):
        for column, byte in enumerate(data):
            for bit in range(8):
                if byte >> bit & 1:
                    picture.putpixel((WIDTH - 1 - column, 8 * page + bit), 1)
    return picture


def split_frames(messages):
    """What SPI messages of the display hold, in order: for each frame its raw pages as a tuple, for each other
    command its bytes. An incomplete frame at the end, which may be under way, is left out."""
    found = []
    rest = [message for message in messages if message.device in ("3.0", "3.1")]
    while rest:
        if rest[0].device != "3.0":
            raise BusError(f"data without a page command: {rest[0]}")
        if rest[0].data[:1] != bytes([SET_PAGE]):
            found.append(rest.pop(0).data)
            continue
        if len(rest) < 2 * PAGES or len(rest) == 2 * PAGES and len(rest[-1].data) < WIDTH:
            break
        for number in range(PAGES):
            _page_of(rest[2 * number], number)
        pages = tuple(message.data for message in rest[1:2 * PAGES:2])
        if any(message.device != "3.1" for message in rest[1:2 * PAGES:2]) or {*map(len, pages)} != {WIDTH}:
            raise BusError(f"a page is not {WIDTH} bytes of data: {rest[:2 * PAGES]}")
        found.append(pages)
        del rest[:2 * PAGES]
    return found


def frames(messages):
    """The frames alone, as tuples of raw pages."""
    return [item for item in split_frames(messages) if isinstance(item, tuple)]


def shows(pages, expected_file, box=(0, 0, WIDTH, HEIGHT)):
    """True when a frame, or a box of it, is what a PNG file of any whole scale shows."""
    with Image.open(expected_file) as file:
        expected = file.convert("1").resize((WIDTH, HEIGHT), Image.Resampling.NEAREST)
    return ImageChops.logical_xor(_picture(pages).crop(box), expected.crop(box)).getbbox() is None


def save(pages, file):
    """Writes a frame as a PNG file."""
    _picture(pages).resize((WIDTH * SCALE, HEIGHT * SCALE)).save(file)
