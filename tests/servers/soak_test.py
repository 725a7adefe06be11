#!/usr/bin/env python3
"""Load behind every web server at once: every answer is right, no count is lost, and the memory, the open files and the
processes of server and program do not grow.

    soak_test.py [--requests N] [--seconds N] [--clients N] [SERVER ...]

`--requests`: of each server; too few to see something grow. `--seconds` goes on for so long instead, says once a minute
what there is, and compares the second half with the first.
"""

import argparse
import contextlib
import http.client
import itertools
import multiprocessing
import os
import socket
import sys
import threading
import time
from pathlib import Path

from web_servers import WEB_SERVERS
from case_run import is_sanitized
from growth import Use, growth, halves, use_of
from program import PROGRAM, TIMEOUT, multipart

FILES = {
    "run/_macro.cfg": "@greet[who]\n<p>Hello, $who!</p>\n",
    "www/hello.html": "^macro[greet;^form[name]]",
    "www/table.html": "^optimize[no]^load[rows]^menu[^item[0]-^item[1] ]",
    "www/_rows": "".join(f"{k}\tname {k}\n" for k in range(200)),
    "www/form.html": "^optimize[no]^form[field]",
    "www/count.html": "^counter[../run/visits]",
    "www/upload.html": "^upload[file;../run/uploaded]^stat[size;../run/uploaded]",
    "www/redirect.html": "^header[Status;303 See Other]^header[Location;/hello.html]moved",
    "www/wrong.html": "^nothing[here]",
    "www/long.html": "^for[i;1;100000;0123456789]",
    "www/style.css": "a file\n",
}
TABLE = "".join(f"{k}-name {k} " for k in range(200))
FIELD = "application/x-www-form-urlencoded"
MORE_PROCESSES = 20


class Wrong(Exception):
    pass


class Visitor:
    """Asks one request after the other; what it is to be told is known. Each has a connection of its own: a server may
    close one that waits, and then nobody knows whether the request was read."""

    def __init__(self, port, counts):
        self.port, self.counts = port, counts
        self.kinds = itertools.cycle((self.hello, self.table, self.form, self.count, self.upload, self.missing, self.file,
                                      self.redirect, self.go_away, self.count))

    def get(self, target, method="GET", body=None, content_type=None):
        headers = {"Connection": "close"} | ({"Content-Type": content_type} if content_type else {})
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=TIMEOUT)
        with contextlib.closing(connection):
            connection.request(method, target, body, headers)
            reply = connection.getresponse()
            return reply.status, reply.read().decode()

    def expect(self, reply, *expected):
        if reply != expected:
            raise Wrong(f"{reply[0]} {reply[1][:200]!r} instead of {expected[0]} {expected[1][:200]!r}")

    def hello(self, number):
        self.expect(self.get(f"/hello.html?name=v{number}"), 200, f"<p>Hello, v{number}!</p>")

    def table(self, _):
        self.expect(self.get("/table.html"), 200, TABLE)

    def form(self, number):
        text = "x" * (number * 997 % 50000 + 1)  # an empty page would be an error
        self.expect(self.get("/form.html", "POST", "field=" + text, FIELD), 200, text)

    def count(self, _):
        status, count = self.get("/count.html")
        if status != 200 or not count.strip().isdigit():
            raise Wrong(f"{status} {count!r} instead of a count")
        self.counts.append(int(count))

    def upload(self, number):
        body, content_type = multipart([('name="file"; filename="f"', b"\0" * (number % 9000 + 1))])
        status, text = self.get("/upload.html", "POST", body, content_type)
        if status != 200 or not text.strip().isdigit():
            raise Wrong(f"{status} {text!r} instead of a size")

    def missing(self, _):
        status, _ = self.get("/nothing.html")
        if status != 404:
            raise Wrong(f"{status} instead of 404")

    def file(self, _):
        self.expect(self.get("/style.css"), 200, "a file\n")

    def redirect(self, _):
        status, _ = self.get("/redirect.html")
        if status != 303:
            raise Wrong(f"{status} instead of 303")

    def go_away(self, _):
        """Leaves before the answer is there."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=TIMEOUT) as stream:
            stream.sendall(b"GET /long.html HTTP/1.1\r\nHost: localhost\r\n\r\n")

    def ask(self, number):
        next(self.kinds)(number)


def sessions():
    """The processes of each session, by its leader."""
    found = {}
    for entry in os.scandir("/proc"):
        if entry.name.isdigit():
            with contextlib.suppress(OSError):
                session = int(Path(entry.path, "stat").read_text().rpartition(") ")[2].split()[3])
                found.setdefault(session, []).append(int(entry.name))
    return found


class Load:
    def __init__(self, name, options):
        self.options = options
        self.server = WEB_SERVERS[name](FILES)
        self.name = name
        self.lock = threading.Lock()
        self.asked = 0
        self.counts, self.failures, self.looks = [], [], []
        self.stopping = threading.Event()

    def visit(self):
        visitor = Visitor(self.server.port, self.counts)
        while not self.stopping.is_set() and not self.failures:
            with self.lock:
                number = self.asked
                self.asked += 1
            if self.options.requests and number >= self.options.requests:
                return
            try:
                visitor.ask(number)
            except Exception as error:  # whatever it is, the test has failed
                self.failures.append(f"{self.name}: request {number}: {type(error).__name__} {error}")

    def look(self):
        """The processes that last, as one, and how many there are."""
        found = sessions()
        processes = [process for leader in self.server.processes for process in found.get(leader.pid, [])]
        uses = [use for use in map(use_of, processes) if use]
        most = Use(max(use.memory for use in uses), max(use.files for use in uses))
        return {"largest process": most}, len(processes)

    def describe(self):
        uses, processes = self.looks[-1][1:]
        return (f"{self.name}: {self.asked} requests, {len(self.counts)} counts, {processes} processes, "
                f"the largest {uses['largest process']}")

    def run(self):
        options = self.options
        threads = [threading.Thread(target=self.visit) for _ in range(options.clients)]
        start = shown = time.monotonic()
        for thread in threads:
            thread.start()
        while any(thread.is_alive() for thread in threads):
            seconds = time.monotonic() - start
            done = self.asked / options.requests if options.requests else seconds / options.seconds
            self.looks.append((done, *self.look()))
            if time.monotonic() > shown + 60:
                shown = time.monotonic()
                print(f"{seconds:.0f} s {self.describe()}", flush=True)
            if not options.requests and done >= 1:
                break
            self.stopping.wait(.2 if options.requests else 2)
        self.stopping.set()
        for thread in threads:
            thread.join()
        if self.failures:
            print(*self.failures[:5], sep="\n", flush=True)
        else:
            self.judge()

    def judge(self):
        if sorted(self.counts) != list(range(1, len(self.counts) + 1)):
            self.failures.append(f"{self.name}: the counts are not 1 to {len(self.counts)}, each once")
        early, late = halves([look[:2] for look in self.looks])
        processes = [max((look[2] for look in self.looks if (look[0] < .5) == first), default=0)
                     for first in (True, False)]
        if self.options.seconds:
            self.failures += growth(self.name, early, late)
            if processes[1] > processes[0] + MORE_PROCESSES:
                self.failures.append(f"{self.name}: from {processes[0]} to {processes[1]} processes")
        print(f"{self.describe()}; in the first half at most {early['largest process']}, {processes[0]} processes, "
              f"in the last {late['largest process']}, {processes[1]}", *self.failures[:5], sep="\n  ", flush=True)


def soak(name, options):
    load = Load(name, options)
    try:
        load.run()
    finally:
        load.server.stop()
    sys.exit(1 if load.failures else 0)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--requests", type=int, default=100 if is_sanitized(PROGRAM) else 1000)
    parser.add_argument("--seconds", type=int, default=0)
    parser.add_argument("--clients", type=int, default=4)
    parser.add_argument("servers", nargs="*", metavar="SERVER", default=list(WEB_SERVERS))
    options = parser.parse_args()
    if options.seconds:
        options.requests = 0
    loads = [multiprocessing.Process(target=soak, args=(name, options)) for name in options.servers]
    for load in loads:
        load.start()
    for load in loads:
        load.join()
    sys.exit(max(load.exitcode != 0 for load in loads))


if __name__ == "__main__":
    main()
