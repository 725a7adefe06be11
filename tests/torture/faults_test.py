"""Every page case with its n-th call of the C library failing, once and for ever, interrupted and cut short, for every n.

    QUILLET_DYNAMIC_PROGRAM=... faults_test.py [--seconds N] [--each N] [--case-seconds N] [--jobs N] [--seed N]
        [PATH ...]

A page ends with one of the program's statuses, within its time, and leaves no process, no other file and no torn one. An
interruption and a short read or write change nothing at all. The calls come in a random order; --seconds and
--case-seconds end early.
"""

import signal
import sys

from every_call import HARMLESS, Row, outcome
from spoiled_case import STATUSES, damage


def is_of_library(run):
    """Without memory the C library gives a block back twice while it compiles or matches an expression, and ends the process
    for it; or it reads a state of the match that it has not written."""
    if run.status == -signal.SIGABRT and run.errors == b"free(): double free detected in tcache 2\n":
        return run.spoiled.endswith(("alloc in regcomp", "alloc in regexec"))
    return run.status == -signal.SIGBUS and run.spoiled.endswith("alloc in regexec")


def is_first_read_of_mail(run):
    """What the mail program says is read once; what does not come with it is not reported."""
    return run.spoil.startswith("short") and run.spoiled == "read" and b"[sendmail reported error: " in run.output


def complaints(run, whole):
    if run.hangs:
        return ["it hangs"]
    found = damage(run, whole)
    if run.left_running:
        found.append("a process goes on running")
    if run.status not in STATUSES and not is_of_library(run):
        found.append(f"status {run.status}: {run.errors[:300]!r}")
    if run.spoil.startswith(HARMLESS) and outcome(run) != outcome(whole) and not is_first_read_of_mail(run):
        found.append(f"the result is another: {outcome(run)!r:.300} instead of {outcome(whole)!r:.300}")
    return found


if __name__ == "__main__":
    sys.exit(0 if Row(("once", "ever", *HARMLESS), complaints).run("Page cases with failing calls.") else 1)
