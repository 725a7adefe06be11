#!/usr/bin/env python3
"""Reads the include lines of src and fails on one that goes up, across or round.

A folder of src is a room. A file includes files of its own room and of the rooms listed for it, which are
those below it; a header never includes itself by way of others.
"""

import sys
from pathlib import Path

SOURCES = Path(__file__).resolve().parents[2] / "src"

# Each room, from the ground up, and the rooms it may use besides itself.
ROOMS = {
    "core": [],
    "cgi": ["core"],
    "macro": ["core", "cgi"],
    "table": ["core", "cgi"],
    "language": ["core", "cgi", "macro", "table"],
    "files": ["core", "cgi", "macro", "table", "language"],
    "db": ["core", "cgi", "macro", "table", "language"],
    "apps": ["core", "cgi", "macro", "table", "language"],
    # What quillet-database consists of.
    "database": ["db"],
    "main": ["core", "cgi", "macro", "table", "language", "files", "db", "apps"],
    # What quillet-fcgi consists of; it calls the driver and knows no operator.
    "fcgi": ["core", "cgi", "main"],
    # What quillet-dev consists of; nobody uses it.
    "dev": ["core", "cgi", "macro", "table", "language", "files", "db", "apps", "main"],
}


def included_files(path):
    """The names in the lines `#include "room/file.h"`."""
    names = []
    for line in path.read_text().splitlines():
        if line.startswith('#include "'):
            names.append(line.split('"')[1])
    return names


def check_rooms(includes):
    failures = []
    for name, included in includes.items():
        room = name.split("/")[0]
        if room not in ROOMS:
            failures.append(f"src/{name}: {room} is no room of the house")
            continue
        for other in included:
            other_room = other.split("/")[0]
            if other not in includes:
                failures.append(f"src/{name} includes {other}, which is not in src")
            elif other_room != room and other_room not in ROOMS[room]:
                failures.append(f"src/{name} includes {other}: {room} may not use {other_room}")
    return failures


def find_rounds(includes):
    """A failure for each header that is reached again from itself."""
    failures = []
    for start in includes:
        if not start.endswith(".h"):
            continue
        came_from = {}
        waiting = [start]
        while waiting and start not in came_from:
            name = waiting.pop()
            for other in includes.get(name, []):
                if other not in came_from:
                    came_from[other] = name
                    waiting.append(other)
        if start in came_from:
            path = [start]
            while len(path) == 1 or path[-1] != start:
                path.append(came_from[path[-1]])
            failures.append("src/" + " is included by ".join(path))
    return failures


def main():
    files = sorted([*SOURCES.rglob("*.h"), *SOURCES.rglob("*.cpp")])
    includes = {str(path.relative_to(SOURCES)): included_files(path) for path in files}
    failures = check_rooms(includes) + find_rounds(includes)
    print("\n".join(failures) or f"{len(includes)} files")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
