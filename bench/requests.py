"""One request, as a web server makes it of a CGI program: its environment, its run, what it cost."""

import dataclasses
import os
import pathlib

import generate


@dataclasses.dataclass
class Result:
    milliseconds: float  # CPU time of every process that the request started, user and system
    output: bytes

    @property
    def body(self):
        """What follows the header."""
        ends = [(self.output.find(mark), len(mark)) for mark in (b"\n\n", b"\r\n\r\n")]
        at, length = min(((a, n) for a, n in ends if a >= 0), default=(0, 0))
        return self.output[at + length:]


def environment(page, folder, query="", body=None, content_type=generate.UPLOAD_TYPE):
    """The same for every program but for the page's path; `body` is the file of a form that is sent."""
    values = {
        "PATH": "/usr/local/bin:/usr/bin:/bin",
        "GATEWAY_INTERFACE": "CGI/1.1",
        "SERVER_SOFTWARE": "Apache",
        "SERVER_NAME": "localhost",
        "SERVER_PORT": "80",
        "SERVER_PROTOCOL": "HTTP/1.1",
        "REQUEST_METHOD": "POST" if body else "GET",
        "REQUEST_URI": "/page" + ("?" + query if query else ""),
        "QUERY_STRING": query,
        "SCRIPT_NAME": "/cgi-bin/program",
        "PATH_TRANSLATED": str(page),
        "SCRIPT_FILENAME": str(page),
        "DOCUMENT_ROOT": str(folder),
        "REDIRECT_STATUS": "200",
        "REMOTE_ADDR": "127.0.0.1",
        "REMOTE_PORT": "50000",
        "HTTP_HOST": "localhost",
        "HTTP_USER_AGENT": "Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0",
        "HTTP_ACCEPT": "text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8",
        "HTTP_ACCEPT_LANGUAGE": "en-US,en;q=0.5",
        "HTTP_ACCEPT_ENCODING": "gzip, deflate",
        "HTTP_CONNECTION": "keep-alive",
        "TZ": "UTC",
        "PHP_INI_SCAN_DIR": str(php_settings(pathlib.Path(folder))),
    }
    if body:
        values["CONTENT_TYPE"] = content_type
        values["CONTENT_LENGTH"] = str(os.path.getsize(body))
    return values


def php_settings(folder):
    """The extensions that php loads: those of the scenario, if it has its own, or of all of them."""
    own = folder / "php.d"
    return own if own.exists() else folder.parent / "php.d"


def read_all(descriptor):
    pieces = []
    while piece := os.read(descriptor, 1 << 16):
        pieces.append(piece)
    return b"".join(pieces)


def run(command, values, folder, body=None, read_from=1):
    """Runs a command in the folder. Output goes through a pipe that is read to its end; it is that of the
    descriptor `read_from`, 1 or 2. A status other than 0 is an error."""
    reading, writing = os.pipe2(os.O_CLOEXEC)
    actions = [(os.POSIX_SPAWN_OPEN, 0, str(body or "/dev/null"), os.O_RDONLY, 0)]
    if read_from != 1:
        actions.append((os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0))
    actions.append((os.POSIX_SPAWN_DUP2, writing, read_from))
    os.chdir(folder)
    child = os.posix_spawn(command[0], command, values, file_actions=actions)
    os.close(writing)
    output = read_all(reading)
    os.close(reading)
    _, status, usage = os.wait4(child, 0)  # its own use and that of the processes that it waited for
    if status != 0:
        raise RuntimeError(f"{' '.join(command)}: ended with status {status}:\n{output[:2000].decode(errors='replace')}")
    return Result((usage.ru_utime + usage.ru_stime) * 1000, output)
