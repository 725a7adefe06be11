"""The sections of a case file (cases/README.md)."""

import os
import re

import gif

# Sections that may be written once for each argument, and those of which a case has one. A section
# written again goes on where it left off.
WITH_ARGUMENT = {"file", "folder", "mail_program", "after", "absent", "status", "mode"}
WITHOUT_ARGUMENT = {"page", "env", "body", "arguments", "limits", "clock", "expect", "response", "error_log",
                    "access_log", "stderr"}

ESCAPE = re.compile(rb"\\(n|r|t|\\|x[0-9a-fA-F]{2})")
SIMPLE_ESCAPES = {b"n": b"\n", b"r": b"\r", b"t": b"\t", b"\\": b"\\"}


class CaseError(Exception):
    """The case itself is written wrongly."""


def decode_escapes(raw):
    stray = re.search(rb"\\", ESCAPE.sub(b"", raw))
    if stray:
        raise CaseError(r"only \n \r \t \\ and \xNN are known in an escaped section")
    return ESCAPE.sub(lambda hit: SIMPLE_ESCAPES.get(hit[1]) or bytes([int(hit[1][1:], 16)]), raw)


def encode_picture(source):
    """The GIF file of a picture: rows of characters, then a line of their colors, as "w=FFFFFF k=000000"."""
    words = source.decode().split()
    colors = dict(word.split("=") for word in words if "=" in word)
    return gif.encode(gif.picture("\n".join(word for word in words if "=" not in word), **colors))


class Section:
    """One section: pieces of raw text, each with whether its escapes are to be decoded."""

    def __init__(self, name, argument):
        self.name = name
        self.argument = argument
        self.pieces = []
        self.matches = False
        self.picture = False
        self.mode = None

    def content(self):
        content = b"".join(decode_escapes(raw) if escaped else raw for raw, escaped in self.pieces)
        return encode_picture(content) if self.picture else content

    def lines(self):
        """The lines of the raw text, decoded afterwards: an escaped line feed ends no line."""
        result = [b""]
        for raw, escaped in self.pieces:
            lines = [decode_escapes(line) if escaped else line for line in raw.split(b"\n")]
            result[-1] += lines[0]
            result += lines[1:]
        return [line for line in result if line]


def parse_heading(heading):
    """(name, argument, modifiers) of a line "== name argument modifier..."."""
    words = heading.decode().split()
    modifiers = {}
    while len(words) > 1 and re.fullmatch(r"escaped|matches|picture|repeat=\d+|mode=[0-7]+", words[-1]):
        key, _, value = words.pop().partition("=")
        modifiers[key] = value
    return words[0] if words else "", " ".join(words[1:]), modifiers


def add_section(sections, name, argument, modifiers, raw):
    if name not in WITH_ARGUMENT | WITHOUT_ARGUMENT:
        raise CaseError(f'unknown section "{name}"')
    if name in WITH_ARGUMENT and not argument:
        raise CaseError(f'section "{name}" needs an argument')
    if name == "page" and not argument:
        argument = next((section.argument for section in sections if section.name == "page"), "www/page.html")
    elif name in WITHOUT_ARGUMENT - {"page"} and argument:
        raise CaseError(f'section "{name}" has no argument "{argument}"')
    if "escaped" in modifiers:
        if b"\\" not in argument.encode() + raw:
            raise CaseError(f'section "{name}" is escaped and has no escape')
        argument = os.fsdecode(decode_escapes(os.fsencode(argument)))
    section = next((known for known in sections if (known.name, known.argument) == (name, argument)), None)
    if section is None:
        section = Section(name, argument)
        sections.append(section)
    section.pieces.append((raw * int(modifiers.get("repeat", 1)), "escaped" in modifiers))
    section.matches |= "matches" in modifiers
    section.picture |= "picture" in modifiers
    if "mode" in modifiers:
        section.mode = int(modifiers["mode"], 8)


def parse_sections(data):
    sections = []
    parts = re.split(rb"^== (.*)\n", data, flags=re.MULTILINE)
    if any(line and not line.startswith(b"#") for line in parts[0].split(b"\n")):
        raise CaseError("only a comment may stand before the first section")
    for heading, raw in zip(parts[1::2], parts[2::2]):
        name, argument, modifiers = parse_heading(heading)
        add_section(sections, name, argument, modifiers, raw.removesuffix(b"\n"))
    return sections


def parse_case(data):
    sections = parse_sections(data)
    if not any(section.name in ("expect", "response") for section in sections):
        raise CaseError('neither "expect" nor "response"')
    return sections
