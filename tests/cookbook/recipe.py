"""A recipe of the cookbook: its page in docs/cookbook says which files a site has and what comes of its requests.

Fenced blocks of the page:

    file PATH    a file of the site: `www` is the document root, `run` the working directory. As editors write it, it
                 ends with a line feed. `escaped` and `mode=755` as in page cases (cases/README.md); an escaped one ends
                 as it is written. `mtime=...`: when it was changed.
    request      a request for the site: a line "METHOD TARGET", lines "Name: value" that the browser sends and lines
                 "NAME=value" that the web server says, an empty line, the body. The lines of a body of the type
                 multipart/form-data are fields, "name=value" or "name=@file": the file of the site. `clock=...`: when
                 (2026-12-01T09:00, in UTC).
    output       the body of the response to the request before it
    response     the headers, too; both without a last line feed

The requests of a page follow each other on one site. Other blocks are for readers.
"""

import calendar
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import urllib.parse
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(TESTS), str(TESTS.parent / "scripts")]

import run_cases  # noqa: E402
from case_file import decode_escapes  # noqa: E402
from case_run import library  # noqa: E402
from program import DYNAMIC_PROGRAM, PROGRAM, TIMEOUT, cgi_environment, multipart  # noqa: E402

COOKBOOK = TESTS.parent / "docs/cookbook"


class Recipe:
    """The page: `files`, {path: (content, mode, time)}, and `steps`, (line, request, clock, kind, expected)."""

    def __init__(self, path):
        self.path = path
        self.files, self.steps = {}, []
        request = None
        for line, heading, raw in run_cases.fenced_blocks(path.read_bytes()):
            words = heading.decode().split()
            name = words[0] if words else ""
            options = dict(word.partition("=")[::2] for word in words[1:])
            if name == "file":
                content = decode_escapes(raw) if "escaped" in options else raw + b"\n"
                self.files[words[1]] = (content, int(options.get("mode", "644"), 8), options.get("mtime"))
            elif name == "request":
                request = (line, raw.decode(), options.get("clock"))
            elif name in ("output", "response"):
                self.steps.append((*request, name, raw))

    @staticmethod
    def named(name):
        return Recipe(COOKBOOK / f"{name}.md")

    def needs_server(self):
        """Whether a database server or a mail program must be there."""
        return "database/schema.sql" in self.files or self.path.stem == "mail"

    def compare(self, test, site):
        """Sends the requests and compares what comes with what the page says."""
        for line, request, clock, kind, expected in self.steps:
            answer = site.send(request, clock)
            got = answer.output if kind == "response" else answer.body
            test.assertEqual(got.removesuffix(b"\n").decode("utf-8", "backslashreplace"),
                             expected.decode("utf-8", "backslashreplace"), f"{self.path}:{line}")
            test.assertEqual(answer.log, "", f"{self.path}:{line}")


class Answer:
    def __init__(self, output, log):
        self.output = output
        head, _, self.body = output.partition(b"\n\n")
        self.headers = dict(line.partition(": ")[::2] for line in head.decode().split("\n"))
        self.log = log

    def text(self):
        return self.body.decode()


class Site:
    """The recipe's files in a folder of their own, answered by the program as a web server would ask it."""

    def __init__(self, recipe, environment=None):
        self.root = Path(tempfile.mkdtemp(prefix="quillet-recipe-")).resolve()
        self.environment = environment or {}
        for folder in ("www", "run"):
            (self.root / folder).mkdir()
        for name, (content, mode, mtime) in recipe.files.items():
            self.write(name, content, mode)
            if mtime:
                os.utime(self.root / name, (seconds(mtime), seconds(mtime)))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.root)

    def write(self, name, content, mode=0o644):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        path.chmod(mode)

    def read(self, name):
        return (self.root / name).read_text()

    def variables(self, method, target, given):
        """What the web server says of a request."""
        path, _, query = target.partition("?")
        page = "www" + urllib.parse.unquote(path) + ("index.html" if path.endswith("/") else "")
        said = {"REQUEST_METHOD": method, "REQUEST_URI": target, "QUERY_STRING": query}
        return cgi_environment(self.root, page) | said | self.environment | given

    def start(self, target, method="GET", body=b"", clock=None, **given):
        """A process that answers; the body is its input."""
        variables = self.variables(method, target, given)
        program = PROGRAM
        if method == "POST":
            variables.setdefault("CONTENT_TYPE", "application/x-www-form-urlencoded")
            variables["CONTENT_LENGTH"] = str(len(body))
        if clock is not None:
            program = DYNAMIC_PROGRAM
            variables |= {"LD_PRELOAD": library("clock"), "CLOCK": str(seconds(clock)),
                          "ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0"}
        return subprocess.Popen([program], cwd=self.root / "run", env=variables, stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def ask(self, target, method="GET", body=b"", **options):
        with self.start(target, method, body, **options) as process:
            output, errors = process.communicate(body, timeout=TIMEOUT)
        if process.returncode not in (0, 253) or b"Sanitizer" in errors:
            raise AssertionError(f"status {process.returncode}\n{errors.decode(errors='replace')}")
        log = self.root / "run/error_log"
        return Answer(output, log.read_text() if log.exists() else "")

    def get(self, page, fields=None, **options):
        return self.ask(page + ("?" + encode(fields) if fields else ""), **options)

    def post(self, page, fields, **options):
        return self.ask(page, "POST", encode(fields).encode(), **options)

    def post_files(self, page, fields, **options):
        """`fields`: (name, value) pairs; a value that is a pair is a file, its name and its bytes."""
        parts = [(f'name="{name}"; filename="{value[0]}"', value[1]) if isinstance(value, tuple) else
                 (f'name="{name}"', value) for name, value in fields]
        body, content_type = multipart(parts)
        return self.ask(page, "POST", body, CONTENT_TYPE=content_type, **options)

    def send(self, request, clock=None):
        """A request as a recipe writes it."""
        head, _, body = request.partition("\n\n")
        first, *lines = head.split("\n")
        method, target = first.split()
        given = {}
        for line in lines:
            header = re.fullmatch(r"([\w-]+): (.*)", line)
            name, value = (header[1].upper().replace("-", "_"), header[2]) if header else line.split("=", 1)
            given[("HTTP_" if header and name != "CONTENT_TYPE" else "") + name] = value
        if given.get("CONTENT_TYPE") == "multipart/form-data":
            del given["CONTENT_TYPE"]
            return self.post_files(target, list(map(self.field, body.splitlines())), clock=clock, **given)
        return self.ask(target, method, body.encode(), clock=clock, **given)

    def field(self, line):
        name, _, value = line.partition("=")
        if value.startswith("@"):
            return name, (Path(value[1:]).name, (self.root / value[1:]).read_bytes())
        return name, value.encode()


def encode(fields):
    return fields if isinstance(fields, str) else urllib.parse.urlencode(fields)


def seconds(clock):
    return calendar.timegm(time.strptime(clock, "%Y-%m-%dT%H:%M"))


def recipes():
    return [Recipe(path) for path in sorted(COOKBOOK.glob("*.md")) if path.name != "README.md"]
