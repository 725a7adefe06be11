"""Chromium without a window, led through its driver: the WebDriver protocol, JSON over HTTP on a loopback port."""

import base64
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import urllib.error
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from program import TIMEOUT, wait_for  # noqa: E402

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # how the protocol marks an element
# The sandbox needs what root and many containers do not have; the pages are our own.
ARGUMENTS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--disable-dev-shm-usage",
             "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync"]


def missing_programs():
    return [name for name in ("chromium", "chromedriver") if not shutil.which(name)]


class Browser:
    """A browser of its own: a new profile, home and download folder in the given folder."""

    def __init__(self, folder):
        self.folder = folder
        self.downloads = folder / "downloads"
        self.downloads.mkdir()
        with (folder / "driver.log").open("wb") as log:
            self.driver = subprocess.Popen([shutil.which("chromedriver"), "--port=0"], stdout=log,
                                           stderr=subprocess.STDOUT, start_new_session=True,
                                           env={**os.environ, "HOME": str(folder), "TMPDIR": str(folder)})
        try:
            self.address = f"http://127.0.0.1:{wait_for(self.driver_port, 'the driver to start')}"
            session = self.request("POST", "/session", {"capabilities": {"alwaysMatch": self.capabilities()}})
        except BaseException:
            self.kill()
            raise
        self.address += "/session/" + session["sessionId"]

    def driver_port(self):
        said = (self.folder / "driver.log").read_text(errors="replace")
        if self.driver.poll() is not None:
            raise RuntimeError("chromedriver ended:\n" + said)
        port = re.search(r"started successfully on port (\d+)", said)
        return port and port[1]

    def capabilities(self):
        arguments = [*ARGUMENTS, f"--user-data-dir={self.folder / 'profile'}"]
        return {"browserName": "chrome", "goog:chromeOptions": {
            "binary": shutil.which("chromium"), "args": arguments,
            "prefs": {"download.default_directory": str(self.downloads), "download.prompt_for_download": False}}}

    def request(self, method, path, body=None):
        data = None if method != "POST" else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.address + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=TIMEOUT) as response:
                return json.load(response)["value"]
        except urllib.error.HTTPError as error:
            with error:
                raise RuntimeError(f"{method} {path}: {error.read().decode(errors='replace')}") from None

    def close(self):
        try:
            self.request("DELETE", "")
        finally:
            self.kill()

    def kill(self):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.driver.pid, signal.SIGKILL)
        self.driver.wait()
        wait_for(lambda: not self.is_running(), "the browser to end")

    def is_running(self):
        """Whether a process is left that was given the directory; some end a moment after the others."""
        for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
            with contextlib.suppress(FileNotFoundError, ProcessLookupError, PermissionError):
                if os.fsencode(self.folder) in path.read_bytes():
                    return True
        return False

    # What a visitor does.

    def open(self, address):
        self.request("POST", "/url", {"url": address})

    def find_all(self, selector):
        found = self.request("POST", "/elements", {"using": "css selector", "value": selector})
        return [element[ELEMENT] for element in found]

    def find(self, selector):
        return wait_for(lambda: self.find_all(selector), f"an element {selector}")[0]

    def type(self, selector, text):
        """Types into a field, or chooses the file of that name."""
        self.request("POST", f"/element/{self.find(selector)}/value", {"text": str(text)})

    def click(self, selector):
        self.request("POST", f"/element/{self.find(selector)}/click")

    def run(self, script):
        return self.request("POST", "/execute/sync", {"script": script, "args": []})

    def texts(self, selector):
        """The texts of the elements as they are seen."""
        return self.run(f"return Array.from(document.querySelectorAll({json.dumps(selector)}), e => e.innerText)")

    def screenshot(self, selector):
        """A PNG file of the element as it is seen."""
        return base64.b64decode(self.request("GET", f"/element/{self.find(selector)}/screenshot"))

    def downloaded(self, name):
        """The bytes of a file, once it is there: it gets its name when it is complete."""
        path = self.downloads / name
        wait_for(path.exists, f"the file {name}; there are {sorted(os.listdir(self.downloads))}")
        return path.read_bytes()
