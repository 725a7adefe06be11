"""The program quillet-database: when it is there and when not, what a page gets without it, and that both ends of its
channel survive whatever the other end says."""

import contextlib
import os
import random
import resource
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
from page_runner import PageTest  # noqa: E402
from program import DATABASE_PROGRAM, PROGRAM, TIMEOUT, cgi_environment, compile_c, wait_for  # noqa: E402

WINDOW = 128 * 1024
CONNECT, STATEMENT, CLOSE, MORE = range(4)
NAMES, ROW, DONE, NO_CONNECTION, CONNECT_FAILED, QUERY_FAILED, STORE_FAILED = range(7)
WITH_ERROR = "^macro_new[SERVER_ERROR[e];$e]"
ENDED = "quillet-database has ended"


def request(kind, content=b"", size=None):
    return struct.pack("=QQ", kind, len(content) if size is None else size) + content


def field(value):
    return struct.pack("=Q", 2**64 - 1) if value is None else struct.pack("=Q", len(value)) + value


CONNECTION = request(CONNECT, b"".join(map(field, (None, b"ann", None, None, b"3306"))))


class StubTest(PageTest):
    """Pages that find the library beside this file, which answers as its environment says."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.library = Path(folder.name)
        compile_c(HERE / "stub_library.c", cls.library / "libmariadb.so.3", "-shared", "-fPIC")

    def stub(self, **settings):
        return {"LD_LIBRARY_PATH": str(self.library), "STUB_NAMES": "n", "STUB_ROWS": "1/2", **settings}

    def running_programs(self):
        """The processes of the program that a page of this test has started."""
        found = []
        for path in Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if path.joinpath("cwd").readlink() == self.site and path.joinpath("exe").readlink() == DATABASE_PROGRAM:
                    found.append(int(path.name))
        return found

    def wait_for_statement(self):
        calls = self.site / "calls"
        wait_for(lambda: calls.exists() and "query" in calls.read_text(), "the statement")


# Kills the program of the page, whose working directory it has, and waits until it is dead.
KILL = """#!/bin/sh
for process in /proc/[0-9]*; do
  read -r line <$process/stat || continue
  case $line in *"(quillet-databas) "*) [ $process/cwd -ef ../site ] || continue
    kill -9 ${line%% *}
    until read -r line <$process/stat; case $line in *") Z "*) true ;; *) false ;; esac; do :; done
  esac
done 2>/dev/null
"""


class Ending(StubTest):
    """It ends with the page, however that ends, and a page that goes on without it gets a message."""

    def test_in_a_statement(self):
        body = self.run_page("^config[old]^server[ann;^sql[one]^empty[none;some] ^sql[two]] ^sql[three]",
                             self.stub(STUB_DIES="query"))
        self.assertEqual(body, f'[query "one" [sql query error: {ENDED}]]none '
                               '[query "two" [sql query error: not connected]] '
                               '[query "three" [sql query error: not connected]]')
        self.assertIn(f": sql query error: {ENDED}\n", self.error_log())

    def test_before_the_end_of_a_result(self):
        body = self.run_page("^server[ann;^sql[one]^empty[none;some]]", self.stub(STUB_DIES="fetch_row"))
        self.assertEqual(body, f'[query "one" [sql query error: {ENDED}]]none')

    def test_between_two_statements(self):
        """The page writes into a socket that nobody reads any more: an error, no signal."""
        page = "^server[ann;^sql[one]^exec[kill.sh]^sql[two]]^server[bob;^sql[three]^item[n]]"
        self.write("www/kill.sh", KILL, 0o755)
        body = self.run_page(page, self.stub())
        self.assertEqual(body, f'[query "two" [sql query error: {ENDED}]]1')

    def test_after_the_page(self):
        for page in ("^server[ann;^sql[one]]x", "^server[ann;x]^server[bob;x]", "^server[ann;^server[bob;^sql[one]]]x"):
            self.run_page(page, self.stub())
            self.assertEqual(self.running_programs(), [])

    def test_after_the_error_page(self):
        """Whoever ends the process at once leaves it to the system to end the program."""
        with self.start("^server[ann;^sql[one]]", self.stub()) as process:
            self.assertIn(b"unable to print", self.output(process)[0])
        wait_for(lambda: not self.running_programs(), "the program to end")

    def test_with_a_page_that_is_killed_while_a_statement_runs(self):
        with self.start("^server[ann;^sql[one]]x", self.stub(STUB_WAITS="yes")) as process:
            self.wait_for_statement()
            process.kill()
            self.assertEqual(self.output(process), (b"", b""))  # at the end of both: nobody holds them open
        wait_for(lambda: not self.running_programs(), "the program to end")

    def test_the_page_s_output_ends_with_the_page_s_process(self):
        """The program does not have it."""
        with self.start("^server[ann;^sql[one]]x", self.stub(STUB_WAITS="yes")) as process:
            self.wait_for_statement()
            [program] = self.running_programs()
            open_files = {int(path.name): os.readlink(path) for path in Path(f"/proc/{program}/fd").iterdir()}
            process.kill()
        self.assertEqual(open_files.keys(), {0, 1, 2})
        self.assertRegex(open_files[0], "^socket:")
        self.assertEqual(open_files[1], "/dev/null")


class Missing(StubTest):
    """Without it a page gets what it gets without the client library."""

    def setUp(self):
        super().setUp()
        folder = self.root / "bin"
        folder.mkdir()
        folder.chmod(0o755)
        self.program = folder / "quillet"
        shutil.copy(PROGRAM, self.program)
        self.database_program = folder / DATABASE_PROGRAM.name

    def failure(self, **options):
        body = self.run_page(f"{WITH_ERROR}^server[ann;body]|^sql[one]", self.stub(), **options)
        message, _, query = body.partition("|")
        self.assertEqual(query, '[query "one" [sql query error: not connected]]')
        self.assertIn(f": {message[1:-1]}\n", self.error_log())
        self.assertRegex(message, r"^\[sql connect error: .*\]$")
        return message[len("[sql connect error: "):-1]

    def test_no_file(self):
        self.assertEqual(self.failure(), "quillet-database: No such file or directory")

    def test_a_file_that_may_not_be_run(self):
        self.database_program.write_bytes(b"")
        self.assertEqual(self.failure(), "quillet-database: Permission denied")

    def test_a_file_that_is_no_program(self):
        self.database_program.write_bytes(b"\x7fELF?")
        self.database_program.chmod(0o755)
        self.assertEqual(self.failure(), "quillet-database: Exec format error")

    def test_a_program_that_ends_at_once(self):
        shutil.copy("/bin/true", self.database_program)
        self.assertEqual(self.failure(), ENDED)

    def test_no_descriptors(self):
        shutil.copy(DATABASE_PROGRAM, self.database_program)
        for left in (4, 5, 6):
            self.assertEqual(self.failure(limits=[(resource.RLIMIT_NOFILE, left)]),
                             "quillet-database: Too many open files")

    @unittest.skipUnless(os.getuid() == 0, "only root can become a user without processes")
    def test_no_processes(self):
        shutil.copy(DATABASE_PROGRAM, self.database_program)
        self.assertEqual(self.failure(limits=[(resource.RLIMIT_NPROC, 0)], unprivileged=True),
                         "quillet-database: Resource temporarily unavailable")

    def test_it_is_found_from_a_symbolic_link(self):
        shutil.copy(DATABASE_PROGRAM, self.database_program)
        link = self.root / "link"
        link.symlink_to(self.program)
        self.program = link
        self.assertEqual(self.run_page("^server[ann;^sql[one]^item[n]]", self.stub()), "1")

    def test_it_is_not_looked_for_in_the_path(self):
        environment = self.stub(PATH=str(DATABASE_PROGRAM.parent))
        self.assertIn("No such file", self.run_page(f"{WITH_ERROR}^server[ann;body]", environment))

    def test_with_the_standard_streams_closed(self):
        """Their numbers are not taken for the channel: nothing that the page writes gets there."""
        shutil.copy(DATABASE_PROGRAM, self.database_program)
        for closed in ("<&-", "<&- 2>&-", "<&- 1>&- 2>&-", "1>&-"):
            wrapper = ["sh", "-c", f'exec "$0" {closed}']
            page = "^header[a;b]^server[ann;^sql[one]^save[got;^item[n]]^header[c;d]^sql[two]^save[got2;^item[n]]]x"
            with self.start(page, self.stub(), wrapper=wrapper) as process:
                self.output(process)
            for name in ("_got", "_got2"):
                self.assertEqual((self.www / name).read_text(), "1", closed)
                (self.www / name).unlink()


class Called(unittest.TestCase):
    """It does nothing unless a page's process has started it."""

    def call(self, environment, **options):
        done = subprocess.run([DATABASE_PROGRAM], env=environment, capture_output=True, timeout=TIMEOUT, check=False,
                              **options)
        return done.returncode, done.stdout, done.stderr

    REFUSED = (2, b"", b"")

    def test_by_a_web_server(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(self.call(cgi_environment(folder), stdin=subprocess.DEVNULL), self.REFUSED)
            self.assertEqual(self.call(cgi_environment(folder), input=CONNECTION), self.REFUSED)

    def test_by_a_web_server_that_passes_it_a_socket(self):
        channel = Channel({"GATEWAY_INTERFACE": "CGI/1.1"})
        self.assertEqual(channel.end(), 2)

    def test_by_hand(self):
        for given in ({"stdin": subprocess.DEVNULL}, {"input": CONNECTION}):
            self.assertEqual(self.call({}, **given), self.REFUSED)

    def test_with_the_socket_of_a_stranger(self):
        """A shell between the two: the socket is not the parent's."""
        channel = Channel({}, ["sh", "-c", '"$0"; exit $?'])
        self.assertEqual(channel.end(), 2)

    def test_without_a_window(self):
        self.assertEqual(Channel({}, size=None).end(), 2)
        self.assertEqual(Channel({}, size=WINDOW - 1).end(), 2)


class Channel:
    """The program, and the page's end of its channel."""

    def __init__(self, environment, wrapper=(), size=WINDOW):
        self.socket, other = socket.socketpair()
        self.window = os.memfd_create("window")
        os.ftruncate(self.window, size or 0)

        def connect():
            if size is not None:
                os.dup2(self.window, 3)

        with other:
            self.process = subprocess.Popen([*wrapper, DATABASE_PROGRAM], env=environment, stdin=other,
                                            stdout=subprocess.DEVNULL, pass_fds=(3,) if size is not None else (),
                                            preexec_fn=connect)
        self.socket.settimeout(TIMEOUT)

    def send(self, content):
        try:
            self.socket.sendall(content)
        except OSError:
            pass  # it has refused what came before

    def window_bytes(self):
        """The bytes that the program announces; None when it has ended."""
        try:
            number = self.socket.recv(8, socket.MSG_WAITALL)
        except ConnectionResetError:
            return None
        return os.pread(self.window, struct.unpack("=Q", number)[0], 0) if len(number) == 8 else None

    def end(self):
        """Its status once the channel is closed."""
        self.socket.close()
        os.close(self.window)
        return self.process.wait(TIMEOUT)


class Requests(StubTest):
    """What a page's process never says ends it, with a status and without a report."""

    def environment(self):
        return self.stub(ASAN_OPTIONS="detect_leaks=0")

    def channel(self):
        previous = os.getcwd()
        self.addCleanup(os.chdir, previous)
        os.chdir(self.site)  # for the file of the calls
        return Channel(self.environment())

    def status_after(self, content):
        channel = self.channel()
        channel.send(content)
        channel.socket.shutdown(socket.SHUT_WR)
        while channel.window_bytes() is not None:
            pass
        return channel.end()

    def test_an_answer(self):
        channel = self.channel()
        channel.send(CONNECTION)
        self.assertEqual(channel.window_bytes(), struct.pack("=QQ", DONE, 0))
        channel.send(request(STATEMENT, b"one"))
        rows = [(NAMES, b"n\t"), (ROW, b"1\t"), (ROW, b"2\t"), (DONE, b"")]
        self.assertEqual(channel.window_bytes(),
                         b"".join(struct.pack("=QQ", kind, len(line)) + line for kind, line in rows))
        self.assertEqual(channel.end(), 0)

    def test_the_end(self):
        self.assertEqual(self.status_after(b""), 0)
        self.assertEqual(self.status_after(CONNECTION + request(CLOSE)), 0)

    def test_part_of_a_request(self):
        for length in range(1, len(CONNECTION)):
            self.assertEqual(self.status_after(CONNECTION[:length]), 2, length)

    def test_a_size_that_nothing_has(self):
        for size in (2**32, 2**63, 2**64 - 1):
            self.assertEqual(self.status_after(request(STATEMENT, b"x", size)), 2)
            self.assertEqual(self.status_after(request(CONNECT, b"x" * 100, size)), 2)

    def test_a_request_of_no_kind(self):
        for kind in (MORE, 4, 2**64 - 1):
            self.assertEqual(self.status_after(request(kind)), 2)

    def test_a_statement_without_a_connection(self):
        self.assertEqual(self.status_after(request(STATEMENT, b"one")), 2)
        self.assertEqual(self.status_after(CONNECTION + request(CLOSE) + request(STATEMENT, b"one")), 2)

    def test_fields_that_do_not_fit(self):
        fields = [field(b"x")] * 5
        for content in (b"", b"".join(fields[:4]), b"".join(fields) + b"x", struct.pack("=Q", 2**63) * 5,
                        b"".join(fields[:4]) + struct.pack("=Q", 2)):
            self.assertEqual(self.status_after(request(CONNECT, content)), 2, content)

    def test_anything(self):
        """Requests with changed, missing and additional bytes."""
        chance = random.Random(1)
        for _ in range(150):
            content = bytearray(b"".join(chance.choices([CONNECTION, request(STATEMENT, b"one"), request(CLOSE)], k=3)))
            for _ in range(chance.randrange(1, 4)):
                at = chance.randrange(len(content))
                content[at:at + chance.randrange(3)] = bytes(chance.choices((0, 1, 3, 127, 255), k=chance.randrange(3)))
            self.assertIn(self.status_after(bytes(content)), (0, 2), bytes(content))


# A program that answers each request by what is next in its list: a number and bytes for the window, or its end.
FAKE = """#!{python}
import os, signal, struct, sys
sys.stdout = None
answers = {answers!r}
for number, content in answers:
    header = b""
    while len(header) < 16:
        piece = os.read(0, 16 - len(header))
        if not piece: os._exit(0)
        header += piece
    left = struct.unpack("=QQ", header)[1]
    while left:
        left -= len(os.read(0, left))
    os.pwrite(3, content, 0)
    os.write(0, number)
os._exit(0)
"""


class Answers(StubTest):
    """What the program never says is an error on the page, as if it had ended."""

    def setUp(self):
        super().setUp()
        (self.root / "bin").mkdir()
        self.program = self.root / "bin/quillet"
        shutil.copy(PROGRAM, self.program)

    def answered(self, *answers):
        """The body of a page whose program says this: bytes for the window, or (number, bytes)."""
        whole = [given if isinstance(given, tuple) else (len(given), given) for given in answers]
        whole = [(number if isinstance(number, bytes) else struct.pack("=Q", number), content)
                 for number, content in whole]
        fake = self.write("bin/" + DATABASE_PROGRAM.name, FAKE.format(python=sys.executable, answers=whole))
        fake.chmod(0o755)
        return self.run_page(f"{WITH_ERROR}^server[ann;^sql[one]^item[count]]", {"PYTHONDONTWRITEBYTECODE": "1"})

    NO_CONNECTION = f"[sql connect error: {ENDED}]"
    DONE = struct.pack("=QQ", DONE, 0)
    NAMES = struct.pack("=QQ", NAMES, 2) + b"n\t"
    ROW = struct.pack("=QQ", ROW, 2) + b"1\t"

    def test_what_it_should_say(self):
        self.assertEqual(self.answered(self.DONE, self.NAMES + self.ROW + self.DONE, self.DONE), "1")
        self.assertEqual(self.answered(self.DONE, self.NAMES, self.ROW[:5], self.ROW[5:], self.DONE, self.DONE), "1")

    def test_a_number_that_no_window_has(self):
        for number in (0, WINDOW + 1, 2**64 - 1, b"123"):
            self.assertEqual(self.answered((number, b"")), self.NO_CONNECTION)

    def test_a_record_that_has_no_place(self):
        for kind in (NAMES, ROW, 7, 2**64 - 1):
            self.assertEqual(self.answered(struct.pack("=QQ", kind, 0)), self.NO_CONNECTION)

    def test_a_size_that_no_record_has(self):
        for size in (2**32 + 1, 2**64 - 1):
            self.assertEqual(self.answered(struct.pack("=QQ", CONNECT_FAILED, size)), self.NO_CONNECTION)
            self.assertRegex(self.answered(self.DONE, self.NAMES + struct.pack("=QQ", ROW, size)),
                             rf'^\[query "one" \[sql store query result error: {ENDED}\]\]')

    def lost(self, what):
        return f'[query "one" [sql {what} error: {ENDED}]][item: no table]'

    def test_a_result_that_has_no_place(self):
        self.assertRegex(self.answered(self.DONE, self.ROW), rf'^\[query "one" \[sql query error: {ENDED}\]\]')
        for rest in (self.NAMES, struct.pack("=QQ", 8, 0), (0, b"")):
            self.assertRegex(self.answered(self.DONE, self.NAMES + self.ROW, rest),
                             rf'^\[query "one" \[sql store query result error: {ENDED}\]\]')

    def test_anything(self):
        """Windows with changed and missing bytes: an answer or an error, no crash. A size for which there is no
        memory ends the page as a result of that size does."""
        chance = random.Random(2)
        for _ in range(40):
            content = bytearray(self.NAMES + self.ROW * 3 + self.DONE)
            at = chance.randrange(len(content))
            content[at:at + chance.randrange(1, 4)] = bytes(chance.choices((0, 1, 5, 9, 255), k=chance.randrange(4)))
            pieces = [bytes(content[:40]), bytes(content[40:])] if chance.random() < .5 else [bytes(content)]
            whole = [(struct.pack("=Q", len(piece)), piece) for piece in (self.DONE, *pieces, self.DONE)]
            fake = self.write("bin/" + DATABASE_PROGRAM.name, FAKE.format(python=sys.executable, answers=whole))
            fake.chmod(0o755)
            with self.start(f"{WITH_ERROR}^server[ann;^sql[one]]x",
                            {"ASAN_OPTIONS": "detect_leaks=0:allocator_may_return_null=1"}) as process:
                _, errors = self.output(process)
            self.assertIn(process.returncode, (0, 254), (bytes(content), errors))


if __name__ == "__main__":
    signal.signal(signal.SIGPIPE, signal.SIG_IGN)
    unittest.main()
