"""Changes the source of operators, one token at a time, and runs the cases of these operators: a change that no case notices
is printed.

    mutation.py [--each N] [--seed N] [--cases FOLDER]... [SOURCE ...]

SOURCE: files below src, such as src/files/counter.cpp; every file that registers operators when none is named. --each: at
most N changes of each file, chosen at random. --cases: these folders below tests/cases instead of the cases that call an
operator of the file, for a file that registers none. The changed file is compiled apart from the source, below
build/mutation. A survivor is not always a gap: some changes make a program that does the same, only slower.
"""

import argparse
import concurrent.futures
import os
import random
import re
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests"))
BUILD = ROOT / "build/release-tests"
WORK = ROOT / "build/mutation"
PROGRAM = WORK / "quillet"
os.environ["QUILLET_PROGRAM"] = str(PROGRAM)
import case_run
from case_file import parse_case

case_run.TIMEOUT = 10

# What is put in the place of a token. Comparisons have spaces around them; brackets of templates have none.
CHANGES = {" < ": [" <= "], " <= ": [" < "], " > ": [" >= "], " >= ": [" > "], " == ": [" != "], " != ": [" == "],
           " && ": [" || "], " || ": [" && "], " + ": [" - "], " - ": [" + "], " * ": [" + "], " / ": [" * "],
           "++": ["--"], "--": ["++"], " += ": [" -= "], " -= ": [" += "], "true": ["false"], "false": ["true"],
           "!": [""], " ? ": [" ? !"]}
TOKEN = re.compile(r"""(?P<skipped>//[^\n]*|"(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])*'|\#[^\n]*)"""
                   r"""|(?P<token> (?:<=|>=|==|!=|&&|\|\||\+=|-=|[<>+*/?-]) |\+\+|--|\btrue\b|\bfalse\b|!(?=[\w(]))"""
                   r"""|(?P<number>\b\d+\b(?!['.xX]))""")


def changes(source):
    """(start, end, replacement) of each."""
    for hit in TOKEN.finditer(source):
        if hit["token"]:
            for replacement in CHANGES.get(hit["token"], []):
                yield hit.start(), hit.end(), replacement
        elif hit["number"]:
            yield hit.start(), hit.end(), str(int(hit["number"]) + 1)


def prepare():
    """Builds the program and puts what it starts beside the changed one."""
    for command in (["cmake", "--preset", "release-tests"],
                    ["cmake", "--build", BUILD, "--target", "quillet", "quillet-database"]):
        subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    WORK.mkdir(parents=True, exist_ok=True)
    shutil.copy(BUILD / "bin/quillet-database", WORK)


def builds(source):
    """Whether there is a program with this text in place of the file of the library that defines the same."""
    changed = WORK / "changed.cpp"
    changed.write_text(source)
    compiling = ["g++", "-std=c++20", "-O0", "-w", f"-I{ROOT}/src", "-c", changed, "-o", WORK / "changed.o"]
    linking = ["g++", "-o", PROGRAM, BUILD / "CMakeFiles/quillet.dir/src/main/main.cpp.o", WORK / "changed.o",
               BUILD / "libquillet_library.a", BUILD / "libgd-gif.a"]
    return all(subprocess.run(command, capture_output=True).returncode == 0 for command in (compiling, linking))


def cases_of(source):
    """The cases whose pages call an operator that the source registers."""
    names = re.findall(r'^ +\{"([^"]+)", \w+(?:<[^>]*>)?, ', source, re.MULTILINE)
    call = re.compile("|".join(rf"\^{re.escape(name)}\[" for name in names).encode() or b"$^")
    return [path for path in sorted((ROOT / "tests/cases").rglob("*.case")) if call.search(path.read_bytes())]


def cases_in(folders):
    return [path for folder in folders for path in sorted((ROOT / "tests/cases" / folder).rglob("*.case"))]


def passes(path):
    run = case_run.Run(PROGRAM, parse_case(path.read_bytes()))
    run.execute()
    return not run.failures


def is_noticed(paths):
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as workers:
        for first in range(0, len(paths), 50):
            if not all(workers.map(passes, paths[first:first + 50])):
                return True
    return False


def try_file(name, options):
    original = (ROOT / name).read_text()
    paths = cases_in(options.cases) if options.cases else cases_of(original)
    if not paths:
        return {}
    chosen = list(changes(original))
    random.Random(f"{options.seed} {name}").shuffle(chosen)
    counts = {"noticed": 0, "no program": 0, "survived": 0}
    for start, end, replacement in chosen[:options.each]:
        source = original[:start] + replacement + original[end:]
        outcome = "no program" if not builds(source) else "noticed" if is_noticed(paths) else "survived"
        counts[outcome] += 1
        if outcome == "survived":
            line = original.count("\n", 0, start) + 1
            print(f"SURVIVED {name}:{line}: {original[start:end].strip()} -> {replacement.strip() or 'nothing'}    "
                  f"{original.splitlines()[line - 1].strip()}", flush=True)
    print(f"{name}: {counts} of {len(list(changes(original)))} changes, {len(paths)} cases", flush=True)
    return counts


def main():
    parser = argparse.ArgumentParser(description="Changes of the source that no case notices.")
    parser.add_argument("--each", type=int, default=None)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--cases", action="append", metavar="FOLDER")
    parser.add_argument("sources", nargs="*")
    options = parser.parse_args()
    resource.setrlimit(resource.RLIMIT_FSIZE, (64 << 20, 64 << 20))
    prepare()
    started = time.monotonic()
    sums = {}
    for name in options.sources or sorted(
            str(path.relative_to(ROOT)) for folder in ("apps", "cgi", "db", "files", "language", "macro", "table")
            for path in (ROOT / "src" / folder).glob("*.cpp")):
        for outcome, count in try_file(name, options).items():
            sums[outcome] = sums.get(outcome, 0) + count
    print(f"{sum(sums.values())} changes: {sums} ({time.monotonic() - started:.0f} s)")


if __name__ == "__main__":
    main()
