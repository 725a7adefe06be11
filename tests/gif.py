"""GIF pictures for tests, written and read.

A picture is a Picture: rows of palette indices, the palette as "RRGGBB" texts, the transparent index or None.
"""

from dataclasses import dataclass


@dataclass
class Picture:
    rows: list[bytes]
    palette: list[str]
    transparent: int | None = None

    @property
    def width(self):
        return len(self.rows[0])

    @property
    def height(self):
        return len(self.rows)

    def colors(self):
        """Rows of what is seen: "RRGGBB", or None where the picture is transparent."""
        seen = [None if i == self.transparent else color for i, color in enumerate(self.palette)]
        return [[seen[index] for index in row] for row in self.rows]


def picture(art, **colors):
    """A picture drawn with characters: picture("ab\\nba", a="FFFFFF", b="000000"). "." is transparent."""
    lines = art.split()
    symbols = list(colors) + (["."] if "." in art else [])
    rows = [bytes(symbols.index(symbol) for symbol in line) for line in lines]
    palette = list(colors.values()) + (["FF00FF"] if "." in art else [])
    return Picture(rows, palette, len(colors) if "." in art else None)


def blocks(data):
    """The data in blocks of at most 255 bytes, each after its length, and the empty one at the end."""
    parts = [data[at:at + 255] for at in range(0, len(data), 255)]
    return b"".join(bytes([len(part)]) + part for part in parts) + b"\0"


def pack_codes(codes):
    """Codes, each with its number of bits, lowest bits first."""
    value, size, packed = 0, 0, bytearray()
    for code, bits in codes:
        value |= code << size
        size += bits
        while size >= 8:
            packed.append(value & 255)
            value >>= 8
            size -= 8
    return bytes(packed) + (bytes([value]) if size else b"")


def pack(code_size, pixels):
    """The LZW codes of pixels, each with its number of bits."""
    clear = 1 << code_size
    fresh = {bytes([i]): i for i in range(clear)} | {"clear": clear, "end": clear + 1}
    table, bits, run = dict(fresh), code_size + 1, b""
    yield clear, bits
    for pixel in pixels:
        longer = run + bytes([pixel])
        if longer in table:
            run = longer
            continue
        yield table[run], bits
        run = bytes([pixel])
        bits += len(table) == 1 << bits
        table[longer] = len(table)
        if len(table) == 4096:
            yield clear, bits
            table, bits = dict(fresh), code_size + 1
    yield table[run], bits
    bits += len(table) == 1 << bits
    yield clear + 1, bits


def encode(source):
    """The file of a picture."""
    depth = max(1, (len(source.palette) - 1).bit_length())
    palette = b"".join(bytes.fromhex(color) for color in source.palette).ljust(3 << depth, b"\0")
    size = source.width.to_bytes(2, "little") + source.height.to_bytes(2, "little")
    data = b"GIF89a" + size + bytes([0x80 | depth - 1, 0, 0]) + palette
    if source.transparent is not None:
        data += b"\x21\xf9\x04\x01\0\0" + bytes([source.transparent]) + b"\0"
    code_size = max(2, depth)
    codes = pack(code_size, b"".join(source.rows))
    return data + b"," + bytes(4) + size + b"\0" + bytes([code_size]) + blocks(pack_codes(codes)) + b";"


def unpack(code_size, data, count):
    """`count` pixels from LZW codes."""
    clear, end = 1 << code_size, (1 << code_size) + 1
    table, bits, value, size, at, previous, pixels = [], 0, 0, 0, 0, None, bytearray()
    while len(pixels) < count:
        while size < (bits or code_size + 1):
            value |= data[at] << size
            at, size = at + 1, size + 8
        bits = bits or code_size + 1
        code = value & (1 << bits) - 1
        value, size = value >> bits, size - bits
        if code == clear:
            table = [bytes([i]) for i in range(clear)] + [b"", b""]
            bits, previous = code_size + 1, None
            continue
        if code == end:
            break
        entry = table[code] if code < len(table) else previous + previous[:1]
        pixels += entry
        if previous is not None and len(table) < 4096:
            table.append(previous + entry[:1])
            if len(table) == 1 << bits and bits < 12:
                bits += 1
        previous = entry
    if len(pixels) != count:
        raise ValueError(f"{len(pixels)} pixels instead of {count}")
    return bytes(pixels)


def decode(data):
    """The picture in a file of one frame that fills the screen; ValueError for anything else."""
    if data[:6] not in (b"GIF87a", b"GIF89a") or not data[10] & 0x80:
        raise ValueError("no GIF file with a palette")
    size = data[6:10]
    width, height = int.from_bytes(size[:2], "little"), int.from_bytes(size[2:], "little")
    colors = 2 << (data[10] & 7)
    at = 13 + 3 * colors
    palette = [data[i:i + 3].hex().upper() for i in range(13, at, 3)]
    transparent = None
    while data[at:at + 1] == b"!":
        if data[at + 1] == 0xf9 and data[at + 3] & 1:
            transparent = data[at + 6]
        at += 2
        while data[at]:
            at += 1 + data[at]
        at += 1
    if data[at:at + 9] != b"," + bytes(4) + size or data[at + 9] & 0xc0:
        raise ValueError("no frame that fills the screen")
    code_size, at, codes = data[at + 10], at + 11, b""
    while data[at]:
        codes += data[at + 1:at + 1 + data[at]]
        at += 1 + data[at]
    if data[at + 1:] != b";":
        raise ValueError("the file goes on after the frame")
    pixels = unpack(code_size, codes, width * height)
    return Picture([pixels[i * width:(i + 1) * width] for i in range(height)], palette, transparent)
