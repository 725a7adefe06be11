"""A row of trials: page cases, each run again for its n-th call of the C library spoiled in each of the ways, for every n;
or killed at as many random moments."""

import argparse
import concurrent.futures
import math
import os
import random
import re
import signal
import sys
import threading
import time
from pathlib import Path

import spoiled_case
from spoiled_case import SpoiledRun, cases

HARMLESS = ("interrupt", "short")
MOMENT = "moment"
lock = threading.Lock()


def outcome(run):
    """What the visitor gets, without the time until which a cookie lives."""
    return run.status, re.sub(rb"(expires=)[^;]* GMT", rb"\1", run.output.replace(run.root, b"@ROOT@"))


class Row:
    """`modes`: of calls.c; `complaints`: what is wrong with a run, given one of which nothing was spoiled; `concerns`:
    whether a case is worth it, given such a run."""

    def __init__(self, modes, complaints, concerns=lambda whole: True):
        self.modes, self.complaints, self.concerns = modes, complaints, concerns
        self.counts = {"cases": 0, "trials": 0, "killed": 0, "findings": 0}
        self.functions = {}

    def ran_out(self):
        return self.end is not None and time.monotonic() > self.end

    def run_case(self, case):
        if self.ran_out():
            return
        name, sections = case
        whole = SpoiledRun(sections).execute()
        if not self.concerns(whole):
            return
        again = SpoiledRun(sections).execute()
        steady = outcome(whole) == outcome(again) and whole.calls == again.calls
        duration = min(whole.microseconds, again.microseconds)
        chance = random.Random(f"{self.options.seed} {name}")
        trials = [(mode, chance.randint(1, duration) if mode == MOMENT else number)
                  for number in range(1, whole.calls + 1) for mode in self.modes if steady or mode not in HARMLESS]
        chance.shuffle(trials)
        case_end = time.monotonic() + self.options.case_seconds
        for mode, number in trials[:self.options.each]:
            if self.ran_out() or time.monotonic() > case_end:
                return
            run = SpoiledRun(sections, f"{mode} {number}").execute()
            self.count(name, run, self.complaints(run, whole))
        with lock:
            self.counts["cases"] += 1

    def count(self, name, run, found):
        with lock:
            self.counts["trials"] += 1
            self.counts["killed"] += run.status == -signal.SIGKILL
            self.functions[run.spoiled] = self.functions.get(run.spoiled, 0) + 1
            self.counts["findings"] += bool(found)
            if found:
                print(f"FOUND {name}: {run.spoil} {run.spoiled}", *found, sep="\n    ", flush=True)
            if self.counts["trials"] % 5000 == 0:
                print(f"... {self.counts}", file=sys.stderr, flush=True)

    def run(self, description):
        parser = argparse.ArgumentParser(description=description)
        parser.add_argument("--seconds", type=float, default=0, help="end after so many")
        parser.add_argument("--each", type=int, default=None, metavar="N", help="at most N trials of each case")
        parser.add_argument("--case-seconds", type=float, default=math.inf, metavar="N", help="end a case after so many")
        parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)))
        parser.add_argument("--seed", type=int, default=1)
        parser.add_argument("paths", nargs="*", type=Path)
        self.options = parser.parse_args()
        self.end = time.monotonic() + self.options.seconds if self.options.seconds else None
        chosen = list(cases(self.options.paths))
        random.Random(self.options.seed).shuffle(chosen)
        spoiled_case.library()
        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as workers:
            list(workers.map(self.run_case, chosen))
        functions = ", ".join(f"{name} {number}" for name, number in sorted(self.functions.items()) if name)
        print(f"{self.counts['trials']} trials, {self.counts['killed']} killed, {self.counts['cases']} of {len(chosen)} "
              f"cases whole, {self.counts['findings']} findings ({functions})")
        return self.counts["trials"] > 0 and self.counts["findings"] == 0
