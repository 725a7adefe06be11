"""The twelve pages: quillet beside other CGI programs and beside C++ written by hand for the page."""

import contextlib
import dataclasses
import statistics

import database
import requests

PROGRAMS = ["nothing", "native", "quillet", "php", "php -n", "perl", "haserl lua", "haserl sh"]
PEERS = PROGRAMS[3:]


@dataclasses.dataclass
class Page:
    name: str
    folder: str
    what: str
    rounds: int
    to_peer: float    # target: quillet's time over that of the best peer
    to_native: float  # target: over that of the program written by hand
    query: str = ""
    body: str = ""    # the file that is sent as a form
    sent: tuple = ()  # the file that is made, and what it must be equal to


PAGES = [
    Page("W1", "small-page", "2 kB, five variables", 200, .50, 1.2),
    Page("W2", "rows", "1,000 rows of 5 cells, escaped", 100, .22, 1.4, "n=1000"),
    Page("W3", "rows", "20,000 rows of 5 cells, escaped", 20, .25, 1.6, "n=20000"),
    Page("W4", "loop", "loop of 100,000 with arithmetic and conditions", 20, 1.0, 5, "n=100000"),
    Page("W5", "macro-calls", "1 MB, 200 macro calls", 60, .25, 1.15),
    Page("W6", "includes", "50 includes", 100, .38, 1.2),
    Page("W7", "sort", "5,000 rows sorted by number", 40, .25, 1.6),
    Page("W8", "match", "5,000 replacements with groups in 200 kB", 40, .40, .30, "n=5000"),
    Page("W9", "upload", "upload of 10 MB, saved", 20, .38, 1.15, body="body", sent=("received", "sent")),
    Page("W10", "recursive-macro", "macro 200 deep, 200 times", 40, .22, 1.8),
    Page("W11", "common-loop", "loop of 20,000: if, eq, switch, a macro, an item", 20, .60, 4, "n=20000"),
    Page("W12", "sql", "20,000 rows of 5 cells from MariaDB, escaped", 20, .33, 1.2, "n=20000"),
]


def chosen(names):
    unknown = set(names) - {page.name for page in PAGES}
    if unknown:
        raise SystemExit(f"no page {', '.join(sorted(unknown))}; there are {PAGES[0].name} to {PAGES[-1].name}")
    return [page for page in PAGES if not names or page.name in names]


def database_for(pages, scenarios):
    """The database server, when one of the pages needs it."""
    needed = any(page.folder == "sql" for page in pages)
    return database.running(scenarios) if needed else contextlib.nullcontext()


def php_options(page):
    """What both ways of php need for the page; what php needs that it finds in no file with the option -n: the
    buffer of Debian's php.ini, and the database's extensions."""
    options = ["upload_max_filesize=20M", "post_max_size=20M"] if page.body else []
    without = ["output_buffering=4096"]
    if page.folder == "sql":
        without += ["extension=mysqlnd", "extension=mysqli"]
    return [[word for value in values for word in ("-d", value)] for values in (options, without)]


def haserl_options(file):
    """haserl reads its options from the first line of the page, so its own name must be a full path."""
    words = file.read_text(errors="replace").split("\n", 1)[0].split()
    return ["/usr/bin/haserl", *words[1:], str(file)]


def commands(page, folder, binaries, quillet):
    """What runs the page, by program, with the page's file."""
    options, without = php_options(page)
    files = {extension: folder / f"page.{extension}" for extension in ("html", "php", "pl", "lua", "sh")}
    return {
        "nothing": ([str(binaries / "nothing")], files["html"]),
        "native": ([str(binaries / f"native-{page.folder}")], files["html"]),
        **{name: ([str(path)], files["html"]) for name, path in quillet.items()},
        "php": (["/usr/bin/php-cgi", *options], files["php"]),
        "php -n": (["/usr/bin/php-cgi", "-n", *options, *without], files["php"]),
        "perl": (["/usr/bin/perl", str(files["pl"])], files["pl"]),
        "haserl lua": (haserl_options(files["lua"]), files["lua"]),
        "haserl sh": (haserl_options(files["sh"]), files["sh"]),
    }


def check_body(name, expected, body):
    """Where the bodies differ, for the one who writes a page."""
    if body == expected:
        return
    pairs = zip(expected, body)
    same = next((i for i, (a, b) in enumerate(pairs) if a != b), min(len(expected), len(body)))
    start = max(same - 40, 0)
    raise RuntimeError(f"the bodies of quillet and {name} differ from byte {same}:\n"
                       f"{expected[start:start + 80]!r}\n{body[start:start + 80]!r}")


def check_file(page, name, folder):
    if page.sent:
        made, sent = (folder / file for file in page.sent)
        if not made.exists() or made.read_bytes() != sent.read_bytes():
            raise RuntimeError(f"{name} did not save what was sent")
        made.unlink()


@dataclasses.dataclass
class Measured:
    page: Page
    times: dict  # the CPU times of all rounds, by program
    size: int    # bytes of the body

    def median(self, program):
        return statistics.median(self.times[program])

    def best_peer(self):
        return min((name for name in PEERS if name in self.times), key=self.median)

    def ratio(self, program, to):
        """Of the two runs of one round, which come close together; the median of all rounds."""
        return statistics.median(a / b for a, b in zip(self.times[program], self.times[to]))


def measure(page, scenarios, binaries, quillet, rounds=None, only=None):
    """The programs take turns, so that what else the machine does falls on all of them alike. The first turn
    compares the bodies and is not counted. `quillet` gives the path of each build of quillet by name."""
    folder = scenarios / page.folder
    body = folder / page.body if page.body else None
    runs = []
    for name, (command, file) in commands(page, folder, binaries, quillet).items():
        if only is None or name in only or name in quillet:
            runs.append((name, command, requests.environment(file, folder, page.query, body)))

    def run(name, command, values):
        result = requests.run(command, values, folder, body)
        if name != "nothing":
            check_file(page, name, folder)
        return result

    bodies = {name: run(name, command, values).body for name, command, values in runs}
    for name, made in bodies.items():
        if name != "nothing":
            check_body(name, bodies["quillet"], made)
    times = {name: [] for name, _, _ in runs}
    for _ in range(rounds or page.rounds):
        for name, command, values in runs:
            times[name].append(run(name, command, values).milliseconds)
    return Measured(page, times, len(bodies["quillet"]))
