"""A site on several nodes, all of them on this machine's loopback ports, for as long as it is wanted.

    with Cluster(site, programs, port) as cluster:
        cluster.databases[0].kill() ... cluster.databases[0].start()

    browser --- nginx --+-- web-1: quillet-fcgi --+-- HAProxy --+-- database-1: MariaDB with Galera
                        +-- web-2: quillet-fcgi --+             +-- database-2
                                                                +-- database-3

Everything is in a temporary folder: what the web nodes share (the pages, and beside them what visitors leave), a
working folder of each web node, and the data of each database node. The configuration is that of packaging/. Every
process runs as an ordinary user; nothing of it is left at the end.

Packages: scripts/install-packages cluster.
"""

import os
import pathlib
import secrets
import shutil
import subprocess
import tempfile

from cluster_nodes import USER, Balancer, DatabaseNode, WebNode, WebServer
from private_mariadb import free_port

ROOT = pathlib.Path(__file__).resolve().parent.parent


class Cluster:
    """`site`: a folder with www, run and database, of which a copy is served; `programs`: the folder of the program
    and of quillet-fcgi; `port`: nginx's, any when it is left out; `say` is told what is being started."""

    def __init__(self, site, programs, port=None, say=lambda text: None):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="quillet-cluster."))
        self.folder.chmod(0o755)
        self.say = say
        self.nodes = []
        try:
            self._copy(pathlib.Path(site), pathlib.Path(programs))
            self._start_databases(pathlib.Path(site) / "database")
            self._start_web(port or free_port())
        except BaseException:
            self.stop()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def new_folder(self, name):
        folder = self.folder / name
        folder.mkdir(parents=True)
        self.give_away(folder)
        return folder

    def give_away(self, path):
        if os.geteuid() == 0:
            subprocess.run(["chown", "-R", USER + ":", path], check=True)

    def _copy(self, site, programs):
        self.shared, self.bin = self.folder / "shared", self.folder / "bin"
        for name in ("www", "run"):
            shutil.copytree(site / name, self.shared / name)
        (self.shared / "run/chat").mkdir(exist_ok=True)
        self.give_away(self.shared)
        self.bin.mkdir()
        for program in ("quillet", "quillet-database", "quillet-fcgi"):
            shutil.copy(programs / program, self.bin)

    def _start(self, node, *options):
        self.say(f"Starting {node.name} ...")
        self.nodes.append(node)
        node.start(*options)

    def _start_databases(self, schema):
        """The first node begins the cluster; each other one gets a copy of its data."""
        self.databases = [DatabaseNode(self, f"database-{number}") for number in (1, 2, 3)]
        group = ",".join(f"127.0.0.1:{node.group_port}" for node in self.databases)
        for node in self.databases:
            node.write_settings(group)
        first = self.databases[0]
        first.make_data()
        first.user = "root"
        self._start(first, "--wsrep-new-cluster")
        self._fill(first, schema)
        first.user = "probe"
        for node in self.databases[1:]:
            self._start(node)

    def _fill(self, node, schema):
        self.password = secrets.token_hex(16)
        node.run("create database demo default character set utf8mb4")
        for file in sorted(schema.glob("*.sql")):
            node.run(file.read_text(), "demo")
        node.run(f"create user demo@127.0.0.1 identified by '{self.password}';"
                 "grant select, insert, update on demo.* to demo@127.0.0.1;"
                 "create user probe@127.0.0.1, probe@localhost;"
                 "delete from mysql.global_priv where User not in ('demo', 'probe'); flush privileges")

    def _start_web(self, port):
        self.balancer = Balancer(self, "haproxy")
        self._start(self.balancer)
        self.connection = f"demo:{self.password}@127.0.0.1:{self.balancer.port}/demo"
        self.webs = [WebNode(self, f"web-{number}") for number in (1, 2)]
        for node in self.webs:
            self._start(node)
        self.web_server = WebServer(self, "nginx", port)
        self._start(self.web_server)

    def stop(self):
        for node in reversed(self.nodes):
            node.stop()
        shutil.rmtree(self.folder, ignore_errors=True)
