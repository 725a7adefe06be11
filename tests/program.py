"""The program under test: where it is, and the environment in which a web server would start it.

The program is that of the variable QUILLET_PROGRAM. It may be static; QUILLET_DYNAMIC_PROGRAM names one of the same
objects, in the same folder, in which a preloaded library can replace functions of the C library.
"""

import os
import subprocess
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PROGRAM = Path(os.environ.get("QUILLET_PROGRAM", ROOT / "build/asan/bin/quillet")).resolve()
DYNAMIC_PROGRAM = Path(os.environ.get("QUILLET_DYNAMIC_PROGRAM", PROGRAM)).resolve()
# What it starts for a page that asks for a database; looked for in its folder.
DATABASE_PROGRAM = PROGRAM.with_name("quillet-database")
TIMEOUT = 90  # seconds for whatever should happen: long, so that only what hangs meets it


def cgi_environment(root, page="www/page.html"):
    """The environment of a request for a page of the site in the folder `root`, whose document root is `www` there.

    No leaks are looked for: that needs more open files than some tests leave, and fails in a traced process.
    """
    return {
        "PATH": "/usr/local/bin:/usr/bin:/bin",
        "TZ": "UTC",
        "GATEWAY_INTERFACE": "CGI/1.1",
        "SERVER_PROTOCOL": "HTTP/1.1",
        "SERVER_NAME": "localhost",
        "SERVER_PORT": "80",
        "REQUEST_METHOD": "GET",
        "REQUEST_URI": "/" + page.removeprefix("www/"),
        "PATH_TRANSLATED": os.path.join(root, page),
        "DOCUMENT_ROOT": os.path.join(root, "www"),
        "SCRIPT_NAME": "/cgi-bin/quillet",
        "REMOTE_ADDR": "127.0.0.1",
        "ASAN_OPTIONS": "detect_leaks=0",
    }


def multipart(fields, boundary="a boundary"):
    """(body, content type) of a form; `fields`: pairs of what its disposition says, as 'name="a"', and its bytes."""
    body = b"".join(f'--{boundary}\r\nContent-Disposition: form-data; {disposition}\r\n\r\n'.encode() + content + b"\r\n"
                    for disposition, content in fields)
    return body + f"--{boundary}--\r\n".encode(), f'multipart/form-data; boundary="{boundary}"'


def compile_c(source, made, *flags):
    """Compiles a C file by the compiler of the build."""
    subprocess.run([os.environ.get("QUILLET_C_COMPILER", "cc"), *flags, "-o", made, source], check=True)


def wait_for(condition, what):
    """The first result of the condition that counts as true. For what no system call can wait for."""
    deadline = time.monotonic() + TIMEOUT
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {TIMEOUT} seconds for {what}")
        time.sleep(0.05)
    return result
