"""Private web servers on loopback ports, each with the configuration that ships, in front of one site.

Everything runs as www-data when the tests run as root, as the user of the tests otherwise.
"""

import os
import pathlib
import pwd
import shutil
import signal
import socket
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from case_run import is_sanitized  # noqa: E402
from program import PROGRAM, ROOT, TIMEOUT, wait_for  # noqa: E402

PACKAGING = ROOT / "packaging"
PROGRAMS = ("quillet", "quillet-database", "quillet-fcgi")
USER = "www-data" if os.geteuid() == 0 else pwd.getpwuid(os.geteuid()).pw_name
PROCESSOR_TIME = 5  # seconds for a request
NAME, PASSWORD = "ann", "secret"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def accepts(address):
    family = socket.AF_UNIX if isinstance(address, str) else socket.AF_INET
    with socket.socket(family) as probe:
        return probe.connect_ex(address) == 0


class WebServer:
    """A web server with a site. `files`: contents by name, below `www` and `run`."""

    name = ""

    def __init__(self, files):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="quillet-server-"))
        self.processes = []
        self.site = self.folder / "site"
        for name in ("www", "run"):
            (self.site / name).mkdir(parents=True)
        for name, content in files.items():
            self.write(name, content)
        self.bin = self.folder / "bin"
        self.bin.mkdir()
        for program in PROGRAMS:
            shutil.copy(PROGRAM.with_name(program), self.bin)
        self.socket = str(self.folder / "socket")
        # Password files as Apache's htpasswd makes them; all servers read this kind.
        encrypted = subprocess.run(["openssl", "passwd", "-apr1", PASSWORD], check=True, capture_output=True, text=True)
        self.write_file(self.folder / "passwords", f"{NAME}:{encrypted.stdout}")
        self.give_away()
        self.port = free_port()
        try:
            self.start()
        except BaseException:
            self.stop()
            raise

    def write_file(self, path, content):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        if path.read_bytes().startswith(b"#!"):
            path.chmod(0o755)
        return path

    def write(self, name, content):
        return self.write_file(self.site / name, content)

    def give_away(self):
        self.folder.chmod(0o755)
        if os.geteuid() == 0:
            subprocess.run(["chown", "-R", USER + ":", str(self.folder)], check=True)

    def run(self, *command, **settings):
        if os.geteuid() == 0:
            command = ["runuser", "-u", USER, "--", *command]
        log = open(self.folder / "log", "ab")
        process = subprocess.Popen([str(word) for word in command], stdout=log, stderr=log, start_new_session=True,
                                   stdin=subprocess.DEVNULL, env=self.environment(), **settings)
        log.close()
        self.processes.append(process)
        return process

    def environment(self):
        return {"PATH": os.environ["PATH"], "TZ": "UTC", "ASAN_OPTIONS": "detect_leaks=0",
                "APACHE_RUN_DIR": str(self.folder)}

    def wait_until_it_accepts(self, address, process):
        def ready():
            if process.poll() is not None:
                raise AssertionError(f"{self.name} did not start:\n{self.log()}")
            return accepts(address)
        wait_for(ready, self.name)

    def start_fcgi(self, *options):
        process = self.run(self.bin / "quillet-fcgi", "--socket", self.socket, "--directory", self.site / "run",
                           "--processor-time", PROCESSOR_TIME,
                           *(["--memory", "1000000000"] if is_sanitized(PROGRAM) else []), *options)
        self.wait_until_it_accepts(self.socket, process)

    def wrapper(self):
        """packaging/quillet.cgi with the directories of this site."""
        text = (PACKAGING / "quillet.cgi").read_text()
        text = text.replace("work=/srv/example/run\n", f"work={self.site}/run\n")
        text = text.replace("program=/usr/local/bin/quillet\n", f"program={self.bin}/quillet\n")
        text = text.replace("processor_time=20\n", f"processor_time={PROCESSOR_TIME}\n")
        if is_sanitized(PROGRAM):  # the sanitizers reserve the address space whole
            text = text.replace("memory=524288\n", "memory=unlimited\n")
        return self.write_file(self.folder / "cgi-bin/quillet", text)

    def serve(self, *command):
        self.give_away()
        process = self.run(*command)
        self.wait_until_it_accepts(("127.0.0.1", self.port), process)

    def log(self):
        return "".join(path.read_text(errors="replace") for path in sorted(self.folder.glob("*log*")))

    def stop(self):
        for process in reversed(self.processes):
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGTERM)
        for process in self.processes:
            process.wait(TIMEOUT)
        log = self.log()
        shutil.rmtree(self.folder)
        if "Sanitizer" in log or "runtime error" in log:
            raise AssertionError("the sanitizers found something:\n" + log)


class Apache(WebServer):
    modules = ()
    settings = ""
    configuration = ""

    def start(self):
        self.prepare()
        modules = ["mpm_event", "authz_core", "authz_host", "alias", "dir", "mime", "env", "auth_basic", "authn_core",
                   "authn_file", "authz_user", *self.modules]
        loads = "".join(f"LoadModule {name}_module /usr/lib/apache2/modules/mod_{name}.so\n" for name in modules)
        text = f"""{loads}ServerRoot "{self.folder}"
DefaultRuntimeDir "{self.folder}"
PidFile "{self.folder}/httpd.pid"
ErrorLog "{self.folder}/httpd.log"
ServerName localhost
Listen 127.0.0.1:{self.port}
TypesConfig /etc/mime.types
DocumentRoot "{self.site}/www"
Define QUILLET_PAGES "{self.site}/www"
Define QUILLET_CGI "{self.folder}/cgi-bin"
Define QUILLET_SOCKET "{self.socket}"
Include "{PACKAGING}/apache/{self.configuration}"
<Directory "{self.site}/www/members">
  AuthType Basic
  AuthName members
  AuthUserFile "{self.folder}/passwords"
  Require valid-user
</Directory>
"""
        configuration = self.write_file(self.folder / "httpd.conf", text)
        self.serve("/usr/sbin/apache2", "-f", configuration, "-D", "FOREGROUND")


class ApacheCgi(Apache):
    name = "apache-cgi"
    modules = ("actions", "cgid")
    configuration = "quillet.conf"

    def prepare(self):
        self.wrapper()


class ApacheFcgi(Apache):
    name = "apache-fcgi"
    modules = ("proxy", "proxy_fcgi")
    configuration = "quillet-fcgi.conf"

    def prepare(self):
        self.start_fcgi()


class Nginx(WebServer):
    def start_nginx(self, program):
        for path in (PACKAGING / "nginx").iterdir():
            self.write_file(self.folder / path.name, path.read_text().replace("/usr/share/quillet/nginx", str(self.folder)))
        text = f"""daemon off;
pid {self.folder}/nginx.pid;
error_log {self.folder}/nginx.log;
events {{ worker_connections 256; }}
http {{
  include /etc/nginx/mime.types;
  access_log off;
  client_body_temp_path {self.folder}/body; fastcgi_temp_path {self.folder}/fastcgi;
  proxy_temp_path {self.folder}/proxy; uwsgi_temp_path {self.folder}/uwsgi; scgi_temp_path {self.folder}/scgi;
  server {{
    listen 127.0.0.1:{self.port};
    root {self.site}/www;
    set $quillet_socket unix:{self.socket};
    set $quillet_program "{program}";
    include {self.folder}/quillet.conf;
    location ^~ /members/ {{
      auth_basic members;
      auth_basic_user_file {self.folder}/passwords;
      include {self.folder}/quillet-pages.conf;
    }}
  }}
}}
"""
        configuration = self.write_file(self.folder / "nginx.conf", text)
        self.serve("/usr/sbin/nginx", "-c", configuration, "-e", self.folder / "nginx.log")


class NginxFcgi(Nginx):
    name = "nginx-fcgi"
    options = ()

    def start(self):
        self.start_fcgi(*self.options)
        self.start_nginx("")


class NginxFcgiThousand(NginxFcgi):
    """A process answers a thousand requests."""

    name = "nginx-fcgi-thousand"
    options = ("--requests-per-process", "1000")


class NginxFcgiwrap(Nginx):
    name = "nginx-fcgiwrap"

    def start(self):
        wrapper = self.wrapper()
        self.give_away()
        process = self.run("/usr/sbin/fcgiwrap", "-c", "4", "-s", "unix:" + self.socket)
        self.wait_until_it_accepts(self.socket, process)
        self.start_nginx(wrapper)


class Lighttpd(WebServer):
    modules = ()

    def start_lighttpd(self, file, variables):
        modules = ", ".join(f'"mod_{name}"' for name in ("access", "auth", "authn_file", "magnet", *self.modules))
        text = f"""server.modules = ( {modules} )
server.document-root = "{self.site}/www"
server.bind = "127.0.0.1"
server.port = {self.port}
server.errorlog = "{self.folder}/lighttpd.log"
server.upload-dirs = ( "{self.folder}" )
include_shell "/usr/share/lighttpd/create-mime.conf.pl"
var.quillet_share = "{PACKAGING}"
{variables}
include "{PACKAGING}/lighttpd/quillet.conf"
include "{PACKAGING}/lighttpd/{file}"
auth.backend = "htpasswd"
auth.backend.htpasswd.userfile = "{self.folder}/passwords"
auth.require = ( "/members/" => ( "method" => "basic", "realm" => "members", "require" => "valid-user" ) )
"""
        configuration = self.write_file(self.folder / "lighttpd.conf", text)
        self.serve("/usr/sbin/lighttpd", "-D", "-f", configuration)


class LighttpdCgi(Lighttpd):
    name = "lighttpd-cgi"
    modules = ("cgi",)

    def start(self):
        self.start_lighttpd("cgi.conf", f'var.quillet_program = "{self.wrapper()}"')


class LighttpdFcgi(Lighttpd):
    name = "lighttpd-fcgi"
    modules = ("fastcgi",)

    def start(self):
        self.start_fcgi()
        self.start_lighttpd("fastcgi.conf", f'var.quillet_socket = "{self.socket}"')


WEB_SERVERS = {kind.name: kind for kind in (ApacheCgi, ApacheFcgi, NginxFcgi, NginxFcgiThousand, NginxFcgiwrap, LighttpdCgi,
                                            LighttpdFcgi)}
