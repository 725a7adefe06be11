"""Many visitors add an entry to a list at the same time: how many entries each way of keeping a list loses.

A file for each entry, numbered by `counter`, and a database must lose none. One table that is loaded, added to and saved
loses some; how many is only said. The figures of docs/reliability.md:

    QUILLET_PROGRAM=build/release-tests/bin/quillet python3 tests/load/append_test.py --requests 500 --clients 50
"""

import argparse
import concurrent.futures
import subprocess
import sys
import tempfile
import time
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(TESTS), str(TESTS.parent / "scripts")]
import private_mariadb
from program import PROGRAM, cgi_environment

TABLE = "^load[list]^config[append;^form[entry]]^save[list]done"
FILES = "^config[^form[entry]]^save[entries/entry-^counter[entries/entries]]done"
DATABASE = "^server[ann:secret@localhost/lists;^sql[insert into entries (entry) values ('^form[entry]')]]done"

SCHEMA = """create user 'ann'@'%' identified by 'secret'; grant all on *.* to 'ann'@'%';
create database lists; create table lists.entries (entry varchar(40));"""


class Ways:
    """Each adds the form field `entry` to a list, and gives the list."""

    def __init__(self, folder):
        self.www = folder / "www"
        (self.www / "entries").mkdir(parents=True)
        (self.www / "_list").write_text("first\n")
        for name, page in (("table", TABLE), ("files", FILES), ("database", DATABASE)):
            (self.www / f"{name}.html").write_text(page)

    def table(self):
        return (self.www / "_list").read_text().splitlines()[1:]

    def files(self):
        return [line for path in self.www.glob("entries/_entry-*") for line in path.read_text().splitlines()]


def add(folder, way, number, environment):
    variables = cgi_environment(folder, f"www/{way}.html") | {"QUERY_STRING": f"entry=entry+{number}"} | environment
    done = subprocess.run([PROGRAM], cwd=folder, env=variables, stdin=subprocess.DEVNULL, capture_output=True)
    if done.returncode != 0 or not done.stdout.endswith(b"done"):
        raise AssertionError(f"status {done.returncode}: {done.stdout + done.stderr!r}")


def lost_entries(folder, way, read, options, environment):
    start = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(options.clients) as visitors:
        list(visitors.map(lambda number: add(folder, way, number, environment), range(options.requests)))
    seconds = time.monotonic() - start
    kept = read()
    wanted = {f"entry {number}" for number in range(options.requests)}
    lost = len(wanted - set(kept))
    strange = [entry for entry in kept if entry not in wanted]
    print(f"{way}: {options.requests} entries by {options.clients} at once in {seconds:.1f} s, {lost} lost", flush=True)
    return lost, len(kept) - len(set(kept)) + len(strange)


def main():
    parser = argparse.ArgumentParser(description="Adds to a list from many sides at once.")
    parser.add_argument("--clients", type=int, default=20)
    parser.add_argument("--requests", type=int, default=100)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="quillet-load-") as name, private_mariadb.PrivateServer() as server:
        folder = Path(name)
        ways = Ways(folder)
        server.run(SCHEMA)
        environment = {"MYSQL_UNIX_PORT": str(server.socket)}

        def rows():
            return server.run("select entry from lists.entries").decode().splitlines()

        lost_entries(folder, "table", ways.table, options, environment)
        results = [lost_entries(folder, way, read, options, environment)
                   for way, read in (("files", ways.files), ("database", rows))]
    sys.exit(0 if all(result == (0, 0) for result in results) else 1)


if __name__ == "__main__":
    main()
