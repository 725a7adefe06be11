#!/usr/bin/env python3
"""quillet-fcgi at full load: the memory and the open files of the server and of its processes do not grow.

    soak_test.py [--requests N] [--seconds N] [--clients N]

Half of the load is answered by a server with a process for each request, the other half by one whose processes answer
many. `--seconds` goes on for so long, however many requests that are, and says once a minute what there is.
"""

import argparse
import os
import resource
import sys
import tempfile
import threading
import time
from pathlib import Path

from fastcgi import SANITIZED, Server
from growth import Use, growth, halves, use_of
from program import cgi_environment

PAGES = {
    "small.html": "^var[a;some text]^var[a] ^form[n]",
    "table.html": "^load[rows]^menu[^item[0]-^item[1] ]",
    "include.html": "^include[small.html]" * 20,
    "macro.html": "^macro_use[/macros]" + "^macro[m;1;2]" * 20,
    "large.html": "^for[i;1;20000;0123456789]",
    "match.html": "^match[(a+)(b*);aaabbb^form[n];g][^item[0]]",
    "wrong.html": "^nothing[here]^sql[no]",
    "missing.html": None,
    "error.html": "^rem[an empty page ends with the error page]",
    "form.html": "^form[field]^formelements[]",
}
ALL_OF_THEM = "1000000000"


class Load:
    """A server, and clients that ask it one request after the other."""

    def __init__(self, name, root, *options):
        self.name = name
        self.root = root
        self.server = Server(root / "site", "--processes", "8", "--spare", "8", *options)
        self.asked = 0
        self.failures = []
        self.stopping = threading.Event()
        self.lock = threading.Lock()

    def ask(self, number):
        page, content = list(PAGES.items())[number % len(PAGES)]
        environment = cgi_environment(str(self.root), "www/" + page)
        del environment["ASAN_OPTIONS"]
        environment["QUERY_STRING"] = f"n={number}"
        body = b""
        if page == "form.html":
            body = b"field=" + b"x" * (number % 50000)
            environment |= {"REQUEST_METHOD": "POST", "CONTENT_LENGTH": str(len(body)),
                            "CONTENT_TYPE": "application/x-www-form-urlencoded"}
        answer = self.server.ask(environment, body)
        expected = {"missing.html": 253, "error.html": 253}.get(page, 0)
        if answer.status != expected:
            self.failures.append(f"{self.name}: {page} ended with {answer.status}: {answer.errors[-300:]}")

    def ask_on(self, limit):
        while not self.stopping.is_set() and not self.failures:
            with self.lock:
                number = self.asked
                self.asked += 1
            if limit and number >= limit:
                return
            self.ask(number)

    def start(self, clients, limit):
        self.threads = [threading.Thread(target=self.ask_on, args=(limit,)) for _ in range(clients)]
        for thread in self.threads:
            thread.start()

    def is_running(self):
        return any(thread.is_alive() for thread in self.threads)

    def use(self):
        """Of the server, and the most of each kind that one of its processes has."""
        processes = [use for use in map(use_of, self.server.children()) if use]
        most = Use(max((use.memory for use in processes), default=0), max((use.files for use in processes), default=0))
        return {"server": use_of(self.server.process.pid), "process": most}

    def stop(self):
        self.stopping.set()
        for thread in self.threads:
            thread.join()
        self.server.stop()


def describe(load, used):
    parts = ", ".join(f"{who} {use}" for who, use in used.items())
    return f"{load.name}: {load.asked} requests, {parts}"


def run(loads, options):
    """Asks; gives for each load what was used when, as parts of the whole."""
    start = shown = time.monotonic()
    seen = {load.name: [] for load in loads}
    limit = 0 if options.seconds else options.requests // len(loads)
    for load in loads:
        load.start(options.clients, limit)

    def part(load):
        return (time.monotonic() - start) / options.seconds if options.seconds else load.asked / limit

    while any(load.is_running() for load in loads):
        for load in loads:
            seen[load.name].append((part(load), load.use()))
        if time.monotonic() > shown + 60:
            shown = time.monotonic()
            print(f"{shown - start:.0f} s", *(describe(load, load.use()) for load in loads), sep="\n  ", flush=True)
        if options.seconds and time.monotonic() > start + options.seconds:
            break
        loads[0].stopping.wait(.05 if not options.seconds else 1)
    return seen


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--requests", type=int, default=2000 if SANITIZED else 10000)
    parser.add_argument("--seconds", type=int, default=0)
    parser.add_argument("--clients", type=int, default=4)
    options = parser.parse_args()
    resource.setrlimit(resource.RLIMIT_NOFILE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1],) * 2)
    failures = []
    with tempfile.TemporaryDirectory(prefix="quillet-soak-") as name:
        root = Path(os.path.realpath(name))
        for folder in ("site", "www"):
            (root / folder).mkdir()
        for page, content in PAGES.items():
            if content is not None:
                (root / "www" / page).write_text(content)
        (root / "www/_rows").write_text("".join(f"{k}\tname {k}\n" for k in range(200)))
        (root / "www/_macros").write_text("^macro[m;<$1 $2>]\n")
        loads = [Load("a process a request", root),
                 Load("many requests a process", root, "--requests-per-process", ALL_OF_THEM)]
        try:
            seen = run(loads, options)
        finally:
            for load in loads:
                load.stop()
        for load in loads:
            failures += load.failures[:5]
            early, late = halves(seen[load.name])
            failures += growth(load.name, early, late)
            print(describe(load, late), "at most in the last half;", describe(load, early).partition(", ")[2],
                  "in the first")
    print("\n".join(failures) or "nothing grew")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
