"""Requests to a web server on a loopback port, for test classes."""

import contextlib
import http.client
import socket

PATIENCE = 120  # seconds


class Reply:
    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read()

    def text(self):
        return self.body.decode("utf-8", "surrogateescape")


class Asking:
    """For a class that says the server's port in `port()`."""

    def ask(self, path, method="GET", body=None, headers=None, in_chunks=False):
        connection = http.client.HTTPConnection("127.0.0.1", self.port(), timeout=PATIENCE)
        with contextlib.closing(connection):
            connection.request(method, path, body, headers or {}, encode_chunked=in_chunks)
            return Reply(connection.getresponse())

    def post(self, path, body, content_type="application/x-www-form-urlencoded"):
        return self.ask(path, "POST", body, {"Content-Type": content_type})

    def ask_raw(self, target, header_lines=()):
        """A request whose target is sent unchanged."""
        with socket.create_connection(("127.0.0.1", self.port()), timeout=PATIENCE) as stream:
            lines = [f"GET {target} HTTP/1.1", "Host: localhost", "Connection: close", *header_lines, "", ""]
            stream.sendall("\r\n".join(lines).encode("latin-1"))
            return self.reply(stream)

    def reply(self, stream):
        """What comes for a request that was sent."""
        response = http.client.HTTPResponse(stream)
        response.begin()
        return Reply(response)
