"""A site in a temporary folder, served by quillet-dev on a free loopback port."""

import pathlib
import re
import subprocess
import sys
import time
import types

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "apache"))

from dev_site import TIMEOUT, TOOL  # noqa: E402
from served_site import Folder, ServedSite  # noqa: E402


class DevServer:
    """A running `quillet-dev serve`."""

    def __init__(self, folder, *options, log):
        self.log = log
        with log.open("wb") as to:
            self.process = subprocess.Popen([TOOL, "serve", str(folder), "--port", "0", *options], stdout=to,
                                            stderr=subprocess.STDOUT)
        deadline = time.monotonic() + TIMEOUT
        while not (ready := re.search(r"http://localhost:(\d+)/\.quillet-dev/\n", self.said())):
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise RuntimeError("quillet-dev serve ended:\n" + self.said())
            time.sleep(0.02)
        self.port = int(ready[1])

    def said(self):
        return self.log.read_text(errors="replace")

    def stop(self):
        """The exit status."""
        self.process.terminate()
        return self.process.wait(TIMEOUT)


class ServedByDev(ServedSite):
    options = ()
    folders = ("www", "run")

    @classmethod
    def setUpClass(cls):
        cls.folder = Folder()
        cls.addClassCleanup(cls.folder.remove)
        for name in cls.folders:
            (cls.folder.path / "site" / name).mkdir(parents=True)
        for name, content in cls.files.items():
            cls.folder.write("site/" + name, content)
        cls.site_path = cls.folder.path / "site"
        cls.server = DevServer(cls.site_path, *cls.options, log=cls.folder.path / "serve.log")
        cls.demo = types.SimpleNamespace(port=cls.server.port)

    @classmethod
    def tearDownClass(cls):
        status = cls.server.stop()
        if status != 0:
            raise AssertionError(f"status {status}:\n" + cls.server.said())
