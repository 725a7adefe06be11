"""Somebody who follows the tutorial: types its commands, writes its files, opens its addresses."""

import hashlib
import os
import re
import subprocess
import sys
import urllib.parse
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "dev"))
from asking import Asking  # noqa: E402
from dev_site import TOOL  # noqa: E402
from program import multipart  # noqa: E402
from served_dev import DevServer  # noqa: E402
from server import Server  # noqa: E402
from steps import CHAPTERS, Step  # noqa: E402

PANEL = re.compile(r"<script src=\"/\.quillet-dev/panel\.js\".*?</script>")
TODAY = re.compile(r"\b\d\d\.\d\d\.\d{4}\b|\b20\d\d\b")


class Walk(Asking):
    def __init__(self, folder, server_folder, take_picture):
        """`take_picture(walk, path, address, fingerprint)` is called for each picture."""
        self.folder = folder  # where the last command ended
        self.server_folder = server_folder
        self.take_picture = take_picture
        self.server = None
        self.printed = ""
        self.old = None

    def stop(self):
        if self.server is not None:
            self.server.stop()
            self.server = None

    def port(self):
        return self.server.port

    def follow(self, step: Step):
        kind, *rest = step.words
        try:
            getattr(self, "do_" + kind)(step.text, *rest)
        except Exception as error:
            raise AssertionError(f"{step.place}: {' '.join(map(str, step.words))}: {error}") from error

    # Commands.

    def do_sh(self, text, where="here"):
        if where == "server":
            return self.on_server().type(text)
        for line in text.splitlines():
            if line.startswith("quillet-dev serve"):
                self.serve(line.split()[2:])
            else:
                self.type(line)

    def type(self, line):
        environment = os.environ | {"PATH": f"{Path(TOOL).parent}:{os.environ['PATH']}", "PYTHONDONTWRITEBYTECODE": "1"}
        done = subprocess.run(["bash", "-c", f"{line}\nstatus=$?; pwd >&2; exit $status"], cwd=self.folder, text=True,
                              capture_output=True, env=environment, check=False)
        *errors, folder = done.stderr.splitlines()
        if errors:
            raise AssertionError("\n".join(errors))
        self.printed = done.stdout
        self.folder = Path(folder)

    def serve(self, options):
        self.stop()
        folder = options.pop()
        self.server = DevServer(self.folder / folder, *options, log=self.folder.parent / "serve.log")

    def on_server(self):
        if not isinstance(self.server, Server):
            self.stop()
            self.server = Server(self.server_folder, self.folder)
        return self.server

    def do_text(self, text, _output):
        if self.printed != text:  # the status is left to those who read it
            raise AssertionError(f"prints\n{self.printed}")

    # Files.

    def do_file(self, text, name):
        (self.folder / name).parent.mkdir(exist_ok=True)
        (self.folder / name).write_text(text)

    def do_add(self, text, name):
        with (self.folder / name).open("a") as file:
            file.write(text)

    def do_replace(self, text, name):
        self.old = (self.folder / name, text.removesuffix("\n"))
        if (count := (self.folder / name).read_text().count(self.old[1])) != 1:
            raise AssertionError(f"the text is {count} times in the file")

    def do_by(self, text):
        path, old = self.old
        path.write_text(path.read_text().replace(old, text.removesuffix("\n")))

    def do_nginx(self, text, name):
        self.on_server().write(name, text)

    # Requests.

    def do_html(self, text, method, *words):
        headers = {"Host": f"localhost:{self.port()}", "Origin": f"http://localhost:{self.port()}"}
        if len(words) > 2 and words[-2] == "as":
            headers |= self.server.credentials(words[-1])
            words = words[:-2]
        body = None
        if method == "POST":
            *words, fields = words
            body, headers["Content-Type"] = self.form(fields)
        address = urllib.parse.quote(" ".join(words), safe="/?&=%+:;.,()")
        reply = self.ask(address, method, body, headers)
        if reply.status in (302, 303):
            reply = self.ask(reply.headers["Location"], headers=headers)
        if text.rstrip("\n") not in reply.text():
            raise AssertionError(f"status {reply.status}\n{reply.text()}")

    def form(self, fields):
        pairs = [(name, value) for name, _, value in (field.partition("=") for field in fields.split("&"))]
        if not any(value.startswith("@") for _, value in pairs):
            return urllib.parse.quote(fields, safe="=&%+"), "application/x-www-form-urlencoded"
        parts = []
        for name, value in pairs:
            if value.startswith("@"):
                parts.append((f'name="{name}"; filename="{value[1:]}"', (CHAPTERS / value[1:]).read_bytes()))
            else:
                parts.append((f'name="{name}"', urllib.parse.unquote_plus(value).encode()))
        return multipart(parts)

    def do_picture(self, _text, path, address, *_words):
        self.take_picture(self, path, address, _words)

    def fingerprint(self, address):
        """Of what a picture of the address shows, without what depends on the day."""
        page = TODAY.sub("", PANEL.sub("", self.ask(address).text()))
        return hashlib.sha256((page + self.ask("/style.css").text()).encode()).hexdigest()
