"""The cookbook's contact form, with a mail program that keeps what it gets. Its place is fixed, so the test runs in a
mount namespace of its own."""

import email
import email.policy
import tempfile
import unittest
from pathlib import Path

from recipe import Recipe, Site, run_cases
import private_mounts  # in the folder that recipe has put into the path
from private_mounts import mount, unmount

PROGRAM = Path("/usr/lib/sendmail")
GOOD = {"from": "ann@example.org", "subject": "Tea", "text": "Hello."}


def setUpModule():
    if not private_mounts.available():
        raise unittest.SkipTest("no mount namespace can be made here")
    layer = Path(tempfile.mkdtemp(prefix="quillet-mail-"))
    unittest.addModuleCleanup(layer.rmdir)
    mount("-t", "tmpfs", "tmpfs", layer)
    unittest.addModuleCleanup(unmount, layer)
    upper, work = layer / "upper", layer / "work"
    upper.mkdir()
    work.mkdir()
    mount("-t", "overlay", "overlay", "-o", f"lowerdir={PROGRAM.parent},upperdir={upper},workdir={work}", PROGRAM.parent)
    PROGRAM.unlink(missing_ok=True)


class Mail(unittest.TestCase):
    def setUp(self):
        self.recipe = Recipe.named("mail")
        self.site = Site(self.recipe)
        self.addCleanup(self.site.__exit__)
        self.message = self.site.root / "message"
        PROGRAM.write_text(f"#!/bin/sh\ncat >'{self.message}'\n")
        PROGRAM.chmod(0o755)

    def post(self, **fields):
        return self.site.post("/contact.html", GOOD | fields)

    def sent(self):
        return email.message_from_bytes(self.message.read_bytes(), policy=email.policy.default)

    def test_the_message_is_the_one_of_the_page(self):
        self.recipe.compare(self, self.site)
        blocks = run_cases.fenced_blocks(self.recipe.path.read_bytes())
        expected = next(raw for _, heading, raw in blocks if heading == b"message")
        self.assertEqual(self.message.read_bytes().decode(), expected.decode() + "\n")

    def test_every_subject_arrives(self):
        for subject in ("Tea", "Grüße & <Tee>", "=?UTF-8?Q?x?=", "a=b_c%41+d", "日本" * 20, "😀" * 30, "ü" * 99, "x" * 200, " a  b ",
                        "^form[x]", "[", "]", ";", "`", '"', "'", "\\", "#", "@", "$1", "ab ü 日 😀 z" * 8):
            self.assertEqual(self.post(subject=subject).headers["Status"], "303 See Other", subject)
            self.assertEqual(self.sent()["Subject"], subject)
            raw = self.message.read_bytes()
            line = next(line for line in raw.split(b"\n") if line.startswith(b"Subject: "))
            self.assertLess(len(line), 998)
            self.assertLessEqual(max(map(len, line.split())), 75)
            line.decode("ascii")

    def test_no_value_begins_a_header_line(self):
        for name in ("from", "subject"):
            for value in ("a@b.example\nBcc: all@example.org", "a@b.example\r\n\r\nbody", "\nX: y"):
                self.message.unlink(missing_ok=True)
                self.post(**{name: value})
                if self.message.exists():
                    self.assertEqual(self.sent().keys(), ["To", "From", "Reply-To", "Subject", "MIME-Version", "Content-Type",
                                                          "Content-Transfer-Encoding"])

    def test_one_address_only(self):
        for address in ("", "a", "a@b@c", "a@b.example, c@d.example", "<a@b.example>", "a b@c.example", "x" * 61 + "@a.example"):
            self.assertIn("Please give one address.", self.post(**{"from": address}).text())
        self.assertFalse(self.message.exists())

    def test_text_and_subject_are_needed_and_limited(self):
        for fields in ({"text": " \n"}, {"subject": ""}, {"subject": "x" * 201}, {"text": "x" * 30_000}, {"text": "x" * 600_000}):
            self.assertIn("<p>Please ", self.post(**fields).text())
        self.assertFalse(self.message.exists())

    def test_every_line_of_the_text_is_quoted(self):
        self.post(text="a\n.\n\nFrom b\n#c\nGrüße &amp; <b>")
        body = self.message.read_text().partition("\n\n")[2]
        self.assertEqual(body, "> a\n> .\n> \n> From b\n> #c\n> Grüße &amp; <b>\n")

    def test_get_sends_nothing(self):
        self.site.get("/contact.html", GOOD)
        self.assertFalse(self.message.exists())

    def test_a_failure_is_status_500_without_its_words(self):
        PROGRAM.write_text("#!/bin/sh\ncat >/dev/null; echo no such user at host; exit 67\n")
        answer = self.post()
        self.assertEqual((answer.headers["Status"], answer.text()), ("500 Internal Server Error", "<p>Your message was not sent.</p>"))

    def test_the_form_is_escaped(self):
        page = self.post(**{"from": '"><b>', "text": "</textarea><b>"}).text()
        self.assertNotIn("<b>", page)


if __name__ == "__main__":
    private_mounts.enter()
    unittest.main()
