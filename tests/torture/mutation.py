"""Changes the source of operators, one token at a time, and runs the page cases: a change that no case notices is printed.

    mutation.py [--each N] [--seed N] [SOURCE ...]

SOURCE: files below src, such as src/files/counter.cpp; every file that registers operators when none is named. --each: at
most N changes of each file, chosen at random. A change that unnoticed_changes.txt names with its reason is not tried. The
status is 1 after any other that no case notices. The changed file is compiled apart from the source, below build/mutation.
"""

import argparse
import collections
import concurrent.futures
import functools
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
BUILD_OF_CHANGES = ROOT / "build/mutation"
REASONS = ROOT / "tests/torture/unnoticed_changes.txt"
os.environ["QUILLET_PROGRAM"] = str(BUILD / "bin/quillet")
import case_run
from case_file import parse_case

case_run.TIMEOUT = 5

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
    """Builds the program that the changed file is put into."""
    for command in (["cmake", "--preset", "release-tests"],
                    ["cmake", "--build", BUILD, "--target", "quillet", "quillet-database"]):
        subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    shutil.rmtree(BUILD_OF_CHANGES, ignore_errors=True)


def build(source):
    """The program with this text in place of the file of the library that defines the same; None when there is none. What
    the program starts is beside it."""
    folder = BUILD_OF_CHANGES / str(os.getpid())
    if not folder.exists():
        folder.mkdir(parents=True)
        shutil.copy(BUILD / "bin/quillet-database", folder)
    changed = folder / "changed.cpp"
    changed.write_text(source)
    compiling = ["g++", "-std=c++20", "-O0", "-w", f"-I{ROOT}/src", "-c", changed, "-o", folder / "changed.o"]
    linking = ["g++", "-o", folder / "quillet", BUILD / "CMakeFiles/quillet.dir/src/main/main.cpp.o",
               folder / "changed.o", BUILD / "libquillet_library.a", BUILD / "libgd-gif.a"]
    built = all(subprocess.run(command, capture_output=True).returncode == 0 for command in (compiling, linking))
    return folder / "quillet" if built else None


def operators_of(source):
    """The names that the source registers."""
    return re.findall(r'^ +\{"([^"]+)", \w+(?:<[^>]*>)?, ', source, re.MULTILINE)


def all_cases():
    return sorted((ROOT / "tests/cases").rglob("*.case"))


@functools.cache
def cases_for(name):
    """All cases, those first whose pages call an operator of the source. In each process a list of its own."""
    names = operators_of((ROOT / name).read_text())
    call = re.compile("|".join(rf"\^{re.escape(operator)}\[" for operator in names).encode() or b"$^")
    return sorted(all_cases(), key=lambda path: not call.search(path.read_bytes()))


def passes(program, path):
    run = case_run.Run(program, parse_case(path.read_bytes()))
    run.execute()
    return not run.failures


def outcome_of(name, change):
    start, end, replacement = change
    original = (ROOT / name).read_text()
    program = build(original[:start] + replacement + original[end:])
    if program is None:
        return "no program"
    cases = cases_for(name)
    for place, path in enumerate(cases):
        if not passes(program, path):
            cases.insert(0, cases.pop(place))  # it may well notice the next change, too
            return "noticed"
    return "survived"


def read_reasons():
    """{(file, change, line of the source)} with a reason."""
    known = set()
    for number, line in enumerate(REASONS.read_text().splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        fields = [field.strip() for field in line.split(" | ", 3)]
        if len(fields) != 4 or not all(fields):
            sys.exit(f"{REASONS}:{number}: expected FILE | CHANGE, CHANGE | REASON | LINE OF THE SOURCE")
        known.update((fields[0], change, fields[3]) for change in fields[1].split(", "))
    return known


def describe_changes(source):
    """{change: (line number, change in words, line of the source)}; the second of the same words and line is "0 -> 1 (2)"."""
    lines = source.splitlines()
    described, times = {}, collections.Counter()
    for start, end, replacement in changes(source):
        number = source.count("\n", 0, start)
        words = f"{source[start:end].strip()} -> {replacement.strip() or 'nothing'}"
        line = lines[number].strip()
        times[words, line] += 1
        if times[words, line] > 1:
            words += f" ({times[words, line]})"
        described[start, end, replacement] = number + 1, words, line
    return described


def reasons_without_change(known):
    """What is named and cannot be made any more."""
    for name in sorted({file for file, _, _ in known}):
        made = {(name, words, line) for _, words, line in describe_changes((ROOT / name).read_text()).values()}
        yield from sorted(reason for reason in known - made if reason[0] == name)


def try_file(name, options, workers, known):
    """How many changes came to which end."""
    described = describe_changes((ROOT / name).read_text())
    unknown = [change for change, (_, words, line) in described.items() if (name, words, line) not in known]
    counts = {"noticed": 0, "no program": 0, "known": len(described) - len(unknown), "survived": 0}
    random.Random(f"{options.seed} {name}").shuffle(unknown)
    chosen = unknown[:options.each]
    for change, outcome in zip(chosen, workers.map(outcome_of, [name] * len(chosen), chosen)):
        counts[outcome] += 1
        if outcome == "survived":
            number, words, line = described[change]
            print(f"SURVIVED {name}:{number}: {words} | {line}", flush=True)
    print(f"{name}: {len(described)} changes: {counts}", flush=True)
    return counts


def main():
    parser = argparse.ArgumentParser(description="Changes of the source that no case notices.")
    parser.add_argument("--each", type=int, default=None)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("sources", nargs="*")
    options = parser.parse_args()
    known = read_reasons()
    if missing := list(reasons_without_change(known)):
        sys.exit("\n".join(f"{REASONS}: there is no such change (any more): {' | '.join(reason)}" for reason in missing))
    resource.setrlimit(resource.RLIMIT_FSIZE, (64 << 20, 64 << 20))
    started = time.monotonic()
    prepare()
    sources = options.sources or sorted(str(path.relative_to(ROOT)) for path in (ROOT / "src").glob("*/*.cpp")
                                        if operators_of(path.read_text()))
    unchanged = build((ROOT / sources[0]).read_text())
    if unchanged is None:
        sys.exit(f"{sources[0]}: no program")
    sums = {}
    with concurrent.futures.ProcessPoolExecutor(len(os.sched_getaffinity(0))) as workers:
        cases = all_cases()
        failing = [path for path, passed in zip(cases, workers.map(passes, [unchanged] * len(cases), cases)) if not passed]
        if failing:
            sys.exit(f"fails without a change: {failing[0]}")
        for name in sources:
            for outcome, count in try_file(name, options, workers, known).items():
                sums[outcome] = sums.get(outcome, 0) + count
    print(f"{sum(sums.values())} changes: {sums} ({time.monotonic() - started:.0f} s)")
    return 1 if sums["survived"] else 0


if __name__ == "__main__":
    sys.exit(main())
