"""Page cases without room, and requests that are far too large, too slow, or gone: each ends as the manual says.

    QUILLET_PROGRAM=... limits_test.py [--share N]

Every N-th case (all when nothing is said) runs in 64 MB of address space, with 8 descriptors, and with a stack of 512 kB.
A full disk and what permissions do are in faults/files_test.py.
"""

import argparse
import concurrent.futures
import os
import random
import resource
import signal
import socket
import subprocess
import sys
import unittest
from pathlib import Path

from spoiled_case import STATUSES, SpoiledRun, cases, damage

import case_run
from page_runner import PageTest
from program import PROGRAM, multipart

MEGABYTE = 1 << 20
ITSELF = 8  # megabytes of addresses of a process without a body
SHARE = 1
ROOM = {"64 MB of addresses": ["--as=67108864"], "8 descriptors": ["--nofile=8"], "a stack of 512 kB": ["--stack=524288"]}


class TightRun(SpoiledRun):
    def __init__(self, sections, room):
        super().__init__(sections)
        self.room = room

    def environment(self, body):
        return case_run.Run.environment(self, body)

    def command(self):
        return ["prlimit", *self.room, "--", os.fsencode(PROGRAM), *super().command()[1:]]


class Room(unittest.TestCase):
    def complaints(self, sections, room):
        run, whole = TightRun(sections, room).execute(), TightRun(sections, []).execute()
        found = damage(run, whole)
        if run.hangs or run.left_running:
            found.append("it hangs, or a process goes on running")
        if run.status not in STATUSES:
            found.append(f"status {run.status}: {run.errors[:200]!r}")
        return found

    def test_every_case_ends_with_a_status(self):
        chosen = list(cases([]))
        random.Random(1).shuffle(chosen)
        for what, room in ROOM.items():
            found = []
            with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as workers:
                runs = workers.map(lambda case, room=room: (case[0], self.complaints(case[1], room)), chosen[::SHARE])
                found = [(name, wrong) for name, wrong in runs if wrong]
            print(f"{what}: {len(chosen[::SHARE])} cases, {len(found)} findings", file=sys.stderr)
            self.assertEqual(found, [], what)


class Large(PageTest):
    """More than anybody needs. `memory`: megabytes of addresses."""

    def post(self, page, body, content_type="application/x-www-form-urlencoded", memory=512):
        environment = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": content_type, "CONTENT_LENGTH": str(len(body))}
        started = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        with open(self.write("body", body), "rb") as stdin:
            result = self.run_page(page, environment, [(resource.RLIMIT_AS, memory * MEGABYTE)], stdin=stdin)
        seconds = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - started
        print(f"{len(body)} bytes: {seconds:.2f} s of processor time", file=sys.stderr)
        return result

    def test_a_million_fields(self):
        body = b"&".join(b"f%d=%d" % (number, number) for number in range(1000000))
        self.assertEqual(self.post("^form[f0] ^form[f999999] ^form[none]", body), "0 999999 ")

    def test_a_hundred_thousand_parts(self):
        body, content_type = multipart([(f'name="f{number}"', b"%d" % number) for number in range(100000)])
        self.assertEqual(self.post("^form[f0] ^form[f99999]", body, content_type), "0 99999")

    def test_the_shortest_fields_take_at_most_eight_times_the_body(self):
        self.assertEqual(self.post("^form[x]read", b"=&" * 8 * MEGABYTE, memory=8 * 16 + ITSELF), "read")

    def test_fields_of_16_bytes_take_at_most_two_and_a_half_times_the_body(self):
        self.assertEqual(self.post("^form[x]read", b"name=0123456789&" * MEGABYTE, memory=40 + ITSELF), "read")

    def test_cookies_of_ten_megabytes(self):
        """Larger than what a process can be handed in one variable: only a server in the same process can have them."""
        with self.assertRaises(OSError):
            self.start("^cookie[last]", {"HTTP_COOKIE": "x=y; " * (2 * MEGABYTE) + "last=here"})
        self.assertEqual(self.run_page("^cookie[last]", {"HTTP_COOKIE": "x=y; " * 20000 + "last=here"}), "here")

    def test_a_body_that_is_larger_than_the_memory_is_fatal(self):
        environment = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded",
                       "CONTENT_LENGTH": str(1 << 30)}
        with self.start("x", environment, [(resource.RLIMIT_AS, 64 * MEGABYTE)]) as process:
            self.output(process)
        self.assertIn(process.returncode, (254, 255))


class Visitors(PageTest):
    POST = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded"}

    def test_a_body_of_a_gigabyte_that_is_held_open_takes_no_memory(self):
        with self.start("x", {**self.POST, "CONTENT_LENGTH": str(1 << 30)}, stdin=subprocess.PIPE) as process:
            process.stdin.write(b"a=1&")
            process.stdin.flush()
            while True:  # until it waits for more of the body
                if "pipe" in Path(f"/proc/{process.pid}/wchan").read_text() or process.poll() is not None:
                    break
                os.sched_yield()
            pages = int(Path(f"/proc/{process.pid}/statm").read_text().split()[1])
            process.kill()
            self.output(process)
        self.assertLess(pages * resource.getpagesize(), 16 * MEGABYTE)

    def test_a_body_that_ends_early_is_what_there_is(self):
        with self.start("^form[a]", {**self.POST, "CONTENT_LENGTH": "1000"}, stdin=subprocess.PIPE) as process:
            output, _ = process.communicate(b"a=1&b=2")
        self.assertIn(process.returncode, (0, 255))
        self.assertIn(output.partition(b"\n\n")[2], (b"1", b""))

    def test_a_body_that_comes_in_single_bytes_ends_at_its_length(self):
        """The stream stays open: a server need not end it (RFC 3875, section 4.2)."""
        ours, theirs = socket.socketpair()
        self.addCleanup(ours.close)
        with self.start("^form[a]", {**self.POST, "CONTENT_LENGTH": "7"}, stdin=theirs) as process:
            theirs.close()
            for byte in b"a=slow!":
                ours.send(bytes([byte]))
            self.assertEqual(self.body(process), "slow!")

    def test_a_visitor_who_is_gone_ends_the_page_without_harm(self):
        self.write("www/n.count", "0000000041")
        reader, writer = os.pipe()
        os.close(reader)
        self.write("www/page.html", "^counter[n]^for[i;1;100000;xxxxxxxxxxxxxxxxxxxx]^save[note;kept]")
        variables = case_run.cgi_environment(self.root)
        done = subprocess.run([PROGRAM], cwd=self.site, env=variables, stdin=subprocess.DEVNULL, stdout=writer,
                              stderr=subprocess.PIPE, timeout=60)
        os.close(writer)
        self.assertIn(done.returncode, (*STATUSES, -signal.SIGPIPE))
        self.assertEqual((self.www / "_note").read_text(), "kept")
        self.assertEqual((self.www / "n.count").read_text(), "0000000042")


if __name__ == "__main__":
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--share", type=int, default=SHARE)
    options, rest = parser.parse_known_args()
    SHARE = options.share
    unittest.main(argv=sys.argv[:1] + rest)
