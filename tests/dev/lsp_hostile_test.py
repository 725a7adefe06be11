"""The language server gets broken and hostile messages, and still answers; or ends by itself where the stream is lost."""

import json
import os
import random
import subprocess
import unittest

TOOL = os.environ["QUILLET_DEV"]
URI = "file:///nowhere/www/index.html"
TEXT = "@a[x]\n^macro[a;$x]^if[x>1;ä𝄞^var[n;1]`\n# c\n^item[t;c]]^rem[`\n@b\r\n^sum[^itme[1;;^config[named;a\tb]\n"
METHODS = ["hover", "completion", "signatureHelp", "definition", "references", "prepareRename", "rename",
           "documentSymbol", "semanticTokens/full", "codeAction", "didOpen", "didChange", "didClose", "didSave", "nothing"]


def framed(content):
    content = content if isinstance(content, bytes) else json.dumps(content).encode()
    return b"Content-Length: %d\r\n\r\n%s" % (len(content), content)


def request(method, params, number=1):
    return {"jsonrpc": "2.0", "id": number, "method": method, "params": params}


INITIALIZE = request("initialize", {"capabilities": {}}, 0)
OPEN = {"method": "textDocument/didOpen", "params": {"textDocument": {"uri": URI, "text": TEXT}}}
SHUTDOWN = [request("shutdown", None, "the last"), {"method": "exit"}]


def talk(*messages):
    """(exit status, the answers by their identifiers, standard error) of the server."""
    done = subprocess.run([TOOL, "lsp"], input=b"".join(map(framed, messages)), capture_output=True, timeout=300)
    answers = {}
    rest = done.stdout
    while rest:
        header, _, rest = rest.partition(b"\r\n\r\n")
        length = int(header.split(b":")[1])
        message = json.loads(rest[:length])
        answers[message.get("id")] = message
        rest = rest[length:]
    return done.returncode, answers, done.stderr


class Hostile(unittest.TestCase):
    def assert_survives(self, *messages):
        status, answers, said = talk(INITIALIZE, OPEN, *messages, *SHUTDOWN)
        self.assertEqual((status, said), (0, b""))
        self.assertIn("the last", answers)
        return answers

    def test_what_is_no_json_gets_an_error(self):
        for content in (b"", b"{", b"\xff\xfe", b'"\\ud800"', b"[" * 200000, b'{"a":' * 200000, b"nul", b'{"id":1e999}'):
            self.assertEqual(self.assert_survives(content)[None]["error"]["code"], -32700, content[:20])

    def test_what_is_no_request_gets_an_error(self):
        nested = b"[" * 200000 + b"]" * 200000
        for content in ({}, [], None, 5, "x", {"method": 5}, {"id": [], "method": "x"},
                        b'{"id":%s,"method":"x"}' % nested, nested):
            self.assertEqual(self.assert_survives(content)[None]["error"]["code"], -32600)

    def test_wrong_parameters_get_an_error(self):
        deep = "[" * 100000 + "]" * 100000
        for params in (None, [], 5, {}, {"textDocument": 5}, {"textDocument": {"uri": 5}}, {"textDocument": {"uri": URI}},
                       {"textDocument": {"uri": URI}, "position": {"line": "0", "character": 0}},
                       {"textDocument": {"uri": URI}, "position": {"line": -1, "character": 0}},
                       {"textDocument": {"uri": URI}, "position": {"line": 1e300, "character": 0.5}}):
            self.assertIn(self.assert_survives(request("textDocument/hover", params))[1]["error"]["code"], (-32602, -32803))
        message = b'{"id":1,"method":"textDocument/hover","params":%s}' % deep.encode()
        self.assertEqual(self.assert_survives(message)[1]["error"]["code"], -32602)

    def test_positions_outside_of_the_text_are_its_ends(self):
        for line in (0, 3, 7, 8, 2**31, 2**63):
            for character in (0, 5, 2**31, 2**64 - 1):
                at = {"textDocument": {"uri": URI}, "position": {"line": line, "character": character}}
                more = {"newName": "n", "context": {"includeDeclaration": True}}
                self.assert_survives(*[request(f"textDocument/{method}", at | more) for method in METHODS])

    def test_uris_of_all_kinds_are_names(self):
        for uri in ("", "file://", "file:///", "untitled:Untitled-1", "file:///%", "file:///%zz/%00/a", "file:///" + "a/" * 5000,
                    "file:///" + "../" * 50 + "etc/passwd", "ä", "file://host/x"):
            document = {"textDocument": {"uri": uri, "text": TEXT}}
            at = {"textDocument": {"uri": uri}, "position": {"line": 1, "character": 8}}
            self.assert_survives({"method": "textDocument/didOpen", "params": document},
                                 *[request(f"textDocument/{method}", at) for method in METHODS])

    def test_broken_headers_end_the_server(self):
        for stream in (b"", b"x", b"\r\n\r\n", b"Content-Length: \r\n\r\n", b"Content-Length: -5\r\n\r\n",
                       b"Content-Length: 99999999999999999999\r\n\r\n", b"Content-Length: 1000000000\r\n\r\n",
                       b"Content-Length: 10\r\n\r\n{}", b"a" * 100000):
            done = subprocess.run([TOOL, "lsp"], input=stream, capture_output=True, timeout=60)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (1, b"", b""), stream[:40])

    def test_the_order_of_a_conversation_is_kept(self):
        status, answers, _ = talk(request("textDocument/hover", {}), {"method": "exit"})
        self.assertEqual((status, answers[1]["error"]["code"]), (1, -32002))
        status, answers, _ = talk(INITIALIZE, request("shutdown", None, 2), request("textDocument/hover", {}), {"method": "exit"})
        self.assertEqual((status, answers[1]["error"]["code"]), (0, -32600))

    def random_value(self, chance, depth=0):
        kinds = [None, True, 0, -1, 5, 1e300, "", "a;b", "ä𝄞", URI, TEXT]
        if depth > 3 or chance.random() < 0.5:
            return chance.choice(kinds)
        if chance.random() < 0.5:
            return [self.random_value(chance, depth + 1) for _ in range(chance.randrange(4))]
        keys = ["textDocument", "uri", "position", "line", "character", "text", "range", "start", "end", "contentChanges"]
        return {chance.choice(keys): self.random_value(chance, depth + 1) for _ in range(chance.randrange(4))}

    def random_text(self, chance):
        return "".join(chance.choice(["^", "[", "]", ";", "`", "#", "@", "\n", "$", "if", "macro[a", "var[n;1]", "$x", "ä", "𝄞",
                                      "\t", "\r", " ", "item[c]", "rem["]) for _ in range(chance.randrange(60)))

    def test_random_messages(self):
        chance = random.Random(4711)
        for _ in range(20):
            messages = []
            for number in range(60):
                place = {"line": chance.randrange(9), "character": chance.randrange(30)}
                other = {"line": chance.randrange(9), "character": chance.randrange(30)}
                area = {"start": place, "end": other}
                params = {"textDocument": {"uri": URI, "text": self.random_text(chance)}, "position": place, "range": area,
                          "newName": "n", "context": {"includeDeclaration": True, "diagnostics": []},
                          "contentChanges": [{"range": area, "text": self.random_text(chance)}]}
                if chance.random() < 0.2:
                    params[chance.choice(list(params))] = self.random_value(chance)
                method = f"textDocument/{chance.choice(METHODS)}"
                is_notice = "did" in method
                messages.append({"method": method, "params": params} if is_notice else request(method, params, number + 1))
            self.assert_survives(*messages)


if __name__ == "__main__":
    unittest.main()
