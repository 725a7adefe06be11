"""The case runner itself: what it takes for a failure, and what for a mistake in the case."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TESTS))
from run_cases import find_cases, run_case  # noqa: E402

# Stands in for the program: a page is a shell script, and what it prints is the body.
PROGRAM = """#!/bin/sh
body=$(sh "$PATH_TRANSLATED"; printf .)
body=${body%.}
printf 'Content-type: text/html\\nContent-length: %d\\n\\n%s' ${#body} "$body"
"""


class Runner(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "program").write_text(PROGRAM)
        (self.folder / "program").chmod(0o755)

    def case(self, page, *sections):
        """A case of the page, with an empty body unless a section says other."""
        sections = (f"== page\n{page}", *sections)
        if not any(section.startswith("== expect") for section in sections):
            sections += ("== expect",)
        path = self.folder / "one.case"
        path.write_text("\n".join(sections) + "\n")
        return path

    def run_case(self, page, *sections):
        """What failed in such a case."""
        [(name, load)] = find_cases([self.case(page, *sections)])
        return run_case(str(self.folder / "program"), True, name, load)[1]

    def passes(self, page, *sections):
        self.assertEqual(self.run_case(page, *sections), [])

    def fails(self, reason, page, *sections):
        self.assertIn("  " + reason, self.run_case(page, *sections))

    def command(self, *arguments):
        command = [sys.executable, TESTS / "run_cases.py", "--program", self.folder / "program", *arguments]
        done = subprocess.run(command, capture_output=True, text=True)
        return done.returncode, done.stdout

    def test_the_command_prints_failures_and_ends_with_1_then(self):
        path = self.case("printf a", "== expect\na")
        self.assertEqual(self.command(self.folder), (0, "1 passed, 0 failed\n"))
        self.case("printf a", "== expect\nb")
        status, printed = self.command(self.folder)
        self.assertEqual((status, printed.split("\n")[0], printed.split("\n")[-2]),
                         (1, f"FAILED {path}", "0 passed, 1 failed"))

    def test_a_body_as_the_case_says(self):
        self.passes("echo hello", "== expect escaped\nhello\\n")

    def test_another_body(self):
        self.fails("body: differs at byte 0 (expected 2 bytes, got 1)", "printf a", "== expect\nno")

    def test_a_picture_is_compared_by_what_is_seen(self):
        given = "== file www/t.gif picture\nwb\n.w\nw=FFFFFF b=0000FF"
        page = "cp ../www/t.gif ../www/made.gif"
        self.passes(page, given, "== after www/made.gif picture\nwb\n.w\nb=0000FF w=FFFFFF")
        self.fails("www/made.gif: differs at byte 7 (expected 27 bytes, got 27)", page, given,
                   "== after www/made.gif picture\nww\n.w\nb=0000FF w=FFFFFF")
        self.fails("www/made.gif is no picture: no GIF file with a palette", "echo >../www/made.gif",
                   "== after www/made.gif picture\nw\nw=FFFFFF")
        self.fails("header: differs at byte 14 (expected 25 bytes, got 25)", "", "== response picture\nw\nw=FFFFFF")

    def test_another_exit_status(self):
        (self.folder / "program").write_text(PROGRAM + "exit 3\n")
        self.passes("", "== status 3")
        self.fails("exit status: expected 0, got 3", "")

    def test_a_file_that_is_left(self):
        self.fails("site/left is left, and the case does not name it", "echo x > left")
        self.passes("echo x > left", "== after site/left escaped\nx\\n")
        self.passes("echo x > left; chmod 640 left", "== mode site/left\n640")

    def test_a_file_that_is_left_with_other_content(self):
        self.fails("site/left: differs at byte 0 (expected 1 bytes, got 2)", "echo x > left", "== after site/left\ny")

    def test_a_log_that_is_left(self):
        line = "echo '[01/Feb/2003 04:05:06] line' >>"
        for log in ("error_log", "access_log"):
            self.fails(f"site/{log} is left, and the case does not name it", f"{line} {log}")
            self.passes(f"{line} {log}", f"== {log}\n[time] line")

    def test_standard_error_that_is_not_empty(self):
        self.fails("stderr is not empty", "echo x >&2")
        self.passes("echo x >&2", "== stderr\nx")

    def test_a_folder_that_is_left(self):
        self.fails("site/left is left, and the case does not name it", "mkdir left")
        self.passes("mkdir left", "== after site/left/")
        self.fails("site/left/ is no folder", "touch left", "== after site/left/")

    def test_the_folders_of_a_file_that_is_named_are_named(self):
        self.passes("mkdir -p a/b; echo x > a/b/left", "== after site/a/b/left escaped\nx\\n")

    def test_the_folder_of_a_file_that_is_absent_is_not_named(self):
        self.fails("site/a is left, and the case does not name it", "mkdir a", "== absent site/a/b")

    def test_a_given_file_that_is_changed(self):
        self.fails("www/given was changed, and the case does not say so", "echo y > ../www/given",
                   "== file www/given\nx")
        self.passes("echo y > ../www/given", "== file www/given\nx", "== after www/given escaped\ny\\n")

    def test_a_given_file_that_is_gone(self):
        self.fails("www/given is gone, and the case does not say so", "rm ../www/given", "== file www/given\nx")
        self.passes("rm ../www/given", "== file www/given\nx", "== absent www/given")

    def test_a_file_that_should_be_absent(self):
        self.fails("www/given exists", "", "== file www/given\nx", "== absent www/given")

    def test_a_given_folder(self):
        self.passes("test -d ../www/a/b && echo yes", "== folder www/a/b", "== expect escaped\nyes\\n")
        self.passes("stat -c %a ../www/a", "== folder www/a mode=750", "== expect escaped\n750\\n")
        self.fails("www/a is gone, and the case does not say so", "rmdir ../www/a", "== folder www/a")
        self.passes("rmdir ../www/a", "== folder www/a", "== absent www/a")

    def test_a_path_may_be_escaped(self):
        self.passes("cat '../www/a  b'", "== file www/a\\x20\\x20b escaped\nyes", "== expect\nyes")

    def test_the_clock(self):
        program = f"{sys.executable} -c 'import ctypes; print(ctypes.CDLL(None).time(None), end=\"\")'"
        self.passes(program, "== clock\n1234567890", "== expect\n1234567890")

    def test_time_stamps_count_where_the_case_sets_the_clock(self):
        line = "echo '[01/Feb/2003 04:05:06] line' >> error_log"
        self.passes(line, "== clock\n0", "== error_log\n[01/Feb/2003 04:05:06] line")

    def test_the_mail_programs(self):
        program = f"exec {sys.executable} -c 'import os; os.execv(\"/usr/lib/sendmail\", [\"sendmail\", \"-t\"])'"
        self.passes(program, "== mail_program /usr/lib/sendmail\necho $1 > told", "== expect", "== after told escaped\n-t\\n")
        self.passes(program + " 2>&1 | grep -c Error", "== mail_program /usr/sbin/sendmail\ntrue", "== expect escaped\n1\\n")

    def test_escaped_is_said_of_what_has_an_escape(self):
        self.fails('section "expect" is escaped and has no escape', "", "== expect escaped")

    def test_a_section_that_nobody_knows(self):
        self.fails('unknown section "expected"', "", "== expected\nx")

    def test_a_signal(self):
        (self.folder / "program").write_text("#!/bin/sh\nkill -ABRT $$\n")
        self.fails("ended by SIGABRT", "")


if __name__ == "__main__":
    unittest.main()
