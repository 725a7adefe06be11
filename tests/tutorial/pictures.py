"""Text in PNG files: the fingerprint of the page that a picture shows."""

import zlib

KEYWORD = b"Page"


def chunks(data):
    """(kind, content, whole chunk) of a PNG file, in order."""
    at = 8
    while at < len(data):
        length = int.from_bytes(data[at:at + 4], "big")
        yield data[at + 4:at + 8], data[at + 8:at + 8 + length], data[at:at + 12 + length]
        at += 12 + length


def with_fingerprint(data, fingerprint):
    """The file without other texts."""
    content = b"tEXt" + KEYWORD + b"\0" + fingerprint.encode()
    added = (len(content) - 4).to_bytes(4, "big") + content + zlib.crc32(content).to_bytes(4, "big")
    kept = [(kind, chunk) for kind, _, chunk in chunks(data) if kind in (b"IHDR", b"PLTE", b"tRNS", b"IDAT", b"IEND")]
    return data[:8] + b"".join((added if kind == b"IEND" else b"") + chunk for kind, chunk in kept)


def fingerprint_in(data):
    """None if the file has none."""
    texts = dict(content.split(b"\0", 1) for kind, content, _ in chunks(data) if kind == b"tEXt")
    return texts[KEYWORD].decode() if KEYWORD in texts else None
