#!/usr/bin/env python3
"""Holds the list of messages (docs/troubleshooting.md) against the source.

A message is made of string literals with words in them. Each such literal of src, outside of comments, of the
operators' tables and of the author's tool, must be found in the list or be named below as something else. A literal
is found when all its pieces between the conversions of printf are, in this order, in one code span of the list.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
LIST = ROOT / "docs/troubleshooting.md"

# Literals with words that no one reads as a message, by their file; "": all of the file's.
OTHERS = {
    "apps/chat.cpp": [" via proxy ", "%s as %s: %s"],  # the log of a chat
    "apps/gif_template.cpp": [r"Content-type: image/gif\n\n"],
    "cgi/cookies.cpp": ["; expires=%s, %.2d-%s-%.4ld %.2d:%.2d:%.2d GMT", "Set-Cookie: "],
    "cgi/log.cpp": ["[%d/%b/%Y %H:%M:%S] ", r"Content-type: text/html\n\n",
                    r"<html><head><title>Error!</title></head><body bgcolor=white><h2>\n"],
    "cgi/multipart.cpp": ["content-disposition: form-data"],
    "cgi/response.cpp": [r"Content-type: %.*s\nContent-length: %zu\n\n"],
    "core/parameters.h": [""],  # assertions
    "fcgi/main.cpp": [""],  # the help of the options
    "fcgi/status.cpp": [""],  # the status page
    "fcgi/worker.cpp": ["Status: ", r"\r\nContent-type: text/plain\r\n\r\n", r"Status: 302 Found\r\n"],
    "files/attachment.cpp": [""],  # header lines of a mail
    "files/download.cpp": ["Content-type: ", r"\nContent-length: ", r'\nContent-Disposition: filename=\"'],
    "db/sql.cpp": [" limit "],
    "language/match.cpp": ["[[:digit:]]", "[[:space:]]"],
    "macro/macro_library.cpp": ["the text before the first definition", "the output of autoexec"],  # for quillet-dev
}

LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
RAW_OR_CHARACTER = re.compile(r'R"(\w*)\(.*?\)\1"|\'(?:[^\'\\\n]|\\.)\'', re.S)
WORDS = re.compile(r"[a-z].* |\[.*[a-z]|[a-z]{3,}\]")
TABLES = re.compile(r"operator_definition \w+\[\] = \{.*?\n\};", re.S)
CONVERSION = re.compile(r"%[-.*0-9]*(?:ll|l|z)?[a-z]")


def literals(path):
    source = re.sub(r"^ *#include.*|//.*", "", path.read_text(), flags=re.M)
    source = RAW_OR_CHARACTER.sub("", TABLES.sub("", source))
    return [text for text in LITERAL.findall(source) if WORDS.search(text)]


def is_listed(text, spans):
    pieces = [piece.strip() for piece in CONVERSION.split(text.replace(r"\"", '"').replace(r"\n", " "))]
    pattern = re.compile(".*".join(re.escape(piece) for piece in pieces if piece))
    return any(pattern.search(span) for span in spans)


def main():
    text = LIST.read_text().partition("## All messages")[2]
    spans = re.findall(r"`([^`\n]+)`", text)
    failures, used, found = [], set(), 0
    for path in sorted((ROOT / "src").rglob("*.[ch]*")):
        name = str(path.relative_to(ROOT / "src"))
        if path.suffix not in (".cpp", ".h") or name.startswith("dev/"):
            continue
        others = OTHERS.get(name, [])
        for literal in literals(path):
            if "" in others or literal in others:
                used.add((name, "" if "" in others else literal))
            elif is_listed(literal, spans):
                found += 1
            else:
                failures.append(f"{name}: not in {LIST.relative_to(ROOT)}: {literal!r}")
    for name, texts in OTHERS.items():
        failures += [f"{name}: no longer there: {text!r}" for text in texts if (name, text) not in used]
    print("\n".join(failures) or f"{found} literals of messages")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
