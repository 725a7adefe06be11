"""Memory and open files of processes under load: what they use, and whether that grew."""

import dataclasses
import os
from pathlib import Path

# What may be more in the last half of a load than in the first: a leak of any request's has more after thousands.
MORE_MEMORY = 4096  # kB
MORE_FILES = 64  # with the processes that wait, a server's number goes up and down


@dataclasses.dataclass
class Use:
    memory: int  # kB that is resident, shared with other processes or not
    files: int

    def __str__(self):
        return f"{self.memory} kB and {self.files} files"


def use_of(process):
    """None when it has ended."""
    try:
        lines = Path(f"/proc/{process}/smaps_rollup").read_text().splitlines()
        memory = sum(int(line.split()[1]) for line in lines if line.startswith("Rss:"))
        return Use(memory, len(os.listdir(f"/proc/{process}/fd")))
    except OSError:
        return None


def most(uses):
    """Of several looks, each a use by name: the most of each kind."""
    return {who: Use(max(use[who].memory for use in uses), max(use[who].files for use in uses)) for who in uses[0]}


def halves(looks):
    """Of looks, each (part of the load that is done, use by name): the most in the first half and in the last."""
    first = most([uses for done, uses in looks if done < .5] or [looks[0][1]])
    return first, most([uses for done, uses in looks if done >= .5] or [first])


def growth(name, early, late):
    """What grew, in words."""
    for who in early:
        if late[who].memory > early[who].memory + MORE_MEMORY:
            yield f"{name}: the memory of the {who} grew from {early[who].memory} to {late[who].memory} kB"
        if late[who].files > early[who].files + MORE_FILES:
            yield f"{name}: the files of the {who} grew from {early[who].files} to {late[who].files}"
