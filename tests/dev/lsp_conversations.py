"""usage: lsp_conversations.py FILE or FOLDER...

Holds conversations with the language server (lsp/README.md says how they are written)."""

import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path
from urllib.parse import quote, unquote

TOOL = str(Path(os.environ.get("QUILLET_DEV", "build/asan/bin/quillet-dev")).resolve())


class Failed(Exception):
    pass


class Server:
    def __init__(self, folder, capabilities):
        self.folder = folder
        self.process = subprocess.Popen([TOOL, "lsp"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.count = 0
        self.notices = []
        self.answer = None
        if capabilities is not None:
            self.ask("initialize", {"capabilities": capabilities})
            self.notify("initialized", {})

    def uri(self, name):
        return "file://" + quote(str(self.folder / name))

    def write(self, content):
        self.process.stdin.write(content)
        self.process.stdin.flush()

    def send(self, message):
        content = json.dumps({"jsonrpc": "2.0", **message}).encode()
        self.write(b"Content-Length: %d\r\n\r\n%s" % (len(content), content))

    def notify(self, method, params):
        self.send({"method": method, "params": params})

    def ask(self, method, params):
        self.count += 1
        self.send({"id": self.count, "method": method, "params": params})
        while "method" in (message := self.read()):
            self.notices.append(message)
        if message.get("id") != self.count:
            raise Failed(f"no answer to {method}: {message}")
        self.answer = message

    def read(self):
        length = 0
        while (line := self.process.stdout.readline()) != b"\r\n":
            if not line:
                raise Failed(f"the server has ended with status {self.process.wait()}")
            name, _, value = line.partition(b":")
            if name.lower() == b"content-length":
                length = int(value)
        return json.loads(self.process.stdout.read(length))

    def next_notice(self):
        return self.notices.pop(0) if self.notices else self.read()

    # What the editor says, by the sections' names.

    def open(self, name, text):
        text = text or (self.folder / name).read_bytes().decode()
        self.notify("textDocument/didOpen", {"textDocument": {"uri": self.uri(name), "languageId": "quillet",
                                                              "version": 1, "text": text}})

    def change(self, name, changes):
        self.notify("textDocument/didChange", {"textDocument": {"uri": self.uri(name), "version": 2},
                                               "contentChanges": changes})

    def findings(self, name):
        # Those of other files come in between; of one file the last ones count.
        while True:
            message = self.next_notice()
            if message.get("method") != "textDocument/publishDiagnostics":
                raise Failed(f"no findings: {message}")
            if message["params"]["uri"] == self.uri(name):
                return message["params"]["diagnostics"]

    def finish(self):
        if self.process.poll() is None:
            self.ask("shutdown", None)
            self.notify("exit", None)
        self.process.stdin.close()
        status = self.process.wait(timeout=60)
        if status != 0:
            raise Failed(f"the server ended with status {status}")


def parse_sections(text):
    parts = re.split(r"^== (.*)\n", text, flags=re.M)
    return [(heading.split(), body) for heading, body in zip(parts[1::2], parts[2::2])]


def place(text):
    line, _, character = text.partition(":")
    return {"line": int(line), "character": int(character)}


def ranges_in(value):
    """Texts like "0:0-0:5" as ranges."""
    if isinstance(value, dict):
        return {key: ranges_in(one) for key, one in value.items()}
    if isinstance(value, list):
        return [ranges_in(one) for one in value]
    if isinstance(value, str) and (found := re.fullmatch(r"(\d+:\d+)-(\d+:\d+)", value)):
        return {"start": place(found[1]), "end": place(found[2])}
    return value


def simplified(value, folder):
    """What the server said in the form in which it is expected: ranges and URIs are short."""
    if isinstance(value, dict):
        if set(value) == {"start", "end"}:
            return "-".join(f"{value[end]['line']}:{value[end]['character']}" for end in ("start", "end"))
        return {simplified(key, folder): simplified(one, folder) for key, one in value.items()}
    if isinstance(value, list):
        return [simplified(one, folder) for one in value]
    if isinstance(value, str) and value.startswith("file://"):
        return unquote(value[7:]).removeprefix(f"{folder}/")
    return value


def fits(found, expected):
    if isinstance(expected, dict):
        return isinstance(found, dict) and all(key in found and fits(found[key], expected[key]) for key in expected)
    if isinstance(expected, list):
        if not isinstance(found, list):
            return False
        if expected[-1:] == ["..."]:
            expected = expected[:-1]
            found = found[:len(expected)]
        return len(found) == len(expected) and all(map(fits, found, expected))
    if isinstance(expected, str) and expected.startswith("~"):
        return isinstance(found, str) and expected[1:] in found
    return found == expected


def converse(sections, folder):
    capabilities = {}
    files = [section for section in sections if section[0][0] in ("file", "folder", "initialize")]
    for (kind, *name), body in files:
        if kind == "initialize":
            capabilities = json.loads(body)
            continue
        path = folder / name[0]
        (path if kind == "folder" else path.parent).mkdir(parents=True, exist_ok=True)
        if kind == "file":
            path.write_bytes(body.encode())
    server = Server(folder, capabilities)
    try:
        for heading, body in sections:
            speak(server, heading, body)
        server.finish()
    finally:
        server.process.kill()
        server.process.wait()
        server.process.stdin.close()
        server.process.stdout.close()


def speak(server, heading, body):
    kind, *words = heading
    found = None
    if kind in ("file", "folder", "initialize"):
        return
    if kind == "open":
        return server.open(words[0], body)
    if kind == "change":
        return server.change(words[0], ranges_in(json.loads(body)))
    if kind == "raw":
        return server.write(body.rstrip("\n").encode().decode("unicode_escape").encode("latin-1"))
    if kind in ("ask", "notice"):
        params = ranges_in(json.loads(body)) if body.strip() else {}
        if len(words) > 1:
            params = {"textDocument": {"uri": server.uri(words[1])}, **params}
        if len(words) > 2:
            params["position"] = place(words[2])
        return (server.ask if kind == "ask" else server.notify)(words[0], params)
    if kind == "findings":
        found = server.findings(words[0])
    elif kind == "message":
        found = server.next_notice()
    elif kind in ("answer", "refusal"):
        member = {"answer": "result", "refusal": "error"}[kind]
        if member not in server.answer:
            raise Failed(f"no {member}: {server.answer}")
        found = server.answer[member]
    else:
        raise Failed(f"no section {kind}")
    found = simplified(found, server.folder)
    if not fits(found, json.loads(body)):
        shown = json.dumps(found, indent=1, ensure_ascii=False)
        raise Failed(f"== {' '.join(heading)}\nexpected:\n{body}found:\n{shown}")


def main():
    paths = [path for name in sys.argv[1:] for path in
             (sorted(Path(name).rglob("*.txt")) if Path(name).is_dir() else [Path(name)])]
    failures = 0
    for path in paths:
        with tempfile.TemporaryDirectory(prefix="quillet lsp ") as name:
            try:
                converse(parse_sections(path.read_text()), Path(name).resolve())
            except (Failed, subprocess.TimeoutExpired) as failure:
                failures += 1
                print(f"{path}: {failure}")
    print(f"{len(paths)} conversations, {failures} failures")
    sys.exit(1 if failures or not paths else 0)


if __name__ == "__main__":
    main()
