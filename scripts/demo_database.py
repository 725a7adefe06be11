"""The database server of scripts/demo, for as long as standard input stays open.

usage: demo_database.py FOLDER

Starts a private MariaDB server, runs the files FOLDER/*.sql in a new database, in the order of their names, and
writes one line: the connection string for ^server, of a user who may read, insert and change rows there, and
nothing else. There is no other user.
"""

import pathlib
import secrets
import signal
import sys

import private_mariadb


def set_up(server, folder):
    password = secrets.token_hex(16)
    server.run("create database demo default character set utf8mb4")
    for file in sorted(folder.glob("*.sql")):
        server.run(b"set names utf8mb4;\n" + file.read_bytes(), "demo")
    server.run(f"create user demo@127.0.0.1 identified by '{password}';"
               "grant select, insert, update on demo.* to demo@127.0.0.1;"
               "delete from mysql.global_priv where User <> 'demo'; flush privileges")
    return f"demo:{password}@127.0.0.1:{server.port}/demo"


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit())
    with private_mariadb.PrivateServer() as server:
        print(set_up(server, pathlib.Path(sys.argv[1])), flush=True)
        sys.stdin.read()


if __name__ == "__main__":
    try:
        main()
    except RuntimeError as error:
        sys.exit(f"demo: no database server: {error}")
