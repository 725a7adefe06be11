"""The chat's files: which of them are locked when, and what is in their place."""

import os
import re
import resource
import sys
import unittest
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
from page_runner import PageTest, PreloadTest  # noqa: E402

VALIDATE = "^validate[accepted;invalid name;wrong password;name in use;banned]"
FILES = ("userlist", "index", "index.log", "admin/password", "admin/banned")
ERROR_PAGE = (b"Content-type: text/html\n\n<html><head><title>Error!</title></head><body bgcolor=white><h2>\n"
              b"%s</h2></body></html>")


class ChatTest(PageTest):
    def setUp(self):
        super().setUp()
        self.chat = self.site / "chat"
        (self.chat / "admin").mkdir(parents=True)

    def visitor(self, **fields):
        """A request of "ann", with more form fields."""
        fields = {"login": "ann", **fields}
        return {"QUERY_STRING": "&".join(f"{name}={value}" for name, value in fields.items()),
                "HTTP_COOKIE": f"login={fields['login']}"}

    def answer(self, page, environment, **options):
        """The whole output, error pages too."""
        with self.start(page, environment, **options) as process:
            return self.output(process)[0]


class Locks(ChatTest):
    """What is done with each file from its opening to its closing, in the order of the openings. What is written is
    small enough for a single write."""

    def setUp(self):
        super().setUp()
        for name in FILES:
            self.write(f"site/chat/{name}", f"bob 10.0.0.8 {2 ** 40}\n")

    def steps(self, page, **fields):
        trace = self.root / "trace"
        calls = "trace=open,openat,flock,read,pread64,write,pwrite64,ftruncate,close"
        self.run_page("x" + page, self.visitor(**fields),
                      wrapper=["strace", "-f", "-y", "-s", "0", "-o", trace, "-e", calls])
        chat = re.escape(str(self.chat))
        done = []
        for line in trace.read_text().splitlines():
            if opened := re.search(rf"open(?:at)?\(.* = \d+<{chat}/(.*)>$", line):
                done.append(f"{opened[1]}:" + (" append" if "O_APPEND" in line else ""))
            elif used := re.search(rf"(\w+)\(\d+<{chat}/[^>]*>(.*)", line):
                step = "lock" if used[1] == "flock" and used[2].startswith(", LOCK_EX)") else used[1]
                if step != "close" and not (step == "read" and done[-1].endswith(step)):
                    done[-1] += " " + step
        return done

    def test_every_file_that_validate_reads_is_locked(self):
        self.assertEqual(self.steps(VALIDATE),
                         ["admin/password: lock read", "userlist: lock read", "admin/banned: lock read"])

    def test_a_protected_name_needs_the_password_file_alone(self):
        self.write("site/chat/admin/password", "ann:x\n")
        self.assertEqual(self.steps(VALIDATE), ["admin/password: lock read"])

    def test_an_invalid_name_needs_no_file(self):
        self.assertEqual(self.steps(VALIDATE, login="a-b"), [])

    # Deliberate: read without a lock.
    def test_refreshing_reads_without_a_lock_and_writes_under_one(self):
        self.assertEqual(self.steps("^userlist[]"), ["userlist: read", "userlist: lock write ftruncate"])

    def test_a_list_is_read_once_under_a_lock(self):
        self.write("site/chat/userlist", "a 1 1\nb 2 2\n")
        self.assertEqual(self.steps("^userlist[x]"), ["userlist: lock read"])

    def test_chat_refreshes_the_list_and_reads_the_index_under_a_lock(self):
        self.assertEqual(self.steps("^chat[10]"),
                         ["userlist: read", "userlist: lock write ftruncate", "index: lock read"])

    JOINING = ["userlist: lock read", "userlist: lock read", "userlist: lock write ftruncate"]
    ADDING = ["index.log: append write", "index: lock read", "index: lock write ftruncate"]

    def test_a_message_of_a_newcomer_reads_the_list_twice_and_then_adds_the_line(self):
        self.assertEqual(self.steps("^message[line]", message="hi"), self.JOINING + self.ADDING)

    def test_a_message_of_a_listed_visitor_reads_the_list_once(self):
        self.write("site/chat/userlist", "ann 127.0.0.1 1\n")
        self.assertEqual(self.steps("^message[line]", message="hi"), self.JOINING[:1] + self.ADDING)

    def test_startup_of_a_newcomer_joins_and_then_adds_the_line(self):
        self.assertEqual(self.steps("^startup[line]"), self.JOINING + self.ADDING)

    def test_startup_of_a_listed_visitor_only_looks_at_the_list(self):
        self.write("site/chat/userlist", "ann 127.0.0.1 1\n")
        self.assertEqual(self.steps("^startup[line]"), self.JOINING[:1])

    def test_nothing_else_opens_a_file(self):
        self.assertEqual(self.steps("^login[]^login[x]^message[]^log[t]^cookie[login]", message="hi"), [])
        self.assertEqual(self.steps("^message[line]"), [])


class Kinds(ChatTest):
    """Something else in the place of every file."""

    def check(self, make, failure):
        """The page is as without any files, but for the message that cannot be kept."""
        for name in FILES:
            make(self.chat / name)
        page = f"{VALIDATE}(^userlist[x])(^userlist[])(^chat[100])(^startup[came])^message[]"
        self.assertEqual(self.run_page(page, self.visitor(message="hi")), "accepted()()()()hi")
        self.assertEqual(self.answer("^message[line]", self.visitor(message="hi")), ERROR_PAGE % failure)
        self.assertRegex(self.error_log(), re.escape(failure.decode()) + "\n$")

    def test_a_pipe(self):
        self.check(os.mkfifo, b"Invalid argument(#22)")

    def test_a_pipe_with_a_reader_that_does_not_read(self):
        def make(path):
            os.mkfifo(path)
            self.addCleanup(os.close, os.open(path, os.O_RDONLY | os.O_NONBLOCK))
        self.check(make, b"Invalid argument(#22)")
        self.assertEqual(self.answer(f"^message[{'x' * 200000}]", self.visitor(message="hi")),
                         ERROR_PAGE % b"Resource temporarily unavailable(#11)")

    def test_a_directory(self):
        self.check(os.mkdir, b"Is a directory(#21)")

    def test_a_link_into_a_missing_directory(self):
        self.check(lambda path: path.symlink_to("no/folder"), b"No such file or directory(#2)")

    def test_a_link_to_itself(self):
        self.check(lambda path: path.symlink_to(path.name), b"Too many levels of symbolic links(#40)")

    def test_a_device_that_is_full(self):
        self.check(lambda path: path.symlink_to("/dev/full"), b"No space left on device(#28)")

    def test_a_file_in_place_of_the_directory(self):
        (self.chat / "admin").rmdir()
        self.chat.rmdir()
        self.write("site/chat", "x")
        self.assertEqual(self.run_page(VALIDATE + "(^userlist[])(^chat[9])(^startup[came])", self.visitor()),
                         "accepted()()()")
        self.assertEqual(self.answer("^message[line]", self.visitor(message="hi")),
                         ERROR_PAGE % b"Not a directory(#20)")


class Permissions(ChatTest):
    """Not as root, whom permissions do not stop."""

    def test_an_index_that_may_only_be_read_is_shown_and_takes_no_message(self):
        self.write("site/chat/index", "one\n", 0o444)
        self.assertEqual(self.run_page("x^chat[9]", unprivileged=True), "xone\n")
        self.assertEqual(self.answer("^message[line]", self.visitor(message="hi"), unprivileged=True),
                         ERROR_PAGE % b"Permission denied(#13)")
        self.assertEqual((self.chat / "index").read_text(), "one\n")

    def test_a_user_list_that_may_only_be_read_is_shown_and_stays_as_it_is(self):
        self.write("site/chat/userlist", "bob 10.0.0.8 1\n", 0o444)
        page = "^userlist[^userlist[]]^startup[came]"
        self.assertEqual(self.run_page(page, self.visitor(), unprivileged=True), "bob")
        self.assertEqual((self.chat / "userlist").read_text(), "bob 10.0.0.8 1\n")

    def test_admin_files_that_cannot_be_read_count_as_empty_ones(self):
        self.write("site/chat/admin/password", "ann:x\n", 0o200)
        self.write("site/chat/admin/banned", "ann\n", 0o200)
        self.assertEqual(self.run_page(VALIDATE, self.visitor(), unprivileged=True), "accepted")


class BrokenDisk(PreloadTest, ChatTest):
    """A file of the chat cannot be read. What is in it stays, and what it decides is decided by nobody else."""

    SOURCE = FOLDER / "read_error.c"

    def break_file(self, name, content):
        self.write(f"site/chat/{name}", content)
        os.rename(self.chat / name, self.chat / "broken")
        (self.chat / name).symlink_to(self.chat / "broken")

    def check(self, page, output, content, status=0):
        with self.start("^optimize[no]" + page, self.preloading(**self.visitor(message="hi"))) as process:
            self.assertEqual((self.output(process)[0].partition(b"\n\n")[2], process.returncode), (output, status))
        self.assertEqual((self.chat / "broken").read_text(), content)

    def test_messages_stay_and_the_new_one_ends_the_request(self):
        self.break_file("index", "one\n")
        self.check("^message[line]", ERROR_PAGE.partition(b"\n\n")[2] % b"Input/output error(#5)", "one\n", 253)
        self.assertEqual((self.chat / "index.log").read_text(), "line\n")

    def test_the_user_list_stays(self):
        self.break_file("userlist", "bob 10.0.0.8 1\n")
        self.check("x^chat[9]^startup[came]", b"x", "bob 10.0.0.8 1\n")

    def test_nobody_is_admitted(self):
        for name in ("admin/password", "admin/banned", "userlist"):
            with self.subTest(name):
                folder = (self.chat / name).parent
                self.write(f"site/chat/{name}", "bob 10.0.0.8 1\n")
                os.rename(self.chat / name, folder / "broken")
                (self.chat / name).symlink_to("broken")
                with self.start(VALIDATE, self.preloading(**self.visitor())) as process:
                    self.assertEqual((self.output(process)[0], process.returncode), (b"", 254))
                self.assertTrue(self.error_log().endswith(
                    f"unable to read 'chat/{name}': Input/output error(#5)\n"), self.error_log())
                (self.chat / name).unlink()
                (folder / "broken").unlink()


class Descriptors(ChatTest):
    def test_every_file_and_log_is_closed_again(self):
        page = f"{VALIDATE}^message[line]^startup[came]^userlist[]^userlist[.]^chat[1]^log[x]" * 20
        body = self.run_page(page, self.visitor(message="hi"), limits=[(resource.RLIMIT_NOFILE, 5)])
        self.assertEqual(body, "accepted.\n" * 20)
        self.assertEqual((self.chat / "index.log").read_text(), "line\n" * 20)
        self.assertEqual((self.site / "access_log").read_text().count("as ann: x\n"), 20)


if __name__ == "__main__":
    unittest.main()
