"""The most memory that a request has resident: a printed table, an upload and a large page."""

import dataclasses
import os
import pathlib
import subprocess
import tempfile

import generate
import growth
import requests

FREE = 4 << 20  # bytes that do not count, for the process itself


@dataclasses.dataclass
class Large:
    what: str
    of: str        # what the bytes are those of
    target: float  # times those bytes, and FREE
    make: callable


ROW = "<tr><td>^item[0]</td><td>^item[1]</td><td>^item[2]</td><td>^item[3]</td><td>^item[4]</td></tr>\n"
ROWS = generate.table_rows(20_000)


def table(place, _):
    return growth.Prepared(f"^load[t]^menu[{ROW}]", place, {"_t": ROWS}), len(ROWS)


def result(place, connection):
    page = f"^server[^macro[database];^sql[select id, name, price, size, words from goods]^menu[{ROW}]]"
    return growth.Prepared(page, place, {"_macro.cfg": connection}), len(ROWS)


def upload(place, _):
    form = growth.multipart([(b"file", b'; filename="a"', b"0123456789" * 1_000_000)])
    prepared = growth.Prepared("^upload[file;saved]^upload[file;size]", place, **form)
    return prepared, os.path.getsize(prepared.body)


def page(place, _):
    text = "<p>A line of a page of one megabyte, ^sum[1;2] calls in it.</p>\n"
    prepared = growth.Prepared(text * (1_000_000 // len(text)), place)
    return prepared, os.path.getsize(prepared.page)


LARGE = [
    Large("20,000 rows of 5 cells, printed", "the table", 2.5, table),
    Large("20,000 rows of 5 cells from a database, printed", "the table", 2.5, result),
    Large("upload of 10 MB, saved", "the body", 1.05, upload),
    Large("page of 1 MB", "the page", 4, page),
]


def peak(prepared, program, wrapper):
    """Bytes. The wrapper says what the system reports of the program alone (peak_memory.cpp)."""
    reading, writing = os.pipe()
    with open(prepared.body or "/dev/null", "rb") as body:
        subprocess.run([wrapper, program], cwd=prepared.folder, env=prepared.values, stdin=body, check=True,
                       stdout=subprocess.DEVNULL, preexec_fn=lambda: os.dup2(writing, 3), pass_fds=(3,))
    os.close(writing)
    return int(requests.read_all(reading)) * 1024


def peak_of(make, program, wrapper, connection):
    with tempfile.TemporaryDirectory(prefix="quillet-", dir="/tmp") as place:
        prepared, size = make(pathlib.Path(place), connection)
        return peak(prepared, program, wrapper), size


def measure(program, wrapper, connection):
    """Rows of the table: what, bytes, peak, times the bytes less what is free. `connection` is the macro file that
    names the database."""
    rows = []
    for each in LARGE:
        taken, size = peak_of(each.make, program, wrapper, connection)
        rows.append((each, size, taken, (taken - FREE) / size))
    return rows
