"""Runs one page case in a folder of its own, and says what differs from what the case says."""

import difflib
import functools
import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
from pathlib import Path

import gif
from case_file import CaseError
from program import DYNAMIC_PROGRAM, PROGRAM, TIMEOUT, cgi_environment, compile_c

TESTS = Path(__file__).resolve().parent
PICTURE_HEADER = b"Content-type: image/gif\n\n"
LOG_TIME = re.compile(rb"\[\d\d/[A-Z][a-z]{2}/\d{4} \d\d:\d\d:\d\d\]")
SANITIZER_REPORT = re.compile(rb"ERROR: \w+Sanitizer|runtime error: ")
# What the sanitizer has to say about a request for too much memory, which is answered by null, and about a stack of the
# program's own.
SANITIZER_WARNING = re.compile(rb"==\d+==WARNING: (AddressSanitizer failed to allocate|ASan doesn't fully support "
                               rb"makecontext/swapcontext) .*\n")


def show(data):
    """Text for a terminal: one line each, bytes that do not print as \\xNN."""
    lines = []
    for line in data.split(b"\n"):
        lines.append("".join(chr(b) if 32 <= b < 127 and b != 92 else
                             {9: r"\t", 13: r"\r", 92: r"\\"}.get(b, f"\\x{b:02x}") for b in line))
    return lines


def difference(what, expected, actual):
    same = os.path.commonprefix([expected, actual])
    at = max(len(line) for line in show(same)[-1:])  # column of the first difference
    start = max(0, at - 100)

    def clip(line):
        if len(line) <= 300:
            return line
        return ("..." if start else "") + line[start:start + 300] + ("..." if len(line) > start + 300 else "")

    report = [f"  {what}: differs at byte {len(same)} (expected {len(expected)} bytes, got {len(actual)})"]
    diff = list(difflib.unified_diff(show(expected[:200000]), show(actual[:200000]), lineterm="", n=2))[2:]
    for line in diff[:40]:
        report.append("    " + clip(line))
    if len(diff) > 40:
        report.append(f"    ... {len(diff) - 40} more lines")
    return report


class Run:
    """One case in its own folder. Unless `strict`, it may leave files, folders and log lines that it does not name."""

    def __init__(self, program, sections, strict=True):
        self.program = program
        self.sections = sections
        self.strict = strict
        self.failures = []

    def find(self, name):
        return next((section for section in self.sections if section.name == name), None)

    def all(self, *names):
        return [section for section in self.sections if section.name in names]

    def with_root(self, data):
        return data.replace(b"@ROOT@", self.root)

    def execute(self):
        folder = os.path.realpath(tempfile.mkdtemp(prefix="quillet-case-"))
        self.root = os.fsencode(folder)
        try:
            self.prepare()
            self.run_program()
            self.check()
        except subprocess.TimeoutExpired:
            self.failures.append(f"  still running after {TIMEOUT} seconds")
        finally:
            shutil.rmtree(folder, ignore_errors=True)
            shutil.rmtree(self.mail_programs(), ignore_errors=True)

    def path(self, name):
        return os.path.join(self.root, os.fsencode(name))

    def prepare(self):
        for folder in ("site", "www"):
            os.makedirs(self.path(folder), exist_ok=True)
        for section in self.all("folder"):
            os.makedirs(self.path(section.argument), exist_ok=True)
        for section in self.all("page", "file"):
            path = self.path(section.argument)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(self.with_root(section.content()))
        for section in self.all("mail_program"):
            path = self.mail_programs() + section.argument
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(b"#!/bin/sh\ncd '" + self.root + b"'\n" + section.content())
            os.chmod(path, 0o755)
        for section in self.all("page", "file", "folder"):
            if section.mode is not None:
                os.chmod(self.path(section.argument), section.mode)

    def mail_programs(self):
        """The folder in which /usr/lib/sendmail and /usr/sbin/sendmail are those of the case."""
        return os.fsdecode(self.root) + ".mail"

    def preloaded(self):
        """What is preloaded into the program."""
        return [library(name) for name in ("clock", "mail_program") if self.find(name)]

    def environment(self, body):
        page = self.find("page")
        environment = cgi_environment(os.fsdecode(self.root), page.argument if page else "www/page.html")
        environment["ASAN_OPTIONS"] = sanitizer_options(self.limits())
        if self.preloaded():
            environment["LD_PRELOAD"] = " ".join(self.preloaded())
            environment["ASAN_OPTIONS"] += ":verify_asan_link_order=0"
        if self.find("clock"):
            environment["CLOCK"] = str(int(self.find("clock").content()))
        if self.find("mail_program"):
            environment["MAIL_PROGRAMS"] = self.mail_programs()
        env = self.find("env")
        for line in env.lines() if env else []:
            if line.startswith(b"-"):
                environment.pop(os.fsdecode(line[1:]), None)
                continue
            name, equals, value = line.partition(b"=")
            if not equals:
                raise CaseError(f"no NAME=value: {line!r}")
            environment[os.fsdecode(name)] = os.fsdecode(self.with_root(value))
        if environment.get("REQUEST_METHOD") == "POST" and not names_variable(env, b"CONTENT_LENGTH"):
            environment["CONTENT_LENGTH"] = str(len(body))
        return environment

    def limits(self):
        section = self.find("limits")
        limits = {}
        for line in section.lines() if section else []:
            hit = re.fullmatch(rb"(stack|address_space)=(\d+)([kM]?)", line)
            if not hit:
                raise CaseError(f"unknown limit {line!r}")
            limits[hit[1].decode()] = int(hit[2]) << {b"": 0, b"k": 10, b"M": 20}[hit[3]]
        return limits

    def command(self):
        program = self.program
        if self.preloaded() and Path(program).resolve() == PROGRAM:
            program = DYNAMIC_PROGRAM
        command = [os.fsencode(program)]
        limits = self.limits()
        if is_sanitized(self.program):  # its address space is reserved whole; see sanitizer_options
            limits.pop("address_space", None)
        if limits:
            names = {"stack": "stack", "address_space": "as"}
            command = ["prlimit", *(f"--{names[name]}={size}" for name, size in limits.items()), "--", *command]
        arguments = self.find("arguments")
        return command + (arguments.lines() if arguments else [])

    def run_program(self):
        body_section = self.find("body")
        body = self.with_root(body_section.content()) if body_section else b""
        done = subprocess.run(self.command(), input=body, capture_output=True, cwd=self.path("site"),
                              env=self.environment(body), timeout=TIMEOUT, check=False)
        self.output, self.status = done.stdout, done.returncode
        self.errors = SANITIZER_WARNING.sub(b"", done.stderr)

    def check(self):
        if self.status < 0:
            self.failures.append(f"  ended by {signal.Signals(-self.status).name}")
        if SANITIZER_REPORT.search(self.errors):
            self.failures.append("  sanitizer report")
        if self.failures:
            self.failures += ["    " + line for line in show(self.errors[:4000])]
            return
        status = int(self.all("status")[0].argument) if self.all("status") else 0
        if self.status != status:
            self.failures.append(f"  exit status: expected {status}, got {self.status}")
        self.check_output()
        self.check_logs()
        self.check_files()
        if self.strict:
            self.check_rest()

    def check_output(self):
        for section in self.all("response"):
            self.compare("response", section, self.output)
        for section in self.all("expect"):
            body = self.output.partition(b"\n\n")[2]
            headers = b"Content-type: text/html\nContent-length: %d\n\n" % len(body)
            if self.output == headers + body:
                self.compare("body", section, body)
            else:
                self.failures += difference("response", headers + self.with_root(section.content()), self.output)

    def check_logs(self):
        for section in self.all("error_log", "access_log"):
            self.compare(section.name, section, self.log_text(self.read("site/" + section.name)))
        if self.find("stderr"):
            self.compare("stderr", self.find("stderr"), self.log_text(self.errors))

    def check_files(self):
        for section in self.all("after"):
            if not section.argument.endswith("/"):
                self.compare(section.argument, section, self.read(section.argument))
            elif not os.path.isdir(self.path(section.argument)):
                self.failures.append(f"  {section.argument} is no folder")
        for section in self.all("absent"):
            if os.path.lexists(self.path(section.argument)):
                self.failures.append(f"  {section.argument} exists")
        for section in self.all("mode"):
            if not os.path.exists(self.path(section.argument)):
                self.failures.append(f"  {section.argument} does not exist")
                continue
            mode = os.stat(self.path(section.argument)).st_mode & 0o7777
            if mode != int(section.content(), 8):
                self.failures.append(f"  mode of {section.argument}: got {mode:o}")

    def check_rest(self):
        """Everything else must be as it was: no log line, no new or changed file, no new folder, nothing gone."""
        if self.errors and not self.find("stderr"):
            self.failures += ["  stderr is not empty"] + ["    " + line for line in show(self.errors[:4000])]
        given = {section.argument: section for section in self.all("page", "file")}
        named = {section.argument.rstrip("/") for section in self.all("after", "mode")}
        named |= {"site/" + section.name for section in self.all("error_log", "access_log")}
        absent = {section.argument for section in self.all("absent")}
        folders = {section.argument for section in self.all("folder")}
        known = {"site", "www", *given, *named, *folders}
        known |= {str(parent) for name in known for parent in Path(name).parents}
        left = self.entries()
        for name in left - known:
            self.failures.append(f"  {name} is left, and the case does not name it")
            if name.endswith("_log"):
                self.failures += ["    " + line for line in show(self.read(name)[:4000])]
        for name in (given.keys() | folders) - left - absent:
            self.failures.append(f"  {name} is gone, and the case does not say so")
        for name in (given.keys() & left) - named - absent:
            if self.read(name) != self.with_root(given[name].content()):
                self.failures.append(f"  {name} was changed, and the case does not say so")

    def entries(self):
        """The names of all files and folders below the root."""
        found = set()
        for folder, folders, files in os.walk(self.root):
            inside = os.path.relpath(folder, self.root)
            found |= {os.fsdecode(os.path.normpath(os.path.join(inside, name))) for name in folders + files}
        return found

    def read(self, name):
        try:
            with open(self.path(name), "rb") as file:
                return file.read()
        except OSError as error:
            self.failures.append(f"  {name}: {error.strerror}")
            return b""

    def compare(self, what, section, actual):
        if section.picture:
            self.compare_picture(what, section, actual)
            return
        if section.matches:
            pattern = section.content().replace(b"@ROOT@", re.escape(self.root))
            if not re.fullmatch(pattern, actual, re.DOTALL):
                self.failures.append(f"  {what}: does not match")
                self.failures += ["    pattern: " + line for line in show(pattern)]
                self.failures += ["    actual:  " + line for line in show(actual)]
            return
        expected = self.with_root(section.content())
        if actual != expected:
            self.failures += difference(what, expected, actual)

    def compare_picture(self, what, section, actual):
        """By what is seen, pixel by pixel; the header of a response is that of a picture."""
        if what == "response":
            header, actual = actual[:len(PICTURE_HEADER)], actual[len(PICTURE_HEADER):]
            if header != PICTURE_HEADER:
                self.failures += difference("header", PICTURE_HEADER, header)
                return
        try:
            seen = shown_picture(actual)
        except (ValueError, IndexError) as error:
            self.failures.append(f"  {what} is no picture: {error}")
            return
        expected = shown_picture(section.content())
        if seen != expected:
            self.failures += difference(what, expected, seen)

    def log_text(self, data):
        """What a case says of a log: time stamps count only when the case sets the clock."""
        return (data if self.find("clock") else LOG_TIME.sub(b"[time]", data)).removesuffix(b"\n")


def shown_picture(data):
    rows = gif.decode(data).colors()
    return "\n".join(" ".join(color or "------" for color in row) for row in rows).encode()


def names_variable(env, name):
    return env is not None and any(line.lstrip(b"-").partition(b"=")[0] == name for line in env.lines())


def sanitizer_options(limits):
    options = os.environ.get("ASAN_OPTIONS", "")
    options += (":" if options else "") + "allocator_may_return_null=1:detect_leaks=1"
    if "address_space" in limits:
        options += f":max_allocation_size_mb={limits['address_space'] >> 20}"
    return options


@functools.cache
def is_sanitized(program):
    return b"__asan_init" in Path(program).read_bytes()


library_lock = threading.Lock()
library_folder = None  # with the libraries, while there is a case that needs one


def library(name):
    """The path of a library for preloading, made of the C file of this name on its first use."""
    global library_folder
    with library_lock:
        if library_folder is None:
            library_folder = tempfile.TemporaryDirectory(prefix="quillet-preloaded-")
        made = os.path.join(library_folder.name, name + ".so")
        if not os.path.exists(made):
            compile_c(TESTS / (name + ".c"), made, "-shared", "-fPIC")
    return made
