#!/usr/bin/env python3
"""Installs the package in a bare Debian 12 and serves a page by the words of docs/deploying.md, for each web server.

    install_test.py PACKAGE.deb [DIRECTORY]

Needs root, debootstrap and Debian's packages; DIRECTORY keeps the bare system for the next time. There is no systemd
in it: what units would start is started here. The package of quillet-dev is beside PACKAGE.
"""

import re
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PACKAGE = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None
DEV_PACKAGE = PACKAGE and PACKAGE.with_name(PACKAGE.name.replace("quillet_", "quillet-dev_"))
KEPT = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None

FOREGROUND = {"nginx": "nginx -g 'daemon off;'", "apache": "apachectl -D FOREGROUND", "lighttpd": "lighttpd -D -f "
              "/etc/lighttpd/lighttpd.conf"}
# A network of its own, so that port 80 is free; the service as its unit says, on the socket of the other unit.
SERVE = """
ip link set lo up 2>/dev/null || true
mkdir -p /run/quillet /run/quillet-fcgi && chown www-data: /run/quillet /run/quillet-fcgi
runuser -u www-data -- /usr/sbin/quillet-fcgi --config /etc/quillet/fcgi.conf --socket /run/quillet/fcgi.sock &
timeout 20 bash -c 'until [ -S /run/quillet/fcgi.sock ]; do sleep .1; done'
{server} &
timeout 20 bash -c 'until curl -s -o /dev/null http://localhost/; do sleep .1; done'
{request}
curl -s --unix-socket /run/quillet-fcgi/status.sock http://localhost/ | grep served:
curl -s -o /dev/null -w '%{{http_code}}\\n' http://localhost/_data
"""


def run(*command, **settings):
    return subprocess.run([str(word) for word in command], check=True, stdin=subprocess.DEVNULL, text=True, **settings)


def blocks(name):
    """The blocks of docs/deploying.md whose first line is ```sh NAME, without what needs systemd."""
    text = (ROOT / "docs/deploying.md").read_text()
    found = re.findall(rf"^```{name}\n(.*?)^```", text, re.M | re.S)
    return ["".join(line + "\n" for line in block.splitlines() if not line.startswith("systemctl")) for block in found]


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.base = KEPT or Path(tempfile.mkdtemp(prefix="quillet-debian-"))
        if not (cls.base / "etc/debian_version").exists():
            run("debootstrap", "--variant=minbase", "bookworm", cls.base, stdout=subprocess.DEVNULL)

    def setUp(self):
        self.system = Path(tempfile.mkdtemp(prefix="quillet-installed-"))
        self.addCleanup(run, "rm", "-rf", self.system)
        run("cp", "-a", f"{self.base}/.", self.system)
        policy = self.system / "usr/sbin/policy-rc.d"
        policy.write_text("#!/bin/sh\nexit 101\n")
        policy.chmod(0o755)
        run("cp", PACKAGE, DEV_PACKAGE, self.system)
        self.inside("apt-get update -q; apt-get install -y -q --no-install-recommends curl iproute2")

    def inside(self, script, *before):
        return run(*before, "chroot", self.system, "/usr/bin/env", "-i", "PATH=/usr/sbin:/usr/bin:/sbin:/bin",
                   "DEBIAN_FRONTEND=noninteractive", "APT_LISTCHANGES_FRONTEND=none", "bash", "-ec", script,
                   stdout=subprocess.PIPE).stdout

    def serve(self, name):
        started = time.monotonic()
        install = next(block for block in blocks("sh") if "apt-get install ./" in block)
        install = install.replace("scripts/package\n", "").replace("./build/package/", "/")
        page = blocks("html")[0]
        self.inside(install.replace("apt-get install", "apt-get install -y -q --no-install-recommends"))
        for block in blocks("sh " + name):
            self.inside(block.replace("apt-get install", "apt-get install -y -q --no-install-recommends"))
        (self.system / "var/www/html/hello.html").write_text(page)
        request = next(block for block in blocks("sh") if block.startswith("curl "))
        said = self.inside(SERVE.format(server=FOREGROUND[name], request=request),
                           "unshare", "--net", "--pid", "--fork", "--kill-child", "--mount-proc=" + str(self.system / "proc"))
        print(f"{name}: {time.monotonic() - started:.0f} s from the package to the page")
        lines = said.splitlines()
        self.assertEqual(lines[0], "Hello, Ann!")
        self.assertRegex(lines[-2], r"served: [1-9]")
        self.assertEqual(lines[-1], "403")

    def test_nginx(self):
        self.serve("nginx")

    def test_apache(self):
        self.serve("apache")

    def test_lighttpd(self):
        self.serve("lighttpd")

    def test_the_programs_and_their_man_pages_are_there(self):
        self.inside(f"apt-get install -y -q --no-install-recommends man-db /{PACKAGE.name}")
        self.assertEqual(self.inside("quillet-fcgi --version"), "quillet-fcgi 1.0\n")
        self.assertIn("quillet 1.0", self.inside("cd /var/lib/quillet && runuser -u www-data quillet || true"))
        # The server's user cannot replace what root has put into the working directory.
        self.assertEqual(self.inside("runuser -u www-data -- rm -f /var/lib/quillet/_macro.cfg 2>&1 || true; "
                                     "ls /var/lib/quillet/_macro.cfg"), self.inside(
                                         "echo \"rm: cannot remove '/var/lib/quillet/_macro.cfg': Operation not "
                                         "permitted\"; echo /var/lib/quillet/_macro.cfg"))

    def test_the_authors_tool_makes_a_site_that_it_finds_nothing_in(self):
        self.inside(f"apt-get install -y -q --no-install-recommends /{PACKAGE.name} /{DEV_PACKAGE.name}")
        self.inside("quillet-dev new /srv/site && quillet-dev check /srv/site")
        # It finds its own file by /proc.
        self.assertIn("<html", self.inside("quillet-dev run /srv/site/www/index.html", "unshare", "--pid", "--fork",
                                           "--mount-proc=" + str(self.system / "proc")))
        self.inside("test -s /usr/share/man/man1/quillet-dev.1.gz")


if __name__ == "__main__":
    unittest.main()
