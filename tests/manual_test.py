#!/usr/bin/env python3
"""Holds the manual against the source: every operator has its entry, which says what its module says.

An entry of docs/operators is a heading with the operator's name, a block with its synopsis (a line for
each form), then the summary as the first paragraph, every message of the operator, and an example. The
index lists all operators. Links lead somewhere.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DOCS = ROOT / "docs"
MANUAL = DOCS / "operators"

STRING = r'"(?:[^"\\]|\\.)*"'
TABLE = re.compile(r"constexpr operator_definition \w+\[\] = \{\n(.*?)\n\};", re.DOTALL)
ROW = re.compile(rf"\s*\{{({STRING}),\s*\w+,\s*\d+,\s*\w+,\s*({STRING}(?:\s+{STRING})*),\s*({STRING}(?:\s+{STRING})*)(?:,\s*!?\w+){{0,2}}\}},")
ENTRY = re.compile(r"## (?P<name>\S+)\n\n```text\n(?P<synopsis>.*?)\n```\n\n(?P<summary>.*?)\n\n", re.DOTALL)
INDEX_ROW = re.compile(r"^\| \[`(.*?)`\]\((.*?)\) \| (.*) \|$", re.MULTILINE)

# Rows of operators that give way to one of the same name registered before: nothing for those who write pages.
GIVE_WAY = {("chat.cpp", "cookie")}

failures = []


def fail(message):
    failures.append(message)


def string_value(literals):
    joined = "".join(literal[1:-1] for literal in re.findall(STRING, literals))
    return re.sub(r"\\(.)", r"\1", joined)


def operators_of_source(path):
    """{name: (synopsis, summary)} of the tables in one file."""
    operators = {}
    for table in TABLE.findall(path.read_text()):
        at = 0
        while row := ROW.match(table, at):
            name, synopsis, summary = map(string_value, row.groups())
            if (path.name, name) not in GIVE_WAY:
                operators[name] = (synopsis, summary)
            at = row.end()
        if table[at:].strip():
            fail(f"{path}: no row of a module's table: {table[at:].strip().splitlines()[0]}")
    return operators


def comments_of_source(path):
    """{name: (synopsis, messages)} of the comments above the operators. A form and a message are on a line of
    their own."""
    comments = {}
    for comment in re.findall(r"(?:^//.*\n)+", path.read_text(), re.MULTILINE):
        lines = [line.removeprefix("//").removeprefix(" ") for line in comment.splitlines()]
        name = re.match(r"\^([^\[]+)\[.*\]$", lines[0])
        if name:
            forms = [line for line in lines if re.fullmatch(rf"\^{re.escape(name[1])}\[.*\]", line)]
            comments[name[1]] = (" ".join(forms), [line for line in lines if re.fullmatch(r"\[.*\]", line)])
    return comments


def entries_of_page(path):
    """{name: (synopsis, summary, text)} in the order of the page."""
    entries = {}
    for part in re.split(r"^(?=## )", path.read_text(), flags=re.MULTILINE)[1:]:
        if re.match(r"## [A-Z]", part):  # a section about something else
            continue
        entry = ENTRY.match(part)
        if not entry:
            fail(f"{path}: not the form of an entry: {part.splitlines()[0]}")
            continue
        if entry["name"] in entries:
            fail(f"{path}: two entries for {entry['name']}")
        summary = " ".join(entry["summary"].split("\n"))
        entries[entry["name"]] = (" ".join(entry["synopsis"].split("\n")), summary, part)
    return entries


def check_module(source, operators, comments, pages):
    """Every operator has its entry, all of a module on one page, in the module's order."""
    used = set()
    for name, (synopsis, summary) in operators.items():
        page = next((page for page, entries in pages.items() if name in entries), None)
        if page is None:
            fail(f"{source}: no entry for {name}")
            continue
        used.add(page)
        entry_synopsis, entry_summary, entry = pages[page][name]
        if entry_synopsis != synopsis:
            fail(f"{page}: {name}: the synopsis is {synopsis!r} in the table, {entry_synopsis!r} here")
        if entry_summary != summary:
            fail(f"{page}: {name}: the summary is {summary!r} in the table, {entry_summary!r} here")
        if "\n```page" not in entry:
            fail(f"{page}: {name}: no example")
        comment_synopsis, messages = comments.get(name, ("", []))
        if comment_synopsis != synopsis:
            fail(f"{source}: {name}: the synopsis is {synopsis!r} in the table, {comment_synopsis!r} in the comment")
        for message in messages:
            if f"`{message}`" not in entry:
                fail(f"{page}: {name}: the message {message} is missing")
    if len(used) > 1:
        fail(f"{source}: a module on several pages: {', '.join(sorted(map(str, used)))}")
    for page in used:
        if [name for name in pages[page] if name in operators] != list(operators):
            fail(f"{page}: not in the order of the table in {source}")


def check_index(pages):
    path = MANUAL / "README.md"
    rows = INDEX_ROW.findall(path.read_text())
    names = [name for name, _, _ in rows]
    if names != sorted(names):
        fail(f"{path}: not in alphabetical order")
    expected = {name: (f"{page.name}#{name}", summary)
                for page, entries in pages.items() for name, (_, summary, _) in entries.items()}
    for name, link, summary in rows:
        if expected.pop(name, None) != (link, summary):
            fail(f"{path}: the row of {name} is not what its entry says")
    for name in expected:
        fail(f"{path}: {name} is missing")


def anchors_of_page(path):
    text = re.sub(r"^```.*?^```$", "", path.read_text(), flags=re.MULTILINE | re.DOTALL)
    headings = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links():
    for path in sorted(DOCS.rglob("*.md")):
        for link in re.findall(r"\]\(([^)\s]+)\)", path.read_text()):
            name, _, anchor = link.partition("#")
            target = (path.parent / name) if name else path
            if "://" in link:
                continue
            if not target.is_file() or (anchor and anchor not in anchors_of_page(target)):
                fail(f"{path}: the link {link} leads nowhere")


def main():
    pages = {path: entries_of_page(path) for path in sorted(MANUAL.glob("*.md")) if path.name != "README.md"}
    sources = sorted((ROOT / "src").rglob("*.cpp"))
    comments = {name: comment for source in sources for name, comment in comments_of_source(source).items()}
    known = set()
    for source in sources:
        operators = operators_of_source(source)
        if not operators and re.search(r"\bregister_operators\(\w+\);", source.read_text()):
            fail(f"{source}: registers operators, but has no table of them")
        check_module(source, operators, comments, pages)
        known |= operators.keys()
    for page, entries in pages.items():
        for name in entries.keys() - known:
            fail(f"{page}: there is no operator {name}")
    check_index(pages)
    check_links()
    print("\n".join(failures) or f"{len(known)} operators")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
