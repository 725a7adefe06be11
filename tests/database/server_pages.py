"""Pages that ask a real database server: page cases (see cases/README.md) that find a private server.

In pages, variables and expectations @PORT@ stands for the server's port on 127.0.0.1, @NO_PORT@ for one at which
nobody listens. The default server of the machine, `localhost`, is the private one.
"""

import os
import pathlib
import sys

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.dont_write_bytecode = True
sys.path[:0] = [str(TESTS), str(TESTS.parent / "scripts")]

import private_mariadb  # noqa: E402
from case_file import Section  # noqa: E402
from case_run import Run  # noqa: E402
from program import PROGRAM  # noqa: E402


def start_server():
    server = private_mariadb.PrivateServer()
    try:
        server.run((TESTS / "database/schema.sql").read_text())
    except BaseException:
        server.stop()
        raise
    return server


class ServerRun(Run):
    """A case that finds the server."""

    def __init__(self, server, sections):
        super().__init__(str(PROGRAM), sections)
        self.server = server
        self.ports = {b"@PORT@": server.port, b"@NO_PORT@": private_mariadb.free_port()}

    def with_root(self, data):
        for name, port in self.ports.items():
            data = data.replace(name, b"%d" % port)
        return super().with_root(data)

    def environment(self, body):
        return {"MYSQL_UNIX_PORT": str(self.server.socket), **super().environment(body)}


class Question(ServerRun):
    """A page that is no case: `body`, `log`, `status` and `errors` are what came of it."""

    def __init__(self, server, page, env=None, files=None, wrapper=()):
        super().__init__(server, [section("page", "www/page.html", page)] +
                         [section("file", name, content) for name, content in (files or {}).items()])
        self.strict = False
        self.given = {name: os.fsencode(value) for name, value in (env or {}).items()}
        self.given_wrapper = [os.fsencode(word) for word in wrapper]
        self.execute()
        if self.failures:
            raise AssertionError("\n".join(self.failures))

    def environment(self, body):
        given = {name: os.fsdecode(self.with_root(value)) for name, value in self.given.items()}
        return super().environment(body) | given

    def command(self):
        return [self.with_root(word) for word in self.given_wrapper] + super().command()

    def check_output(self):
        self.body = self.output.partition(b"\n\n")[2]
        log = self.path("site/error_log")
        self.log = self.log_text(self.read("site/error_log")) if os.path.exists(log) else b""


def section(name, argument, content):
    made = Section(name, argument)
    made.pieces.append((os.fsencode(content), False))
    return made
