"""packaging/quillet.cgi: what it does to the request before the program starts, and the limits under which it runs."""

import os
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from case_run import is_sanitized  # noqa: E402
from program import PROGRAM, ROOT, TIMEOUT, cgi_environment  # noqa: E402

WRAPPER = ROOT / "packaging/quillet.cgi"
LOOP_WITHOUT_OUTPUT = "^for[i;1;2000000000;^rem[x]]"
MENU_THAT_ADDS_ROWS = "^config[a]^menu[^config[append;b]]"
LOOP_WITH_OUTPUT = "^for[i;1;2000000000;xxxxxxxxxxxxxxxx]"


class Wrapper(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quillet wrapper ")
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        (self.root / "run").mkdir()
        (self.root / "www").mkdir()

    def ask(self, page, settings=None, environment=None, body=b"", **options):
        """The request for the page through the wrapper; `settings` in place of its own, `options` of the process."""
        (self.root / "www/page.html").write_text(page)
        values = {"work": f"'{self.root}/run'", "program": f"'{PROGRAM}'", **(settings or {})}
        if is_sanitized(str(PROGRAM)):  # the sanitizers reserve the address space whole
            values["memory"] = "unlimited"
        lines = WRAPPER.read_text().splitlines()
        for name, value in values.items():
            at, = [i for i, line in enumerate(lines) if line.startswith(name + "=")]
            lines[at] = f"{name}={value}"
        wrapper = self.root / "quillet"
        wrapper.write_text("\n".join(lines) + "\n")
        wrapper.chmod(0o755)
        return subprocess.run([wrapper], env=cgi_environment(str(self.root)) | (environment or {}), input=body,
                              cwd=self.root, capture_output=True, timeout=TIMEOUT, **options)

    def test_the_page_is_made_in_the_working_directory(self):
        (self.root / "run/_macro.cfg").write_text("@where[]\nhere\n")
        answer = self.ask("^macro[where]^env[REMOTE_USER]", environment={"REDIRECT_REMOTE_USER": "ann"})
        self.assertEqual(answer.returncode, 0, answer.stderr)
        self.assertRegex(answer.stdout, rb"\n\nhere\s*ann$")

    def test_the_name_of_the_visitor_is_that_of_a_redirect_or_of_the_server(self):
        for variables, name in (({"REMOTE_USER": "ann"}, b"[ann]"), ({}, b"[]"),
                                ({"REMOTE_USER": "ann", "REDIRECT_REMOTE_USER": "bob"}, b"[bob]"),
                                ({"REMOTE_USER": "ann", "REDIRECT_REMOTE_USER": ""}, b"[]")):
            answer = self.ask("[^env[REMOTE_USER]]", environment=variables)
            self.assertTrue(answer.stdout.endswith(name), (variables, answer.stdout))

    def test_a_page_that_comes_as_the_script_is_the_page(self):
        page = self.root / "www/page.html"
        answer = self.ask("^env[SCRIPT_NAME] ^env[PATH_TRANSLATED] ^env[PATH_INFO]",
                          environment={"PATH_TRANSLATED": "", "SCRIPT_FILENAME": str(page), "SCRIPT_NAME": "/page.html"})
        self.assertTrue(answer.stdout.endswith(f"/cgi-bin/quillet {page} /page.html".encode()), answer.stdout)

    def test_the_wrapper_itself_is_no_page(self):
        answer = self.ask("secret", environment={"PATH_TRANSLATED": "", "SCRIPT_FILENAME": str(self.root / "quillet")})
        self.assertIn(b"quillet 1.0", answer.stdout)

    def test_a_redirect_to_the_program_itself_is_refused(self):
        for address in ("/cgi-bin/quillet", "/cgi-bin/quillet/page.html"):
            answer = self.ask("secret", environment={"REDIRECT_URL": address})
            self.assertTrue(answer.stdout.startswith(b"Status: 403 Forbidden\n"), answer.stdout)
            self.assertNotIn(b"secret", answer.stdout)

    def test_a_redirect_to_a_page_is_not_refused(self):
        for address in ("/page.html", "/cgi-bin/quillets/page.html", "/a/cgi-bin/quillet/page.html", ""):
            answer = self.ask("open", environment={"REDIRECT_URL": address})
            self.assertTrue(answer.stdout.endswith(b"open"), address)

    def test_a_body_that_is_too_large_is_refused(self):
        for length, status in (("1025", b"413 "), ("1024", None), ("", None), ("9" * 40, b"400 "), ("-1", b"400 "),
                               ("1 -o 1", b"400 ")):
            environment = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded",
                           "CONTENT_LENGTH": length}
            answer = self.ask("^form[a]", {"body": "1"}, environment, b"a=" + b"x" * 1022)
            self.assertEqual(answer.stdout.startswith(b"Status: " + status) if status else
                             answer.stdout.startswith(b"Content-type: text/html"), True, (length, answer.stdout[:80]))

    def test_a_page_without_an_end_runs_out_of_its_time(self):
        for page in (LOOP_WITHOUT_OUTPUT, MENU_THAT_ADDS_ROWS):
            answer = self.ask(page, {"processor_time": "1", "memory": "unlimited"})
            self.assertIn(answer.returncode, (-signal.SIGXCPU, -signal.SIGKILL), page)
            self.assertEqual(answer.stdout, b"")

    @unittest.skipIf(is_sanitized(str(PROGRAM)), "the sanitizers reserve the address space whole")
    def test_a_page_without_an_end_runs_out_of_its_memory(self):
        answer = self.ask(LOOP_WITH_OUTPUT, {"memory": "65536"})
        self.assertEqual((answer.returncode, answer.stdout), (254, b""))
        self.assertRegex((self.root / "run/error_log").read_text(), r"unable to (malloc|realloc) \d+ bytes\n$")

    def test_the_user_may_have_so_many_processes(self):
        program = self.root / "www/limits"
        program.write_text("#!/bin/sh\necho; echo; grep '^Max processes' /proc/self/limits\n")
        program.chmod(0o755)
        answer = self.ask("^optimize[no]^exec[limits]", {"processes": "77"})
        self.assertRegex(answer.stdout, rb"Max processes +77 +77 ")

    def test_beyond_that_the_page_is_made_and_programs_are_not_started(self):
        program = self.root / "www/program"
        program.write_text("#!/bin/sh\necho; echo; echo started\n")
        program.chmod(0o755)
        for folder in (self.root, self.root / "run", self.root / "www"):
            folder.chmod(0o777)
        page = "(^exec[program])"
        self.assertIn(b"(started", self.ask(page).stdout)
        if os.getuid() == 0:  # whom the limit does not stop
            user = {"user": 54321, "group": 54321, "extra_groups": []}
            shutil.copy(PROGRAM, self.root / "program")  # the build directory may be closed to others
            answer = self.ask(page, {"processes": "1", "program": f"'{self.root}/program'"}, **user)
            self.assertTrue(answer.stdout.endswith(b"()"), answer)

    def test_an_expression_with_back_references_ends_by_itself(self):
        answer = self.ask(r"^match[(x?)(x?)(x?)(x?)(x?)(x?)(x?)(x?)(x?)(x?)(x?)(x?)\1\2\3\4\5\6\7\8\9y;" + "x" * 400 + "]ended")
        self.assertTrue(answer.stdout.endswith(b"ended"), answer)

    def test_a_file_ends_at_its_limit(self):
        answer = self.ask("^save[note;^for[i;1;20000;xxxxxxxxxxxxxxxx]]", {"file": "100"})
        self.assertEqual(answer.returncode, 0, answer.stderr)
        self.assertIn(b"File too large", answer.stdout)


if __name__ == "__main__":
    unittest.main()
