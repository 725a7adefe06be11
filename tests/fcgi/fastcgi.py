"""A FastCGI client (version 1 of the protocol, as the web servers speak it), and a running quillet-fcgi to talk to."""

import contextlib
import os
import pathlib
import signal
import socket
import struct
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from program import PROGRAM, TIMEOUT, wait_for  # noqa: E402

SERVER = PROGRAM.with_name("quillet-fcgi")
SANITIZED = b"__asan_init" in SERVER.read_bytes()

BEGIN, END, PARAMS, STDIN, STDOUT, STDERR = 1, 3, 4, 5, 6, 7
HEADER = struct.Struct(">BBHHBx")
RESPONDER = struct.pack(">HB5x", 1, 0)
LONGEST_RECORD = 65535


def record(kind, content):
    return HEADER.pack(1, kind, 1, len(content), 0) + content


def stream(kind, content):
    """The content in records, and the empty one that ends it."""
    pieces = [content[at:at + LONGEST_RECORD] for at in range(0, len(content), LONGEST_RECORD)]
    return b"".join(record(kind, piece) for piece in [*pieces, b""])


def pair(name, value):
    def length(size):
        return bytes([size]) if size < 128 else struct.pack(">I", size | 0x80000000)
    return length(len(name)) + length(len(value)) + name + value


def request_bytes(parameters, body=b""):
    """The whole request; names and values of the parameters are texts or bytes."""
    pairs = b"".join(pair(os.fsencode(name), os.fsencode(value)) for name, value in parameters.items())
    return record(BEGIN, RESPONDER) + stream(PARAMS, pairs) + stream(STDIN, body)


class Answer:
    """What came back. `status` is None when the connection ended without the end of the request."""

    def __init__(self):
        self.output, self.errors, self.status = b"", b"", None

    def read(self, connection):
        with contextlib.suppress(ConnectionResetError):
            self.read_records(connection.makefile("rb"))
        return self

    def read_records(self, data):
        while len(head := data.read(HEADER.size)) == HEADER.size:
            _, kind, _, size, padding = HEADER.unpack(head)
            content = data.read(size + padding)[:size]
            if kind == STDOUT:
                self.output += content
            elif kind == STDERR:
                self.errors += content
            elif kind == END:
                self.status = struct.unpack(">I", content[:4])[0]
                return


class Server:
    """A running quillet-fcgi. Its sockets lie in a folder of their own."""

    def __init__(self, directory, *options, environment=None, program=SERVER, limits=(), stdin=subprocess.DEVNULL,
                 socket_option=True):
        self.folder = tempfile.TemporaryDirectory(prefix="quillet-fcgi-")
        self.path = os.path.join(self.folder.name, "socket")
        self.status_path = os.path.join(self.folder.name, "status")
        self.log_path = os.path.join(self.folder.name, "log")
        arguments = ["--directory", os.fspath(directory), "--status", self.status_path, *options]
        if SANITIZED and "--memory" not in options:  # the sanitizers reserve more than a request may use
            arguments += ["--memory", "1000000000"]
        if socket_option:
            arguments = ["--socket", self.path, *arguments]
        with open(self.log_path, "wb") as log:
            self.process = subprocess.Popen(
                [*limits, os.fspath(program), *arguments], stdin=stdin, stdout=subprocess.DEVNULL, stderr=log,
                env={"ASAN_OPTIONS": "detect_leaks=0:allocator_may_return_null=1", "PATH": os.environ["PATH"],
                     **(environment or {})})
        wait_for(lambda: os.path.exists(self.status_path) or self.process.poll() is not None, "the server's socket")

    def connect(self):
        connection = socket.socket(socket.AF_UNIX)
        connection.settimeout(TIMEOUT)
        connection.connect(self.path)
        return connection

    def ask(self, parameters, body=b""):
        with self.connect() as connection:
            try:
                connection.sendall(request_bytes(parameters, body))
            except BrokenPipeError:  # it answered before the body was there
                pass
            return Answer().read(connection)

    def status(self, path="/"):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(TIMEOUT)
            connection.connect(self.status_path)
            connection.sendall(f"GET {path} HTTP/1.0\r\n\r\n".encode())
            return connection.makefile("rb").read().decode()

    def figures(self):
        """The numbers of the plain status by name."""
        pairs = (line.split(": ") for line in self.status().splitlines() if line.count(": ") == 1)
        return {name: float(value) for name, value in pairs if value.replace(".", "").isdigit()}

    def log(self):
        return pathlib.Path(self.log_path).read_text(errors="replace")

    def children(self):
        tasks = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children")
        return [int(number) for number in tasks.read_text().split()]

    def stop(self, number=signal.SIGTERM):
        """Ends it; gives its exit status."""
        if self.process.poll() is None:
            self.process.send_signal(number)
        status = self.process.wait(TIMEOUT)
        log = self.log() if os.path.exists(self.log_path) else ""  # stopped before
        self.folder.cleanup()
        if "Sanitizer" in log or "runtime error" in log:
            raise AssertionError("the sanitizers found something:\n" + log)
        return status
