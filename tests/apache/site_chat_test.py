"""The demo site's chat, calendar and buttons with Apache: what visitors should send and what they should not."""

import contextlib
import html
import http.client
import re
import sys
import unittest
import urllib.parse

from served_site import ROOT, ServedSite, example_site  # before what lies above it
from asking import Reply

sys.path.insert(0, str(ROOT / "tests"))
import gif  # noqa: E402

BANNED_ADDRESS = "127.0.9."


class Visitor:
    """A browser at an address of its own, with its cookies."""

    def __init__(self, port, address, **cookies):
        self.port, self.address, self.cookies = port, address, cookies

    def ask(self, path, **fields):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=120, source_address=(self.address, 0))
        headers = {"Content-Type": "application/x-www-form-urlencoded",
                   "Cookie": "; ".join(f"{name}={value}" for name, value in self.cookies.items())}
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
        for name in ("index", "index.log", "userlist"):
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
                         r'<p style="color: #9C2F23"><b>ann lee</b> Is the glue dry\? <small>\d\d:\d\d</small></p>.*'
                         r'<p style="color: #2F5D4A"><b>bob</b> Not yet <span class="sign">☺</span> ')
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
        self.assertIn('<p style="color: #1F3F77">', ann.read("ann"))

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
        self.assertIn('<td class="busy chosen"><a rel="nofollow" href="?day=2026.03.14">14</a>', page)

    def test_the_week_of_a_day(self):
        page = self.page("?day=2026.3.14")
        self.assertEqual(re.findall(r"<tr><th>(.*?)</th><td>(.*?)</td>", page), [
            ("Mon 9.3.", "–"), ("Tue 10.3.", "–"), ("Wed 11.3.", "–"), ("Thu 12.3.", "Italic hand"),
            ("Fri 13.3.", "–"), ("Sat 14.3.", "Hard covers"), ("Sun 15.3.", "–")])

    def test_months_link_over_the_end_of_a_year(self):
        self.assertIn('href="?day=2026.01.1"', self.page("?day=2025.12.5"))
        self.assertIn('href="?day=2025.12.1"', self.page("?day=2026.1.5"))

    def test_every_date_of_the_workshops_links_to_its_day(self):
        links = re.findall(r'href="(/workshops/calendar.html\?day=[^"]*)"', self.ask("/workshops/").text())
        self.assertEqual(len(links), 4)
        for link in links:
            self.assertIn("busy chosen", self.ask(link).text())

    def test_a_day_that_is_none_leads_to_one_that_is(self):
        self.assertIn("<h1>March 2026</h1>", self.page("?day=2026.2.30"))
        self.assertIn("<h1>January 2027</h1>", self.page("?day=2026.13.1"))

    def test_anything_else_is_today(self):
        today = re.search("<h1>.*</h1>", self.page(""))[0]
        for day in ("x", "%3Cb%3E", "99999999999.1.1", "2026", "2026.3.14%0A", "2026.3.14%2010:00"):
            self.assertIn(today, self.page("?day=" + day))


class Buttons(ServedSite):
    files = example_site()

    def button(self, query):
        reply = self.ask("/buttons/button.html?" + query)
        self.assertEqual((reply.status, reply.headers["Content-Type"]), (200, "image/gif"))
        return gif.decode(reply.body)

    def test_a_button_has_the_size_that_the_page_says(self):
        page = self.ask("/workshops/calendar.html").text()
        images = re.findall(r'<img class="button" src="/buttons/button.html\?([^"]*)" width="(\d+)" height="(\d+)"', page)
        self.assertEqual([query for query, _, _ in images], ["text=Earlier", "text=Later"])
        for query, width, height in images:
            picture = self.button(html.unescape(query))
            self.assertEqual((picture.width, picture.height), (int(width), int(height)))

    def test_a_button_has_the_color_of_its_ink_and_white_letters(self):
        for ink, color in (("blue", "1F3F77"), ("red", "9C2F23"), ("nosuch", "1F3F77")):
            colors = self.button("text=I&ink=" + ink).colors()
            self.assertEqual(colors[16][160], color)
            self.assertIn("FFFFFF", colors[15])

    def test_words_are_drawn_side_by_side(self):
        def letters(text):
            return [[color == "FFFFFF" for color in row] for row in self.button("text=" + text).colors()]
        self.assertNotEqual(letters("Ink"), letters("Inn"))
        self.assertEqual([row[:25] for row in letters("In")], [row[:25] for row in letters("In.")])

    def test_the_longest_words_are_whole_on_the_plate(self):
        rows = self.button("text=" + "W" * 12).colors()
        first, last = ([row[x:x + 12] for row in rows[2:-2]] for x in (14, 14 + 11 * 12))
        self.assertEqual(first, last)
        self.assertIn("FFFFFF", first[12])

    def test_words_that_do_not_fit_the_plate_are_those_of_the_shop(self):
        shop = self.button("text=The+Inkwell").rows
        for text in ("a" * 13, "two%0Alines", "x%09y", "%C3%BC", ""):
            self.assertEqual(self.button("text=" + text).rows, shop)


if __name__ == "__main__":
    unittest.main()
