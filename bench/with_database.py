#!/usr/bin/env python3
"""Runs a command while there is a private database server with the table of the scenario sql.

    with_database.py SCENARIOS COMMAND...

SCENARIOS is the folder of the prepared scenarios; the connection is written there for the pages. Afterwards
quillet's memory for a large result is measured.
"""

import os
import pathlib
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
    """What a page takes for a result of so many rows of 5 cells of that size."""
    columns = ",".join(f"repeat('{c}', {size}) as {c}" for c in "abcde")
    page = folder / "memory.html"
    page.write_text(f"^server[^macro[database];^sql[select {columns} from seq_1_to_{rows}]^item[count]]")
    process = subprocess.Popen([program], cwd=folder, stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL, env={
        "PATH": os.environ["PATH"], "REQUEST_METHOD": "GET", "REQUEST_URI": "/page", "SCRIPT_NAME": "/cgi-bin/program",
        "PATH_TRANSLATED": str(page), "DOCUMENT_ROOT": str(folder)})
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return usage.ru_maxrss * 1024


def print_memory(program, folder):
    """Of two numbers of rows, so that what a process takes in any case does not count. Most of what small cells
    take is the client library's own: some 80 bytes for each of these rows beside its values."""
    print()
    for size in (10, 20, 40, 100):
        small, large = (peak_memory(program, folder, rows, size) for rows in (100_000, 300_000))
        print(f"memory for a result of rows of 5 cells of {size} bytes: "
              f"{(large - small) / (200_000 * 5 * size):.2f} times its bytes")


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
