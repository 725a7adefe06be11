"""The server of the tutorial's last chapter: a folder in place of the root of a machine, where its commands are typed
and its files are written, with a private nginx and quillet-fcgi."""

import base64
import os
import shutil
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "servers"))
from case_run import is_sanitized  # noqa: E402
from program import PROGRAM  # noqa: E402
from web_servers import PACKAGING, USER, WebServer  # noqa: E402

PASSWORD = "secret"
# What would change the machine, and the question for a password.
STAND_INS = {"apt-get": "exit 0", "systemctl": "exit 0", "htpasswd": f'echo {PASSWORD} | /usr/bin/htpasswd -i "$@"'}


class Server(WebServer):
    name = "the server"

    def __init__(self, machine, site):
        self.machine = machine
        self.copied = site
        for name, text in STAND_INS.items() | ({} if os.geteuid() == 0 else {"chown": "exit 0"}).items():
            self.put(f"stand-ins/{name}", f"#!/bin/sh\n{text}\n").chmod(0o755)
        for folder in ("etc/nginx/sites-available", "etc/nginx/sites-enabled"):
            (machine / folder).mkdir(parents=True)
        self.put("etc/quillet/fcgi.conf", (PACKAGING / "fcgi.conf").read_text())
        for path in (PACKAGING / "nginx").iterdir():
            self.put(f"usr/share/quillet/nginx/{path.name}", path.read_text())
        shutil.copytree(site, machine / "srv/letters", ignore=shutil.ignore_patterns("kept", "error_log"))
        self.started = False
        super().__init__({})

    def put(self, name, text):
        for place in ("/srv/letters", "/etc/nginx/sites", "/etc/nginx/letters", "/etc/quillet/", "/usr/share/quillet/",
                      "/run/quillet-fcgi/"):
            text = text.replace(place, f"{self.machine}{place}")
        path = self.machine / name.lstrip("/")
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def write(self, name, text):
        """A file of nginx; its port is one that anybody may have."""
        text = text.replace("listen 80;", f"listen 127.0.0.1:{self.port};").replace("    listen [::]:80;\n", "")
        self.put(name, text.replace("unix:/run/quillet/fcgi.sock", "unix:" + self.socket))

    def type(self, commands):
        script = self.put("typed", commands)
        path = f"{self.machine}/stand-ins:{os.environ['PATH']}"
        subprocess.run(["bash", "-e", script], check=True, env=os.environ | {"PATH": path}, capture_output=True)
        if "reload nginx" in commands:
            self.start_both()

    def start(self):
        """Not before the commands are typed."""

    def start_both(self):
        self.give_away()
        (self.machine / "run/quillet-fcgi").mkdir(parents=True)
        if os.geteuid() == 0:
            subprocess.run(["chown", USER + ":", str(self.machine / "run/quillet-fcgi")], check=True)
        fcgi = self.run(self.bin / "quillet-fcgi", "--config", self.machine / "etc/quillet/fcgi.conf", "--socket",
                        self.socket, "--spare", "1", *(["--memory", "1000000000"] if is_sanitized(PROGRAM) else []))
        self.wait_until_it_accepts(self.socket, fcgi)
        names = "".join(f" {kind}_temp_path {self.folder}/{kind};\n"
                        for kind in ("client_body", "fastcgi", "proxy", "uwsgi", "scgi"))
        text = (f"daemon off; pid {self.folder}/nginx.pid; error_log {self.folder}/nginx.log;\nevents {{}}\nhttp {{\n"
                f" include /etc/nginx/mime.types; access_log off;\n{names}"
                f" include {self.machine}/etc/nginx/sites-enabled/*;\n}}\n")
        configuration = self.write_file(self.folder / "nginx.conf", text)
        nginx = self.run("/usr/sbin/nginx", "-c", configuration, "-e", self.folder / "nginx.log")
        self.wait_until_it_accepts(("127.0.0.1", self.port), nginx)

    def credentials(self, name):
        return {"Authorization": "Basic " + base64.b64encode(f"{name}:{PASSWORD}".encode()).decode()}

    def writable(self):
        """What the web server's user may write in the site, links aside; None if that cannot be told."""
        if os.geteuid() != 0:
            return None
        found = subprocess.run(["runuser", "-u", USER, "--", "find", str(self.machine / "srv/letters"), "-writable",
                                "-not", "-type", "l"], check=True, capture_output=True, text=True)
        return {Path(line).relative_to(self.machine / "srv/letters").parts[:2] for line in found.stdout.splitlines()}
