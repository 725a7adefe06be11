"""Pages behind nginx: quillet-fcgi beside fcgiwrap with quillet, php-fpm and Perl under FastCGI.

Each backend is started anew for each page and number of connections, asked by wrk for some seconds, and stopped; its
processor time is that of all its processes, over the number of requests. The backends take turns.
"""

import dataclasses
import datetime
import os
import pathlib
import re
import shutil
import signal
import socket
import statistics
import subprocess
import tempfile
import time

import pages

DOCUMENT = pathlib.Path(__file__).parents[1] / "docs/deploying.md"
PAGES = ("W1", "W2", "W6")
CONNECTIONS = (1, 8, 64)
ONE, MANY = "quillet-fcgi", "quillet-fcgi, 1000 requests a process"
WRAPPED, PHP = "fcgiwrap with quillet", "php-fpm"
POOL = 8  # processes of php-fpm, of fcgiwrap and of Perl; quillet-fcgi has its own defaults

NGINX = """daemon off; worker_processes 1; pid {folder}/nginx.pid; error_log {folder}/nginx.log;
events {{ worker_connections 1024; }}
http {{ access_log off; {temporary}
  server {{ listen 127.0.0.1:{port} backlog=4096; root {root};
    location / {{ fastcgi_pass unix:{folder}/socket;
      fastcgi_param REQUEST_METHOD $request_method; fastcgi_param REQUEST_URI $request_uri;
      fastcgi_param QUERY_STRING $query_string; fastcgi_param CONTENT_TYPE $content_type;
      fastcgi_param CONTENT_LENGTH $content_length; fastcgi_param REMOTE_ADDR $remote_addr;
      fastcgi_param SERVER_NAME localhost; fastcgi_param SERVER_PORT 80; fastcgi_param SERVER_PROTOCOL $server_protocol;
      fastcgi_param GATEWAY_INTERFACE CGI/1.1; fastcgi_param DOCUMENT_ROOT {root}; fastcgi_param REDIRECT_STATUS 200;
      fastcgi_param SCRIPT_NAME /cgi-bin/program; fastcgi_param SCRIPT_FILENAME "{script}";
      fastcgi_param PATH_TRANSLATED {page};
    }} }} }}
"""
FPM = """[global]
error_log = {folder}/fpm.log
daemonize = no
[www]
listen = {folder}/socket
listen.mode = 0666
{user}pm = static
pm.max_children = {pool}
"""
PERL = """use FCGI; my $page = shift; my $socket = FCGI::OpenSocket(shift, 4096); chmod 0666, "SOCKET";
open my $file, '<', $page or die; local $/; my $text = <$file>; my $code = eval "no strict; sub { $text }" or die $@;
for (2 .. shift) { last unless fork }
my $request = FCGI::Request(\\*STDIN, \\*STDOUT, \\*STDERR, \\%ENV, $socket);
$code->() while $request->Accept() >= 0;
"""


@dataclasses.dataclass
class Load:
    per_second: float
    median: float      # milliseconds
    slowest: float     # of 99 of 100 requests, milliseconds
    processor: float   # milliseconds a request, all processes of the backend
    failed: int


def commands(page, folder, root, programs):
    """What starts each backend, with the script and the page that nginx names."""
    html, php, perl = (root / f"page.{extension}" for extension in ("html", "php", "pl"))
    fcgi = [programs / "quillet-fcgi", "--socket", f"{folder}/socket", "--socket-mode", "666", "--directory", root,
            "--waiting", 200]
    user = "user = root\ngroup = root\n" if os.geteuid() == 0 else ""
    (folder / "fpm.conf").write_text(FPM.format(folder=folder, user=user, pool=POOL))
    (folder / "perl.pl").write_text(PERL)
    as_root = ["-R"] if os.geteuid() == 0 else []
    return {
        ONE: (fcgi, "", html),
        MANY: ([*fcgi, "--requests-per-process", 1000], "", html),
        WRAPPED: (["/usr/sbin/fcgiwrap", "-c", POOL, "-s", f"unix:{folder}/socket"], programs / "quillet", html),
        PHP: (["/usr/sbin/php-fpm8.2", *as_root, "-F", "-y", folder / "fpm.conf", "-d", "opcache.enable=1"],
                    php, php),
        "perl": (["/usr/bin/perl", folder / "perl.pl", perl, f"{folder}/socket", POOL], perl, perl),
    }


def wait_for_socket(address, process):
    family = socket.AF_UNIX if isinstance(address, str) else socket.AF_INET
    for _ in range(200):
        with socket.socket(family) as probe:
            if probe.connect_ex(address) == 0:
                return
        if process.poll() is not None:
            break
        time.sleep(.05)
    raise RuntimeError(f"nobody listens at {address}")


def start(command, folder, root, before=None):
    with open(folder / "log", "ab") as log:
        return subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                cwd=root, start_new_session=True, preexec_fn=before,
                                env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"})  # as little as a service has


class Accounting:
    """A control group that counts the processor time of the processes that start in it: some servers wait for none of
    theirs, and nothing else knows what those took. Version 1 of the groups (cpuacct) or 2; needs root."""

    def __init__(self):
        first = pathlib.Path("/sys/fs/cgroup/cpuacct")
        self.folder = (first if first.is_dir() else first.parent) / f"quillet-{os.getpid()}"
        self.folder.mkdir(exist_ok=True)

    def join(self):
        (self.folder / "cgroup.procs").write_text("0")

    def seconds(self):
        if (self.folder / "cpuacct.usage").exists():
            return int((self.folder / "cpuacct.usage").read_text()) / 1e9
        return int(re.search(r"usage_usec (\d+)", (self.folder / "cpu.stat").read_text())[1]) / 1e6

    def close(self):
        for _ in range(100):
            try:
                return self.folder.rmdir()
            except OSError:  # a process that still ends
                time.sleep(.05)


def stop(process):
    os.killpg(process.pid, signal.SIGTERM)
    process.wait()


def duration(text):
    """Milliseconds of a duration as wrk writes it."""
    number, unit = re.fullmatch(r"([\d.]+)(us|ms|s|m)", text).groups()
    return float(number) * {"us": .001, "ms": 1, "s": 1000, "m": 60000}[unit]


def ask(port, query, connections, seconds):
    command = ["wrk", "-t1", f"-c{connections}", f"-d{seconds}", "--latency", f"http://127.0.0.1:{port}/page?{query}"]
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    count = int(re.search(r"(\d+) requests in", output)[1])
    failed = re.search(r"Non-2xx or 3xx responses: (\d+)", output)
    median, slowest = (duration(re.search(rf"^ +{part}%\s+(\S+)", output, re.M)[1]) for part in (50, 99))
    return count, float(re.search(r"Requests/sec:\s+([\d.]+)", output)[1]), median, slowest, failed and int(failed[1])


def measure_once(page, command, root, folder, connections, seconds):
    words, script, file = command
    (folder / "socket").unlink(missing_ok=True)
    accounting = Accounting()
    backend = start(words, folder, root, accounting.join)
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    temporary = "".join(f"{name}_temp_path {folder}/{name};" for name in
                        ("client_body", "fastcgi", "proxy", "uwsgi", "scgi"))
    user = "user root;\n" if os.geteuid() == 0 else ""
    (folder / "nginx.conf").write_text(user + NGINX.format(folder=folder, root=root, port=port, script=script,
                                                           page=file, temporary=temporary))
    try:
        wait_for_socket(f"{folder}/socket", backend)
        web = start(["/usr/sbin/nginx", "-c", folder / "nginx.conf", "-e", folder / "nginx.log"], folder, root)
        try:
            wait_for_socket(("127.0.0.1", port), web)
            before = accounting.seconds()
            count, per_second, median, slowest, failed = ask(port, page.query, connections, seconds)
            processor = accounting.seconds() - before
        finally:
            stop(web)
    finally:
        stop(backend)
        accounting.close()
    return Load(per_second, median, slowest, processor * 1000 / max(count, 1), failed or 0)


def middle(loads):
    return Load(*(statistics.median(getattr(load, field.name) for load in loads) for field in dataclasses.fields(Load)))


def ratio(loads, page, connections, name, other, field):
    mine, theirs = (getattr(loads[page, connections, which], field) for which in (name, other))
    return mine / theirs if theirs else float("nan")


# Page, server, what it is compared with, what, and what the ratio should be at least or at most.
TARGETS = (("W1", ONE, WRAPPED, "processor", "CPU a request", "at most", .3),
           ("W1", ONE, WRAPPED, "per_second", "requests a second", "at least", 3),
           ("W1", MANY, PHP, "per_second", "requests a second", "at least", 1),
           ("W2", MANY, PHP, "per_second", "requests a second", "at least", 3),
           ("W6", MANY, PHP, "per_second", "requests a second", "at least", 1))


def target_table(loads):
    by_connections = " | ".join(f"with {count}" for count in CONNECTIONS)
    rows = [f"| page | server | over that of | figure | {by_connections} | target |  |",
            "|---|---|---|---|" + "---:|" * len(CONNECTIONS) + "---|---|"]
    for page, name, other, field, what, kind, target in TARGETS:
        if (page, CONNECTIONS[0], name) not in loads:
            continue
        ratios = [ratio(loads, page, connections, name, other, field) for connections in CONNECTIONS]
        is_met = all(found <= target if kind == "at most" else found >= target for found in ratios)
        shown = " | ".join(f"{found:.2f}" for found in ratios)
        verdict = "" if is_met else "missed"
        rows.append(f"| {page} | {name} | {other} | {what} | {shown} | {kind} {target} | {verdict} |")
    return rows


def measure(scenarios, programs, names, seconds, rounds):
    """The tables in Markdown; the rows of the first are shown as they come."""
    rows = ["| page | connections | server | requests a second | median, ms | 99th percentile, ms | CPU, ms | failed |",
            "|---|---:|---|---:|---:|---:|---:|---:|"]
    loads = {}
    for page in pages.chosen(names or PAGES):
        root = scenarios / page.folder
        for connections in CONNECTIONS:
            folder = pathlib.Path(tempfile.mkdtemp(prefix="quillet-serving-"))
            folder.chmod(0o755)
            found = {}
            for _ in range(rounds):
                for name, command in commands(page, folder, root, programs).items():
                    found.setdefault(name, []).append(measure_once(page, command, root, folder, connections, seconds))
            for name, several in found.items():
                load = loads[page.name, connections, name] = middle(several)
                rows.append(f"| {page.name} | {connections} | {name} | {load.per_second:.0f} | {load.median:.2f} "
                            f"| {load.slowest:.2f} | {load.processor:.3f} | {load.failed:.0f} |")
                print(rows[-1], flush=True)
            shutil.rmtree(folder)
    targets = target_table(loads)
    print("\n".join(targets))
    words = " ".join(["scripts/bench serving --keep", *names, f"--seconds {seconds} --rounds {rounds}"])
    head = f"`{words}` on {datetime.date.today()}, {os.cpu_count()} processors, medians of {rounds} runs:"
    return "\n".join([head, "", *rows, "", "What was aimed at, as ratios:", "", *targets]) + "\n"
