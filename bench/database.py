"""A private database server with the table of the scenario sql."""

import contextlib
import pathlib
import sys

BENCH = pathlib.Path(__file__).resolve().parent
sys.path.append(str(BENCH.parent / "scripts"))

import generate  # noqa: E402
import private_mariadb  # noqa: E402


def fill(server):
    def value(cell):
        return "'" + cell.replace("'", "''") + "'"

    rows = ["(" + ",".join(map(value, line.split("\t"))) + ")" for line in generate.table_rows(20_000).splitlines()]
    server.run("create user bench@'%' identified by 'secret'; grant all on *.* to bench@'%'; create database shop;"
               "use shop; create table goods (id int primary key, name varchar(80), price varchar(20), "
               "size varchar(20), words varchar(80)); insert into goods values " + ",\n".join(rows))


def write_connection(port, folder):
    """Where the server is, in a file for each language."""
    files = {
        "_macro.cfg": f"@database[]\nbench:secret@127.0.0.1:{port}/shop\n",
        "connection.php": f"<?php $database = new mysqli('127.0.0.1', 'bench', 'secret', 'shop', {port});\n",
        "connection.pl": f"DBI->connect('DBI:mysql:database=shop;host=127.0.0.1;port={port}', 'bench', 'secret', "
                         "{RaiseError => 1});\n",
        "connection.lua": "return require('luasql.mysql').mysql():connect("
                          f"'shop', 'bench', 'secret', '127.0.0.1', {port})\n",
        "connection.cnf": f"[client]\nhost=127.0.0.1\nport={port}\nuser=bench\npassword=secret\ndatabase=shop\n",
        "_port": f"{port}\n",
    }
    for name, text in files.items():
        (folder / name).write_text(text)


@contextlib.contextmanager
def running(scenarios):
    """The server runs inside the block; its own time counts nowhere."""
    with private_mariadb.PrivateServer() as server:
        fill(server)
        write_connection(server.port, scenarios / "sql")
        yield
