"""auth where a page case cannot put an access file: in the root of the file system, and locked by somebody else."""

import fcntl
import os
import sys
import tempfile
import unittest
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
import private_mounts
from page_runner import PageTest, PreloadTest
from private_mounts import mount, unmount


class Locks(PageTest):
    def test_a_locked_file_is_read_without_waiting(self):
        with open(self.write("www/.htaccess", "require valid-user\n")) as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assertEqual(self.run_page("^auth[ann;/x]"), "yes")


class BrokenDisk(PreloadTest):
    SOURCE = FOLDER / "read_error.c"

    def test_a_file_that_cannot_be_read_ends_the_request(self):
        self.write("www/broken", "require group ann\n")
        (self.www / ".htaccess").symlink_to("broken")
        with self.start("^auth[bob;/x]", self.preloading()) as process:
            self.assertEqual((self.output(process)[0], process.returncode), (b"", 254))
        self.assertRegex(self.error_log(), r"unable to read '.*/www/\.htaccess': Input/output error\(#5\)\n$")


@unittest.skipUnless(private_mounts.is_root(), "only root can make another root")
class Root(PageTest):
    """The processes have a root folder of their own, in which all but the access file is that of the system."""

    def setUp(self):
        super().setUp()
        self.own_root = Path(tempfile.mkdtemp(prefix="quillet-root-"))
        self.addCleanup(self.own_root.rmdir)
        mount("-t", "tmpfs", "tmpfs", self.own_root)
        self.addCleanup(unmount, self.own_root)
        for entry in Path("/").iterdir():
            place = self.own_root / entry.name
            if entry.is_symlink():
                place.symlink_to(os.readlink(entry))
            elif entry.is_dir():
                place.mkdir()
                mount("--rbind", entry, place)

    def answer(self, page, access_file, environment=None):
        """The page's body when the root has that access file."""
        (self.own_root / ".htaccess").write_text(access_file)
        wrapper = ["unshare", "--root", self.own_root, "--wd", self.site]
        return self.run_page(page, environment, wrapper=wrapper)

    def test_the_file_in_the_root_is_the_last_one(self):
        self.assertEqual(self.answer("^auth[ann;/x] ^auth[bob;x]", "require group ann\n"), "yes no")

    def test_a_nearer_file_comes_before_that_in_the_root(self):
        self.write("www/.htaccess", "require group bob\n")
        self.assertEqual(self.answer("^auth[ann;/x]", "require valid-user\n"), "no")

    def test_without_a_decision_in_the_root_the_result_is_empty(self):
        self.assertEqual(self.answer("(^auth[ann;/x])", "require user ann\n"), "()")

    def test_the_root_is_not_asked_for_a_path_that_does_not_begin_there(self):
        environment = {"PATH_TRANSLATED": "../www/page.html", "DOCUMENT_ROOT": "../www"}
        self.assertEqual(self.answer("(^auth[ann;/x])(^auth[ann;x])", "require valid-user\n", environment), "()()")


if __name__ == "__main__":
    private_mounts.enter()
    unittest.main()
