"""The demo site's chat, calendar and labels with Apache: what visitors should send and what they should not."""

import contextlib
import datetime
import html
import http.client
import os
import re
import sys
import time
import unittest
import urllib.parse

from served_site import ROOT, ServedSite, days_ago, example_site  # before what lies above it
from asking import Reply

sys.path.insert(0, str(ROOT / "tests"))
import gif  # noqa: E402

BANNED_ADDRESS = "127.0.9."


class Visitor:
    """A browser at an address of its own, with its cookies."""

    def __init__(self, port, address, **cookies):
        self.port, self.address, self.cookies = port, address, cookies

    def ask(self, path, more_headers={}, **fields):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=120, source_address=(self.address, 0))
        headers = {"Content-Type": "application/x-www-form-urlencoded",
                   "Cookie": "; ".join(f"{name}={value}" for name, value in self.cookies.items()), **more_headers}
        with contextlib.closing(connection):
            connection.request("POST" if fields else "GET", path, urllib.parse.urlencode(fields) or None, headers)
            reply = Reply(connection.getresponse())
        for line in reply.headers.get_all("Set-Cookie", []):
            name, _, value = line.partition(";")[0].partition("=")
            self.cookies[name] = value
        return reply

    def enter(self, name, **fields):
        return self.ask("/chat/", login=name, **fields).text()

    def say(self, name, text):
        return self.ask("/chat/lines.html", login=name, message=text).text()

    def read(self, name):
        return self.ask("/chat/lines.html?login=" + name).text()

    def see(self, name):
        """The names in the list."""
        page = self.ask("/chat/users.html?login=" + name).text()
        return re.findall(r"<li>(?:<strong>)?([^<]*)", page)


class Chat(ServedSite):
    files = example_site()

    def setUp(self):
        chat = self.site_path / "run/chat"
        (chat / "admin/banned").write_text("nobody\n" + BANNED_ADDRESS + "\n")
        for name in ("index", "index.log", "userlist", "../guesses.count"):
            (chat / name).unlink(missing_ok=True)

    def visitor(self, number, **cookies):
        return Visitor(self.demo.port, f"127.0.0.{number}", **cookies)

    def test_two_visitors_talk_with_each_other(self):
        ann, bob = self.visitor(2), self.visitor(3)
        self.assertIn("You are <strong>ann lee</strong>", ann.enter("ann lee", color="red"))
        self.assertIn("You are <strong>bob</strong>", bob.enter("bob", color="green"))
        ann.say("ann_lee", "Is the glue dry?")
        self.assertRegex(bob.say("bob", "Not yet :-)"),
                         r'(?s)<p class="quiet">ann lee has come in.</p>.*<p class="quiet">bob has come in.</p>.*'
                         r'<p class="red"><b>ann lee</b> Is the glue dry\? <small>\d\d:\d\d</small></p>.*'
                         r'<p class="green"><b>bob</b> Not yet <span class="sign">☺</span> ')
        self.assertIn("</b> Not yet ", ann.read("ann_lee"))
        self.assertEqual(ann.see("ann_lee"), ["ann lee", "bob"])

    def test_who_reads_without_a_name_is_refused(self):
        self.visitor(2).enter("ann")
        for page in ("/chat/lines.html", "/chat/users.html"):
            text = self.visitor(3).ask(page).text()
            self.assertIn("Please take a name", text)
            self.assertNotIn("ann", text)

    def test_a_name_in_use_is_refused_at_another_address(self):
        self.visitor(2).enter("ann")
        other = self.visitor(3)
        self.assertIn("Somebody in the room has that name.", other.enter("ann"))
        self.assertIn("Somebody in the room has that name.", other.say("ann", "It is me"))
        self.assertNotIn("It is me", self.visitor(2).read("ann"))

    def test_a_name_is_free_again_when_its_owner_is_away(self):
        self.visitor(2).enter("ann")
        (self.site_path / "run/chat/userlist").write_text("ann 127.0.0.2 1000000000\n")
        self.assertIn("You are <strong>ann</strong>", self.visitor(3).enter("ann"))

    def test_a_banned_address_is_refused(self):
        visitor = Visitor(self.demo.port, BANNED_ADDRESS + "9")
        self.assertIn("You cannot come in.", visitor.enter("ann"))
        self.assertIn("You cannot come in.", visitor.say("ann", "Hello"))

    def test_a_banned_name_is_refused(self):
        self.assertIn("You cannot come in.", self.visitor(2).enter("nobody"))

    def test_a_name_with_a_password(self):
        visitor = self.visitor(2)
        self.assertIn("That name has a password", visitor.enter("The Inkwell"))
        self.assertIn("That name has a password", visitor.enter("The Inkwell", password="ink"))
        self.assertIn("You are <strong>The Inkwell</strong>", visitor.enter("The Inkwell", password="quill"))
        self.assertIn("<b>The Inkwell</b> Welcome!", visitor.say("The_Inkwell", "Welcome!"))

    def test_a_name_that_looks_like_a_kept_one_is_refused(self):
        visitor = self.visitor(2)
        for name in ("The Inkwell ", " The Inkwell", "The__Inkwell", "_The_Inkwell", "The_Inkwell_", "the inkwell",
                     "THE_INKWELL", "TheInkwell", "The lnkwell", "The 1nkwe11", "T h e Inkwell"):
            self.assertIn("looks like one that is kept", visitor.enter(name, password="quill"), name)
            self.assertIn("looks like one that is kept", visitor.say(name, "It is me"), name)
        self.assertFalse((self.site_path / "run/chat/index").exists())
        for name in ("The Inkpot", "Well", "ink"):
            self.assertIn("You are <strong>", visitor.enter(name), name)

    def test_names_of_bytes_that_are_no_letters_here_are_refused(self):
        for name in (b"ann\xc4", b"\xd6l"):
            self.assertIn("Please take a name", self.visitor(2).enter(name))

    def test_a_name_is_closed_for_an_hour_after_twenty_wrong_passwords(self):
        visitor, count = self.visitor(2), self.site_path / "run/guesses.count"
        for _ in range(2):
            self.assertIn("That name has a password", visitor.enter("The Inkwell", password="ink"))
        self.assertEqual(int(count.read_text()), 2)
        count.write_text("0000000020")
        self.assertIn("Too many wrong passwords", visitor.enter("The Inkwell", password="quill"))
        self.assertIn("You are <strong>ann</strong>", visitor.enter("ann"))
        os.utime(count, (time.time() - 3601,) * 2)
        self.assertIn("You are <strong>The Inkwell</strong>", self.visitor(3).enter("The Inkwell", password="quill"))

    def test_what_a_page_of_somebody_else_sends_is_not_said(self):
        ann = self.visitor(2)
        ann.enter("ann")
        for origin in ("http://elsewhere.example", "null", "http://localhost", f"http://127.0.0.1:{ann.port}.example"):
            reply = ann.ask("/chat/lines.html", {"Origin": origin}, login="ann", message="Buy!")
            self.assertEqual(reply.status, 403)
            self.assertIn("sent from another site", reply.text())
            self.assertNotIn("Buy!", ann.read("ann"))
        ann.ask("/chat/lines.html", {"Origin": f"http://127.0.0.1:{ann.port}"}, login="ann", message="Hello")
        self.assertIn("Hello", ann.read("ann"))

    def test_no_page_shows_a_password(self):
        visitor = self.visitor(2)
        self.assertNotIn("s3cret", visitor.enter("ann", password="s3cret"))
        self.assertNotIn("s3cret", visitor.ask("/chat/").text())

    def test_names_with_markup_are_refused_and_escaped(self):
        for name in ("<b>", "a\nb", "ann\t1", 'x" onfocus="', "a" * 20, "&lt;", "^env[PATH]"):
            page = self.visitor(2).enter(name)
            self.assertIn("Please take a name", page)
            if "<" in name or '"' in name:
                self.assertNotIn(name, page)
        self.assertEqual(self.visitor(2).see("ann"), [])

    def test_messages_are_escaped(self):
        ann = self.visitor(2)
        ann.enter("ann")
        page = ann.say("ann", '<script>alert("1")</script> ^env[PATH] <3')
        self.assertIn('</b> &lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt; ^env[PATH] <span class="sign">♥</span>', page)

    def test_a_message_of_several_lines_is_one_line_of_the_room(self):
        ann = self.visitor(2)
        ann.enter("ann")
        ann.say("ann", "one\r\nbob: two\n\n# three")
        lines = (self.site_path / "run/chat/index").read_text().splitlines()
        self.assertEqual(len(lines), 2)
        self.assertIn("</b> one bob: two # three <small>", lines[1])

    def test_a_message_without_a_letter_or_with_too_many_is_not_said(self):
        ann = self.visitor(2)
        ann.enter("ann")
        ann.say("ann", " \t ")
        self.assertIn("That was too long.", ann.say("ann", "word " * 61))
        self.assertEqual((self.site_path / "run/chat/index").read_text().count("\n"), 1)
        ann.say("ann", "word " * 59 + "words")
        self.assertEqual((self.site_path / "run/chat/index").read_text().count("\n"), 2)

    def test_nothing_is_said_by_following_a_link(self):
        self.visitor(2).enter("ann")
        self.assertNotIn("Hello", self.visitor(2).ask("/chat/lines.html?login=ann&message=Hello").text())

    def test_settings_choose_and_are_not_shown(self):
        evil = '%22%3E%3Cscript%3E'
        ann = self.visitor(2, color=evil, refresh_chat=evil, revert_mode=evil, lines_count="-5", refresh_userlist="0")
        ann.enter("ann")
        for page in (ann.say("ann", "Hello"), ann.ask("/chat/users.html?login=ann").text(), ann.ask("/chat/").text()):
            self.assertNotIn("script", page)
        self.assertIn('<meta http-equiv="refresh" content="10; url=lines.html?login=ann">', ann.read("ann"))
        self.assertIn('<p class="blue">', ann.read("ann"))

    def test_settings_are_kept_in_cookies(self):
        ann = self.visitor(2)
        ann.enter("ann", refresh_chat="3", refresh_userlist="60", lines_count="10", revert_mode="below")
        for number in range(12):
            ann.say("ann", f"line {number}")
        page = ann.read("ann")
        self.assertEqual(re.findall(r"</b> line (\d+)", page), [str(number) for number in range(2, 12)])
        self.assertIn('content="3; url=', page)
        self.assertIn('<div class="newest-below">', page)
        self.assertIn('<option value="below" selected>', ann.ask("/chat/").text())

    def test_the_files_of_the_chat_are_not_served(self):
        self.visitor(2).enter("ann")
        for path in ("/chat/index", "/chat/userlist", "/chat/admin/password", "/run/chat/index", "/../run/chat/index"):
            self.assertIn(self.ask_raw(path).status, (400, 403, 404), path)


class Calendar(ServedSite):
    files = example_site()

    def page(self, query):
        return self.ask("/workshops/calendar.html" + query).text()

    def grid(self, page):
        table = re.search(r'<table class="wide month">(.*?)</table>', page, re.S)[1]
        rows = re.findall(r"<tr>(<td.*?)</tr>", table, re.S)
        return [re.findall(r"<td[^>]*>(?:<a [^>]*>(\d+)</a>)?</td>", row) for row in rows]

    def test_a_month(self):
        page = self.page("?day=2026.3.14")
        self.assertIn("<h1>March 2026</h1>", page)
        grid = self.grid(page)
        self.assertEqual((grid[0], grid[-1]), ([""] * 6 + ["1"], ["30", "31"] + [""] * 5))
        self.assertEqual([day for week in grid for day in week if day], [str(day) for day in range(1, 32)])
        self.assertIn('<td class=" chosen"><a rel="nofollow" href="?day=2026.03.14">14</a>', page)

    def test_the_week_of_a_day(self):
        page = self.page("?day=2026.3.14")
        self.assertEqual(re.findall(r"<tr><th>(.*?)</th><td>(.*?)</td>", page), [
            (day, "–") for day in ("Mon 9.3.", "Tue 10.3.", "Wed 11.3.", "Thu 12.3.", "Fri 13.3.", "Sat 14.3.",
                                   "Sun 15.3.")])

    def test_the_workshops_are_ahead_of_today(self):
        shown = re.findall(r'calendar.html\?day=([\d.]+)">([^<]*)</a></strong> ([^<]*)', self.ask("/workshops/").text())
        days = [datetime.date(*map(int, day.split("."))) for day, _, _ in shown]
        self.assertEqual([day.isoweekday() for day in days], [6, 4, 6, 4, 6])
        self.assertEqual([text for _, text, _ in shown], [f"{day:%a} {day.day} {day:%B}" for day in days])
        today = datetime.date.fromisoformat(days_ago(0, "%Y-%m-%d"))
        self.assertEqual([(day - today).days // 7 for day in days], [0, 1, 2, 4, 6])

    def test_months_link_over_the_end_of_a_year(self):
        self.assertIn('href="?day=2026.01.1"', self.page("?day=2025.12.5"))
        self.assertIn('href="?day=2025.12.1"', self.page("?day=2026.1.5"))

    def test_every_date_of_the_workshops_links_to_its_day(self):
        links = re.findall(r'href="(/workshops/calendar.html\?day=[^"]*)"', self.ask("/workshops/").text())
        self.assertEqual(len(links), 5)
        for link in links:
            page = self.ask(link).text()
            self.assertIn("busy chosen", page)
            self.assertEqual(len(set(re.findall(r"</th><td>(.*?)</td>", page)) - {"–"}), 1 if "chosen" in page else 0)

    def test_a_day_that_is_none_leads_to_one_that_is(self):
        self.assertIn("<h1>March 2026</h1>", self.page("?day=2026.2.30"))
        self.assertIn("<h1>January 2027</h1>", self.page("?day=2026.13.1"))

    def test_anything_else_is_today(self):
        today = re.search("<h1>.*</h1>", self.page(""))[0]
        for day in ("x", "%3Cb%3E", "99999999999.1.1", "2026", "2026.3.14%0A", "2026.3.14%2010:00"):
            self.assertIn(today, self.page("?day=" + day))


class Labels(ServedSite):
    files = example_site()

    def label(self, query):
        reply = self.ask("/labels/label.html?" + query)
        self.assertEqual((reply.status, reply.headers["Content-Type"]), (200, "image/gif"))
        return gif.decode(reply.body)

    def words(self, text, ink="blue"):
        """Where the plate is whiter than its color, without the line along its edge."""
        rows = self.label("text=" + urllib.parse.quote(text) + "&ink=" + ink).colors()
        return [[color != rows[12][12] for color in row[12:-12]] for row in rows[12:-12]]

    def test_a_label_is_drawn_in_twice_the_size_that_the_page_says(self):
        images = re.findall(r'<img src="/labels/label.html\?([^"]*)" width="(\d+)" height="(\d+)"',
                            self.ask("/labels/").text())
        self.assertEqual(len(images), 6)
        for query, width, height in images:
            picture = self.label(html.unescape(query))
            self.assertEqual((picture.width, picture.height), (2 * int(width), 2 * int(height)))

    def test_a_label_has_the_color_of_its_ink_and_smooth_white_letters(self):
        for ink, color in (("blue", "1F3F77"), ("red", "9C2F23"), ("nosuch", "1F3F77")):
            rows = self.label("text=Oo&ink=" + ink).colors()
            self.assertEqual(rows[12][12], color)
            mixed = ["".join(f"{round(part + (255 - part) * share / 4):02X}" for part in bytes.fromhex(color))
                     for share in (1, 2, 3)]
            self.assertEqual({pixel for row in rows[12:-12] for pixel in row[12:-12]}, {color, "FFFFFF", *mixed})

    def test_words_are_in_the_middle(self):
        for text in ("I", "The Inkwell", "W" * 12, "Öl & Äpfel"):
            drawn = [x for row in self.words(text) for x, white in enumerate(row) if white]
            self.assertLessEqual(abs(min(drawn) - (375 - max(drawn))), 5, text)

    def test_letters_with_accents_are_drawn(self):
        self.assertNotEqual(self.words("Tür"), self.words("Tur"))
        self.assertEqual(self.words("Tür")[18:], self.words("Tur")[18:])

    def refusal(self, text):
        page = self.ask("/labels/?text=" + urllib.parse.quote(text)).text()
        self.assertEqual("<h2>In our inks</h2>" in page, '<p class="complaints">' not in page)
        return "".join(re.findall(r'<p class="complaints">(.*?)</p>', page))

    def test_what_cannot_be_on_a_label_is_said(self):
        for text in ("Tinte Ä", "W" * 12, "ÄÖÜäöüßéàçñø", "~!\"#$%&'()*+", "[\\]^_`{|}"):
            self.assertEqual(self.refusal(text), "", text)
        for text in ("Žofie", "紙", "€ 5", "two\nlines", "x\ty", "\x7f"):
            self.assertIn("Others are not in our case.", self.refusal(text), text)
        for text in ("a" * 13, "ä" * 13):
            self.assertIn("Twelve letters", self.refusal(text))
        for text in ("", " ", "    "):
            self.assertIn("Please write", self.refusal(text))

    def test_no_plate_is_empty(self):
        shop = self.label("text=The+Inkwell").rows
        for text in ("", "a" * 13, "two%0Alines", "x%09y", "%C5%BD", "+", "%20%20"):
            self.assertEqual(self.label("text=" + text).rows, shop, text)


if __name__ == "__main__":
    unittest.main()
