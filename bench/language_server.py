#!/usr/bin/env python3
"""usage: bench/language_server.py PROGRAM

How fast `quillet-dev lsp` answers on a page of 2,000 lines, in a site of 100 pages. Prints for each request the median
and the largest of 30 wall times in milliseconds, from writing the request to reading the answer. PROGRAM is quillet-dev
of a release build.
"""

import json
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROUNDS = 30
BLOCK = """@part{n}[title;text]
<h2 class="part">$title</h2>
^var[count;+;1]^if[count > {n} && count < 4000;<p>$text</p>;<p>^default[^form[note{n}];none]</p>]
^context[goods;^load[named;goods]^menu[<tr><td>^item[name]</td><td>^eval[^item[price] * 2;%.2f]</td></tr>]]
^macro[frame;Part {n};^sum[^var[count];1] ^match[[a-z]+;g;-;^env[HTTP_HOST]]]

"""


class Server:
    def __init__(self, program):
        self.process = subprocess.Popen([program, "lsp"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.number = 0

    def send(self, message):
        content = json.dumps(message).encode()
        self.process.stdin.write(b"Content-Length: %d\r\n\r\n%s" % (len(content), content))
        self.process.stdin.flush()

    def read_bytes(self):
        length = 0
        while (line := self.process.stdout.readline()).strip():
            length = int(line.split(b":")[1])
        return self.process.stdout.read(length)

    # Notices come only after an answer is waited for: the next message is the answer.
    def ask(self, method, params):
        self.number += 1
        self.send({"jsonrpc": "2.0", "id": self.number, "method": method, "params": params})
        return self.read_bytes()


def write_site(folder):
    (folder / "run").mkdir()
    (folder / "www").mkdir()
    (folder / "run/_macro.cfg").write_text("# The frame.\n@frame[title;body]\n<h1>$title</h1>$body\n")
    (folder / "www/_goods").write_text("name\tprice\nTea\t3\n")
    for number in range(99):
        (folder / f"www/page{number}.html").write_text(f"@main\n^macro[frame;Page {number};^uri[]]\n")
    page = folder / "www/index.html"
    page.write_text("".join(BLOCK.replace("{n}", str(n)) for n in range(333)) + "@main\n^macro[part7;a;b]\n")
    return page


def measure(name, work):
    times = []
    for _ in range(ROUNDS):
        start = time.perf_counter()
        work()
        times.append((time.perf_counter() - start) * 1000)
    print(f"{name:32} {statistics.median(times):8.2f} {max(times):8.2f}")


def main():
    with tempfile.TemporaryDirectory() as name:
        page = write_site(Path(name).resolve())
        server = Server(sys.argv[1])
        uri = f"file://{page}"
        server.ask("initialize", {"capabilities": {}})
        text = page.read_text()
        print(f"{text.count(chr(10))} lines, {len(text)} bytes\n{'':32} {'median':>8} {'largest':>8}  ms")
        server.send({"method": "textDocument/didOpen", "params": {"textDocument": {"uri": uri, "text": text}}})
        server.read_bytes()
        document = {"textDocument": {"uri": uri}}
        line = 1500  # where a part begins

        def at(down, character, **more):
            return {**document, "position": {"line": line + down, "character": character}, **more}

        for method, params in {
            "textDocument/hover": at(4, 3),
            "textDocument/completion": at(3, 2),
            "textDocument/signatureHelp": at(4, 40),
            "textDocument/definition": at(4, 9),
            "textDocument/references": at(4, 9, context={"includeDeclaration": True}),
            "textDocument/rename": at(2, 6, newName="number"),
            "textDocument/documentSymbol": document,
            "textDocument/semanticTokens/full": document,
            "textDocument/codeAction": {**document, "range": {"start": {"line": 9, "character": 0},
                                                              "end": {"line": 9, "character": 9}}},
        }.items():
            answer = json.loads(server.ask(method, params))
            if "result" not in answer or not answer["result"] and method != "textDocument/codeAction":
                sys.exit(f"{method} gives nothing: {answer}")
            measure(method.removeprefix("textDocument/"), lambda method=method, params=params: server.ask(method, params))

        def type_a_letter():
            change = {"range": {"start": {"line": line, "character": 0}, "end": {"line": line, "character": 0}}, "text": " "}
            server.send({"method": "textDocument/didChange",
                         "params": {"textDocument": {"uri": uri, "version": 2}, "contentChanges": [change]}})
            server.read_bytes()

        measure("a letter, then its findings", type_a_letter)
        server.process.kill()
        server.process.communicate()


if __name__ == "__main__":
    main()
