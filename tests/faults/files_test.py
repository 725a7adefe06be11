"""What the file system can do to a page: every fault gives an operator's message or no text. Nothing crashes, nothing
hangs, and a file that was whole stays whole.
"""

import fcntl
import os
import resource
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
from page_runner import PageTest, PreloadTest  # noqa: E402
from program import TIMEOUT  # noqa: E402

# Every operator that reads the file `x`, beside the page.
READERS = {
    "^include[x]": "", "^include[asis;x]": "", "^index[x]^item[count]": "0", "^load[x]^item[count]": "",
    "^exec[x]": "", "^macro_use[x]": "", "^cache[x;made]": "made", "^auth[ann;y/]": "", "^imgsize[x.gif]": None,
    "^download[x]": None,
}

# What a program is given in place of these must be gone when it has ended.
OWN_VARIABLES = {"QUERY_STRING": "own=1", "PATH_INFO": "/own", "DOCUMENT_URI": "own", "QUERY_STRING_UNESCAPED": "also"}
VARIABLES = "^env[QUERY_STRING] ^env[PATH_INFO] ^env[DOCUMENT_URI] ^env[QUERY_STRING_UNESCAPED]"


def answer_of(page):
    return f"({page})"


class Kinds(PageTest):
    """Something else where a file is expected."""

    def everywhere(self, make):
        """Puts the thing in each place that an operator reads or writes."""
        (self.site / "cache").mkdir()
        (self.www / "y").mkdir()
        for path in ("www/x", "www/_x", "www/x.gif", "www/x.count", "www/y/.htaccess", "site/cache/x_"):
            make(self.root / path)

    def check_reading(self):
        for page, expected in READERS.items():
            with self.subTest(page=page):
                body = self.run_page(answer_of(page))
                if expected is not None:
                    self.assertEqual(body, answer_of(expected))

    def test_a_pipe_is_no_file_to_read(self):
        self.everywhere(os.mkfifo)
        self.check_reading()
        self.assertEqual(self.run_page("^-f[x] ^stat[size;x] ^find[x;none]"), "x 0 x")

    def test_a_directory_is_not_a_file_to_read(self):
        self.everywhere(os.mkdir)
        self.check_reading()

    def test_a_dangling_link_is_no_file_to_read(self):
        self.everywhere(lambda path: path.symlink_to("nowhere"))
        self.check_reading()
        self.assertEqual(self.run_page("(^-f[x])(^stat[size;x])(^find[x;none])"), "()()(none)")

    def test_a_link_to_itself_is_no_file_to_read(self):
        self.everywhere(lambda path: path.symlink_to(path.name))
        self.check_reading()

    def test_a_pipe_cannot_be_written(self):
        self.everywhere(os.mkfifo)
        for bytes_written in ("text", "x" * 200000):
            body = self.run_page(f"^save[x;{bytes_written}]")
            self.assertRegex(body, rf"^\[save to '{self.www}/_x' failed: .*\(#\d+\)\]$")
        self.assertIn("save to", self.error_log())
        self.assertEqual(self.run_page("^cache[x;made]"), "made")

    def test_a_pipe_with_a_reader_that_does_not_read_cannot_be_written(self):
        os.mkfifo(self.www / "_x")
        reader = os.open(self.www / "_x", os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        self.assertRegex(self.run_page(f"^save[x;{'x' * 200000}]"), r"^\[save to '.*' failed: .*\(#\d+\)\]$")

    def test_a_directory_cannot_be_written(self):
        self.everywhere(os.mkdir)
        self.assertEqual(self.run_page("^save[x;text]"), f"[save to '{self.www}/_x' failed: Is a directory(#21)]")
        self.assertEqual(self.run_page("^cache[x;made]^cache[x;again]^cache[x]"), "madeagain")
        self.assertTrue((self.site / "cache" / "x_").is_dir())

    def test_what_a_dangling_link_names_is_made(self):
        (self.www / "_x").symlink_to("target")
        self.assertEqual(self.run_page("(^save[x;text])"), "()")
        self.assertEqual((self.www / "target").read_text(), "text")
        (self.site / "cache").mkdir()
        (self.site / "cache" / "k_").symlink_to("target")
        self.assertEqual(self.run_page("^cache[k;made]^cache[k;again]"), "mademade")
        self.assertEqual((self.site / "cache" / "target").read_text(), "made")

    def test_a_link_into_a_missing_directory_cannot_be_written(self):
        (self.www / "_x").symlink_to("no/such/folder")
        self.assertEqual(self.run_page("^save[x;text]"),
                         f"[save to '{self.www}/_x' failed: No such file or directory(#2)]")

    def test_a_device_that_is_full_is_an_error(self):
        (self.www / "_x").symlink_to("/dev/full")
        self.assertEqual(self.run_page("^save[x;text]"),
                         f"[save to '{self.www}/_x' failed: No space left on device(#28)]")


class Status(PageTest):
    def test_the_three_times_are_told_apart(self):
        path = self.write("www/a", "x")
        for accessed, modified in ((978307200, 4102444800), (4102444800, -1)):  # 2001, 2100; 2100, before 1970
            os.utime(path, (accessed, modified))
            self.assertEqual(self.run_page("^stat[atime;a] ^stat[mtime;a] ^stat[ctime;a]"),
                             f"{accessed} {modified} {int(path.stat().st_ctime)}")

    def test_files_of_more_than_2_and_4_gigabytes(self):
        for size, megabytes in (((1 << 31) + 1, "2048.0"), ((5 << 30) + 7, "5120.0")):
            os.truncate(self.write("www/a", "x"), size)  # without taking room on the disk
            self.assertEqual(self.run_page("^stat[size;a] ^stat[fsize;a;;;M] (^-f[a])"), f"{size} {megabytes}M (a)")

    def test_a_link_is_what_it_names(self):
        os.utime(self.write("www/a", "abc"), (978307200, 978307201))
        (self.www / "link").symlink_to("a")
        self.assertEqual(self.run_page("^stat[size;link] ^stat[mtime;link] ^stat[atime;link]"),
                         "3 978307201 978307200")


class Permissions(PageTest):
    """Not as root, whom permissions do not stop."""

    def test_a_file_without_read_permission(self):
        self.write("www/x", "secret", 0o200)
        self.write("www/_x", "secret", 0o200)
        body = self.run_page("(^include[x])(^-f[x])(^find[x;none])(^load[x]^item[count])(^stat[size;x])",
                             unprivileged=True)
        self.assertEqual(body, "()()(none)()(6)")

    def test_a_directory_without_read_permission_gives_no_names(self):
        self.write("www/sub/x", "x")
        (self.www / "sub").chmod(0o311)
        self.assertEqual(self.run_page("^index[sub]^item[count] ^include[sub/x]", unprivileged=True), "0 x")

    def test_a_directory_that_cannot_be_entered(self):
        self.write("www/sub/x", "#!/bin/sh\nprintf '\\n\\nhi'", 0o755)
        (self.www / "sub").chmod(0o666)
        body = self.run_page("(^exec[sub/x])(^include[sub/x])(^-f[sub/x])(^stat[size;sub/x])^cache[k;kept]",
                             unprivileged=True)
        self.assertEqual(body, "()()()()kept")
        self.assertEqual((self.site / "cache" / "k_").read_text(), "kept")

    def test_a_read_only_directory(self):
        self.write("www/sub/_old", "old", 0o666)
        (self.www / "sub").chmod(0o555)
        body = self.run_page("^save[sub/new;x] (^save[sub/old;new])", unprivileged=True)
        self.assertEqual(body, f"[save to '{self.www}/sub/_new' failed: Permission denied(#13)] ()")
        self.assertEqual((self.www / "sub" / "_old").read_text(), "new")

    def test_a_file_that_may_only_be_read_or_only_be_written_is_not_saved(self):
        self.write("www/_a", "old", 0o444)
        self.write("www/_b", "old", 0o222)
        body = self.run_page("^save[a;new]^save[b;new]", unprivileged=True)
        self.assertEqual(body.count("failed: Permission denied(#13)]"), 2)
        self.assertEqual((self.www / "_a").read_text() + (self.www / "_b").read_text(), "oldold")

    def test_a_read_only_working_directory_keeps_no_entries(self):
        self.site.chmod(0o555)
        body = self.run_page("^cache[k;made] ^cache[k;again] (^cache[k])", unprivileged=True)
        self.assertEqual(body, "made again ()")
        self.assertEqual(list(self.site.iterdir()), [])

    def test_a_read_only_cache_directory_serves_and_keeps_its_entries(self):
        self.write("site/cache/old_", "kept")
        (self.site / "cache").chmod(0o555)
        body = self.run_page("^cache[old;x] (^cache[old]) ^cache[old;x] ^cache[new;made] ^cache[new;again]",
                             unprivileged=True)
        self.assertEqual(body, "kept () kept made again")
        self.assertEqual([path.name for path in (self.site / "cache").iterdir()], ["old_"])

    def test_an_entry_without_read_permission_is_made_each_time(self):
        self.write("site/cache/k_", "kept", 0o200)
        self.assertEqual(self.run_page("^cache[k;made] ^cache[k;again]", unprivileged=True), "made again")
        self.assertEqual((self.site / "cache" / "k_").read_text(), "kept")


class Locks(PageTest):
    def test_a_file_is_included_whoever_holds_its_lock(self):
        with open(self.write("www/part", "included"), "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.assertEqual(self.run_page("^include[part] ^include[asis;part]"), "included included")

    def test_a_table_is_loaded_and_saved_whoever_holds_its_lock(self):
        path = self.write("www/_list", "a\n")
        with open(path, "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.assertEqual(self.run_page("^load[list]^item[0]^config[append;b]^save[list]"), "a")
        self.assertEqual(Path(path).read_text(), "a\nb\n")


class Matching(PreloadTest):
    """A C library that cannot match a name."""

    SOURCE = FOLDER / "match_error.c"

    def test_an_error_of_matching_keeps_the_current_table(self):
        self.write("www/sub/.hidden", "x")
        self.assertEqual(self.run_page("^config[kept]^index[.;^^.] ^item[0] ^index[sub;^^.]^item[count]",
                                       self.preloading()), "[regex error: Memory exhausted] kept 0")


class MatchingMemory(PreloadTest):
    """A C library whose memory ends while it matches; it says that there is no match."""

    SOURCE = FOLDER / "match_memory.c"

    def test_a_check_that_runs_out_of_memory_ends_the_request(self):
        for page in ("^match[^^(.)\\1;aa]", "^match[^^(.)\\1;g;x;aa]", "^index[.;^^p]"):
            with self.subTest(page=page):
                with self.start("before " + page, self.preloading()) as process:
                    output, errors = process.communicate(timeout=TIMEOUT)
                self.assertEqual((process.returncode, output, errors), (254, b"", b""))
                self.assertTrue(self.error_log().endswith("unable to malloc memory to match a regular expression\n"))


class Limits(PageTest):
    def test_without_a_free_descriptor_operators_give_nothing(self):
        self.write("www/part", "included")
        self.write("www/prog", "#!/bin/sh\nprintf '\\n\\nhi'", 0o755)
        # Two free descriptors are enough to read a file, but not for a program.
        body = self.run_page("^include[part](^exec[prog;changed;/changed])^cache[k;made]^cache[k;again]^include[part] "
                             + VARIABLES, OWN_VARIABLES, limits=[(resource.RLIMIT_NOFILE, 5)])
        self.assertEqual(body, "included()mademadeincluded own=1 /own own also")

    def test_many_calls_leave_no_descriptor_open(self):
        self.write("www/sub/x", "1")
        calls = "^include[sub/x]^index[sub]^item[count]^counter[sub/.hidden]^save[x;text] "
        self.assertEqual(self.run_page(calls * 50, limits=[(resource.RLIMIT_NOFILE, 16)]),
                         "".join(f"11{number} " for number in range(1, 51)))

    def test_without_another_process_a_program_returns_nothing(self):
        self.write("www/sub/prog", "#!/bin/sh\nprintf '\\n\\nhi'", 0o755)
        body = self.run_page(f"(^exec[sub/prog;changed;/changed])^cache[k;kept] {VARIABLES}", OWN_VARIABLES,
                             limits=[(resource.RLIMIT_NPROC, 0)], unprivileged=True)
        self.assertEqual(body, "()kept own=1 /own own also")

    def test_descriptors_that_run_out_in_the_middle_of_a_page(self):
        for path in ("www/part", "www/sub/x", "www/x.count"):
            self.write(path, "1")
        self.write("site/cache/k_", "removed in this working folder alone")
        self.write("www/wait", "#!/bin/sh\n: >ready\nread line <go\nprintf '\\n\\n|'\n", 0o755)
        for path in ("ready", "go"):
            os.mkfifo(self.www / path)
        calls = "(^include[part])(^-f[part])(^stat[size;part])(^find[part])(^index[sub]^item[count])^counter[x]"
        # The calls come before, too: what the sanitizers know already, they need no descriptor for.
        page = (f"{calls * 2}^exec[wait]{calls}^counter[new]^exec[wait;changed;/changed]{VARIABLES}^cache[k]"
                "^save[x;new]" + "x" * 300000)
        with self.start(page, OWN_VARIABLES) as process:
            with open(self.www / "ready", "rb"):  # the program runs now
                resource.prlimit(process.pid, resource.RLIMIT_NOFILE, (3, 100))
            (self.www / "go").write_text("\n")
            log = process.stderr.readline()  # its own file cannot be opened
            # To end, the sanitizers need descriptors again. The process waits until its output is read.
            resource.prlimit(process.pid, resource.RLIMIT_NOFILE, (100, 100))
            output, errors = process.communicate(timeout=TIMEOUT)
        self.assertEqual((process.returncode, errors), (0, b""))
        self.assertEqual(output.partition(b"\n\n")[2].decode().rstrip("x"), (
            "(1)(part)(1)(part)(1)2(1)(part)(1)(part)(1)3|()(part)(1)(part)(0)"
            f'[counter: count file "{self.www}/x.count" not readable or non-existant.]'
            f'[counter: count file "{self.www}/new.count" not writable or non-existant.]'
            "own=1 /own own also"
            f"[save to '{self.www}/_x' failed: Too many open files(#24)]"))
        self.assertIn(b"Too many open files(#24)", log)
        self.assertEqual(self.error_log(), "")
        self.assertFalse((self.site / "cache" / "k_").exists())

    def test_a_file_beyond_the_size_limit_stays_whole(self):
        old = "old content\n" * 1000
        self.write("www/_x", old)
        body = self.run_page(f"^save[x;{'y' * 20000}]", limits=[(resource.RLIMIT_FSIZE, 16384)])
        self.assertEqual(body, f"[save to '{self.www}/_x' failed: File too large(#27)]")
        self.assertEqual((self.www / "_x").read_text(), old)

    def test_a_file_of_the_size_limit_is_written(self):
        body = self.run_page(f"(^save[x;{'y' * 16384}])", limits=[(resource.RLIMIT_FSIZE, 16384)])
        self.assertEqual(body, "()")
        self.assertEqual((self.www / "_x").read_text(), "y" * 16384)

    def test_a_cache_entry_beyond_the_size_limit_is_not_kept(self):
        body = self.run_page(f"^cache[k;{'y' * 20000}]", limits=[(resource.RLIMIT_FSIZE, 16384)])
        self.assertEqual(body, "y" * 20000)
        self.assertEqual(list((self.site / "cache").iterdir()), [])

    def test_a_log_beyond_the_size_limit_does_not_end_the_page(self):
        self.write("site/error_log", "x" * 5000)
        self.write("www/_x", "old")
        body = self.run_page("^save[no/such/x;text]", limits=[(resource.RLIMIT_FSIZE, 4096)])
        self.assertIn("failed: No such file or directory(#2)]", body)


class FullDisk(PageTest):
    """A small file system of its own, which only root can make."""

    def setUp(self):
        super().setUp()
        for folder in (self.www / "data", self.site / "cache"):
            folder.mkdir()
            self.mount("-t", "tmpfs", "-o", "size=64k", "none", folder)

    def mount(self, *arguments):
        if os.getuid() != 0 or subprocess.run(["mount", *arguments], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("only root can mount a file system")
        self.addCleanup(subprocess.run, ["umount", arguments[-1]], check=True)

    def test_a_table_file_stays_whole(self):
        old = "old content\n" * 1000
        self.write("www/data/_x", old)
        body = self.run_page(f"^save[data/x;{'y' * 100000}]")
        self.assertEqual(body, f"[save to '{self.www}/data/_x' failed: No space left on device(#28)]")
        self.assertEqual((self.www / "data" / "_x").read_text(), old)

    def test_the_room_asked_for_is_given_back(self):
        # Other than in memory, here the system itself keeps what it could set aside.
        image, folder = self.write("image", b"\0" * 1_000_000), self.www / "disk"
        if not shutil.which("mkfs.ext4", path="/usr/sbin:/sbin:/usr/bin:/bin"):
            self.skipTest("no mkfs.ext4")
        subprocess.run(["mkfs.ext4", "-q", "-O", "^has_journal", image], check=True,
                       env={"PATH": "/usr/sbin:/sbin:/usr/bin:/bin"})
        folder.mkdir()
        self.mount("-o", "loop", image, folder)
        self.write("www/disk/_x", "old")
        self.assertIn("No space left on device(#28)", self.run_page(f"^save[disk/x;{'y' * 2000000}]"))
        self.assertEqual((folder / "_x").read_text(), "old")
        self.assertEqual(self.run_page(f"(^save[disk/y;{'y' * 500000}])"), "()")

    def test_a_cache_entry_is_not_kept_and_leaves_nothing(self):
        body = self.run_page(f"^cache[k;{'y' * 100000}]|^cache[k;again]")
        self.assertEqual(body, "y" * 100000 + "|again")
        self.assertEqual((self.site / "cache" / "k_").read_text(), "again")

    def test_a_full_cache_serves_what_it_has(self):
        self.write("site/cache/old_", "kept")
        with open(self.site / "cache" / "ballast", "wb", buffering=0) as ballast:
            try:
                while ballast.write(b"x" * 4096):
                    pass
            except OSError:
                pass
        self.assertEqual(self.run_page("^cache[old;x] ^cache[new;made] ^cache[new;again]"), "kept made again")
        self.assertFalse((self.site / "cache" / "new_").exists())


if __name__ == "__main__":
    unittest.main()
