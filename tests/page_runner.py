"""Runs single pages for the tests in Python: a folder with a document root and a working directory, as for page
cases (cases/README.md), and the program as a web server would start it.
"""

import os
import re
import resource
import shutil
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from program import DYNAMIC_PROGRAM, PROGRAM, TIMEOUT, cgi_environment, compile_c, multipart

NOBODY = 65534


class PageTest(unittest.TestCase):
    """A test with its own folder: `self.www`, `self.site`."""

    program = PROGRAM

    def setUp(self):
        self.root = Path(tempfile.mkdtemp(prefix="quillet-page-")).resolve()
        self.addCleanup(self.remove_root)
        self.www, self.site = self.root / "www", self.root / "site"
        for folder in (self.root, self.www, self.site):
            folder.mkdir(exist_ok=True)
            folder.chmod(0o777)

    def remove_root(self):
        for folder, _, _ in os.walk(self.root):
            os.chmod(folder, 0o755)
        shutil.rmtree(self.root)

    def write(self, path, content, mode=None):
        path = self.root / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        path.chmod(mode or 0o666)
        return path

    def start(self, page, environment=None, limits=(), unprivileged=False, stdin=subprocess.DEVNULL, wrapper=(),
              **options):
        """A process that answers the page. `limits`: (resource, value) pairs; `unprivileged`: not as root;
        `wrapper`: the command line of a program that runs it."""
        program = self.program
        if unprivileged and os.getuid() == 0:
            program = self.root / "program"  # the build directory may be closed to others
            if not program.exists():
                shutil.copy(self.program, program)
            options |= {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        self.write("www/page.html", page)
        variables = cgi_environment(self.root) | (environment or {})

        def limit():
            for kind, value in limits:
                resource.setrlimit(kind, (value, value))

        return subprocess.Popen([*wrapper, program], cwd=self.site, env=variables, stdin=stdin,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, preexec_fn=limit if limits else None,
                                **options)

    def run_page(self, page, environment=None, limits=(), unprivileged=False, **options):
        """The body that the page gives."""
        with self.start("^optimize[no]" + page, environment, limits, unprivileged, **options) as process:
            return self.body(process)

    def run_upload(self, page, content, **options):
        """The body that the page gives when the form field "f" is a file of this content."""
        body, content_type = multipart([('name="f"; filename="f"', content)])
        environment = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": content_type, "CONTENT_LENGTH": str(len(body))}
        with open(self.write("body", body), "rb") as stdin:
            return self.run_page(page, environment, stdin=stdin, **options)

    def output(self, process):
        """What a process that was started writes up to its end: (standard output, standard error)."""
        try:
            return process.communicate(timeout=TIMEOUT)
        except subprocess.TimeoutExpired:
            process.kill()
            self.fail("the page hangs")

    def body(self, process):
        """The body that comes of a process that was started."""
        output, errors = self.output(process)
        self.assertEqual(process.returncode, 0, (output, errors))
        head, _, body = output.partition(b"\n\n")
        self.assertEqual(head, b"Content-type: text/html\nContent-length: %d" % len(body))
        return body.decode("latin-1")

    def waits_for_lock(self, process, path):
        """Looks until the process waits for a lock on the file; false when it ends without, or does neither."""
        waiting = re.compile(rf"^\d+: -> FLOCK +ADVISORY +WRITE {process.pid} [^ ]*:{path.stat().st_ino} 0 EOF$", re.M)
        deadline = time.monotonic() + TIMEOUT
        while process.poll() is None and time.monotonic() < deadline:
            if waiting.search(Path("/proc/locks").read_text()):
                return True
            os.sched_yield()
        return False

    def error_log(self):
        log = self.site / "error_log"
        return log.read_text() if log.exists() else ""


class PreloadTest(PageTest):
    """Tests under a library of their own, made of the C file SOURCE: its functions take the place of the C library's."""

    program = DYNAMIC_PROGRAM

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.library = Path(folder.name) / "preloaded.so"
        compile_c(cls.SOURCE, cls.library, "-shared", "-fPIC")

    def preloading(self, **more):
        """The environment of a page."""
        return {"LD_PRELOAD": str(self.library), "ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0"} | more
