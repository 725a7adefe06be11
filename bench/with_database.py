#!/usr/bin/env python3
"""Runs a command while there is a private database server with the table of the scenario sql.

    with_database.py SCENARIOS COMMAND...

SCENARIOS is the folder of the prepared scenarios; the connection is written there for the pages. Afterwards
quillet's memory for a large result is measured.
"""

import os
import pathlib
import re
import subprocess
import sys

sys.dont_write_bytecode = True
BENCH = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(BENCH), str(BENCH.parent / "scripts")]

import generate  # noqa: E402
import private_mariadb  # noqa: E402


def fill(server):
    def value(cell):
        return "'" + cell.replace("'", "''") + "'"

    rows = ["(" + ",".join(map(value, line.split("\t"))) + ")" for line in generate.table_rows(20_000).splitlines()]
    server.run("create user bench@'%' identified by 'secret'; grant all on *.* to bench@'%'; create database shop;"
               "use shop; create table goods (id int primary key, name varchar(80), price varchar(20), "
               "size varchar(20), words varchar(80)); insert into goods values " + ",\n".join(rows))


def write_connection(server, folder):
    (folder / "_macro.cfg").write_text(f"@database[]\nbench:secret@127.0.0.1:{server.port}/shop\n")
    (folder / "connection.php").write_text(
        f"<?php $database = new mysqli('127.0.0.1', 'bench', 'secret', 'shop', {server.port});\n")


def peak_memory(program, folder, rows, size):
    """What a page takes that prints a result of so many rows of 5 cells of that size."""
    columns = ",".join(f"repeat('{c}', {size}) as {c}" for c in "abcde")
    page = folder / "memory.html"
    page.write_text(f"^server[^macro[database];^sql[select {columns} from seq_1_to_{rows}]"
                    "^menu[^item[a] ^item[b] ^item[c] ^item[d] ^item[e]\n]]")
    process = subprocess.Popen([program], cwd=folder, stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, env={
        "PATH": os.environ["PATH"], "REQUEST_METHOD": "GET", "REQUEST_URI": "/page", "SCRIPT_NAME": "/cgi-bin/program",
        "PATH_TRANSLATED": str(page), "DOCUMENT_ROOT": str(folder)})
    with process:
        # The page is made when its first byte comes, and larger than the pipe: the process is still there.
        process.stdout.read(1)
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
        process.kill()
    return int(re.search(r"VmHWM:\s+(\d+) kB", status).group(1)) * 1024


def print_memory(program, folder):
    """Of two numbers of rows, so that what a process takes in any case does not count."""
    print()
    few, many = 2_000, 22_000
    for size in (10, 20, 40, 100):
        taken = peak_memory(program, folder, many, size) - peak_memory(program, folder, few, size)
        print(f"memory for a printed result of rows of 5 cells of {size} bytes: "
              f"{taken / ((many - few) * 5 * size):.2f} times its bytes")


def main():
    scenarios = pathlib.Path(sys.argv[1]).resolve()
    with private_mariadb.PrivateServer() as server:
        fill(server)
        write_connection(server, scenarios / "sql")
        status = subprocess.run(sys.argv[2:]).returncode
        print_memory(scenarios.parent / "bin/quillet", scenarios / "sql")
    sys.exit(status)


if __name__ == "__main__":
    main()
