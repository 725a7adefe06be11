"""The demo site's pages that keep, send and receive files: guest book, gallery, file drop, contact form, price
list, members' corner; with what visitors should send, and with what they should not."""

import base64
import concurrent.futures
import html
import os
import pathlib
import re
import shutil
import struct
import sys
import tempfile
import unittest
import urllib.parse

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import private_mounts
from served_site import ExampleSite
from program import multipart

EVERY_BYTE = bytes(range(256)) * 40
NAMES = {  # what a browser never sends, and what is kept of it
    "../../etc/passwd": "..-..-etc-passwd",
    "/etc/passwd": "-etc-passwd",
    "C:\\My Documents\\a b.txt": "a-b.txt",
    "index.html": "index.html",
    ".htaccess": ".htaccess",
    "_macro.cfg": "_macro.cfg",
    "^exec[x];`id`$(id).gif": "-exec-x-id-id-.gif",
    "a\x01\x1b\x7fb.txt": "a-b.txt",
    "Füße.txt": "F-e.txt",
    "x" * 10_000 + ".txt": "x" * 56 + ".txt",
    "...": "...",
    "/": "-",
}


class Visit(ExampleSite):
    def setUp(self):
        for left in self.work().iterdir():
            if left.name not in ("_macro.cfg", ".profile", "groups"):
                shutil.rmtree(left) if left.is_dir() else left.unlink()

    def work(self):
        return self.site_path / "run"

    def assert_sent_on(self, reply, address):
        self.assertEqual((reply.status, reply.headers["Location"]), (303, address))


class GuestBook(Visit):
    def sign(self, name="Ann", text="Lovely paper.", **fields):
        return self.send("/guestbook/", name=name, text=text, **fields)

    def entries(self, path="/guestbook/"):
        """Name and text of each entry, as they are in the page."""
        found = re.findall(r'<div class="entry"><p>(.*?)</p><p class="quiet">(.*?), \d\d\.\d\d\.\d{4}</p></div>',
                           self.page(path), re.S)
        return [(name, text) for text, name in found]

    def complaints(self, reply):
        return re.findall("<li>(.*?)</li>", self.article(reply), re.S)

    def test_an_entry_is_seen_afterwards(self):
        self.assert_sent_on(self.sign(), "/guestbook/")
        self.assertEqual(self.entries(), [("Ann", "Lovely paper.")])

    def test_the_newest_entry_comes_first_ten_a_page(self):
        for number in range(1, 13):
            self.sign(text=f"entry {number}")
        texts = [[text for _, text in self.entries(f"/guestbook/?page={page}")] for page in (1, 2, 3)]
        self.assertEqual(texts, [[f"entry {n}" for n in range(12, 2, -1)], ["entry 2", "entry 1"], []])
        self.assertIn('<a href="?page=2">Earlier entries</a>', self.page("/guestbook/"))

    def test_entries_that_arrive_at_the_same_moment_are_all_kept(self):
        with concurrent.futures.ThreadPoolExecutor(10) as visitors:
            replies = list(visitors.map(lambda number: self.sign(text=f"entry {number}"), range(40)))
        self.assertEqual({reply.status for reply in replies}, {303})
        texts = [text for page in range(1, 5) for _, text in self.entries(f"/guestbook/?page={page}")]
        self.assertEqual(sorted(texts), sorted(f"entry {number}" for number in range(40)))

    def test_a_script_in_an_entry_stays_text(self):
        self.sign(name='"><script>alert(1)</script>', text="<img src=x onerror=alert(1)>")
        self.assertEqual(self.entries(), [("&quot;&gt;&lt;script&gt;alert(1)&lt;/script&gt;",
                                           "&lt;img src=x onerror=alert(1)&gt;")])

    def test_calls_in_an_entry_are_text(self):
        self.sign(name="^env[PATH]", text="^exec[_month] ^^ ] ; ` $1 @main[]")
        self.assertEqual(self.entries(), [("^env[PATH]", "^exec[_month] ^^ ] ; ` $1 @main[]")])

    def test_tabs_and_line_breaks_break_no_row(self):
        self.sign(text="one\ttwo\r\nthree\n01.01.2000\tBob\tfalse\n# four")
        self.assertEqual(self.entries(), [("Ann", "one two three 01.01.2000 Bob false # four")])
        self.assertEqual((self.work() / "_guestbook-1").read_text().count("\t"), 2)
        self.assertEqual((self.work() / "_guestbook-1").read_text().count("\n"), 1)

    def test_a_name_that_begins_with_a_number_sign_is_kept(self):
        self.sign(name="# 1")
        self.assertEqual(self.entries(), [("# 1", "Lovely paper.")])

    def test_control_characters_are_taken_out_of_a_text(self):
        self.sign(text="a\x01\x02\x1b\x7fb")
        self.assertEqual(self.entries(), [("Ann", "a b")])

    def test_letters_of_every_language(self):
        self.sign(name="Žofie", text="Бумага 紙")
        self.assertEqual(self.entries(), [("Žofie", "Бумага 紙")])

    def test_what_is_missing_is_said_and_the_form_comes_again(self):
        reply = self.sign(name="", text="Hello <there>")
        self.assertEqual(len(self.complaints(reply)), 1)
        self.assertIn(">Hello &lt;there&gt;</textarea>", reply.text())
        self.assertEqual(len(self.complaints(self.sign(name=" ", text=" \r\n\t"))), 2)
        self.assertEqual(self.entries(), [])

    def test_a_name_of_60_letters_is_taken_and_one_of_61_is_not(self):
        for letter in "xÄЖ紙𝕬%+":
            self.assert_sent_on(self.sign(name=letter * 60), "/guestbook/")
            self.assertEqual(len(self.complaints(self.sign(name=letter * 61))), 1, letter)
        self.assertEqual(len(self.complaints(self.sign(name="x" * 10_000))), 1)

    def test_control_characters_in_a_name_are_refused(self):
        for name in ("a\nb", "a\tb", "a\x01b", "\x7f"):
            self.assertEqual(len(self.complaints(self.sign(name=name))), 1, name)

    def test_a_text_of_1000_letters_is_taken_and_one_of_1001_is_not(self):
        self.assert_sent_on(self.sign(text="ü" * 1000), "/guestbook/")
        self.assertEqual(len(self.complaints(self.sign(text="ü" * 1001))), 1)
        self.assert_sent_on(self.sign(text="x" * 1000), "/guestbook/")
        self.assert_sent_on(self.sign(text="<" * 1000), "/guestbook/")
        self.assertEqual(len(self.complaints(self.sign(text="x" * 1001))), 1)
        self.assertEqual(len(self.complaints(self.sign(text="x" * 600_000))), 1)

    def test_the_book_has_500_entries_at_most(self):
        (self.work() / "guestbook.count").write_text("0000000500")
        self.assertEqual(len(self.complaints(self.sign())), 1)

    def test_a_working_directory_that_cannot_be_written_is_reported_without_its_name(self):
        (self.work() / "_guestbook-1").mkdir()
        page = self.article(self.sign())
        self.assertIn("We cannot find our pen.", page)
        self.assertNotIn(str(self.work()), page)

    def test_nonsense_for_a_page_number_does_no_harm(self):
        self.sign()
        for page in ("-3", "x", "", "%2B", "0", "1.9", "%3Cb%3E"):
            self.assertEqual(self.entries("/guestbook/?page=" + page), [("Ann", "Lovely paper.")], page)
        self.assertEqual(self.entries("/guestbook/?page=99999999999"), [])

    def test_a_cookie_remembers_the_name(self):
        name = "Ann & \"Bob\" <x>; é"
        cookie = self.sign(name=name, remember="yes").headers["Set-Cookie"]
        self.assertRegex(cookie, r"^guest=Ann\+%26\+%22Bob%22\+%3Cx%3E%3B\+%C3%A9; path=/; expires=")
        page = self.article(self.ask("/guestbook/", headers={"Cookie": cookie.partition(";")[0]}))
        self.assertIn('name="name" maxlength="60" value="Ann & &quot;Bob&quot; &lt;x&gt;; é"', page)
        self.assertIn('value="yes" checked', page)

    def test_without_the_wish_the_cookie_is_taken_away(self):
        cookie = self.sign().headers["Set-Cookie"]
        self.assertRegex(cookie, r"^guest=; path=/; expires=")
        self.assertNotIn(" checked", self.page("/guestbook/"))

    def test_visits_are_counted_one_by_one(self):
        self.assertIn("visit number 1.", self.page("/guestbook/"))
        self.assertIn("visit number 2.", self.page("/guestbook/"))
        self.assertEqual((self.work() / "visitors.count").read_text(), "0000000002")

    def test_no_visit_of_twenty_clients_at_once_is_lost(self):
        with concurrent.futures.ThreadPoolExecutor(20) as visitors:
            pages = list(visitors.map(lambda _: self.page("/guestbook/"), range(60)))
        seen = [int(re.search(r"visit number (\d+)", page)[1]) for page in pages]
        self.assertEqual(sorted(seen), list(range(1, 61)))

    def test_what_is_kept_is_not_served(self):
        self.sign()
        for path in ("/_guestbook-1", "/run/_guestbook-1", "/%2e%2e/run/_guestbook-1", "/guestbook/_guestbook-1"):
            self.assertIn(self.ask_raw(path).status, (400, 403, 404), path)


class Gallery(Visit):
    def pictures(self, page):
        return re.findall(r'<img src="pictures/([^"]*)" width="(\d+)" height="(\d+)" alt="([^"]*)">', page)

    def test_all_pictures_are_shown_in_the_order_of_their_numbers(self):
        folder = self.site_path / "www/gallery/pictures"
        names = sorted((path.name for path in folder.iterdir()), key=lambda name: int(name.partition("-")[0]))
        page = self.page("/gallery/")
        shown = self.pictures(page)
        self.assertEqual([picture[0] for picture in shown], names)
        self.assertEqual({picture[1:3] for picture in shown}, {("300", "200")})
        self.assertEqual(re.findall("<span>(.*?)</span></a>", page)[1], "shells in ochre")

    def test_a_picture_that_is_put_there_is_shown_with_its_size(self):
        picture = self.site_path / "www/gallery/pictures/7-new_one.gif"
        picture.write_bytes(b"GIF89a" + struct.pack("<HH", 41, 17) + bytes(3))
        self.addCleanup(picture.unlink)
        self.assertIn((picture.name, "41", "17", ""), self.pictures(self.page("/gallery/")))

    def test_other_files_are_no_pictures(self):
        for name in ("notes.txt", "8-<b>.gif", "9-no.gif.html"):
            path = self.site_path / "www/gallery/pictures" / name
            path.write_text("x")
            self.addCleanup(path.unlink)
        self.assertEqual(len(self.pictures(self.page("/gallery/"))), 5)

    def test_the_pictures_arrive_as_they_are(self):
        for name in ("1-floating_blue.gif", "4-floating_green.jpg"):
            reply = self.ask("/gallery/pictures/" + name)
            self.assertEqual(reply.body, self.files["www/gallery/pictures/" + name])
            self.assertEqual(reply.headers["Content-Type"], "image/gif" if name.endswith("gif") else "image/jpeg")

    def test_one_picture_and_the_ones_beside_it(self):
        page = self.page("/gallery/?picture=2-shells_in_ochre.gif")
        self.assertEqual(self.pictures(page), [("2-shells_in_ochre.gif", "300", "200", "shells in ochre")])
        self.assertIn("shells in ochre, 6.3 KB", page)
        self.assertEqual(re.findall(r'href="\?picture=([^"]*)"', page), ["1-floating_blue.gif", "3-combed_red.jpg"])

    def test_a_name_that_is_not_in_the_list_shows_nothing(self):
        for name in ("../index.html", "../../_quillet.cfg", "/etc/passwd", "<script>", "2-shells", "x" * 8000, "a\nb",
                     "pictures/2-shells_in_ochre.gif"):
            page = self.page("/gallery/?picture=" + urllib.parse.quote(name))
            self.assertIn("We have no such picture.", page, name)
            self.assertEqual(self.pictures(page), [], name)


class FileDrop(Visit):
    def leave(self, content, name="notes.txt"):
        name = name.encode("utf-8", "surrogateescape")
        body, content_type = multipart([("name=\"file\"; filename=\"NAME\"", content)])
        return self.post("/drop/", body.replace(b"NAME", name, 1), content_type)

    def listed(self):
        """Address and name of each file in the list."""
        found = re.findall(r'<a href="(\?get=[^"]*)">([^<]*)</a>', self.page("/drop/"))
        return [("/drop/" + html.unescape(address), name) for address, name in found]

    def complaints(self, reply):
        return re.findall("<li>(.*?)</li>", self.article(reply), re.S)

    def stored(self):
        folder = self.work() / "drop"
        return sorted(path.name for path in folder.iterdir()) if folder.exists() else []

    def test_a_file_comes_back_byte_for_byte(self):
        self.assert_sent_on(self.leave(EVERY_BYTE, "every byte.bin"), "/drop/")
        [(address, name)] = self.listed()
        reply = self.ask(address)
        self.assertEqual((reply.status, reply.body, name), (200, EVERY_BYTE, "every-byte.bin"))
        self.assertEqual(reply.headers["Content-Disposition"], 'filename="every-byte.bin"')

    def test_whatever_a_file_is_the_browser_gets_bytes(self):
        for name in ("page.html", "picture.svg", "script.js", "noextension"):
            self.leave(b"<script>alert(1)</script>", name)
        for address, name in self.listed():
            headers = self.ask(address).headers
            self.assertEqual((headers["Content-Type"], headers["X-Content-Type-Options"]),
                             ("application/octet-stream", "nosniff"), name)

    def test_a_page_that_was_left_is_never_expanded(self):
        self.leave(b"^env[PATH]", "index.html")
        self.assertEqual(self.ask(self.listed()[0][0]).body, b"^env[PATH]")

    def test_the_list_shows_size_and_time(self):
        self.leave(b"x" * 2048)
        self.assertRegex(self.page("/drop/"),
                         r'notes.txt</a></td><td class="number">2\.0 KB</td><td class="[^"]*">\d\d\.\d\d\.\d{4}, \d\d:\d\d</td>')

    def test_two_files_of_one_name_are_two_files(self):
        for content in (b"one", b"two"):
            self.leave(content)
        self.assertEqual([self.ask(address).body for address, _ in self.listed()], [b"one", b"two"])

    def test_files_that_arrive_at_the_same_moment_are_all_kept(self):
        with concurrent.futures.ThreadPoolExecutor(10) as visitors:
            list(visitors.map(lambda number: self.leave(b"%d" % number), range(10)))
        self.assertEqual(sorted(self.ask(address).body for address, _ in self.listed()),
                         [b"%d" % number for number in range(10)])

    def test_a_removed_file_is_gone(self):
        for content in (b"one", b"two"):
            self.leave(content)
        self.assert_sent_on(self.send("/drop/", remove="1-notes.txt"), "/drop/")
        self.assertEqual(self.stored(), ["2-notes.txt"])
        self.assertEqual(self.listed(), [("/drop/?get=2-notes.txt", "notes.txt")])

    def test_a_name_keeps_nothing_but_harmless_characters_and_the_file_stays_in_its_directory(self):
        for number, (name, kept) in enumerate(NAMES.items(), 1):
            before = self.everything()
            self.assert_sent_on(self.leave(b"content", name), "/drop/")
            stored = f"{number}-{kept}"
            self.assertEqual(self.everything() - before, {f"run/drop/{stored}"}, name)
            self.assertEqual(self.ask("/drop/?get=" + stored).body, b"content", name)

    def everything(self):
        """The files of the site, but for counters and logs."""
        return {str(path.relative_to(self.site_path)) for path in self.site_path.rglob("*")
                if path.is_file() and path.suffix != ".count" and path.name != "error_log"}

    def test_a_name_that_is_no_text_at_all(self):
        self.assert_sent_on(self.leave(b"content", "\udcff\udcfe.txt"), "/drop/")
        self.assertEqual(self.stored(), ["1--.txt"])

    def test_names_that_are_not_in_the_list_are_neither_sent_nor_removed(self):
        self.leave(b"content")
        before = self.everything()
        for name in ("../_macro.cfg", "../../run/_macro.cfg", "/etc/passwd", "..", ".", "1-notes.tx", "1-notes.txt/",
                     "1-notes.txt\n", "x" * 10_000, "\x01", "<b>", "*"):
            self.assertIn("<h1>File drop</h1>", self.page("/drop/?get=" + urllib.parse.quote(name[:8000])), name)
            self.assert_sent_on(self.send("/drop/", remove=name), "/drop/")
        self.assertEqual(self.everything(), before)

    def test_nothing_is_removed_by_following_a_link(self):
        self.leave(b"content")
        self.page("/drop/?remove=1-notes.txt")
        self.assertEqual(self.stored(), ["1-notes.txt"])

    def test_a_file_of_a_megabyte_is_taken_and_a_larger_one_is_not(self):
        self.assert_sent_on(self.leave(b"x" * 1_000_000), "/drop/")
        self.assertEqual(len(self.complaints(self.leave(b"x" * 1_000_001))), 1)
        self.assertEqual(self.stored(), ["1-notes.txt"])

    def test_a_form_without_a_file(self):
        self.assertEqual(len(self.complaints(self.leave(b"", ""))), 1)
        self.assertEqual(len(self.complaints(self.leave(b"", "empty.txt"))), 1)
        for value in ("text", "(file)", "../../etc/passwd"):
            self.assertEqual(len(self.complaints(self.send("/drop/", file=value))), 1, value)
        self.assertEqual(self.stored(), [])

    def test_the_drop_holds_twenty_files(self):
        (self.work() / "drop").mkdir(mode=0o777)
        for number in range(1, 21):
            (self.work() / f"drop/{number}-x").write_text("x")
        self.assertEqual(len(self.complaints(self.leave(b"one too many"))), 1)
        self.assertEqual(len(self.stored()), 20)

    def test_a_directory_that_cannot_be_written_is_reported_without_its_name(self):
        (self.work() / "drop").write_text("not a folder")
        page = self.article(self.leave(b"content"))
        self.assertIn("The counter is locked just now.", page)
        self.assertNotIn(str(self.work()), page)

    def test_what_is_left_is_not_served_by_the_web_server(self):
        self.leave(b"content")
        for path in ("/drop/1-notes.txt", "/run/drop/1-notes.txt", "/%2e%2e/run/drop/1-notes.txt"):
            self.assertIn(self.ask_raw(path).status, (400, 403, 404), path)


class PriceList(Visit):
    PAGE = "/catalogue/pricelist.html"

    def goods(self):
        return self.site_path / "www/catalogue/_goods"

    def change_a_price(self):
        original = self.goods().read_bytes()
        self.addCleanup(self.goods().write_bytes, original)
        self.goods().write_bytes(re.sub(rb"(\t)14\.90?(\t)", rb"\g<1>99.99\2", original))
        self.assertNotEqual(self.goods().read_bytes(), original)

    def test_the_list_is_kept_whatever_the_goods_are_then(self):
        first = self.page(self.PAGE)
        self.assertIn('<td>Atlas notebook, A5</td><td class="number">14.90</td>', first)
        self.change_a_price()
        self.assertEqual(self.page(self.PAGE), first)

    def test_the_button_creates_it_again(self):
        self.page(self.PAGE)
        self.change_a_price()
        self.assert_sent_on(self.post(self.PAGE, ""), self.PAGE)
        self.assertIn('<td>Atlas notebook, A5</td><td class="number">99.99</td>', self.page(self.PAGE))

    def test_one_file_is_kept(self):
        self.page(self.PAGE)
        self.assertEqual([path.name for path in (self.work() / "cache").iterdir()], ["pricelist_"])

    def test_following_a_link_removes_nothing(self):
        first = self.page(self.PAGE)
        self.change_a_price()
        self.assertEqual(self.page(self.PAGE + "?REQUEST_METHOD=POST"), first)


class Members(Visit):
    def password(self):
        return re.search(r"Members: (.*), password: (\S+)", "".join(self.demo.said))[2]

    def ask_as(self, name, path, password=None):
        credentials = base64.b64encode(f"{name}:{password or self.password()}".encode()).decode()
        return self.ask(path, headers={"Authorization": "Basic " + credentials})

    def aside(self, reply):
        return re.search(r"<aside [^>]*>(.*)</aside>", reply.text(), re.S)[1]

    def test_without_a_password_nobody_is_let_in(self):
        for path in ("/members/", "/members/index.html", "/members/staff/", "/members/staff/index.html"):
            reply = self.ask(path)
            self.assertEqual((reply.status, reply.headers["WWW-Authenticate"]),
                             (401, 'Basic realm="Members of The Inkwell"'), path)
            self.assertNotIn("per cent off", reply.text())

    def test_a_wrong_password_and_a_stranger_are_refused(self):
        self.assertEqual(self.ask_as("ann", "/members/", "wrong").status, 401)
        self.assertEqual(self.ask_as("dora", "/members/").status, 401)
        self.assertEqual(self.ask_as("", "/members/").status, 401)

    def test_a_member_is_greeted_by_name(self):
        page = self.article(self.ask_as("ann", "/members/"))
        self.assertIn("<h1>Good to see you, ann</h1>", page)
        self.assertIn("<th>You are in</th><td>members</td>", page)

    def test_a_member_sees_what_is_closed(self):
        aside = self.aside(self.ask_as("ann", "/members/"))
        self.assertIn('<a href="/members/">The corner</a>', aside)
        self.assertIn("Behind the counter (closed)", aside)

    def test_one_of_the_staff_sees_it_open(self):
        reply = self.ask_as("bob", "/members/")
        self.assertIn('<a href="/members/staff/">Behind the counter</a>', self.aside(reply))
        self.assertIn("<th>You are in</th><td>members, staff</td>", self.article(reply))

    def test_the_web_server_keeps_what_the_page_says(self):
        self.assertEqual(self.ask_as("ann", "/members/staff/").status, 401)
        self.assertIn("<h1>Behind the counter</h1>", self.article(self.ask_as("bob", "/members/staff/")))

    def test_the_staff_sees_the_counts_without_counting(self):
        self.page("/guestbook/")
        for _ in range(2):
            self.assertIn('<th>Visits to the guest book</th><td class="number">1</td>',
                          self.article(self.ask_as("bob", "/members/staff/")))

    def test_names_and_password_are_said_where_they_are_asked_for(self):
        for page in (self.ask("/members.html"), self.ask("/members/")):
            self.assertIn(f"ann, bob, cleo with the password <code>{self.password()}</code>", page.text())

    def test_a_header_of_the_client_names_nobody(self):
        for header in ("Remote-User", "REMOTE_USER", "Redirect-Remote-User", "X-Remote-User"):
            reply = self.ask("/members/", headers={header: "bob"})
            self.assertEqual(reply.status, 401, header)

    def test_a_page_that_asks_nobody_knows_nobody(self):
        self.assertIn("Nobody was asked", self.ask_as("ann", "/examples/?operator=user").text())

    def test_passwords_groups_and_rules_are_not_served(self):
        for path in ("/members/.htaccess", "/members/_places", "/members/staff/.htaccess"):
            self.assertEqual(self.ask_as("bob", path).status, 403, path)
        for path in ("/groups", "/run/groups", "/passwords", "/%2e%2e/run/groups"):
            self.assertIn(self.ask_raw(path).status, (400, 404), path)

    def test_the_passwords_are_kept_as_hashes(self):
        content = (self.demo.instance / "passwords").read_text()
        self.assertEqual([line.partition(":")[0] for line in content.splitlines()], ["ann", "bob", "cleo"])
        self.assertNotIn(self.password(), content)


@unittest.skipUnless(private_mounts.is_root(), "puts mail programs of its own in place, which only root can")
class Contact(Visit):
    """In a mount namespace: the mail programs of the system stay as they are."""

    FIELDS = {"email": "ann@example.org", "message": "Do you have\r\nblue ink?"}

    @classmethod
    def setUpClass(cls):
        layer = pathlib.Path(tempfile.mkdtemp(prefix="quillet-mail-"))
        cls.addClassCleanup(layer.rmdir)
        private_mounts.mount("-t", "tmpfs", "tmpfs", layer)
        cls.addClassCleanup(private_mounts.unmount, layer)
        cls.places = [pathlib.Path("/usr/lib/sendmail"), pathlib.Path("/usr/sbin/sendmail")]
        for place in cls.places:
            upper, work = layer / place.parent.name, layer / (place.parent.name + ".work")
            upper.mkdir()
            work.mkdir()
            private_mounts.mount("-t", "overlay", "overlay", "-o",
                                 f"lowerdir={place.parent},upperdir={upper},workdir={work}", place.parent)
            cls.addClassCleanup(private_mounts.unmount, place.parent)
        super().setUpClass()

    def setUp(self):
        super().setUp()
        for place in self.places:
            place.unlink(missing_ok=True)

    def mail_program(self, commands, place=1):
        self.places[place].write_text(f"#!/bin/sh\n{commands}\n")
        self.places[place].chmod(0o755)

    def mail(self, **fields):
        return self.article(self.send("/contact.html", **{**self.FIELDS, **fields}))

    def sent(self):
        return (self.work() / "mail").read_bytes().decode()

    def test_without_a_mail_program_there_is_no_form(self):
        page = self.page("/contact.html")
        self.assertNotIn("<form", page)
        self.assertIn('<a href="mailto:shop@localhost">', page)
        self.assertIn("letter box is closed", self.mail())

    def test_with_either_mail_program_there_is_a_form(self):
        for place in (0, 1):
            self.mail_program("cat >/dev/null", place)
            self.assertIn('<form method="post" action="/contact.html">', self.page("/contact.html"))
            self.places[place].unlink()

    def test_the_message_goes_out(self):
        self.mail_program("cat > mail")
        self.assertIn("Thank you.", self.mail())
        self.assertEqual(self.sent(), "To: shop@localhost\nFrom: shop@localhost\nReply-To: ann@example.org\n"
                         "Subject: A message from the site\nMIME-Version: 1.0\n"
                         "Content-Type: text/plain; charset=utf-8\n\n> Do you have\n> blue ink?\n")

    def test_a_failure_is_said_without_the_words_of_the_program(self):
        self.mail_program("cat >/dev/null; echo secret; exit 75")
        page = self.mail()
        self.assertIn("did not take it", page)
        self.assertNotIn("secret", page)

    def test_no_value_begins_a_header_line(self):
        self.mail_program("cat > mail")
        for address in ("a@b\nBcc: c@d", "a@b\r\nBcc: c@d", "a@b,c@d", "a@b c@d", "<a@b>", "a@", "@b", "", "a\x01@b",
                        "a@" + "b" * 100):
            self.assertEqual(self.mail(email=address).count("<li>"), 1, address)
        self.assertFalse((self.work() / "mail").exists())

    def test_the_body_begins_no_header_line_and_does_not_end_early(self):
        self.mail_program("cat > mail")
        self.mail(message="Bcc: c@d\r\n.\r\n\r\n^env[PATH] <b> & \x07")
        self.assertTrue(self.sent().endswith("utf-8\n\n> Bcc: c@d\n> .\n> \n> ^env[PATH] <b> & \x07\n"), self.sent())

    def test_what_is_missing_or_too_long_is_said(self):
        self.mail_program("cat > mail")
        self.assertEqual(self.mail(email="", message="").count("<li>"), 2)
        self.assertEqual(self.mail(message="x" * 10_001).count("<li>"), 1)
        self.assertEqual(self.mail(message="x" * 600_000).count("<li>"), 1)
        self.assertFalse((self.work() / "mail").exists())
        self.assertIn("Thank you.", self.mail(message="<" * 10_000))


if __name__ == "__main__":
    if os.geteuid() == 0:  # in a namespace of an ordinary user httpd has no other user to run as
        private_mounts.enter()
    unittest.main()
