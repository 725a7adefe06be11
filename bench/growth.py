"""What n, 10 n and 100 n of something cost: a page for each, made here."""

import dataclasses
import math
import pathlib
import statistics
import tempfile

import colliding_words
import instructions
import requests

LEAST = 20.0  # ms of CPU time that 100 n takes at least
IN_DOUBT = 1.3  # an exponent of times above TARGET and below this may be noise or a cache: instructions decide
TARGET = 1.1
NESTED_TARGET = 300  # ms


@dataclasses.dataclass
class Request:
    page: str
    files: dict = dataclasses.field(default_factory=dict)
    body: bytes = b""
    content_type: str = ""
    cookies: str = ""


@dataclasses.dataclass
class Case:
    name: str
    make: callable  # the request with n of it
    n: int = 10     # where the search for n begins
    most: int = 1_000_000
    inherent: bool = False


CASES = []


def case(name, **settings):
    def keep(make):
        CASES.append(Case(name, make, **settings))
        return make
    return keep


def lines(count, line):
    return "".join(line.format(i) for i in range(count))


def fields(count, field):
    return {"body": "&".join(field.format(i) for i in range(count)).encode(),
            "content_type": "application/x-www-form-urlencoded"}


def multipart(parts):
    mark = b"--mark\r\n"
    body = b"".join(mark + b'Content-Disposition: form-data; name="' + name + b'"' + more + b"\r\n\r\n" + value + b"\r\n"
                    for name, more, value in parts)
    return {"body": body + b"--mark--\r\n", "content_type": "multipart/form-data; boundary=mark"}


# --- tables --------------------------------------------------------------------------------------

@case("rows of a table, printed")
def _(n):
    return Request("^load[t]^menu[<p>^item[0] ^item[1]</p>]", {"_t": lines(n, "row {0}\tcell {0}\n")})


def wide_row(n):
    return {"_t": "\t".join(f"c{i}" for i in range(n)) + "\n" + "\t".join("x" for i in range(n)) + "\n"}


@case("columns of a wide row from left to right")
def _(n):
    return Request(f"^load[t]^for[i;0;{n - 1};^item[^var[i]]]", wide_row(n))


@case("columns of a wide row from right to left")
def _(n):
    return Request(f"^load[t]^for[i;1;{n};^item[^eval[{n}-i]]]", wide_row(n))


@case("columns of a wide row by name")
def _(n):
    return Request(f"^load[named;t]^for[i;0;{n - 1};^item[c^var[i]]]", wide_row(n))


@case("rows inserted at the front")
def _(n):
    return Request(f"^for[i;1;{n};^config[insert;0;row ^var[i]]]^item[count]")


@case("rows removed at the front")
def _(n):
    return Request(f"^load[t]^for[i;1;{n};^config[remove;0;1]]^item[count].", {"_t": lines(n, "row {}\n")})


@case("rows appended")
def _(n):
    return Request(f"^for[i;1;{n};^config[append;row ^var[i]]]^item[count]")


@case("tables named by context")
def _(n):
    return Request(f"^for[i;1;{n};^context[t^var[i]]^config[x]]^for[i;1;{n};^item[t^var[i];0]]")


@case("rows sorted by number")
def _(n):
    return Request("^load[t]^sort[^item[0];N]^item[0]", {"_t": lines(n, "{}\n").replace("1", "7")})


# --- the language --------------------------------------------------------------------------------

@case("passes of a loop")
def _(n):
    return Request(f"^for[i;1;{n};<p>^var[i]</p>]")


@case("macro calls")
def _(n):
    return Request(f"^for[i;1;{n};^macro[m;^var[i]]]", {"_macro.cfg": "@m[a]\n<p>$a</p>\n"})


@case("distinct macros")
def _(n):
    return Request(f"^for[i;0;{n - 1};^macro[m^var[i]]]", {"_macro.cfg": lines(n, "@m{}[]\nx\n")})


@case("distinct variables made")
def _(n):
    return Request(f"^for[i;1;{n};^var[v^var[i];x]].")


@case("distinct variables made and read")
def _(n):
    return Request(f"^for[i;1;{n};^var[v^var[i];x]]^for[i;1;{n};^var[v^var[i]]]")


@case("distinct variables made and removed")
def _(n):
    return Request(f"^for[i;1;{n};^var[v^var[i];x]]^for[i;1;{n};^var[v^var[i];]].")


@case("option sets of ordinary words")
def _(n):
    words = "|".join(f"word{i}" for i in range(n))
    return Request(f"^optioncount[^optionor[{words};{words}]]")


@case("option sets of words that share a common hash", most=1_000)
def _(n):
    words = "|".join(colliding_words.words(n))
    return Request(f"^optioncount[^optionor[{words};{words}]]")


@case("page bytes, plain", most=300_000)
def _(n):
    return Request("plain text " * (n // 11 + 1))


@case("page bytes, all ^", most=300_000)
def _(n):
    return Request("^" * n + "x")


@case("page bytes, all [", most=300_000)
def _(n):
    return Request("[" * n)


@case("page bytes, all ^[", most=300_000)
def _(n):
    return Request("^[" * (n // 2 + 1))


def nested(n):
    return Request("^sum[" * n + "1" + ";1]" * n)


@case("calls nested in one text")
def _(n):
    return nested(n)


@case("includes")
def _(n):
    return Request(f"^for[i;1;{n};^include[piece.html]]", {"piece.html": "<p>piece</p>"})


@case("cache keys")
def _(n):
    return Request(f"^for[i;1;{n};^cache[key^var[i];text]]")


# --- what visitors send --------------------------------------------------------------------------

@case("form fields, each read by form in a walk over formelements")
def _(n):
    return Request("^config[formelements]^menu[^form[^item[0]]]", **fields(n, "name{0}=value{0}"))


@case("form fields joined by combine")
def _(n):
    return Request("^combine[name]", **fields(n, "name=value{0}"))


@case("form fields listed by config[formelements]")
def _(n):
    return Request("^config[formelements]^item[count]", **fields(n, "name{0}=value{0}"))


@case("cookies, each read", most=100)
def _(n):
    return Request(f"^for[i;1;{n};^cookie[c^var[i]]]", cookies="; ".join(f"c{i}=x" for i in range(1, n + 1)))


@case("upload bytes", n=1_000)
def _(n):
    file = (b"0123456789abcdef" * (n // 16 + 1))[:n]
    return Request("^upload[file;size]", **multipart([(b"file", b'; filename="a"', file)]))


@case("parts of a form")
def _(n):
    return Request("^form[p1]x", **multipart([(b"p%d" % i, b"", b"value") for i in range(n)]))


# --- match ---------------------------------------------------------------------------------------

@case("matches with g")
def _(n):
    return Request("^load[t]^match[[0-9]+;g;<b>^item[match]</b>;^item[0]]", {"_t": lines(n, "word {} ") + "\n"})


@case("one match of x+y on x...", most=1_000)
def _(n):
    return Request(f"^match[x+y;{'x' * n}]none")


@case("one match of [a-z]+@[a-z]+ on letters", most=1_000)
def _(n):
    return Request(f"^match[[a-z]+@[a-z]+;{'x' * n}]none")


# --- inherent ------------------------------------------------------------------------------------

@case("inherent: text built by ^var[a;^var[a]xyz]", inherent=True)
def _(n):
    return Request(f"^for[i;1;{n};^var[a;^var[a]xyz]]x")


@case("inherent: rows inserted in the middle", inherent=True)
def _(n):
    return Request(f"^for[i;1;{n};^config[insert;^eval[i/2];row ^var[i]]]^item[count]")


# --- measuring -----------------------------------------------------------------------------------

class Prepared:
    """A request in a folder of its own, made ready to run."""

    def __init__(self, page, folder, files=None, body=b"", content_type="", cookies=""):
        self.folder = folder
        self.page = folder / "page.html"
        self.write("page.html", page)
        for name, content in (files or {}).items():
            self.write(name, content)
        self.body = None
        if body:
            self.body = folder / "body"
            self.body.write_bytes(body)
        self.values = requests.environment(self.page, folder, "", self.body, content_type)
        if cookies:
            self.values["HTTP_COOKIE"] = cookies

    def write(self, name, content):
        (self.folder / name).write_text(content, encoding="latin-1")

    def milliseconds(self, program):
        return requests.run([str(program)], self.values, self.folder, self.body).milliseconds

    def instructions(self, program):
        return instructions.count(program, self.values, self.folder, self.body)


def prepare(each, n, place):
    """The request with n of it; the path of its folder is always as long."""
    folder = pathlib.Path(place) / f"{n:09}"
    folder.mkdir()
    return Prepared(folder=folder, **vars(each.make(n)))


@dataclasses.dataclass
class Grown:
    case: Case
    n: int
    times: list        # ms for 1, n, 10 n, 100 n
    counts: list       # instructions for the same; without that for 100 n when the time is long and beyond doubt

    def exponent(self, values, step):
        """Of n to 10 n (step 1) or 10 n to 100 n (step 2), less what a request costs with one of it."""
        before, after = values[step] - values[0], values[step + 1] - values[0]
        return math.log10(after / before) if before > 0 and after > 0 else math.nan

    def exponents(self):
        """The first step by instructions, the second one by time, the second one by instructions or None."""
        return [self.exponent(self.counts, 1), self.exponent(self.times, 2),
                self.exponent(self.counts, 2) if len(self.counts) == 4 else None]

    def is_missed(self):
        first, by_time, by_instructions = self.exponents()
        second = by_time if by_instructions is None else by_instructions
        return max(first, second) > TARGET and not self.case.inherent


def milliseconds_of_nested_calls(program, rounds):
    """What 100,000 calls nested in one text take."""
    with tempfile.TemporaryDirectory(prefix="quillet-", dir="/tmp") as place:
        prepared = prepare(Case("", nested), 100_000, place)
        return statistics.median(prepared.milliseconds(program) for _ in range(rounds))


def find_n(each, program):
    """The n with which 100 n takes long enough."""
    n = each.n
    while True:
        with tempfile.TemporaryDirectory(prefix="quillet-", dir="/tmp") as place:
            taken = prepare(each, 100 * n, place).milliseconds(program)
        if taken >= LEAST or n == each.most:
            return n
        n = min(each.most, n * 2 if taken > LEAST / 4 else n * 5)


def measure(each, program, rounds):
    n = find_n(each, program)
    with tempfile.TemporaryDirectory(prefix="quillet-", dir="/tmp") as place:
        sizes = [prepare(each, size, place) for size in (1, n, 10 * n, 100 * n)]
        times = [[size.milliseconds(program)] for size in sizes]
        for _ in range(rounds - 1 if times[3][0] < 1000 else 0):
            for size, taken in zip(sizes, times):
                taken.append(size.milliseconds(program))
        medians = [statistics.median(taken) for taken in times]
        grown = Grown(each, n, medians, [size.instructions(program) for size in sizes[:3]])
        if medians[3] < LEAST or TARGET < grown.exponent(medians, 2) < IN_DOUBT:
            grown.counts.append(sizes[3].instructions(program))
    return grown


def chosen(words):
    """The cases whose names hold one of the words."""
    return [each for each in CASES if not words or any(word in each.name for word in words)]
