"""Every page case under valgrind: no invalid access, no use of bytes that nobody wrote.

    QUILLET_DYNAMIC_PROGRAM=... valgrind.py [--share N] [--jobs N] [PATH ...]

Every N-th case (all when nothing is said). Memory that is there at the end is no error: a process that answers one request
does not give back what it has.
"""

import argparse
import concurrent.futures
import os
import random
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import case_run
from program import DYNAMIC_PROGRAM
from run_cases import TESTS, find_cases

ERROR = 99
case_run.TIMEOUT = 600


class WatchedRun(case_run.Run):
    """A case whose program valgrind runs; what the case says is not looked at."""

    def limits(self):
        return {}

    def command(self):
        return ["valgrind", "-q", "--leak-check=no", f"--error-exitcode={ERROR}", "--trace-children=no",
                *super().command()]

    def check(self):
        if self.status == ERROR or self.status < 0:
            self.failures.append(f"status {self.status}\n{self.errors.decode(errors='replace')[:3000]}")


def findings(name, load):
    sections = load()
    if any(section.name == "limits" for section in sections):
        return name, None  # valgrind needs more room than these leave
    run = WatchedRun(DYNAMIC_PROGRAM, sections)
    run.execute()
    return name, run.failures


def main():
    parser = argparse.ArgumentParser(description="Page cases under valgrind.")
    parser.add_argument("--share", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)))
    parser.add_argument("paths", nargs="*", type=Path)
    options = parser.parse_args()
    chosen = find_cases(options.paths or [TESTS / "cases"])
    random.Random(1).shuffle(chosen)
    chosen = chosen[::options.share]
    counts = {"run": 0, "found": 0}
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as workers:
        for name, found in workers.map(lambda case: findings(*case), chosen):
            counts["run"] += found is not None
            counts["found"] += bool(found)
            if found:
                print(f"FOUND {name}", *found, sep="\n    ", flush=True)
            if counts["run"] % 100 == 0:
                print(f"... {counts} of {len(chosen)}", file=sys.stderr, flush=True)
    print(f"{counts['run']} of {len(chosen)} cases, {counts['found']} with errors")
    sys.exit(1 if counts["found"] else 0)


if __name__ == "__main__":
    main()
