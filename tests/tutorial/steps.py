"""The steps of the tutorial, read from its Markdown: what its reader types, writes and opens.

A chapter's blocks, by the words after the fence:

    sh                     commands, typed in the folder where the last ones ended; `quillet-dev serve` starts the server
    sh server              commands that root types on the server
    text output            what the last commands print
    file PATH              a whole file
    add PATH               lines for the end of a file
    replace PATH, then by  text of a file that occurs once, without a line feed at its end, and what takes its place
    nginx PATH             a file on the server
    html METHOD ADDRESS [FIELDS] [as NAME]
                           a request, and a part of what comes; of a POST, after the redirect. A field "name=@FILE" sends
                           the file, which is in the folder of the chapters

A picture `![...](PATH "ADDRESS")` shows that address of the site as it is at that point; `"ADDRESS panel"`, with the
panel open.
"""

import re
from dataclasses import dataclass
from pathlib import Path

DOCS = Path(__file__).resolve().parents[2] / "docs"
CHAPTERS = DOCS / "tutorial"
BLOCK_OR_PICTURE = re.compile(r'^```([^\n`]*)\n(.*?)^```$|^!\[[^]]*\]\((\S+) "([^"]+)"\)$', re.M | re.S)
IGNORED = {"text", ""}


@dataclass
class Step:
    place: str  # chapter and line
    words: list  # of the fence; of a picture: "picture", its path, the address
    text: str


def steps_of(chapter):
    source = chapter.read_text()
    for hit in BLOCK_OR_PICTURE.finditer(source):
        place = f"{chapter.name}:{source.count(chr(10), 0, hit.start()) + 1}"
        if hit[3]:
            yield Step(place, ["picture", (chapter.parent / hit[3]).resolve(), *hit[4].split()], "")
        elif hit[1] not in IGNORED:
            yield Step(place, hit[1].split(" "), hit[2])


def chapters():
    """In the order of the first page."""
    names = re.findall(r"^\d+\. \[.*?\]\(tutorial/(\S+?)\)", (DOCS / "tutorial.md").read_text(), re.M)
    return [CHAPTERS / name for name in names]


def all_steps():
    return [step for chapter in chapters() for step in steps_of(chapter)]
