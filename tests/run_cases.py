#!/usr/bin/env python3
"""Runs page cases (tests/cases/README.md says what they look like) and the examples of the manual.

    run_cases.py --program build/asan/bin/quillet [--jobs N] [FILE or FOLDER ...]
    run_cases.py --program build/asan/bin/quillet --docs docs
"""

import argparse
import concurrent.futures
import difflib
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

TESTS = Path(__file__).resolve().parent
TIMEOUT = 60  # seconds for one case
STACK = 8 << 20  # what a web server's processes have

# Sections that may be written once for each argument, and those that occur once in a case. A section
# written again goes on where it left off.
WITH_ARGUMENT = {"file", "after", "absent", "status", "mode"}
WITHOUT_ARGUMENT = {"page", "env", "body", "arguments", "limits", "expect", "response", "error_log", "access_log",
                    "stderr"}

ESCAPE = re.compile(rb"\\(n|r|t|\\|x[0-9a-fA-F]{2})")
SIMPLE_ESCAPES = {b"n": b"\n", b"r": b"\r", b"t": b"\t", b"\\": b"\\"}
LOG_TIME = re.compile(rb"\[\d\d/[A-Z][a-z]{2}/\d{4} \d\d:\d\d:\d\d\]")
SANITIZER_REPORT = re.compile(rb"ERROR: \w+Sanitizer|runtime error: ")


class CaseError(Exception):
    """The case itself is written wrongly."""


def decode_escapes(raw):
    stray = re.search(rb"\\", ESCAPE.sub(b"", raw))
    if stray:
        raise CaseError(r"only \n \r \t \\ and \xNN are known in an escaped section")
    return ESCAPE.sub(lambda hit: SIMPLE_ESCAPES.get(hit[1]) or bytes([int(hit[1][1:], 16)]), raw)


class Section:
    """One section: pieces of raw text, each with whether its escapes are to be decoded."""

    def __init__(self, name, argument):
        self.name = name
        self.argument = argument
        self.pieces = []
        self.matches = False
        self.mode = None

    def content(self):
        return b"".join(decode_escapes(raw) if escaped else raw for raw, escaped in self.pieces)

    def lines(self):
        """The lines of the raw text, decoded afterwards: an escaped line feed ends no line."""
        result = [b""]
        for raw, escaped in self.pieces:
            lines = [decode_escapes(line) if escaped else line for line in raw.split(b"\n")]
            result[-1] += lines[0]
            result += lines[1:]
        return [line for line in result if line]


def parse_heading(heading):
    """(name, argument, modifiers) of a line "== name argument modifier..."."""
    words = heading.decode().split()
    modifiers = {}
    while len(words) > 1 and re.fullmatch(r"escaped|matches|repeat=\d+|mode=[0-7]+", words[-1]):
        key, _, value = words.pop().partition("=")
        modifiers[key] = value
    return words[0] if words else "", " ".join(words[1:]), modifiers


def add_section(sections, name, argument, modifiers, raw):
    if name not in WITH_ARGUMENT | WITHOUT_ARGUMENT:
        raise CaseError(f'unknown section "{name}"')
    if name in WITH_ARGUMENT and not argument:
        raise CaseError(f'section "{name}" needs an argument')
    if name == "page" and not argument:
        argument = next((section.argument for section in sections if section.name == "page"), "www/page.html")
    elif name in WITHOUT_ARGUMENT - {"page"} and argument:
        raise CaseError(f'section "{name}" has no argument "{argument}"')
    section = next((known for known in sections if (known.name, known.argument) == (name, argument)), None)
    if section is None:
        section = Section(name, argument)
        sections.append(section)
    section.pieces.append((raw * int(modifiers.get("repeat", 1)), "escaped" in modifiers))
    section.matches |= "matches" in modifiers
    if "mode" in modifiers:
        section.mode = int(modifiers["mode"], 8)


def parse_case(data):
    sections = []
    parts = re.split(rb"^== (.*)\n", data, flags=re.MULTILINE)
    if any(line and not line.startswith(b"#") for line in parts[0].split(b"\n")):
        raise CaseError("only comments are allowed before the first section")
    for heading, raw in zip(parts[1::2], parts[2::2]):
        name, argument, modifiers = parse_heading(heading)
        add_section(sections, name, argument, modifiers, raw.removesuffix(b"\n"))
    if not any(section.name in ("expect", "response") for section in sections):
        raise CaseError('neither "expect" nor "response"')
    return sections


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
    """One case in its own folder."""

    def __init__(self, program, sections):
        self.program = program
        self.sections = sections
        self.failures = []

    def find(self, name):
        return next((section for section in self.sections if section.name == name), None)

    def all(self, name):
        return [section for section in self.sections if section.name == name]

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

    def path(self, name):
        return os.path.join(self.root, os.fsencode(name))

    def prepare(self):
        for folder in ("site", "www"):
            os.mkdir(self.path(folder))
        for section in self.all("page") + self.all("file"):
            path = self.path(section.argument)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(self.with_root(section.content()))
            if section.mode is not None:
                os.chmod(path, section.mode)

    def environment(self, body):
        page = self.find("page")
        page_path = page.argument if page else "www/page.html"
        environment = {
            b"PATH": b"/usr/local/bin:/usr/bin:/bin",
            b"TZ": b"UTC",
            b"GATEWAY_INTERFACE": b"CGI/1.1",
            b"SERVER_PROTOCOL": b"HTTP/1.1",
            b"SERVER_NAME": b"localhost",
            b"SERVER_PORT": b"80",
            b"REQUEST_METHOD": b"GET",
            b"REQUEST_URI": os.fsencode("/" + page_path.removeprefix("www/")),
            b"PATH_TRANSLATED": self.path(page_path),
            b"DOCUMENT_ROOT": self.path("www"),
            b"SCRIPT_NAME": b"/cgi-bin/quillet",
            b"REMOTE_ADDR": b"127.0.0.1",
            b"ASAN_OPTIONS": sanitizer_options(self.limits()).encode(),
        }
        env = self.find("env")
        for line in env.lines() if env else []:
            if line.startswith(b"-"):
                environment.pop(line[1:], None)
                continue
            name, equals, value = line.partition(b"=")
            if not equals:
                raise CaseError(f"no NAME=value: {line!r}")
            environment[name] = self.with_root(value)
        if environment.get(b"REQUEST_METHOD") == b"POST" and not names_variable(env, b"CONTENT_LENGTH"):
            environment[b"CONTENT_LENGTH"] = b"%d" % len(body)
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
        command = [os.fsencode(self.program)]
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
        self.output, self.errors, self.status = done.stdout, done.stderr, done.returncode

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
        for name in ("error_log", "access_log"):
            if self.find(name):
                self.compare(name, self.find(name), log_text(self.read("site/" + name)))
        if self.find("stderr"):
            self.compare("stderr", self.find("stderr"), log_text(self.errors))
        for section in self.all("after"):
            self.compare(section.argument, section, self.read(section.argument))
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

    def read(self, name):
        try:
            with open(self.path(name), "rb") as file:
                return file.read()
        except OSError as error:
            self.failures.append(f"  {name}: {error.strerror}")
            return b""

    def compare(self, what, section, actual):
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


def names_variable(env, name):
    return env is not None and any(line.lstrip(b"-").partition(b"=")[0] == name for line in env.lines())


def log_text(data):
    return LOG_TIME.sub(b"[time]", data).removesuffix(b"\n")


def sanitizer_options(limits):
    options = os.environ.get("ASAN_OPTIONS", "")
    options += (":" if options else "") + "allocator_may_return_null=1:detect_leaks=1"
    if "address_space" in limits:
        options += f":max_allocation_size_mb={limits['address_space'] >> 20}"
    return options


def is_sanitized(program, known={}):
    if program not in known:
        known[program] = b"__asan_init" in Path(program).read_bytes()
    return known[program]


def run_case(program, name, load):
    """(name, lines that say what failed)."""
    try:
        run = Run(program, load())
        run.execute()
        return name, run.failures
    except (CaseError, OSError, ValueError) as error:
        return name, [f"  {error}"]


def find_cases(paths):
    cases = []
    for path in paths:
        if path.is_dir():
            cases += sorted(path.rglob("*.case"))
        elif path.is_file():
            cases.append(path)
        else:
            sys.exit(f"no such case: {path}")
    return [(str(path), lambda path=path: parse_case(path.read_bytes())) for path in cases]


def find_examples(folder):
    """The examples of the manual's pages: a fenced block "page" and the blocks after it, up to "output", or
    "response" for one with its headers."""
    examples = []
    for page in sorted(folder.rglob("*.md")):
        sections, start = None, 0
        for number, heading, raw in fenced_blocks(page.read_bytes()):
            name, argument, modifiers = parse_heading(heading)
            if name == "page":
                if sections is not None:
                    examples.append(unfinished_example(page, start))
                sections, start = [], number
            if sections is None or name not in ("page", "file", "env", "body", "output", "response"):
                continue
            try:
                add_section(sections, "expect" if name == "output" else name, argument, modifiers, raw)
            except CaseError as error:
                sys.exit(f"{page}:{number}: {error}")
            if name in ("output", "response"):
                examples.append((f"{page}:{start}", lambda found=sections: found))
                sections = None
        if sections is not None:
            examples.append(unfinished_example(page, start))
    return examples


def unfinished_example(page, line):
    def load():
        raise CaseError("an example without a block ```output")
    return f"{page}:{line}", load


def fenced_blocks(data):
    fence, heading, block, start = None, b"", [], 0
    for number, line in enumerate(data.split(b"\n"), 1):
        hit = re.fullmatch(rb"(`{3,})([^`]*)", line.rstrip())
        if fence is None:
            if hit:
                fence, heading, block, start = hit[1], hit[2], [], number
        elif line.rstrip() == fence:
            yield start, heading, b"\n".join(block)
            fence = None
        else:
            block.append(line)


def main():
    parser = argparse.ArgumentParser(description="Runs page cases and the manual's examples.")
    parser.add_argument("--program", required=True, type=Path)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--docs", type=Path, metavar="DIR", help="run the examples of the pages in DIR instead")
    parser.add_argument("paths", nargs="*", type=Path, help="case files or folders (all cases by default)")
    options = parser.parse_args()
    program = options.program.resolve()
    if not program.is_file():
        sys.exit(f"no such program: {program}")
    hard = resource.getrlimit(resource.RLIMIT_STACK)[1]
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, hard))

    cases = find_examples(options.docs) if options.docs else find_cases(options.paths or [TESTS / "cases"])
    passed = failed = 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as workers:
        for name, failures in workers.map(lambda case: run_case(program, *case), cases):
            if failures:
                failed += 1
                print(f"FAILED {name}")
                print("\n".join(failures))
            else:
                passed += 1
    print(f"{passed} passed, {failed} failed")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
