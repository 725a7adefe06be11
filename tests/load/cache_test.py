"""Many processes at one cache entry that is removed again and again, some of them killed at any moment.

docs/cache.md says what a reader can find then. Each process makes a text of lines that carry its letter and their
number, so that of every byte that is served it is known whether it stands in its place.

    QUILLET_PROGRAM=... cache_test.py [--processes 20] [--rounds 60] [--seed 1]
"""

import argparse
import concurrent.futures
import random
import signal
import subprocess
import sys
import threading
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from page_runner import PageTest  # noqa: E402
from program import PROGRAM, cgi_environment  # noqa: E402

PROCESSES, ROUNDS, SEED = 20, 20, 1
LONGEST_LIFE = 0.2  # seconds, of a process that is to be killed
LINE = 100  # bytes
# The number of lines for each letter: many pages of memory, so that a process can be killed between them.
LINES = {letter: 8000 + 500 * number for number, letter in enumerate("abcdefgh")}

MAKE = "^optimize[no]^cache[shared/key;^include[asis;^env[TEXT]]]"
REMOVE = "^cache[shared/key]removed"

TEXTS = {letter: b"".join(b"%s%08d\n" % (letter.encode() * (LINE - 9), number) for number in range(lines))
         for letter, lines in LINES.items()}
WHOLE = set(TEXTS.values())


def is_mixture(body):
    """Whether every byte is where some text has it, and none of the shortest text is missing."""
    if len(body) < min(map(len, WHOLE)):
        return False
    for at in range(0, len(body), LINE):
        line = body[at:at + LINE]
        lines = [text[at:at + LINE] for text in WHOLE if len(text) > at]
        if line not in lines and not all(byte in bytes(column) for byte, column in zip(line, zip(*lines))):
            return False
    return True


class CacheUnderLoad(PageTest):
    def setUp(self):
        super().setUp()
        self.lock = threading.Lock()
        self.counts = {"whole": 0, "mixture": 0, "killed": 0, "torn": 0}

    def count(self, what):
        with self.lock:
            self.counts[what] += 1

    def visit(self, seed, kill):
        """One process; a killed one answers nothing."""
        chance = random.Random(seed)
        letter = chance.choice(list(TEXTS))
        process = subprocess.Popen(**self.command(letter))
        killer = threading.Timer(chance.random() * LONGEST_LIFE, process.kill)
        if kill and chance.random() < 0.5:
            killer.start()
        output = process.communicate()[0]
        killer.cancel()
        if process.returncode == -signal.SIGKILL:
            return self.count("killed")
        self.assertEqual(process.returncode, 0, output[:200])
        body = output.partition(b"\n\n")[2]
        if body in WHOLE:
            return self.count("whole")
        if is_mixture(body):
            return self.count("mixture")
        return self.count("torn")

    def command(self, letter):
        return {"args": [PROGRAM], "cwd": self.site, "stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                "env": cgi_environment(self.root, "www/make.html") | {"TEXT": letter}}

    def run_rounds(self, kill):
        self.write("www/make.html", MAKE)
        for letter, content in TEXTS.items():
            self.write(f"www/{letter}", content)
        chance = random.Random(SEED)
        with concurrent.futures.ThreadPoolExecutor(PROCESSES) as visitors:
            for _ in range(ROUNDS):
                visits = [visitors.submit(self.visit, chance.random(), kill) for _ in range(PROCESSES)]
                visits.insert(chance.randrange(PROCESSES), visitors.submit(self.run_page, REMOVE))
                for visit in visits:
                    visit.result()
                for path in (self.site / "cache" / "shared").glob("*"):
                    self.assertEqual(path.name, "key_")
                self.run_page(REMOVE)
        print(f"{PROCESSES} processes, {ROUNDS} rounds: {self.counts}", file=sys.stderr)
        self.assertEqual(self.counts["torn"], 0)

    def test_without_a_kill_every_text_is_whole(self):
        self.run_rounds(kill=False)
        self.assertEqual(self.counts["mixture"], 0)

    def test_with_processes_killed_at_random_no_byte_is_out_of_place(self):
        self.run_rounds(kill=True)
        self.assertGreater(self.counts["killed"], 0)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--processes", type=int, default=PROCESSES)
    parser.add_argument("--rounds", type=int, default=ROUNDS)
    parser.add_argument("--seed", type=int, default=SEED)
    options, rest = parser.parse_known_args()
    PROCESSES, ROUNDS, SEED = options.processes, options.rounds, options.seed
    unittest.main(argv=sys.argv[:1] + rest)
