"""Every page case that changes a file, its process killed before its n-th call of the C library and in the middle of each
write, for every n, and at as many random moments: what the killed process leaves, docs/reliability.md says.

    QUILLET_DYNAMIC_PROGRAM=... kills_test.py [--seconds N] [--each N] [--case-seconds N] [--jobs N] [--seed N]
        [PATH ...]
"""

import signal
import sys

from every_call import MOMENT, Row
from spoiled_case import damage


def complaints(run, whole):
    if run.hangs:
        return ["it hangs"]
    found = damage(run, whole)
    if run.status not in (-signal.SIGKILL, whole.status):
        found.append(f"status {run.status}: {run.errors[:300]!r}")
    if run.left_running:
        found.append("a process goes on running")
    return found


def changes_files(whole):
    return whole.files != whole.given


if __name__ == "__main__":
    sys.exit(0 if Row(("kill", "half", MOMENT), complaints, changes_files).run("Page cases whose process is killed.") else 1)
