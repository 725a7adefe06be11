"""Page cases run with one call of the C library spoiled (calls.c): what each leaves is looked at, whatever it answers."""

import os
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TESTS))
import case_run
from program import DYNAMIC_PROGRAM, compile_c
from run_cases import find_cases

TIMEOUT = 20  # seconds for a page
STATUSES = (0, 253, 254, 255)
LOGS = ("site/error_log", "site/access_log")
REPORT_SIZE = 64

library_lock = threading.Lock()
library_folder = None
# A process that is about to run its program has every file open that another thread is writing, and nobody can run those.
starting = threading.Lock()


def library():
    """The path of the library, compiled on its first use."""
    global library_folder
    with library_lock:
        if library_folder is None:
            library_folder = tempfile.TemporaryDirectory(prefix="quillet-torture-")
            compile_c(Path(__file__).resolve().parent / "calls.c", os.path.join(library_folder.name, "calls.so"),
                      "-shared", "-fPIC", "-O1")
    return os.path.join(library_folder.name, "calls.so")


def is_running(group):
    """Whether a process of the group has not ended; one that has may still be there until the system's first process, which
    can take seconds, waits for it."""
    for path in Path("/proc").glob("[0-9]*/stat"):
        try:
            state, _, own_group = path.read_text().rpartition(")")[2].split()[:3]
        except OSError:  # it is gone
            continue
        if int(own_group) == group and state not in "ZX":
            return True
    return False


class SpoiledRun(case_run.Run):
    """One run of a case; afterwards `status`, `output`, `errors`, `calls` (how many there were), `microseconds` (from the
    start to the last of them, when nothing was spoiled), `spoiled` (the function that was), `files` (path: content),
    `given` (the same before it), `left_running`."""

    def __init__(self, sections, spoil="none 0"):
        super().__init__(DYNAMIC_PROGRAM, sections)
        self.spoil = spoil
        self.hangs = self.left_running = False

    def environment(self, body):
        environment = super().environment(body)
        loaded = [environment["LD_PRELOAD"]] if "LD_PRELOAD" in environment else []
        environment["LD_PRELOAD"] = " ".join([*loaded, library()])
        environment["SPOIL"], environment["SPOIL_REPORT"] = self.spoil, self.report
        return environment

    def execute(self):
        self.report = tempfile.mktemp(prefix="quillet-report-")
        Path(self.report).write_bytes(bytes(REPORT_SIZE))
        try:
            super().execute()
            report = Path(self.report).read_bytes()
            self.calls, self.microseconds = (int.from_bytes(report[at:at + 8], sys.byteorder) for at in (0, 8))
            self.spoiled = report[16:].partition(b"\0")[0].decode()
        finally:
            os.unlink(self.report)
        return self

    def prepare(self):
        with starting:
            super().prepare()

    def run_program(self):
        self.given = self.tree()
        body_section = self.find("body")
        body = self.with_root(body_section.content()) if body_section else b""
        command, environment = self.command(), self.environment(body)
        with starting:
            process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                       cwd=self.path("site"), env=environment, start_new_session=True)
        try:
            self.output, self.errors = process.communicate(body, timeout=TIMEOUT)
        except subprocess.TimeoutExpired:
            self.hangs = True
            os.killpg(process.pid, signal.SIGKILL)
            self.output, self.errors = process.communicate()
        self.status = process.returncode
        self.left_running = self.group_stays(process.pid)

    @staticmethod
    def group_stays(group):
        """Whether a process of the page is there although the page has ended; then it is ended, too."""
        end = time.monotonic() + 5
        try:
            while time.monotonic() < end:
                os.killpg(group, 0)
                if not is_running(group):
                    return False
                time.sleep(0.01)
            os.killpg(group, signal.SIGKILL)
            return True
        except ProcessLookupError:
            return False

    def check(self):
        self.files = self.tree()

    def tree(self):
        found = {}
        for name in self.entries():
            path = self.path(name)
            if os.path.isfile(path) and os.access(path, os.R_OK):
                found[name] = Path(os.fsdecode(path)).read_bytes().replace(self.root, b"@ROOT@")
            else:
                found[name] = None
        return found


def is_mixture(content, old, new):
    """Whether it begins as the new text and goes on as the old one, or ends there."""
    for rest in (old, b""):
        if len(content) < len(rest):
            continue
        same = os.path.commonprefix([content, new])
        if content[len(same):] == rest[len(same):] or (rest == b"" and content == same):
            return True
    return False


def is_whole_lines(content, texts):
    """Whether it is whole lines, each of them in one of the texts."""
    known = {line.strip() for text in texts for line in text.split(b"\n")}
    lines = content.split(b"\n")
    return lines.pop() == b"" and all(line.strip() in known or any(line in text for text in texts) for line in lines)


def count_of(content):
    return int(re.match(rb"\d*", content)[0] or 0)


def may_contain(name, content, old, new, shown):
    """What a spoiled run may leave in a file that had the text `old`, and of which a whole run makes `new`; `shown`: the page
    and its output."""
    if content in (old, new):
        return True
    if name.endswith(".count"):  # a number on the way from the old one to the new one, or none yet
        return content == b"" or (re.match(rb"\d{10}", content) and count_of(old) <= count_of(content) <= count_of(new))
    if name == "site/chat/userlist":  # it holds the time
        return content.endswith(b"\n")
    if name.startswith("site/chat/"):  # whole lines
        return is_whole_lines(content, (old, new, shown)) or is_mixture(content, old, new)
    # Drawn without what could not be read, but whole.
    if name.endswith(".gif") and content.startswith(b"GIF8") and content.endswith(b"\0;"):
        return True
    if re.fullmatch(rb"\[[^\[\]]*\]", content):  # the message of an operator that failed
        return True
    # A page whose first step fails may rightly write the text of its second one.
    return content in shown or is_mixture(content, old, new)


def is_passing(name, pages):
    """Whether the page makes the file and may remove it again."""
    is_entry = name.startswith("site/cache/") and name.endswith("_")
    own_name = os.path.basename(name).removeprefix("_").removesuffix(".count")
    return is_entry or name in CHAT_FILES or (name.startswith("www/") and own_name.encode() in pages)


CHAT_FILES = {"site/chat/index", "site/chat/index.log", "site/chat/userlist"}


def damage(run, whole):
    """What is wrong with the files that a spoiled run leaves, where `whole` is a run of which nothing was spoiled. A file
    has its old content or the new one, or begins as the new one and goes on as the old one; a log has whole lines."""
    found = []
    pages = b"".join(section.content() for section in run.all("page", "file"))
    shown = pages + run.output.replace(run.root, b"@ROOT@")
    shown_whole = whole.output.replace(whole.root, b"@ROOT@")
    for name, content in run.files.items():
        if name in LOGS:
            if content and not content.endswith(b"\n"):
                found.append(f"{name} ends in the middle of a line: {content[-80:]!r}")
        elif name not in run.given and name not in whole.files and not is_passing(name, pages):
            found.append(f"{name} is left")
        # What was in a file that the page makes and removes again, only the output of the whole run says.
        elif content is not None and not may_contain(name, content, run.given.get(name) or b"", whole.files.get(name) or b"",
                                                     shown if name in whole.files else shown + shown_whole):
            found.append(f"{name} is torn: {content[:200]!r}")
    found += [f"{name} is gone" for name in run.given if name not in run.files and name in whole.files
              and not name.startswith("site/cache/")]  # which a page may remove and make again
    return found


def cases(paths):
    """(name, sections) of the cases that can be run so: their pages end by themselves, without limits."""
    for name, load in find_cases(paths or [TESTS / "cases"]):
        sections = load()
        if not any(section.name == "limits" for section in sections):
            yield name, sections
