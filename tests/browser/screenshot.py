"""Pictures of the screen: PNG files of eight bits a channel, as a browser writes them."""

import zlib


def paeth(left, above, corner):
    estimate = left + above - corner
    return min((left, above, corner), key=lambda byte: abs(estimate - byte))


def unfilter(kind, row, above, size):
    """A row from the differences to its neighbours, `size` bytes a pixel."""
    row = bytearray(row)
    for at in range(len(row)):
        left, corner = (row[at - size], above[at - size]) if at >= size else (0, 0)
        row[at] = row[at] + (0, left, above[at], (left + above[at]) // 2, paeth(left, above[at], corner))[kind] & 255
    return bytes(row)


def decode(data):
    """The rows of the picture, each a list of "RRGGBB"."""
    at, packed = 8, b""
    while at < len(data):
        length, kind = int.from_bytes(data[at:at + 4], "big"), data[at + 4:at + 8]
        content = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height = int.from_bytes(content[:4], "big"), int.from_bytes(content[4:8], "big")
            size = {b"\x08\x02": 3, b"\x08\x06": 4}[content[8:10]]
        elif kind == b"IDAT":
            packed += content
        at += 12 + length
    raw, rows, above = zlib.decompress(packed), [], bytes(width * size)
    for y in range(height):
        start = y * (width * size + 1)
        above = unfilter(raw[start], raw[start + 1:start + 1 + width * size], above, size)
        rows.append([above[x * size:x * size + 3].hex().upper() for x in range(width)])
    return rows
