"""Instruction counts of the twelve pages, and the file of the repository that keeps them.

They hold for one compiler, one C library and one kind of processor (the C library chooses its routines by that),
which the file names. What is counted is quillet in user space, by valgrind; what the kernel does is not.
"""

import pathlib
import re
import shutil
import subprocess
import tempfile

import requests

KEPT = pathlib.Path(__file__).resolve().parent / "instructions.txt"
ALLOWED = 1.01
VALGRIND = ["/usr/bin/valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]


def first_line(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]


def made_with(build):
    """What the counts hold for."""
    compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.M).group(1)
    flags = next(line for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines() if line.startswith("flags"))
    return {
        "compiler": first_line(compiler, "--version"),
        "library": first_line("ldd", "--version"),
        "valgrind": first_line("valgrind", "--version"),
        "vectors": "avx2" if " avx2" in flags else "none",
    }


def count(program, values, folder, body=None):
    """Instructions of one request with these values in its environment."""
    report = requests.run([*VALGRIND, str(program)], values, folder, body, read_from=2).output
    return int(re.search(rb"Collected : (\d+)", report).group(1))


def count_page(page, scenarios, program):
    """In a temporary folder: the length of the page's path, and how many folders it has, count too."""
    with tempfile.TemporaryDirectory(prefix="quillet-", dir="/tmp") as place:
        folder = pathlib.Path(place) / "site"
        shutil.copytree(scenarios / page.folder, folder)
        body = folder / page.body if page.body else None
        return count(program, requests.environment(folder / "page.html", folder, page.query, body), folder, body)


def read_kept():
    """What the counts were made with, and the counts by page."""
    made, counts = {}, {}
    if KEPT.exists():
        for line in KEPT.read_text().splitlines():
            if line.startswith("# ") and ": " in line:
                name, value = line[2:].split(": ", 1)
                made[name] = value
            elif line and not line.startswith("#"):
                page, number = line.split()[:2]
                counts[page] = int(number)
    return made, counts


def write_kept(made, counts, pages):
    lines = ["# Instructions of each page, counted by `scripts/bench instructions`.", "#"]
    lines += [f"# {name}: {value}" for name, value in made.items()]
    lines += ["#"] + [f"{page.name:<4} {counts[page.name]:>12}  {page.what}" for page in pages if page.name in counts]
    KEPT.write_text("\n".join(lines) + "\n")


def compare(kept, counts):
    """Prints each page beside the count kept; gives those that are dearer than allowed."""
    dearer = []
    for name, number in counts.items():
        ratio = number / kept[name] if name in kept else None
        note = "" if ratio is None else f"  {ratio:.4f} of {kept[name]}"
        if ratio and ratio > ALLOWED:
            dearer.append(name)
            note += "  DEARER"
        print(f"{name:<4} {number:>12}{note}", flush=True)
    return dearer
