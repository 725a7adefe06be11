"""A site in a temporary folder, served by scripts/demo with a real Apache httpd on a free loopback port."""

import glob
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from asking import Asking  # noqa: E402
from program import DATABASE_PROGRAM, PROGRAM, ROOT  # noqa: E402


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def example_site():
    """The files of examples/site by name, without what visitors of a demo left in its working folder."""
    site = ROOT / "examples/site"
    kept = ("_macro.cfg", ".profile", "groups", "chat/admin/password", "chat/admin/banned")
    paths = [*(site / "www").rglob("*"), *(site / "run" / name for name in kept)]
    return {str(path.relative_to(site)): path.read_bytes() for path in paths if path.is_file()}


def example_site_with_database():
    """The same with the schema: scripts/demo starts a database server for it."""
    schema = ROOT / "examples/site/database"
    return example_site() | {f"database/{path.name}": path.read_bytes() for path in schema.glob("*.sql")}


def days_ago(days, form):
    """A date as the demo site has it: its .profile says where it is."""
    zone = re.search("^TZ=(.*)$", (ROOT / "examples/site/run/.profile").read_text(), re.M)[1]
    return subprocess.run(["date", f"--date=@{int(time.time()) - 86400 * days}", "+" + form], capture_output=True,
                          text=True, check=True, env={"TZ": zone}).stdout.strip()


def session_members(session):
    """The processes of a session that still run."""
    members = []
    for path in glob.glob("/proc/[0-9]*/stat"):
        try:
            fields = pathlib.Path(path).read_text(errors="replace").rpartition(")")[2].split()
        except (FileNotFoundError, ProcessLookupError):
            continue
        if int(fields[3]) == session and fields[0] != "Z":
            members.append(int(path.split("/")[2]))
    return members


def program_under_test(folder):
    """The program with the options of the sanitizers, as one file, and what it starts beside it."""
    copy, script = folder / "program", folder / "program.sh"
    shutil.copy(PROGRAM, copy)
    shutil.copy(DATABASE_PROGRAM, folder)
    # The sanitizers reserve more address space than a request may use.
    script.write_text(f"#!/bin/sh\nulimit -S -v unlimited\nASAN_OPTIONS=detect_leaks=1 exec '{copy}'\n")
    script.chmod(0o755)
    return script


class Demo:
    """A running scripts/demo. The port may be taken between asking for it and binding: then another one."""

    def __init__(self, site, temporary, attempts=5, options=()):
        self.port = free_port()
        self.process = subprocess.Popen(
            [str(ROOT / "scripts/demo"), "--port", str(self.port),
             "--program", str(program_under_test(temporary)), *options, str(site)],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True,
            env={**os.environ, "TMPDIR": str(temporary), "TZ": "UTC"})
        self.said = []
        for line in self.process.stdout:
            self.said.append(line)
            if "Ready: " in line:
                break
        else:
            self.process.wait()
            self.process.stdout.close()
            if attempts > 1 and "Address already in use" in "".join(self.said):
                return self.__init__(site, temporary, attempts - 1, options)
            raise RuntimeError("scripts/demo ended:\n" + "".join(self.said))
        self.instance = pathlib.Path(glob.glob(f"{temporary}/quillet-demo.*")[0])
        self.httpd = int((self.instance / "httpd.pid").read_text())

    def address(self):
        return self.said[-1].split()[2]

    def httpd_log(self):
        return (self.instance / "httpd.log").read_text(errors="replace")

    def stop(self, number=signal.SIGTERM):
        """Ends it as Ctrl-C in a terminal does, by a signal to the whole process group."""
        os.killpg(self.process.pid, number)
        self.said.append(self.process.stdout.read())
        self.process.stdout.close()
        return self.process.wait()

    def left_processes(self):
        return session_members(self.process.pid) + session_members(self.httpd)


class Folder:
    """A temporary folder that an unprivileged httpd can reach."""

    def __init__(self):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="quillet test "))
        self.path.chmod(0o755)

    def write(self, name, content):
        path = self.path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        if path.read_bytes().startswith(b"#!"):
            path.chmod(0o755)
        return path

    def remove(self):
        shutil.rmtree(self.path)


class ServedSite(Asking, unittest.TestCase):
    """The files of the class, served while its tests run."""

    files = {}
    site = None  # another directory instead of the files

    @classmethod
    def setUpClass(cls):
        cls.folder = Folder()
        cls.addClassCleanup(cls.folder.remove)
        for name, content in cls.files.items():
            cls.folder.write("site/" + name, content)
        cls.site_path = pathlib.Path(cls.site or cls.folder.path / "site")
        cls.demo = Demo(cls.site_path, cls.folder.path)

    @classmethod
    def tearDownClass(cls):
        log = cls.demo.httpd_log()
        cls.demo.stop()
        left = cls.demo.left_processes()
        if "Sanitizer" in log or "runtime error" in log:
            raise AssertionError("the sanitizers found something:\n" + log)
        if left:
            raise AssertionError(f"processes left: {left}")

    def port(self):
        return self.demo.port


class ExampleSite(ServedSite):
    """The demo site."""

    files = example_site()

    def article(self, reply, status=200):
        """What a page has between the head and the foot that all pages have."""
        self.assertEqual(reply.status, status)
        return re.search(r"<article>(.*)</article>", reply.text(), re.S)[1]

    def page(self, path, status=200):
        return self.article(self.ask(path), status)

    def send(self, path, **fields):
        return self.post(path, urllib.parse.urlencode(fields, True))
