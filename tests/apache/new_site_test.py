"""The site that `quillet-dev new` makes: served by scripts/demo, and by an Apache httpd that includes what the site
brings for it."""

import os
import pwd
import grp
import subprocess
import urllib.parse
import unittest
from html.parser import HTMLParser

from served_site import ROOT, Folder, ServedSite, free_port, program_under_test
from program import wait_for

TOOL = os.environ["QUILLET_DEV"]
VOID = {"meta", "link", "input", "br"}


class Nesting(HTMLParser):
    """Fails where a tag closes what is not open."""

    def __init__(self, text):
        super().__init__()
        self.open = []
        self.feed(text)
        self.close()
        if self.open:
            raise AssertionError(f"never closed: {self.open}")

    def handle_starttag(self, tag, attributes):
        if tag not in VOID:
            self.open.append(tag)

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            raise AssertionError(f"</{tag}> at {self.getpos()}")


def make_site(folder):
    site = folder.path / "site"
    subprocess.run([TOOL, "new", site], check=True, stdout=subprocess.DEVNULL)
    for path in (site, *site.rglob("*")):
        path.chmod(0o777)  # httpd may be another user than the one who made the site
    return site


class Pages:
    """What the pages do; the class that uses this says how they are asked for."""

    def send(self, **fields):
        return self.post("/", urllib.parse.urlencode(fields))

    def test_the_home_page_shows_the_data(self):
        text = self.ask("/").text()
        Nesting(text)
        self.assertTrue(text.startswith("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">"))
        self.assertIn("<tr><td>Peas</td><td>April</td><td>June</td></tr>", text)
        self.assertNotIn("[", text.partition("<h2>")[0])

    def test_a_note_is_kept_and_shown_and_nothing_in_it_is_markup(self):
        name, note = "Zoë <b>", "^env[PATH]; \"'&\ttwo\r\nlines # <script>alert(1)</script>"
        self.assertEqual(self.send(name=name, note=note).status, 303)
        text = self.ask("/").text()
        Nesting(text)
        self.assertIn("<blockquote>^env[PATH]; &quot;'& two lines # &lt;script&gt;alert(1)&lt;/script&gt;"
                      "<footer>Zoë &lt;b&gt;, ", text)

    def test_what_is_wrong_is_said_and_not_kept(self):
        before = sorted(path.name for path in (self.site / "run").iterdir())
        for fields, said in (({"name": "", "note": "x"}, "tell us your name"),
                             ({"name": "a\x01", "note": "x"}, "tell us your name"),
                             ({"name": "A", "note": " \r\n"}, "a few words"),
                             ({"name": "A", "note": "x" * 1001}, "a shorter note"),
                             ({"name": "A", "note": "x" * 600000}, "a shorter note")):
            reply = self.send(**fields)
            self.assertEqual(reply.status, 200)
            self.assertIn(said, reply.text().split("<form")[0])
        self.assertEqual(sorted(path.name for path in (self.site / "run").iterdir()), before)

    def test_what_cannot_be_kept_is_said_and_still_in_the_form(self):
        self.send(name="A", note="kept")
        run = self.site / "run"
        in_the_way = run / f"_note-{int((run / 'notes.count').read_text()) + 1}"
        in_the_way.mkdir()
        reply = self.send(name="A", note="not to be lost")
        in_the_way.rmdir()
        self.assertEqual(reply.status, 500)
        self.assertIn("could not be kept", reply.text())
        self.assertIn(">not to be lost</textarea>", reply.text())
        text = self.ask("/").text()
        Nesting(text)
        self.assertIn("<blockquote>kept<footer>", text)

    def test_sixty_letters_of_three_bytes_are_a_name(self):
        self.assertEqual(self.send(name="字" * 60, note="x" * 1000).status, 303)

    def test_only_pages_are_served(self):
        self.assertEqual(self.ask("/style.css").status, 200)
        for path in ("/_plants", "/run/.profile", "/../run/_macro.cfg", "/%2e%2e/run/.profile"):
            self.assertIn(self.ask(path).status, (400, 403, 404))


class WithDemo(Pages, ServedSite):
    @classmethod
    def setUpClass(cls):
        folder = Folder()
        cls.addClassCleanup(folder.remove)
        cls.site = make_site(folder)
        super().setUpClass()


class Httpd:
    """A private Apache httpd that includes the configuration of the site."""

    def __init__(self, site, folder):
        settings = (ROOT / "scripts/httpd.conf").read_text()
        own, _, _ = settings.partition("# The connection string")
        (folder.path / "httpd.conf").write_text(f'{own}Include "{site}/server/apache.conf"\n')
        user = pwd.getpwuid(os.getuid()) if os.getuid() else pwd.getpwnam("www-data")
        self.port = free_port()
        self.process = subprocess.Popen(
            ["/usr/sbin/apache2", "-f", folder.path / "httpd.conf", "-D", "FOREGROUND"], start_new_session=True,
            env={**os.environ, "QUILLET_INSTANCE": str(folder.path), "QUILLET_PORT": str(self.port),
                 "QUILLET_USER": user.pw_name, "QUILLET_GROUP": grp.getgrgid(user.pw_gid).gr_name})
        started = folder.path / "httpd.pid"
        wait_for(lambda: self.process.poll() is not None or started.exists() and started.stat().st_size, "httpd")

    def stop(self):
        self.process.terminate()
        self.process.wait()


class WithItsOwnConfiguration(Pages, ServedSite):
    @classmethod
    def setUpClass(cls):
        folder = Folder()
        cls.addClassCleanup(folder.remove)
        cls.site = make_site(folder)
        wrapper = cls.site / "server/cgi-bin/quillet"
        lines = wrapper.read_text().splitlines(keepends=True)
        lines[3] = f"program='{program_under_test(folder.path)}'\n"  # which has the options of the sanitizers
        wrapper.write_text("".join(lines))
        cls.demo = Httpd(cls.site, folder)

    @classmethod
    def tearDownClass(cls):
        cls.demo.stop()

    def test_pages_have_a_charset(self):
        self.assertEqual(self.ask("/").headers["Content-Type"].lower(), "text/html; charset=utf-8")

    def test_an_unknown_address_has_a_page_of_the_site(self):
        reply = self.ask("/nothing.html")
        self.assertEqual(reply.status, 404)
        Nesting(reply.text())
        self.assertIn("<h1>There is no such page</h1>", reply.text())


if __name__ == "__main__":
    unittest.main()
