"""A process that is killed while it writes a cache entry: what it leaves at each of its steps, as docs/cache.md says.
And one that meets an entry locked by another: it waits, or has no need to.
"""

import fcntl
import os
import resource
import signal
import sys
import unittest
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
from page_runner import PageTest, PreloadTest  # noqa: E402

OLD = "o" * 9000
NEW = "n" * 12000
SHORT = "s" * 5000


def first_version(text):
    return f"^cache[k;{text}]"


def rewriting(old, new):
    """Another process is faster: while the body is evaluated, the entry is made."""
    return f"^cache[k;{new}^var[other;^cache[k;{old}]]]"


class KilledWhileWriting(PreloadTest):
    SOURCE = FOLDER / "die_in_cache.c"

    def kill(self, page, die_at, **more):
        with self.start(page, self.preloading(DIE_AT=die_at, **more)) as process:
            self.assertEqual((process.communicate()[0], process.wait()), (b"", -signal.SIGKILL))

    def entry(self):
        """What is left; nothing else may lie around."""
        files = sorted((self.site / "cache").iterdir())
        self.assertIn([file.name for file in files], ([], ["k_"]))
        return files[0].read_text() if files else None

    def check_recovery(self, left):
        """The next visitors are served what is left, and after a removal all is as ever."""
        if left is not None:
            self.assertEqual(self.run_page("(^cache[k;again])"), f"({left})")
        self.assertEqual(self.run_page("^cache[k]^cache[k;again]^cache[k;x]"), "againagain")

    def test_a_first_version_is_there_as_a_whole_or_not_at_all(self):
        for die_at in ["write 1 0", "write 1 1", "write 1 6000", "write 1 12000", "linkat 1 0"]:
            with self.subTest(die_at):
                self.kill(first_version(NEW), die_at)
                self.assertIsNone(self.entry())
                self.check_recovery(None)
                self.run_page("^cache[k]x")
        self.kill(first_version(NEW), "linkat 1 1")
        self.assertEqual(self.entry(), NEW)
        self.check_recovery(NEW)

    def test_rewriting_leaves_the_beginning_of_the_new_text_and_the_rest_of_the_old_one(self):
        for bytes_written in (0, 1, 4096, 8999, 9000, 11999, 12000):
            with self.subTest(bytes_written):
                self.kill(rewriting(OLD, NEW), f"write 3 {bytes_written}")
                left = NEW[:bytes_written] + OLD[bytes_written:]
                self.assertEqual(self.entry(), left)
                self.check_recovery(left)
                self.run_page("^cache[k]x")

    def test_rewriting_with_a_shorter_text_leaves_the_end_of_the_old_one_before_it_is_cut(self):
        self.kill(rewriting(OLD, SHORT), "ftruncate 1 0")
        left = SHORT + OLD[len(SHORT):]
        self.assertEqual(self.entry(), left)
        self.check_recovery(left)

    def test_the_last_one_to_finish_wins(self):
        self.assertEqual(self.run_page(rewriting(OLD, SHORT)), SHORT)
        self.assertEqual(self.entry(), SHORT)

    def test_an_entry_that_is_removed_before_it_is_rewritten_is_created_again(self):
        self.assertEqual(self.run_page(rewriting(OLD, NEW), self.preloading(REMOVE_TAKEN="yes")), NEW)
        self.assertEqual(self.entry(), NEW)

    def test_an_entry_that_is_removed_before_it_is_rewritten_can_be_empty_or_in_part(self):
        for bytes_written in (0, 1, 6000):
            with self.subTest(bytes_written):
                self.kill(rewriting(OLD, NEW), f"write 3 {bytes_written}", REMOVE_TAKEN="yes")
                self.assertEqual(self.entry(), NEW[:bytes_written])
                self.check_recovery(NEW[:bytes_written])
                self.run_page("^cache[k]x")

    def test_without_nameless_files_entries_are_still_stored(self):
        page = first_version(NEW) + "|^cache[k;again]"
        self.assertEqual(self.run_page(page, self.preloading(NAMELESS_FILES="no")), NEW + "|" + NEW)
        self.assertEqual(self.entry(), NEW)

    def test_without_nameless_files_a_first_version_can_be_empty_or_in_part(self):
        for bytes_written in (0, 1, 6000):
            with self.subTest(bytes_written):
                self.kill(first_version(NEW), f"write 1 {bytes_written}", NAMELESS_FILES="no")
                self.assertEqual(self.entry(), NEW[:bytes_written])
                self.check_recovery(NEW[:bytes_written])
                self.run_page("^cache[k]x")

    def test_without_nameless_files_a_first_version_that_finds_no_room_leaves_an_empty_entry(self):
        limits = [(resource.RLIMIT_FSIZE, len(NEW) - 1)]
        self.assertEqual(self.run_page(first_version(NEW), self.preloading(NAMELESS_FILES="no"), limits), NEW)
        self.assertEqual(self.entry(), "")
        self.check_recovery("")


class Locked(PageTest):
    """The test holds the lock of the entry."""

    def lock(self, content):
        entry = open(self.write("site/cache/k_", content), "r+")
        self.addCleanup(entry.close)
        fcntl.flock(entry, fcntl.LOCK_EX)
        return entry

    def wait_for_waiting(self, process):
        if not self.waits_for_lock(process, self.site / "cache" / "k_"):
            process.kill()
            self.fail(f"it does not wait: {process.communicate()}")

    def test_a_reader_waits_for_the_lock_and_then_reads_all_there_is(self):
        entry = self.lock("old")
        with self.start("(^cache[k;body])") as process:
            self.wait_for_waiting(process)
            entry.write("a text that is longer than the old one")
            entry.flush()
            fcntl.flock(entry, fcntl.LOCK_UN)
            self.assertEqual(self.body(process), "(a text that is longer than the old one)")

    def test_a_reader_that_waited_for_a_shorter_text_reads_no_more_than_that(self):
        entry = self.lock("an old text")
        with self.start("(^cache[k;body])") as process:
            self.wait_for_waiting(process)
            entry.write("new")
            entry.truncate()
            fcntl.flock(entry, fcntl.LOCK_UN)
            self.assertEqual(self.body(process), "(new)")

    def rewrite(self, new, check):
        """A page whose entry is made by another while its body is evaluated, and locked then."""
        os.mkfifo(self.www / "made")
        self.write("www/wait", "#!/bin/sh\ncat made\nprintf '\\n\\n'\n", 0o755)
        with self.start(f"(^cache[k;{new}^exec[wait]])") as process:
            with open(self.www / "made", "w"):  # the body is being evaluated, there was no entry
                entry = self.lock(OLD)
            self.wait_for_waiting(process)
            check()
            fcntl.flock(entry, fcntl.LOCK_UN)
            self.assertEqual(self.body(process), f"({new})")
        self.assertEqual((self.site / "cache" / "k_").read_text(), new)

    def test_a_writer_waits_for_the_lock_before_it_changes_anything(self):
        self.rewrite(NEW, lambda: self.assertEqual((self.site / "cache" / "k_").read_text(), OLD))

    def test_a_writer_of_a_shorter_text_cuts_nothing_before_it_has_the_lock(self):
        self.rewrite(SHORT, lambda: self.assertEqual((self.site / "cache" / "k_").read_text(), OLD))

    def test_an_entry_is_removed_without_waiting(self):
        self.lock("old")
        self.assertEqual(self.run_page("(^cache[k])^cache[k;new]"), "()new")
        self.assertEqual((self.site / "cache" / "k_").read_text(), "new")

    def test_no_lock_is_held_while_the_body_is_evaluated(self):
        self.write("www/lock", f"#!/bin/sh\ncd '{self.site}/cache' && flock -n k_ echo locked > outcome\n"
                               "printf '\\n\\n'\n", 0o755)
        page = "^cache[other;x]^cache[k;^cache[k;inner]^exec[lock]outer]"
        self.assertEqual(self.run_page(page), "xinnerouter")
        self.assertEqual((self.site / "cache" / "outcome").read_text(), "locked\n")


if __name__ == "__main__":
    unittest.main()
