#!/usr/bin/env python3
"""Holds the manual against the operators' tables: every operator has its entry, which says what its row says.

An entry of docs/operators is a heading with the operator's name, a block with its synopsis (a line for
each form), then the summary as the first paragraph, a table of all parameters, how they are evaluated, how
values are escaped, the result, every message of the operator, an example, and where to read on. The index
lists all operators. Links lead somewhere.
"""

import json
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DOCS = ROOT / "docs"
MANUAL = DOCS / "operators"

ENTRY = re.compile(r"## (?P<name>\S+)\n\n```text\n(?P<synopsis>.*?)\n```\n\n(?P<summary>.*?)\n\n", re.DOTALL)
FACTS = ["Evaluation", "Quoting", "Result", "See also"]
EVALUATED = "every parameter, before the call."
QUOTING = ("none of its own.", "the result is escaped.", "the result is **not escaped**.", "the parameters are in the mode `",
           "`")  # a parameter by its name
NO_PARAMETERS = ("Parameters: none; what is there is ignored.", "Parameters: any text; up to 19 parameters.")
INDEX_ROW = re.compile(r"^\| \[`(.*?)`\]\((.*?)\) \| (.*) \|$", re.MULTILINE)

failures = []


def fail(message):
    failures.append(message)


def read_operators(program):
    """{module: {name: (forms, summary, is lazy)}} of the operators in force."""
    modules = {}
    for row in json.loads(subprocess.run([program], check=True, capture_output=True, text=True).stdout):
        operators = modules.setdefault(row["module"], {})
        if not row["gives_way"]:
            operators[row["name"]] = (" ".join(row["synopsis"]), row["summary"], row["lazy"])
    return modules


def comments_of_source(path):
    """{name: (forms, messages)} of the comments above the operators. A form and a message have a line of their
    own; the first line is a form."""
    comments = {}
    comment = []
    for line in [*path.read_text().splitlines(), ""]:
        if line.startswith("//"):
            comment.append(line.removeprefix("//").removeprefix(" "))
            continue
        if comment and comment[0].startswith("^") and comment[0].endswith("]"):
            call = comment[0].partition("[")[0] + "["
            forms = [text for text in comment if text.startswith(call) and text.endswith("]")]
            messages = [text for text in comment if text.startswith("[") and text.endswith("]")]
            comments[call[1:-1]] = (" ".join(forms), messages)
        comment = []
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


def parameters_of(synopsis):
    """The names of the parameters of all forms: `^a[b[c];d] ^a[b;...]` has b[c], b, d."""
    names = set()
    for form in re.split(r" (?=\^)", synopsis):
        inner = form.partition("[")[2].removesuffix("]")
        names |= set(re.findall(r"(?:[^;\[\]]|\[[^\]]*\])+", inner))
    return names - {"..."}


def check_shape(place, synopsis, is_lazy, entry):
    """The entry has the parts that every entry has, in their order."""
    facts = re.findall(rf"^({'|'.join(FACTS)}): ", entry, re.MULTILINE)
    if facts != FACTS:
        return fail(f"{place}: the facts are {facts}, not {FACTS}")
    tables = re.findall(r"^\| parameter \|.*\n\|[-|]*\n((?:\|.*\n)*)", entry, re.MULTILINE)
    named = {name for row in "".join(tables).splitlines() for name in re.findall(r"`(.*?)`", row.split(" | ")[0])}
    missing = parameters_of(synopsis) - named
    if missing:
        fail(f"{place}: no row for the parameters {sorted(missing)}")
    if not tables and not any(f"\n{line}\n" in entry for line in NO_PARAMETERS):
        fail(f"{place}: nothing about parameters")
    said = {name: " ".join(re.search(rf"^{name}: (.*?)(?:\n\n|\Z)", entry, re.M | re.S)[1].split()) for name in FACTS}
    if is_lazy == (said["Evaluation"] == EVALUATED):
        fail(f"{place}: the evaluation does not fit an operator that is {'lazy' if is_lazy else 'not lazy'}")
    if not said["Quoting"].startswith(QUOTING):
        fail(f"{place}: quoting said in other words")
    if not entry.rstrip().endswith(said["See also"].split(" ")[-1]) or "](" not in said["See also"]:
        fail(f"{place}: the entry does not end with where to read on")


def check_module(source, operators, comments, pages):
    """Every operator has its entry, all of a module on one page, in the module's order."""
    used = set()
    for name, (synopsis, summary, is_lazy) in operators.items():
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
        check_shape(f"{page}: {name}", synopsis, is_lazy, entry)
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
    modules = read_operators(sys.argv[1])
    known = set()
    for module, operators in modules.items():
        source = ROOT / "src" / module
        check_module(source, operators, comments_of_source(source), pages)
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
