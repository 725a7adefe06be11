"""What hostile visitors send to the cookbook's logins, uploads and downloads."""

import os
import re
import unittest

from recipe import Recipe, Site

NAMES = ["../_macro.cfg", "/etc/passwd", "", ".", "..", "1.gif/../../_macro.cfg", "1.gif\n", "1.gif x", "^env[PATH]", "<b>.gif",
         "2.gif", "01.gif", "1.GIF", "1.html", "%00", "x" * 10_000, "*", "[", "\\"]
GIF = b"GIF89a\x40\x01\xf0\x00\x80\x00\x00"


class RecipeTest(unittest.TestCase):
    name = ""

    def setUp(self):
        self.site = Site(Recipe.named(self.name))
        self.addCleanup(self.site.__exit__)

    def stored(self, folder):
        return sorted(path.name for path in (self.site.root / folder).glob("*"))


class LoginOfTheServer(RecipeTest):
    name = "login-server"

    def test_a_name_is_escaped(self):
        self.assertIn("Hello, &lt;b&gt;", self.site.get("/members/", REMOTE_USER="<b>").text())

    def test_what_a_visitor_can_send_opens_nothing(self):
        for given in ({"HTTP_REMOTE_USER": "ann"}, {"HTTP_AUTHORIZATION": "Basic YW5uOg=="}, {"HTTP_COOKIE": "REMOTE_USER=ann"}):
            self.assertEqual(self.site.get("/members/", "REMOTE_USER=ann&member=ann", **given).headers["Status"], "403 Forbidden")

    def test_the_public_page_knows_that_the_directory_is_closed(self):
        self.assertIn("(with a name and a password)", self.site.get("/").text())


class LoginByCookie(RecipeTest):
    name = "login-cookie"
    form = "/login.html"

    def login(self, name="ann", secret="first flush"):
        return self.site.post(self.form, {"name": name, "secret": secret})

    def session(self, answer):
        return re.fullmatch("session=([0-9a-f]{32}); Path=/; HttpOnly; Secure; SameSite=Lax", answer.headers["Set-Cookie"])[1]

    def hello(self, cookie):
        return "Hello, ann." in self.site.get(self.form, HTTP_COOKIE=cookie).text()

    def test_the_right_password_opens_a_session_of_its_own(self):
        sessions = {self.session(self.login()) for _ in range(3)}
        self.assertEqual(len(sessions), 3)
        for session in sessions:
            self.assertTrue(self.hello("session=" + session))

    def test_nothing_else_does(self):
        before = self.stored("run/sessions")
        for name, secret in (("ann", ""), ("ann", "First flush"), ("", ""), ("", "first flush"), ("bob", "first flush"),
                             ("ann:", "first flush"), ("ann", "first flush\n"), ("ann", self.site.read("bin/passwords")),
                             ("ann&secret=first+flush", ""), ("'; touch x; '", "$(touch x)"), ("ann", "\0first flush"),
                             ("^env[PATH]", "`"), ("x" * 600_000, "x" * 600_000)):
            answer = self.login(name, secret)
            self.assertEqual(answer.headers["Status"], "403 Forbidden", (name, secret))
            self.assertNotIn("Set-Cookie", answer.headers)
        self.assertEqual(self.stored("run/sessions"), before)
        self.assertEqual(self.stored("bin"), ["login", "passwords"])

    def test_a_cookie_that_is_no_session(self):
        for value in (*NAMES, "0" * 32, "0123456789abcdef0123456789abcde", "0123456789abcdef0123456789ABCDEF",
                      "0123456789abcdef0123456789abcdef%0a", "../sessions/0123456789abcdef0123456789abcdef"):
            self.assertFalse(self.hello("session=" + value), value)

    def test_a_session_ends_after_a_day(self):
        path = self.site.root / "run/sessions/0123456789abcdef0123456789abcdef"
        for age, open_still in ((86_000, True), (86_500, False)):
            now = path.parent.stat().st_mtime
            os.utime(path, (now - age, now - age))
            self.assertEqual(self.hello("session=0123456789abcdef0123456789abcdef"), open_still)

    def test_logging_out_ends_the_session(self):
        session = self.session(self.login())
        answer = self.site.post(self.form, "leave=yes", HTTP_COOKIE="session=" + session)
        self.assertEqual(answer.headers["Set-Cookie"], "session=; Path=/; Max-Age=0")
        self.assertFalse(self.hello("session=" + session))

    def test_logging_out_without_a_session_removes_nothing(self):
        before = self.stored("run/sessions")
        for value in NAMES:
            self.site.post(self.form, "leave=yes", HTTP_COOKIE="session=" + value.replace("\0", ""))
        self.assertEqual(self.stored("run/sessions"), before)

    def test_no_field_becomes_a_cookie_of_the_chat(self):
        names = re.findall('name="(.*?)"', self.site.get(self.form).text())
        self.assertEqual(names, ["name", "secret"])


class Upload(RecipeTest):
    name = "upload"

    def send(self, name, content=GIF):
        return self.site.post_files("/pictures.html", [("picture", (name, content))])

    def test_a_picture_gets_a_number_whatever_its_name(self):
        for name in ("cat.gif", "../../www/x.gif", "_macro.cfg.gif", "a.html.GIF", "^env[PATH].gif", "x" * 1000 + ".gif"):
            self.assertEqual(self.send(name).headers["Status"], "303 See Other")
        self.assertEqual(self.stored("run/pictures"), [f"{number}.gif" for number in range(1, 7)])
        self.assertEqual(self.stored("www"), ["picture.html", "pictures.html"])

    def test_other_kinds_are_refused(self):
        for name in ("x.html", "x.php", "x.gif.html", ".htaccess", "x", "x.gif\n.html", "x.png", "<b>.svg"):
            answer = self.send(name)
            self.assertIn("JPEG and GIF pictures only", answer.text())
            self.assertNotIn("<b>", answer.text())
        self.assertFalse((self.site.root / "run/pictures").exists())

    def test_what_is_no_picture_is_removed(self):
        for name, content in (("x.gif", b"<script>alert(1)</script>"), ("x.jpg", GIF), ("x.gif", b"GIF89a"), ("x.jpeg", b"\xff\xd8")):
            self.assertIn("That is no picture.", self.send(name, content).text())
        self.assertEqual(self.stored("run/pictures"), [])

    def test_a_large_file_no_file_and_a_field_without_a_file_are_refused(self):
        self.assertIn("Five megabytes", self.send("x.gif", GIF + bytes(5_000_000)).text())
        self.assertIn("Please choose", self.send("x.gif", b"").text())
        self.assertIn("Please choose", self.site.post("/pictures.html", "picture=x.gif").text())
        self.assertFalse((self.site.root / "run/pictures").exists())

    def test_a_full_folder_takes_nothing_more(self):
        for number in range(1000, 1500):
            self.site.write(f"run/pictures/{number}.gif", b"")
        self.assertIn("There is no room for more.", self.send("x.gif").text())
        self.assertEqual(len(self.stored("run/pictures")), 500)

    def test_the_size_fits_into_a_square(self):
        for wide, high, shown in ((320, 240, (160, 120)), (240, 320, (120, 160)), (100, 50, (100, 50)), (160, 160, (160, 160)),
                                  (65535, 1, (160, 0))):
            self.send("x.gif", b"GIF89a" + wide.to_bytes(2, "little") + high.to_bytes(2, "little") + b"\x80\0\0")
            page = self.site.get("/pictures.html").text()
            self.assertEqual(re.search('width="(.*?)" height="(.*?)"', page).groups(), tuple(map(str, shown)))

    def test_a_picture_is_sent_with_its_type(self):
        self.send("x.gif")
        answer = self.site.get("/picture.html", "name=1.gif")
        self.assertEqual((answer.headers["Content-type"], answer.headers["X-Content-Type-Options"], answer.body),
                         ("image/gif", "nosniff", GIF))

    def test_no_other_file_is_sent(self):
        self.send("x.gif")
        for name in NAMES:
            answer = self.site.get("/picture.html", {"name": name})
            self.assertEqual((answer.headers.get("Status"), answer.headers["Content-type"]), ("404 Not Found", "text/html"), name)


class Download(RecipeTest):
    name = "download"

    def test_only_files_of_the_list_are_sent(self):
        for name in (*NAMES[:2], *NAMES[3:], "prices-2026.pdf/", "PRICES-2026.pdf", "./prices-2026.pdf"):
            answer = self.site.get("/members/papers.html", {"file": name}, REMOTE_USER="ann")
            self.assertEqual((answer.headers.get("Status"), answer.headers["Content-type"]), ("404 Not Found", "text/html"), name)

    def test_without_a_name_nothing_is_shown(self):
        for query in ("", "file=prices-2026.pdf", "file=prices-2026.pdf&REMOTE_USER=ann&member=ann"):
            answer = self.site.get("/members/papers.html", query, HTTP_REMOTE_USER="ann")
            self.assertEqual(answer.headers["Status"], "403 Forbidden")
            self.assertNotIn("prices", answer.text())

    def test_a_hostile_name_of_a_member_is_escaped(self):
        self.assertIn("Papers for &lt;b&gt;", self.site.get("/members/papers.html", REMOTE_USER="<b>").text())

    def test_an_empty_folder(self):
        (self.site.root / "run/papers/prices-2026.pdf").unlink()
        answer = self.site.get("/members/papers.html", "file=x", REMOTE_USER="ann")
        self.assertEqual(answer.headers["Status"], "404 Not Found")


if __name__ == "__main__":
    unittest.main()
