"""Pages against a real database server: the cases beside this file, the manual's examples that need a server, and
what no case can show."""

import contextlib
import os
import pathlib
import re
import socket
import subprocess
import tempfile
import threading
import unittest
import urllib.parse

from server_pages import PROGRAM, Question, ServerRun, TESTS, section, start_server
import run_cases  # in the folder that server_pages has put into the path
from program import DATABASE_PROGRAM, compile_c

HERE = pathlib.Path(__file__).resolve().parent


def setUpModule():
    global SERVER
    SERVER = start_server()
    unittest.addModuleCleanup(SERVER.stop)


def on_server(body):
    return f"^server[ann:secret@localhost/shop;{body}]"


class Cases(unittest.TestCase):
    def run_all(self, cases, strict=True):
        self.assertTrue(cases)
        for name, load in cases:
            with self.subTest(name):
                run = ServerRun(SERVER, load())
                run.strict = strict
                run.execute()
                self.assertFalse(run.failures, "\n" + "\n".join(run.failures))

    def test_cases(self):
        self.run_all(run_cases.find_cases([HERE / "cases"]))

    def test_examples_of_the_manual(self):
        """Their fences are named server-page and server-output, so that nobody runs them without a server."""
        page = (TESTS.parent / "docs/operators/database.md").read_text()
        page = page.replace("```page", "```other").replace("```output", "```other")
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "database.md").write_text(re.sub("```server-", "```", page))
            self.run_all(run_cases.find_examples(pathlib.Path(folder)), strict=False)


def recoded(value, source, target):
    """Byte by byte; one without an equivalent stays."""
    def one(byte):
        try:
            return byte.decode(source).encode(target)
        except UnicodeError:
            return byte
    return b"".join(one(bytes([b])) for b in value)


class EveryByte(unittest.TestCase):
    """A value from a visitor arrives in the database as the quoting mode promises, and comes back so."""

    ALL = bytes(range(1, 256))

    def insert(self, insertion, env):
        SERVER.run("delete from shop.bytes")
        page = on_server(f"^sql[insert into bytes (value) values ('{insertion}')]^sql[select value from bytes]"
                         "<^level[none;^item[value]]>")
        asked = Question(SERVER, "^optimize[no]" + page, env)
        stored = [bytes.fromhex(line.decode()) for line in SERVER.run("select hex(value) from shop.bytes").split()]
        self.assertEqual(len(stored), 1, asked.body)
        return stored[0], asked.body

    def assert_promised(self, insertion, env, sent):
        """A tab arrives as the byte 7, and shows as a tab again; so does a 7."""
        stored, body = self.insert(insertion, env)
        self.assertEqual(stored, sent.replace(b"\t", b"\a"))
        self.assertEqual(body, b"<" + stored.replace(b"\a", b"\t") + b">")

    def test_all_bytes_in_a_form_value(self):
        """Carriage returns are no part of a form value."""
        value = self.ALL.replace(b"\r", b"")
        self.assert_promised("^form[v]", {"QUERY_STRING": "v=" + urllib.parse.quote(value)}, value)

    def test_each_byte_between_quotes_and_backslashes(self):
        for byte in self.ALL.replace(b"\r", b""):
            with self.subTest(byte=byte):
                value = b"'" + bytes([byte]) + b"\\" + bytes([byte]) + b'"\\'
                self.assert_promised("^form[v]", {"QUERY_STRING": "v=" + urllib.parse.quote(value)}, value)

    def test_all_bytes_of_the_environment(self):
        self.assert_promised("^env[VALUE]", {"VALUE": self.ALL}, self.ALL)

    def test_all_bytes_of_a_page_in_windows_1251(self):
        stored, body = self.insert("^env[VALUE]", {"VALUE": self.ALL, "SOURCE_CHARSET": "windows-1251"})
        self.assertEqual(stored, recoded(self.ALL, "cp1251", "koi8-r").replace(b"\t", b"\a"))
        self.assertEqual(body, b"<" + recoded(stored, "koi8-r", "cp1251").replace(b"\a", b"\t") + b">")


class LargeResults(unittest.TestCase):
    def test_100000_rows(self):
        page = on_server("^sql[select seq, concat('row ', seq) as name, null as n, repeat('x', seq % 50) as x "
                         "from seq_1_to_100000]^item[count] ^item[name] ^shift[-1]^item[seq] ^item[name] "
                         "^context[r]^sql[select sum(length(x)) as s from (select repeat('x', seq % 50) as x from "
                         "seq_1_to_100000) as t]^item[s]")
        self.assertEqual(Question(SERVER, page).body, b"100000 row 1 100000 row 100000 2450000")

    def test_1000_columns(self):
        columns = ",".join(f"{i} as c{i}" for i in range(1000))
        page = on_server(f"^sql[select {columns}]^item[c0] ^item[c999] ^item[500] ^item[1000].")
        self.assertEqual(Question(SERVER, page).body, b"0 999 500 .")

    def test_values_of_a_megabyte(self):
        page = on_server("^sql[select seq, repeat(char(96 + seq), 1000000) as x from seq_1_to_5]^shift[4]^item[x]")
        self.assertEqual(Question(SERVER, page).body, b"e" * 1_000_000)

    def test_a_statement_of_a_megabyte(self):
        page = on_server(f"^sql[select length('{'x' * 1_000_000}') as n]^item[n]")
        self.assertEqual(Question(SERVER, page).body, b"1000000")


class Relay:
    """A port that leads to the server until so many bytes have come back from there; then it is cut."""

    def __init__(self, size):
        self.size = size
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(60)
        self.port = self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.thread.join()
        self.listener.close()

    def serve(self):
        client = self.listener.accept()[0]
        server = socket.create_connection(("127.0.0.1", SERVER.port))
        there = threading.Thread(target=self.copy, args=(client, server, None))
        there.start()
        self.copy(server, client, self.size)
        for end in (client, server):
            with contextlib.suppress(OSError):
                end.shutdown(socket.SHUT_RDWR)
        there.join()
        client.close()
        server.close()

    @staticmethod
    def copy(source, target, left):
        with contextlib.suppress(OSError):
            while left is None or left > 0:
                piece = source.recv(65536 if left is None else min(65536, left))
                if not piece:
                    return
                target.sendall(piece)
                if left is not None:
                    left -= len(piece)


class ServerThatGoesAway(unittest.TestCase):
    STATEMENT = "select seq, repeat('x', 100) as x from seq_1_to_10000"
    LOST = b"Lost connection to server during query"

    def ask(self, size, body):
        with Relay(size) as relay:
            page = f"^macro_new[SERVER_ERROR[e];$e]^server[ann:secret@127.0.0.1:{relay.port}/shop;{body}]"
            return Question(SERVER, page)

    def test_in_the_middle_of_a_result(self):
        asked = self.ask(500_000, f"^config[old]^sql[{self.STATEMENT}]^empty[ none;some]|^sql[select 1]")
        self.assertEqual(asked.body,
                         b'[query "' + self.STATEMENT.encode() + b'" [sql store query result error: ' + self.LOST +
                         b']] none|[query "select 1" [sql query error: Server has gone away]]')
        self.assertTrue(asked.log.startswith(
            b"[time] " + asked.root + b"/www/page.html: sql store query result error: " + self.LOST + b"\n"))

    def test_in_the_middle_of_a_further_result(self):
        asked = self.ask(500_000, "^sql[call large_after_a_result()]^empty[ none;some]")
        self.assertEqual(asked.body, b'[query "call large_after_a_result()" [sql query error: ' + self.LOST + b"]] none")

    def test_in_the_middle_of_the_greeting(self):
        self.assertRegex(self.ask(10, "body").body, rb"\[sql connect error: Lost connection to server [^\]]*\]")

    def test_before_the_greeting(self):
        self.assertRegex(self.ask(0, "body").body, rb"\[sql connect error: [^\]]+\]")


def stub_library(*flags):
    """The library beside this file, which answers as the environment says and writes the calls into site/calls."""
    with tempfile.TemporaryDirectory() as folder:
        made = pathlib.Path(folder, "library.so")
        compile_c(HERE / "stub_library.c", made, "-shared", "-fPIC", *flags)
        return made.read_bytes()


class StubRun(ServerRun):
    def environment(self, body):
        return {"LD_LIBRARY_PATH": os.fsdecode(self.path("lib")), **super().environment(body)}


class StubLibrary(unittest.TestCase):
    """The calls of the client library, and what comes of answers that no server gives at will."""

    def run_case(self, sections):
        run = StubRun(SERVER, sections)
        run.execute()
        self.assertFalse(run.failures, "\n" + "\n".join(run.failures))

    def test_cases(self):
        cases = run_cases.find_cases([HERE / "stub_cases"])
        self.assertTrue(cases)
        library = section("file", "lib/libmariadb.so.3", stub_library())
        for name, load in cases:
            with self.subTest(name):
                self.run_case(load() + [library])

    def test_the_first_library_that_has_everything_is_taken(self):
        names = ("libmariadb.so.3", "libmysqlclient.so.24", "libmysqlclient.so.21")
        whole = [stub_library(f'-DINIT="library {i}"') for i in range(3)]
        broken = stub_library("-Dmysql_close=other_function")
        for taken, libraries in enumerate([whole, [b"", *whole[1:]], [broken, b"", whole[2]]]):
            with self.subTest(taken=taken):
                calls = section("after", "site/calls", b"library %d .*" % taken)
                calls.matches = True
                self.run_case([section("page", "www/page.html", on_server("x")), section("expect", "", b"x"), calls] +
                              [section("file", "lib/" + name, library) for name, library in zip(names, libraries)])


class ClientLibrary(unittest.TestCase):
    """It is loaded for `server` alone, quietly, and need not be there."""

    WITHOUT_LEAKS = {"ASAN_OPTIONS": "detect_leaks=0"}  # which the sanitizer cannot look for in a traced process

    def traced(self, page, calls, *wrapper):
        """The system calls that the page makes. The files that it has open show in it, too."""
        with tempfile.TemporaryDirectory() as folder:
            trace = pathlib.Path(folder, "trace")
            asked = Question(SERVER, page, self.WITHOUT_LEAKS,
                             wrapper=["strace", "-f", "-o", trace, "-e", calls, *wrapper])
            return asked.body, trace.read_text(errors="replace")

    def test_a_page_without_server_opens_none_of_it(self):
        body, trace = self.traced("x^sql[select 1]", "trace=openat,open")
        self.assertIn(b"not connected", body)
        self.assertNotRegex(trace, r"mariadb|mysql|libssl|libcrypto")
        body, trace = self.traced(on_server("x"), "trace=openat,open")
        self.assertEqual(body, b"x")
        self.assertRegex(trace, r"libmariadb|libmysqlclient")

    def test_no_option_file_is_opened(self):
        self.assertNotIn("my.cnf", self.traced(on_server("x"), "trace=openat,open,stat,newfstatat,access")[1])

    def test_option_files_are_ignored(self):
        options = b"[client]\nuser=nobody\npassword=wrong\nport=1\nsocket=/none\ndatabase=none\n"
        asked = Question(SERVER, on_server("^sql[select user() as user]^item[user]"), {"HOME": "@ROOT@/site"},
                         {"site/.my.cnf": options, "site/my.cnf": options})
        self.assertEqual(asked.body, b"ann@localhost")

    def handled_signals(self, page, *wrapper):
        trace = self.traced(page, "trace=rt_sigaction", *wrapper)[1]
        page_process = trace.split()[0]
        # The last action for each signal.
        actions = dict(re.findall(rf"^{page_process} +rt_sigaction\((\w+), \{{sa_handler=(\w+)", trace, re.M))
        ignored = {signal for signal, action in actions.items() if action == "SIG_IGN"}
        return ignored, {signal for signal, action in actions.items() if action != "SIG_DFL"} - ignored

    def test_signals_are_handled_as_in_any_page(self):
        for wrapper in ((), ("env", "--ignore-signal=PIPE")):
            with self.subTest(wrapper=wrapper):
                self.assertEqual(self.handled_signals(on_server("x"), *wrapper), self.handled_signals("x", *wrapper))

    def test_nothing_is_printed(self):
        for page in (on_server("^sql[select 1]^sql[bad]x"), "^server[ann:wrong@localhost;x]x"):
            self.assertEqual(Question(SERVER, page).errors, b"")

    def test_the_port_is_3306_when_there_is_none(self):
        for page in ("^server[ann@127.0.0.1;x]x", "^server[ann@127.0.0.1:0;x]x"):
            self.assertIn("sin_port=htons(3306)", self.traced(page, "trace=connect")[1])

    def failed_connection(self, libraries):
        """The message where these files are the only libraries to be found."""
        page = "^macro_new[SERVER_ERROR[e];$e]" + on_server("body")
        asked = Question(SERVER, page, {"LD_LIBRARY_PATH": "@ROOT@/lib"},
                         {"lib/" + name: content for name, content in libraries.items()})
        self.assertEqual(asked.status, 0)
        self.assertEqual(asked.log.partition(b": ")[2].replace(b"sql connect error: ", b"[sql connect error: ") + b"]",
                         asked.body)
        return asked.body.replace(asked.root, b"")

    def test_a_library_that_cannot_be_loaded_is_a_failed_connection(self):
        self.assertEqual(self.failed_connection({"libmariadb.so.3": b""}),
                         b"[sql connect error: /lib/libmariadb.so.3: file too short]")

    def test_the_message_is_about_the_library_that_is_tried_first(self):
        self.assertEqual(self.failed_connection({"libmariadb.so.3": b"", "libmysqlclient.so.24": b"?",
                                                 "libmysqlclient.so.21": b"?"}),
                         b"[sql connect error: /lib/libmariadb.so.3: file too short]")

    def test_a_library_without_a_function_is_a_failed_connection(self):
        for function in ("init", "options", "real_connect", "query", "use_result", "field_count", "num_fields",
                         "fetch_field", "fetch_row", "free_result", "next_result", "error", "close"):
            with self.subTest(function):
                library = stub_library(f"-Dmysql_{function}=other_function")
                self.assertRegex(self.failed_connection({"libmariadb.so.3": library}),
                                 rb"\[sql connect error: .*undefined symbol: mysql_%s\]" % function.encode())

    def test_the_programs_are_linked_with_none_of_it(self):
        for program in (PROGRAM, DATABASE_PROGRAM):
            listed = subprocess.run(["ldd", program], capture_output=True, text=True, check=True).stdout
            self.assertNotRegex(listed, "mariadb|mysql|ssl|crypto")


if __name__ == "__main__":
    unittest.main()
