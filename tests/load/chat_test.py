"""Many visitors of a chat who write and reload at the same time: processes of the program first, then the clients of
a real Apache httpd.

Every answer must be a page. No answer, and no look at the index in between, may show more than 99 lines or a line
that nobody wrote, and in the end the log must hold every line that was written, once. The full load, a minute each
way:

    QUILLET_PROGRAM=build/release/bin/quillet python3 tests/load/chat_test.py --clients 50 --seconds 60
"""

import argparse
import concurrent.futures
import contextlib
import fcntl
import http.client
import random
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
sys.path += [str(TESTS), str(TESTS / "apache")]
import served_site
from program import PROGRAM, cgi_environment

PAGE = """^optimize[no]^validate[^startup[^login[] came]^message[^login[]: ^message[]]accepted
^userlist[<^userlist[]>]^userlist[]
^chat[100];invalid;password;in use;banned]"""
INDEX_LINES = 99
STATUSES = ("accepted", "in use")  # the second one when the list was met while it was being written


def message_of(client, number):
    """A text of words that are short enough to stay whole and have nothing to escape; some texts are long."""
    chance = random.Random(f"{client} {number}")
    words = ["".join(chance.choices("abcdefgh123^[];$&'\xe0\xff", k=chance.randint(1, 33)))
             for _ in range(chance.choice((1, 3, 10, 200)))]
    return f"no.{client}.{number} " + " ".join(words)


class Processes:
    """Each request is a process of its own, as a web server would start it."""

    def __init__(self):
        self.temporary = tempfile.TemporaryDirectory(prefix="quillet-load-")
        self.folder = Path(self.temporary.name)
        (self.folder / "www").mkdir()
        (self.folder / "www/page.html").write_text(PAGE)
        (self.folder / "chat/admin").mkdir(parents=True)
        self.chat = self.folder / "chat"

    def connect(self, client):
        return client

    def ask(self, client, query):
        environment = cgi_environment(self.folder) | {
            "REMOTE_ADDR": f"10.0.0.{client}", "QUERY_STRING": query, "HTTP_COOKIE": f"login=c{client}"}
        done = subprocess.run([PROGRAM], cwd=self.folder, env=environment, stdin=subprocess.DEVNULL,
                              capture_output=True)
        if done.returncode != 0 or done.stderr:
            raise AssertionError(f"status {done.returncode}: {done.stdout + done.stderr!r}")
        return done.stdout.partition(b"\n\n")[2]

    def close(self):
        self.temporary.cleanup()


class Clients:
    """Clients of a site that scripts/demo serves."""

    def __init__(self):
        self.folder = served_site.Folder()
        self.folder.write("site/www/index.html", PAGE)
        self.folder.write("site/run/chat/admin/password", "")
        self.chat = self.folder.path / "site/run/chat"
        self.chat.chmod(0o777)
        self.demo = served_site.Demo(self.folder.path / "site", self.folder.path)

    def connect(self, _):
        return http.client.HTTPConnection("127.0.0.1", self.demo.port, timeout=600)

    def ask(self, connection, query):
        connection.request("POST", "/", query, {"Content-Type": "application/x-www-form-urlencoded"})
        response = connection.getresponse()
        body = response.read()
        if response.status != 200:
            raise AssertionError(f"status {response.status}: {body!r}")
        return body

    def close(self):
        log = self.demo.httpd_log()
        self.demo.stop()
        self.folder.remove()
        if "Sanitizer" in log or "runtime error" in log:
            raise AssertionError("the sanitizers found something:\n" + log)


class Load:
    def __init__(self, server, options):
        self.server, self.options = server, options
        self.lock = threading.Lock()
        self.sent, self.written, self.counts = set(), [], dict.fromkeys(STATUSES, 0)
        self.end = time.monotonic() + options.seconds

    def goes_on(self, number):
        return time.monotonic() < self.end if self.options.seconds else number < self.options.requests

    def check_index(self, lines):
        lines = [line for line in lines.split(b"\n") if line]
        with self.lock:
            foreign = [line for line in lines if not line.endswith(b" came") and line not in self.sent]
        if foreign:
            raise AssertionError(f"a line that nobody wrote: {foreign[0]!r}")
        if len(lines) > INDEX_LINES:
            raise AssertionError(f"an index of {len(lines)} lines")

    def visit(self, client):
        """Writes and reloads in turn."""
        visitor = self.server.connect(client)
        number = 0
        while self.goes_on(number):
            message = message_of(client, number)
            line = f"c{client}: {message}".encode("latin-1")
            with self.lock:
                self.sent.add(line)
            for text in (message, ""):
                query = urllib.parse.urlencode({"login": f"c{client}", "message": text}, encoding="latin-1")
                status, _, rest = self.server.ask(visitor, query).partition(b"\n")
                with self.lock:
                    self.counts[status.decode()] += 1
                    if text and status == b"accepted":
                        self.written.append(line)
                self.check_index(rest.partition(b"\n")[2])
            number += 1

    def look(self, stop):
        """Reads the index as the program does, under its lock."""
        while not stop.wait(0.05):
            with contextlib.suppress(FileNotFoundError), open(self.server.chat / "index", "rb") as index:
                fcntl.flock(index, fcntl.LOCK_EX)
                lines = index.read()
                fcntl.flock(index, fcntl.LOCK_UN)
                self.check_index(lines)

    def run(self):
        stop = threading.Event()
        start = time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(self.options.clients + 1) as workers:
            looking = workers.submit(self.look, stop)
            try:
                list(workers.map(self.visit, range(self.options.clients)))
            finally:
                stop.set()
            looking.result()
        seconds = time.monotonic() - start
        log = (self.server.chat / "index.log").read_bytes().removesuffix(b"\n").split(b"\n")
        logged = [line for line in log if not line.endswith(b" came")]
        if sorted(logged) != sorted(self.written):
            raise AssertionError(f"{len(self.written)} lines written, {len(logged)} in the log")
        if not self.written:
            raise AssertionError("nobody was accepted")
        print(f"{type(self.server).__name__}: {self.options.clients} at once, {sum(self.counts.values())} requests in "
              f"{seconds:.1f} s, {self.counts['in use']} refused; {len(self.written)} lines written, all in the log; "
              f"no damaged line, never more than {INDEX_LINES} in the index", flush=True)


def main():
    parser = argparse.ArgumentParser(description="A chat with many visitors at once.")
    parser.add_argument("--clients", type=int, default=20)
    parser.add_argument("--requests", type=int, default=3, help="messages of each client")
    parser.add_argument("--seconds", type=float, default=0, help="so long instead, each way")
    options = parser.parse_args()
    for kind in (Processes, Clients):
        with contextlib.closing(kind()) as server:
            Load(server, options).run()


if __name__ == "__main__":
    main()
