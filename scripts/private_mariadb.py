"""A MariaDB server of one's own: in a temporary folder, for as long as it is wanted.

    with PrivateServer() as server:
        server.run("create database shop")
        ... server.socket, server.port ...

It has its own data, socket and loopback port, reads no option files and runs as an ordinary user; nothing of
it is left at the end, and it ends with the process that started it. Texts are in KOI8-R: what a client sends
and gets is taken for that, whatever it says itself. root may connect without a password.

Packages: mariadb-server-core (which starts no service) and mariadb-client-core.
"""

import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import threading

SERVER = shutil.which("mariadbd", path="/usr/sbin:/usr/local/sbin:" + os.environ.get("PATH", ""))
READY = b"ready for connections"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def make_data(command, folder):
    """Runs `mariadb-install-db`, by the command, in the folder; a failure is a RuntimeError with what it said."""
    making = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              cwd=folder, env={**os.environ, "TMPDIR": str(folder)}, start_new_session=True)
    with making:
        try:
            said = making.communicate()[0]
        except BaseException:
            os.killpg(making.pid, signal.SIGKILL)  # it is a script: what it started, too
            raise
    if making.returncode != 0:
        raise RuntimeError("mariadb-install-db failed:\n" + said.decode(errors="replace"))


class PrivateServer:
    def __init__(self):
        if SERVER is None:
            raise RuntimeError("there is no mariadbd: scripts/install-packages tests")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="quillet-mariadb."))
        self.socket = self.folder / "socket"
        self.process = self.drain = None
        try:
            self._make_data()
            self._start()
        except BaseException:
            self.stop()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def _as_user(self):
        """What runs a command as an ordinary user, to be ended with this process."""
        command = ["setpriv", "--pdeathsig", "TERM"]
        if os.geteuid() == 0:
            shutil.chown(self.folder, "nobody", "nogroup")
            command += ["--reuid", "nobody", "--regid", "nogroup", "--clear-groups"]
        return command

    def _make_data(self):
        make_data([*self._as_user(), "mariadb-install-db", "--no-defaults", f"--datadir={self.folder}/data",
                   "--auth-root-authentication-method=normal", "--skip-test-db", "--skip-name-resolve",
                   "--force"],  # also where the machine cannot look up its own name
                  self.folder)

    def _start(self, attempts=5):
        """The port may be taken between asking for it and binding: then another one."""
        self.port = free_port()
        self.process = subprocess.Popen(
            [*self._as_user(), SERVER, "--no-defaults", f"--datadir={self.folder}/data", f"--socket={self.socket}",
             f"--pid-file={self.folder}/pid", f"--tmpdir={self.folder}", f"--port={self.port}",
             "--bind-address=127.0.0.1", "--skip-name-resolve", "--innodb-flush-log-at-trx-commit=0",
             "--character-set-server=koi8r", "--skip-character-set-client-handshake"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, cwd=self.folder)
        said = []
        for line in self.process.stderr:
            said.append(line)
            if READY in line:
                self.drain = threading.Thread(target=self.process.stderr.read)
                self.drain.start()
                return
        self.process.wait()
        if attempts > 1 and b"in use" in b"".join(said):
            return self._start(attempts - 1)
        raise RuntimeError("mariadbd ended:\n" + b"".join(said).decode(errors="replace"))

    def run(self, statements, database=""):
        """Runs statements as root, as one reads them in a file; gives what they print, without headings."""
        if isinstance(statements, str):
            statements = statements.encode("koi8-r")
        done = subprocess.run(
            ["mariadb", "--no-defaults", f"--socket={self.socket}", "--user=root", "--default-character-set=koi8r",
             "--batch", "--raw", "--skip-column-names", database],
            input=statements, capture_output=True)
        if done.returncode != 0:
            raise RuntimeError(done.stderr.decode("koi8-r", errors="replace"))
        return done.stdout

    def stop(self):
        if self.process is not None:
            self.process.terminate()
            self.process.wait()
            if self.drain is not None:
                self.drain.join()
            self.process.stderr.close()
        shutil.rmtree(self.folder, ignore_errors=True)
