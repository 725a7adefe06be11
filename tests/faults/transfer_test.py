"""counter, download, upload, unlink and imgsize where files and folders are not what they should be: a message or
an empty result, never a crash, a page that hangs, or a whole file that is whole no more."""

import fcntl
import os
import re
import resource
import sys
import unittest
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
import private_mounts
from page_runner import PageTest, PreloadTest
from program import TIMEOUT


class FaultTest(PageTest):
    def folder(self, name, mode=0o777):
        folder = self.www / name
        folder.mkdir()
        folder.chmod(mode)
        return folder

    def count(self, name, **options):
        return self.run_page(f"^counter[{name}]", **options)

    def not_writable(self, name):
        return f'[counter: count file "{self.www}/{name}.count" not writable or non-existant.]'

    def not_readable(self, name):
        return f'[counter: count file "{self.www}/{name}.count" not readable or non-existant.]'

    def upload(self, name, content=b"new", **options):
        return self.run_upload(f"(^upload[f;{name}])", content, **options)

    def upload_failed(self, name, reason):
        return f"([upload field 'f' to '{self.www}/{name}' failed: {reason}])"

    def size(self, name, **options):
        return self.run_page(f"^imgsize[{name}]^item[0] ^item[1]", **options)


class Permissions(FaultTest):
    """As another user than root, for whom there are no permissions."""

    def test_no_count_in_a_directory_that_cannot_be_written(self):
        self.folder("closed", 0o555)
        self.assertEqual(self.count("closed/visits", unprivileged=True), self.not_writable("closed/visits"))

    def test_no_count_in_a_file_that_cannot_be_written(self):
        self.write("www/visits.count", "0000000041", 0o444)
        self.assertEqual(self.count("visits", unprivileged=True), self.not_writable("visits"))
        self.assertEqual((self.www / "visits.count").read_text(), "0000000041")

    def test_no_count_in_a_file_that_cannot_be_read(self):
        self.write("www/visits.count", "0000000041", 0o222)
        self.assertEqual(self.count("visits", unprivileged=True), self.not_writable("visits"))

    def test_a_count_continues_in_a_directory_that_cannot_be_written(self):
        folder = self.folder("closed")
        self.write("www/closed/visits.count", "0000000041", 0o666)
        folder.chmod(0o555)
        self.assertEqual(self.count("closed/visits", unprivileged=True), "42")

    def test_no_upload_into_a_directory_that_cannot_be_written(self):
        self.folder("closed", 0o555)
        self.assertEqual(self.upload("closed/a", unprivileged=True),
                         self.upload_failed("closed/a", "Permission denied(#13)"))
        self.assertEqual(self.upload("closed/new/a", unprivileged=True),
                         self.upload_failed("closed/new/a", "No such file or directory(#2)"))

    def test_no_upload_over_a_file_that_cannot_be_written(self):
        self.write("www/a", "old", 0o444)
        self.assertEqual(self.upload("a", unprivileged=True), self.upload_failed("a", "Permission denied(#13)"))
        self.assertEqual((self.www / "a").read_text(), "old")

    def test_no_download_of_a_file_that_cannot_be_read(self):
        self.write("www/a", "secret", 0o200)
        self.assertEqual(self.run_page("^download[a]", unprivileged=True),
                         "[download error: Permission denied(#13)]")

    def test_nothing_is_deleted_in_a_directory_that_cannot_be_written(self):
        folder = self.folder("closed")
        self.write("www/closed/a", "old")
        folder.chmod(0o555)
        self.assertEqual(self.run_page("^unlink[closed/a]", unprivileged=True),
                         f"[unlink '{self.www}/closed/a' failed: Permission denied(#13)]")
        self.assertTrue((folder / "a").exists())

    def test_no_size_of_a_picture_that_cannot_be_read(self):
        self.write("www/a.gif", b"GIF89a\x78\0\x28\0\x80\0\0", 0o200)
        self.assertEqual(self.size("a.gif", unprivileged=True), "0 0")


class Pipes(FaultTest):
    """A pipe that nobody reads or writes."""

    def setUp(self):
        super().setUp()
        for name in ("visits.count", "pipe", "a.gif", "a.jpg"):
            os.mkfifo(self.www / name)

    def test_counter(self):
        self.assertEqual(self.count("visits"), self.not_readable("visits"))

    def test_download(self):
        self.assertEqual(self.run_page("^download[pipe]"), "[download error: Invalid argument(#22)]")

    def test_upload(self):
        self.assertRegex(self.upload("pipe"), r"^\(\[upload field 'f' to '.*/pipe' failed: .*\(#\d+\)\]\)$")

    def test_upload_of_more_than_a_pipe_holds(self):
        self.assertRegex(self.upload("pipe", b"x" * 1_000_000),
                         r"^\(\[upload field 'f' to '.*/pipe' failed: .*\(#\d+\)\]\)$")

    def test_unlink_deletes_it(self):
        self.assertEqual(self.run_page("(^unlink[pipe])"), "()")

    def test_imgsize(self):
        self.assertEqual(self.size("a.gif") + " " + self.size("a.jpg"), "0 0 0 0")


class Links(FaultTest):
    def test_a_dangling_link_into_a_missing_directory(self):
        for name in ("visits.count", "a.gif"):
            (self.www / name).symlink_to("missing/file")
        self.assertEqual(self.count("visits"), self.not_writable("visits"))
        self.assertEqual(self.run_page("^download[a.gif]"), "[download error: No such file or directory(#2)]")
        self.assertEqual(self.upload("a.gif"), self.upload_failed("a.gif", "No such file or directory(#2)"))
        self.assertEqual(self.size("a.gif"), "0 0")

    def test_a_dangling_link_to_a_file_that_can_be_made(self):
        for name in ("visits.count", "a"):
            (self.www / name).symlink_to("made-" + name)
        self.assertEqual(self.count("visits") + self.upload("a"), "1()")
        self.assertEqual((self.www / "made-visits.count").read_text(), "0000000001")
        self.assertEqual((self.www / "made-a").read_text(), "new")

    def test_a_link_to_itself(self):
        for name in ("visits.count", "a.gif"):
            (self.www / name).symlink_to(name)
        self.assertEqual(self.count("visits"), self.not_writable("visits"))
        self.assertEqual(self.run_page("^download[a.gif]"), "[download error: Too many levels of symbolic links(#40)]")
        self.assertEqual(self.upload("a.gif"), self.upload_failed("a.gif", "Too many levels of symbolic links(#40)"))
        self.assertEqual(self.size("a.gif"), "0 0")
        self.assertEqual(self.run_page("(^unlink[a.gif])"), "()")


    def test_unlink_deletes_a_link_and_not_what_it_names(self):
        self.write("www/target", "kept")
        (self.www / "link").symlink_to("target")
        (self.www / "dangling").symlink_to("missing")
        (self.www / "folder").symlink_to(".")
        self.assertEqual(self.run_page("(^unlink[link])(^unlink[dangling])(^unlink[folder])"), "()()()")
        self.assertEqual(sorted(path.name for path in self.www.iterdir()), ["page.html", "target"])


@unittest.skipUnless(private_mounts.available(), "no mount namespace can be made here")
class Disks(FaultTest):
    def disk(self, options):
        folder = self.folder("disk")
        private_mounts.mount("-t", "tmpfs", "-o", options, "tmpfs", folder)
        self.addCleanup(private_mounts.unmount, folder)
        return folder

    def fill(self, folder):
        with open(folder / "filler", "wb", buffering=0) as filler:
            try:
                while filler.write(b"x" * 4096):
                    pass
            except OSError:
                pass

    def test_no_new_count_on_a_full_disk(self):
        self.fill(self.disk("size=64k"))
        self.assertEqual(self.count("disk/visits"), self.not_writable("disk/visits"))

    def test_a_count_goes_on_on_a_full_disk(self):
        folder = self.disk("size=64k")
        self.write("www/disk/visits.count", "0000000041")
        self.fill(folder)
        self.assertEqual(self.count("disk/visits"), "42")
        self.assertEqual((folder / "visits.count").read_text(), "0000000042")

    def test_an_upload_onto_a_full_disk_fails(self):
        self.fill(self.disk("size=64k"))
        self.assertEqual(self.upload("disk/a"), self.upload_failed("disk/a", "No space left on device(#28)"))

    def test_a_file_stays_whole_when_there_is_no_room_for_a_larger_one(self):
        folder = self.disk("size=64k")
        self.write("www/disk/a", "old " * 1000)
        self.assertEqual(self.upload("disk/a", b"x" * 1_000_000),
                         self.upload_failed("disk/a", "No space left on device(#28)"))
        self.assertEqual((folder / "a").read_text(), "old " * 1000)

    def test_a_disk_that_is_read_only(self):
        folder = self.disk("size=64k")
        self.write("www/disk/visits.count", "0000000041")
        private_mounts.mount("-o", "remount,ro", folder)
        self.assertEqual(self.count("disk/visits"), self.not_writable("disk/visits"))
        self.assertEqual(self.upload("disk/a"), self.upload_failed("disk/a", "Read-only file system(#30)"))
        self.assertEqual(self.run_page("^unlink[disk/visits.count]"),
                         f"[unlink '{folder}/visits.count' failed: Read-only file system(#30)]")


class Descriptors(FaultTest):
    def test_few_descriptors_are_enough(self):
        self.write("www/a.gif", b"GIF89a\x78\0\x28\0\x80\0\0")
        limits = [(resource.RLIMIT_NOFILE, 6)]  # the sanitizers need two for themselves
        self.assertEqual(self.count("visits", limits=limits) + self.upload("a", limits=limits)
                         + self.size("a.gif", limits=limits), "1()120 40")


    def without(self, path):
        """A wrapper in which this file, and no other, meets a process without a free descriptor."""
        return ["strace", "-o", "/dev/null", "-P", path, "-e", "trace=openat", "-e", "inject=openat:error=EMFILE"]

    def test_no_download_without_a_free_descriptor(self):
        path = self.write("www/a", "old")
        self.assertEqual(self.run_page("^download[a]", wrapper=self.without(path)),
                         "[download error: Too many open files(#24)]")

    def test_no_upload_without_a_free_descriptor(self):
        path = self.write("www/a", "old")
        self.assertEqual(self.upload("a", wrapper=self.without(path)),
                         self.upload_failed("a", "Too many open files(#24)"))
        self.assertEqual(path.read_text(), "old")
        self.assertIn("upload field 'f' to '", self.error_log())

    def test_no_count_without_a_free_descriptor(self):
        path = self.write("www/visits.count", "0000000041")
        self.assertEqual(self.count("visits", wrapper=self.without(path)), self.not_readable("visits"))
        self.assertEqual(path.read_text(), "0000000041")

    def test_unlink_needs_no_descriptor(self):
        path = self.write("www/a", "old")
        self.assertEqual(self.run_page("(^unlink[a])", wrapper=self.without(path)), "()")
        self.assertFalse(path.exists())


class BrokenDisk(FaultTest, PreloadTest):
    """A file that opens and cannot be read."""

    SOURCE = FOLDER / "read_error.c"

    def test_no_download(self):
        for size in (1, 1_000_000):
            self.write("www/broken", b"x" * size)
            self.assertEqual(self.run_page("^download[broken]", self.preloading()),
                             "[download error: Input/output error(#5)]")

    def test_a_count_is_kept(self):
        path = self.write("www/broken.count", "0000000041")
        self.assertEqual(self.run_page("^counter[broken]", self.preloading()), self.not_readable("broken"))
        self.assertEqual(path.read_text(), "0000000041")

    def test_load_says_so_in_the_log(self):
        path = self.write("www/_broken", "row\n")
        self.assertEqual(self.run_page("(^context[t]^load[broken]^item[count])", self.preloading()), "()")
        self.assertIn(f"load from '{path}' failed: Input/output error(#5)", self.error_log())
        self.assertEqual(self.run_page("(^load[missing])", self.preloading()), "()")
        self.assertNotIn("missing", self.error_log())


class Locks(FaultTest):
    """The lock of a count file: exclusive, on the whole file, of the kind that flock takes. No other file has one."""

    def count_while_locked(self, kind):
        """The page's output, when the lock was held until it waited, and the count was changed meanwhile."""
        path = self.write("www/visits.count", "0000000001")
        with open(path, "rb") as lock:
            fcntl.flock(lock, kind)
            with self.start("^counter[visits]") as process:
                self.assertTrue(self.waits_for_lock(process, path))
                path.write_text("0000000041")
                fcntl.flock(lock, fcntl.LOCK_UN)
                body = self.body(process)
        self.assertEqual(path.read_text(), "0000000042")
        return body

    def test_a_count_waits_for_the_lock_and_is_read_after_it(self):
        self.assertEqual(self.count_while_locked(fcntl.LOCK_EX), "42")

    def test_a_count_waits_for_a_shared_lock_too(self):
        self.assertEqual(self.count_while_locked(fcntl.LOCK_SH), "42")

    def test_a_lock_of_the_other_kind_does_not_matter(self):
        with open(self.write("www/visits.count", "0000000041"), "rb+") as lock:
            fcntl.lockf(lock, fcntl.LOCK_EX)
            self.assertEqual(self.count("visits"), "42")

    def test_the_lock_is_held_from_before_the_reading_until_after_the_writing_and_not_longer(self):
        calls, path = self.root / "calls", self.write("www/visits.count", "0000000041")
        self.assertEqual(self.count("visits", wrapper=["strace", "-o", calls, "-P", path]), "42")
        steps = re.findall(r"^(?:openat|read|pwrite64|close|flock\(\d+, \w+)", calls.read_text(), re.M)
        self.assertEqual([re.sub(r"\d+, ", "", step) for step in dict.fromkeys(steps)],
                         ["openat", "flock(LOCK_EX", "read", "pwrite64", "close"])

    def test_an_upload_waits_for_nobody(self):
        with open(self.write("www/a", "old")) as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assertEqual(self.upload("a"), "()")
        self.assertEqual((self.www / "a").read_text(), "new")


class ChangingFiles(FaultTest):
    """A file that changes while a download of it waits for its client."""

    SIZE = 4_000_000

    def download(self, change):
        """(the length announced, the body) when the file changes after the headers were sent."""
        path = self.write("www/a", b"x" * self.SIZE)
        with self.start("^download[a]ok") as process:
            head = process.stdout.readline()
            while not head.endswith(b"\n\n"):
                head += process.stdout.readline()
            change(path)
            body = process.stdout.read()
            self.assertEqual(process.wait(TIMEOUT), 0)
        return int(head.split(b"Content-length: ")[1].split(b"\n")[0]), body

    def test_a_file_that_grows_is_sent_up_to_the_length_announced(self):
        def grow(path):
            with open(path, "ab") as file:
                file.write(b"y" * self.SIZE)
        self.assertEqual(self.download(grow), (self.SIZE, b"x" * self.SIZE))

    def test_a_file_that_shrinks_ends_the_download(self):
        length, body = self.download(lambda path: os.truncate(path, 10))
        self.assertEqual(length, self.SIZE)
        self.assertLess(len(body), self.SIZE)
        self.assertEqual(body.strip(b"x"), b"")

    def test_a_file_shorter_than_its_size_is_announced_by_its_length(self):
        file = "/sys/devices/system/cpu/online"  # has the size of a page of memory, and a few bytes
        content = Path(file).read_bytes()
        with self.start(f"^download[{'/..' * 20}{file}]ok") as process:
            output = process.communicate(timeout=TIMEOUT)[0]
        head, _, body = output.partition(b"\n\n")
        self.assertIn(b"\nContent-length: %d\n" % len(content), head)
        self.assertEqual(body, content)

    def test_a_file_that_is_deleted_is_sent_whole(self):
        self.assertEqual(self.download(Path.unlink), (self.SIZE, b"x" * self.SIZE))

    def test_a_client_that_goes_away_ends_the_process(self):
        self.write("www/a", b"x" * self.SIZE)
        process = self.start("^download[a]ok")
        process.stdout.readline()
        process.stdout.close()
        process.stderr.close()
        self.assertIsNotNone(process.wait(TIMEOUT))


if __name__ == "__main__":
    if os.getuid() == 0:  # as root in a namespace, another user would have no permissions to be denied
        private_mounts.enter()
    unittest.main()
