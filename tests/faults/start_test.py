"""Faults before the page is read: no memory for a setting, standard streams that the server did not open."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from page_runner import PageTest, PreloadTest  # noqa: E402


class Profile(PreloadTest):
    SOURCE = Path(__file__).resolve().parent / "start.c"

    def test_without_memory_for_a_setting_the_request_ends(self):
        self.write("site/.profile", "PLACE=here\nSECRET=hidden\n")
        with self.start("^env[PLACE]", self.preloading(NO_MEMORY_FOR="SECRET")) as process:
            output, errors = self.output(process)
        self.assertEqual((process.returncode, output, errors), (254, b"", b""))
        self.assertRegex(self.error_log(), r"\[path=null\]: unable to malloc 14 bytes\n$")

    def test_a_setting_for_which_there_is_memory_is_made(self):
        self.write("site/.profile", "PLACE=here\n=there\n")
        self.assertEqual(self.run_page("^env[PLACE]", self.preloading(NO_MEMORY_FOR="SECRET")), "here")


class StandardStreams(PageTest):
    def answer(self, page, closing):
        """What comes of the page when the shell's redirections `closing` have closed standard streams."""
        with self.start(page, wrapper=["/bin/sh", "-c", f'exec "$0" {closing}']) as process:
            output, errors = self.output(process)
        return process.returncode, output, errors

    def test_a_page_that_writes_a_file_never_gets_its_output_into_it(self):
        page = "^save[note;kept]^counter[visits.count]the page"
        for closing in (">&-", "<&- >&-", ">&- 2>&-", "<&- >&- 2>&-"):
            self.assertEqual(self.answer(page, closing), (0, b"", b""), closing)
            self.assertEqual((self.www / "_note").read_text(), "kept", closing)

    def test_a_page_without_input_is_made(self):
        status, output, _ = self.answer("the page", "<&-")
        self.assertEqual((status, output.endswith(b"the page")), (0, True))


if __name__ == "__main__":
    unittest.main()
