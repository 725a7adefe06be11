"""What a private cluster consists of: processes with a folder each, on the loopback ports of this machine.

Each is started by `start`, which waits until it is ready; `kill` ends it from one moment to the next, `stop` in order.
The cluster that they are made for gives them `new_folder(name)`, and what it knows of the others.
"""

import os
import pathlib
import pwd
import shutil
import signal
import socket
import subprocess
import time

from private_mariadb import free_port, make_data

PACKAGING = pathlib.Path(__file__).resolve().parent.parent / "packaging"
USER = "www-data" if os.geteuid() == 0 else pwd.getpwuid(os.geteuid()).pw_name
PATIENCE = 180  # seconds for a node to get ready
GALERA = "/usr/lib/galera/libgalera_smm.so"


def accepts(address):
    family = socket.AF_INET if isinstance(address, tuple) else socket.AF_UNIX
    with socket.socket(family) as probe:
        return probe.connect_ex(address if isinstance(address, tuple) else str(address)) == 0


def as_user(*command):
    """The command as an ordinary user, to be ended with this process."""
    change = []
    if os.geteuid() == 0:
        account = pwd.getpwnam(USER)
        change = ["--reuid", str(account.pw_uid), "--regid", str(account.pw_gid), "--clear-groups"]
    return ["setpriv", "--pdeathsig", "TERM", *change, *map(str, command)]


class Node:
    """A process with a folder and a log of its own, and what it starts."""

    def __init__(self, cluster, name):
        self.cluster, self.name = cluster, name
        self.folder = cluster.new_folder(name)
        self.log = self.folder / "log"
        self.log.touch()
        cluster.give_away(self.log)
        self.process = None

    def start(self, *options):
        """Starts it and waits until it is ready. An error is a RuntimeError with the end of the log."""
        self.begin(*options)
        self.wait()

    def begin(self, *options):
        with open(self.log, "ab") as log:
            self.process = subprocess.Popen(as_user(*self.command(), *options), stdin=subprocess.DEVNULL, stdout=log,
                                            stderr=log, cwd=self.folder, start_new_session=True,
                                            env={**os.environ, "TMPDIR": str(self.folder), **self.environment()})

    def environment(self):
        return {}

    def wait(self):
        deadline = time.monotonic() + PATIENCE
        while not self.is_ready():
            if self.process.poll() is not None:
                raise RuntimeError(f"{self.name} has ended\n{self.end_of_log()}")
            if time.monotonic() > deadline:
                raise RuntimeError(f"{self.name} is not ready after {PATIENCE} seconds\n{self.end_of_log()}")
            time.sleep(0.1)

    def end_of_log(self):
        return "".join(self.log.read_text(errors="replace").splitlines(keepends=True)[-25:])

    def runs(self):
        return self.process is not None and self.process.poll() is None

    def kill(self):
        """It is gone from one moment to the next, with all that it started."""
        os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()

    def stop(self):
        if self.runs():
            self.process.terminate()
            try:
                self.process.wait(30)
            except subprocess.TimeoutExpired:
                self.kill()


class DatabaseNode(Node):
    def __init__(self, cluster, name):
        super().__init__(cluster, name)
        self.data = cluster.new_folder(name + "/data")
        self.socket = self.folder / "socket"
        self.user = "probe"  # who asks for its state
        self.port, self.group_port, self.missing_port, self.copy_port = (free_port() for _ in range(4))

    def write_settings(self, group):
        (self.folder / "my.cnf").write_text(f"""[mariadbd]
datadir={self.data}
socket={self.socket}
pid-file={self.folder}/pid
tmpdir={self.folder}
bind-address=127.0.0.1
port={self.port}
skip-name-resolve
character-set-server=utf8mb4
innodb-buffer-pool-size=64M

# What Galera asks for. Other nodes have what a node loses when its machine fails.
binlog-format=row
innodb-autoinc-lock-mode=2
innodb-flush-log-at-trx-commit=2

wsrep-on=on
wsrep-provider={GALERA}
wsrep-cluster-name=quillet
wsrep-cluster-address=gcomm://{group}
wsrep-node-name={self.name}
wsrep-node-address=127.0.0.1
wsrep-provider-options=gmcast.listen_addr=tcp://127.0.0.1:{self.group_port};ist.recv_addr=127.0.0.1:{self.missing_port}
wsrep-sst-method=rsync
wsrep-sst-receive-address=127.0.0.1:{self.copy_port}

# Who writes by one node and reads by another one finds what was written.
wsrep-sync-wait=1
""")

    def command(self):
        return ["mariadbd", f"--defaults-file={self.folder}/my.cnf"]

    def make_data(self):
        make_data(as_user("mariadb-install-db", f"--defaults-file={self.folder}/my.cnf", "--wsrep-on=off",
                          "--auth-root-authentication-method=normal", "--skip-test-db", "--force"), self.folder)

    def start(self, *options):
        """After an end in the middle the node says where it was, so that the others send only what it missed."""
        position = "" if "--wsrep-new-cluster" in options else self.recovered_position()
        super().start(*options, *([f"--wsrep-start-position={position}"] if position else []))

    def recovered_position(self):
        if not (self.data / "grastate.dat").exists():
            return ""
        said = subprocess.run(as_user(*self.command(), "--wsrep-recover"), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=self.folder, text=True).stdout
        return said.partition("Recovered position:")[2].split(maxsplit=1)[0] if "Recovered position:" in said else ""

    def run(self, statements, database=""):
        """What statements print, without headings."""
        client = subprocess.run(["mariadb", "--no-defaults", f"--socket={self.socket}", f"--user={self.user}",
                                 "--default-character-set=utf8mb4", "--batch", "--raw", "--skip-column-names",
                                 database],
                                input=statements, capture_output=True, text=True)
        if client.returncode != 0:
            raise RuntimeError(f"{self.name}: {client.stderr}")
        return client.stdout

    def state(self):
        try:
            return self.run("show status like 'wsrep_local_state_comment'").strip().partition("\t")[2]
        except RuntimeError:
            return "unreachable"

    def is_ready(self):
        return self.state() == "Synced"


class Balancer(Node):
    """HAProxy in front of the database nodes."""

    def __init__(self, cluster, name):
        super().__init__(cluster, name)
        self.port = free_port()
        text = (PACKAGING / "haproxy/galera.cfg").read_text().replace("127.0.0.1:3306", f"127.0.0.1:{self.port}")
        for number, node in enumerate(cluster.databases, 1):
            text = text.replace(f"10.0.0.{number}:3306", f"127.0.0.1:{node.port}")
        (self.folder / "haproxy.cfg").write_text(text)

    def command(self):
        return ["/usr/sbin/haproxy", "-db", "-f", self.folder / "haproxy.cfg"]

    def is_ready(self):
        return accepts(("127.0.0.1", self.port))


class WebNode(Node):
    """quillet-fcgi with a working folder of its own; the chat in it is the one that all nodes have."""

    def __init__(self, cluster, name):
        super().__init__(cluster, name)
        self.socket, self.status = self.folder / "socket", self.folder / "status"
        self.work = cluster.new_folder(name + "/run")
        for file in ("_macro.cfg", ".profile"):
            shutil.copy(cluster.shared / "run" / file, self.work)
        (self.work / "chat").symlink_to(cluster.shared / "run/chat")

    def command(self):
        return [self.cluster.bin / "quillet-fcgi", "--socket", self.socket, "--status", self.status,
                "--directory", self.work]

    def environment(self):
        return {"QUILLET_DATABASE": self.cluster.connection}

    def is_ready(self):
        return accepts(self.socket)


class WebServer(Node):
    """nginx in front of the web nodes."""

    def __init__(self, cluster, name, port):
        super().__init__(cluster, name)
        self.port = port
        for path in (PACKAGING / "nginx").iterdir():
            (self.folder / path.name).write_text(path.read_text().replace("/usr/share/quillet/nginx", str(self.folder)))
        nodes = "".join(f"    server unix:{node.socket};\n" for node in cluster.webs)
        temporary = "".join(f"  {kind}_temp_path {self.folder}/{kind};\n"
                            for kind in ("client_body", "fastcgi", "proxy", "uwsgi", "scgi"))
        (self.folder / "nginx.conf").write_text(f"""daemon off;
pid {self.folder}/nginx.pid;
error_log {self.folder}/log;
events {{ worker_connections 1024; }}
http {{
  include /etc/nginx/mime.types;
  access_log off;
{temporary}
  upstream quillet_nodes {{
{nodes}  }}
  server {{
    listen 127.0.0.1:{port};
    root {cluster.shared}/www;
    set $quillet_socket quillet_nodes;
    set $quillet_program "";
    include {self.folder}/quillet.conf;
    # Its passwords are a matter of Apache httpd's files.
    location ^~ /members/ {{ return 403; }}
  }}
}}
""")

    def command(self):
        return ["/usr/sbin/nginx", "-c", self.folder / "nginx.conf", "-e", self.log]

    def is_ready(self):
        """It has the port; somebody else may have it."""
        number = self.folder / "nginx.pid"
        return number.exists() and number.read_text().strip() == str(self.process.pid)
