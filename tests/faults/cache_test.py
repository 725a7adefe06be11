"""A process that is killed while it writes a cache entry: what it leaves at each of its steps, as docs/cache.md tells."""

import os
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
from page_runner import PageTest  # noqa: E402

OLD = "o" * 9000
NEW = "n" * 12000
SHORT = "s" * 5000


def first_version(text):
    return f"^cache[k;{text}]"


def rewriting(old, new):
    """Another process is faster: while the body is evaluated, the entry is made."""
    return f"^cache[k;{new}^var[other;^cache[k;{old}]]]"


class KilledWhileWriting(PageTest):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.library = Path(cls.folder.name) / "die_in_cache.so"
        subprocess.run([os.environ.get("QUILLET_C_COMPILER", "cc"), "-shared", "-fPIC", "-o", cls.library,
                        FOLDER / "die_in_cache.c"], check=True)

    def variables(self, **more):
        return {"LD_PRELOAD": str(self.library), "ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0"} | more

    def kill(self, page, die_at, **more):
        with self.start(page, self.variables(DIE_AT=die_at, **more)) as process:
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

    def test_without_nameless_files_entries_are_kept_all_the_same(self):
        page = first_version(NEW) + "|^cache[k;again]"
        self.assertEqual(self.run_page(page, self.variables(NAMELESS_FILES="no")), NEW + "|" + NEW)
        self.assertEqual(self.entry(), NEW)

    def test_without_nameless_files_a_first_version_may_be_empty_or_in_part(self):
        for bytes_written in (0, 1, 6000):
            with self.subTest(bytes_written):
                self.kill(first_version(NEW), f"write 1 {bytes_written}", NAMELESS_FILES="no")
                self.assertEqual(self.entry(), NEW[:bytes_written])
                self.check_recovery(NEW[:bytes_written])
                self.run_page("^cache[k]x")


if __name__ == "__main__":
    unittest.main()
