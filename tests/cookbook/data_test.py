"""What hostile visitors and hostile data do to the cookbook's feeds, exports and times."""

import csv
import datetime
import io
import json
import os
import random
import re
import subprocess
import unittest
import xml.etree.ElementTree as xml

from recipe import PROGRAM, Recipe, Site

CELLS = ["<b>", "]]>", "&amp;", "&", '"', "'", "\\", "\\n", "\\u0041", "</script>", "<!--", "^form[x]", "[", "]", "^", "$1", ";", "`", ",", "=1+1", "+1",
         "-1", "@x", "ü", "日本", "😀", "a\x01b", "x" * 10_000]
# Runs of bytes that no XML document may contain: no UTF-8, too long forms, one half of a pair, no character.
BROKEN = [b"\xff", b"\x80", b"\xc3", b"\xc3\xc3\xbc", b"\xc3\xbc\xbc", b"\xc0\x80", b"\xc1\xbf", b"\xe0\x9f\xbf", b"\xed\xa0\x80", b"\xed\xbf\xbf",
          b"\xef\xbf\xbe", b"\xef\xbf\xbf", b"\xf0\x8f\xbf\xbf", b"\xf4\x90\x80\x80", b"\xf5\x80\x80\x80", b"\xe2\x82", b"\xf0\x9f\x98", b"\xff" * 3000]
# Those beside them, which it may.
WHOLE = ["\x80\u07ff", "\u0800\ud7ff\ue000\ufffd", "\U00010000\U0003ffff\U00100000\U0010ffff", "\ufdd0\ufeff", "ü日€😀" * 2000]
UTF_8_TAGS = "{http://www.sitemaps.org/schemas/sitemap/0.9}"


class RecipeTest(unittest.TestCase):
    name = ""

    def setUp(self):
        self.site = Site(Recipe.named(self.name))
        self.addCleanup(self.site.__exit__)


class Feed(RecipeTest):
    name = "feed"

    def test_every_cell_arrives_as_it_is(self):
        self.site.write("www/_news", "id\tdate\ttitle\ttext\n" +
                        "".join(f"{i}\t2026-01-02\tT{cell}\t{cell}\n" for i, cell in enumerate(CELLS)))
        items = xml.fromstring(self.site.get("/feed.html").body).findall("channel/item")
        self.assertEqual([item.findtext("title") for item in items], ["T" + cell.replace("\x01", " ") for cell in CELLS])
        self.assertEqual([item.findtext("description") for item in items], [cell.replace("\x01", " ") for cell in CELLS])

    def descriptions(self, cells):
        self.site.write("www/_news", b"id\tdate\ttitle\ttext\n" + b"".join(b"1\t2026-01-02\tx\t" + cell + b"\n" for cell in cells))
        return [item.findtext("description") for item in xml.fromstring(self.site.get("/feed.html").body).findall("channel/item")]

    def test_bytes_that_xml_does_not_allow_are_one_sign(self):
        self.assertEqual(self.descriptions([b"a " + cell + b" <b>" for cell in BROKEN]), ["a \ufffd <b>"] * len(BROKEN))

    def test_every_letter_that_xml_allows_stays(self):
        letters = "".join(map(chr, [*range(0xA0, 0xD800, 13), *range(0xE000, 0xFFFE, 13), *range(0x10000, 0x110000, 499)]))
        cells = [*WHOLE, *(letters[i:i + 50] for i in range(0, len(letters), 50))]
        self.assertEqual(self.descriptions([cell.encode() for cell in cells]), cells)

    def test_random_bytes_are_well_formed(self):
        chance = random.Random(3)
        cells = [b"x" + bytes(chance.choice(b"\x80\x9f\xa0\xbf\xc2\xc3\xe0\xe2\xed\xef\xf0\xf4<&a") for _ in range(6)) for _ in range(3000)]
        self.assertEqual(len(self.descriptions(cells)), len(cells))

    def test_a_date_of_any_text_is_well_formed(self):
        self.site.write("www/_news", "id\tdate\ttitle\ttext\n" + "".join(f"1\t{cell}{cell}-{cell}-{cell}\tx\tx\n" for cell in CELLS) + "1\t&-&-&\tx\tx\n")
        self.assertEqual(len(xml.fromstring(self.site.get("/feed.html").body).findall("channel/item")), len(CELLS) + 1)

    def test_a_request_changes_nothing(self):
        self.assertEqual(self.site.get("/feed.html", {"title": "<b>"}).output, self.site.get("/feed.html").output)

    def test_every_month(self):
        self.site.write("www/_news", "id\tdate\ttitle\ttext\n" + "".join(f"{m}\t2026-{m:02}-09\tx\tx\n" for m in range(1, 13)))
        dates = [item.findtext("pubDate") for item in xml.fromstring(self.site.get("/feed.html").body).findall("channel/item")]
        self.assertEqual(dates, [datetime.date(2026, m, 9).strftime("%-d %b %Y 09:00:00 +0000") for m in range(1, 13)])


class Sitemap(RecipeTest):
    name = "sitemap"

    def test_every_name_and_cell_is_well_formed(self):
        names = ["a & b.html", "<b>.html", '".html', "'.html", "^form[x].html", "ü.html"]
        for name in names:
            self.site.write("www/teas/" + name, "x")
        self.site.write("www/teas/_hidden.html", "x")
        self.site.write("www/_teas", "id\tkind\n" + "".join(f"{cell}\t{cell}\n" for cell in CELLS))
        found = [url.findtext(UTF_8_TAGS + "loc") for url in xml.fromstring(self.site.get("/sitemap.html").body)]
        for name in names:
            self.assertIn("https://tea.example/teas/" + name, found)
        self.assertEqual(len(found), 2 + 1 + len(names) + len(CELLS))

    def test_broken_names_and_cells_are_well_formed(self):
        for number, name in enumerate(BROKEN[:-1]):
            (self.site.root / "www/teas" / os.fsdecode(b"%d" % number + name + b".html")).write_text("x")
        self.site.write("www/_teas", b"id\tkind\n" + b"".join(cell + b"\t" + cell + b"\n" for cell in BROKEN))
        self.assertEqual(len(xml.fromstring(self.site.get("/sitemap.html").body)), 2 + 1 + 2 * len(BROKEN) - 1)


class Json(RecipeTest):
    name = "json"

    def test_every_text_is_one_string(self):
        self.site.write("www/_teas", "name\tprice\n" + "".join(f"T{cell}\t1.5\n" for cell in CELLS))
        for text in [*CELLS, "", "\n", "a\nb", "\t", "\x7f"]:
            answer = self.site.get("/teas.json.html", {"q": text[:60]})
            self.assertNotIn(b"<", answer.body)
            read = json.loads(answer.body)
            self.assertEqual(read["query"], re.sub("[\x01\t\x7f]", " ", text[:60]))
            self.assertEqual([tea["name"] for tea in read["teas"]], ["T" + cell.replace("\x01", " ") for cell in CELLS])
            self.assertEqual({tea["price"] for tea in read["teas"]}, {1.5})

    def test_a_long_query_is_cut(self):
        self.assertEqual(json.loads(self.site.get("/teas.json.html", {"q": "x" * 600}).body)["query"], "x" * 60 + "...")


class Csv(RecipeTest):
    name = "csv"

    def test_every_cell_arrives_and_none_is_computed(self):
        self.site.write("www/_teas", "name\tprice\tnote\n" + "".join(f"{cell}\t1.5\t{cell}\n" for cell in CELLS))
        rows = list(csv.reader(io.StringIO(self.site.get("/export.html").text())))
        shown = ["'" + cell if cell[0] in "=+-@" else cell for cell in CELLS]
        self.assertEqual(rows, [["name", "price", "note"]] + [[cell, "1.50", cell] for cell in shown])


class Cache(RecipeTest):
    name = "cache"

    def page(self, clock="2026-11-22T14:05", **fields):
        return self.site.get("/teas.html", fields, clock=clock).text()

    def entries(self):
        return sorted(str(path.relative_to(self.site.root / "run/cache")) for path in (self.site.root / "run/cache").rglob("*_"))

    def test_a_change_of_the_file_is_seen(self):
        self.page()
        self.site.write("www/_teas", "name\nSencha\n")
        os.utime(self.site.root / "www/_teas", (10**9, 10**9))
        self.assertIn("<li>Sencha</li>", self.page())

    def test_a_change_of_the_size_is_seen_within_the_same_second(self):
        self.page()
        before = (self.site.root / "www/_teas").stat().st_mtime
        self.site.write("www/_teas", "name\nSencha\n")
        os.utime(self.site.root / "www/_teas", (before, before))
        self.assertIn("<li>Sencha</li>", self.page())

    def test_the_entry_of_the_hour_before_is_removed(self):
        for hour in range(10, 20):
            self.page(f"2026-11-22T{hour}:30")
        self.assertEqual([name for name in self.entries() if name.startswith("clock/")], ["clock/2026-2D11-2D22-2D19_"])

    def test_no_visitor_makes_an_entry(self):
        self.page()
        before = self.entries()
        self.page(name="x", file="../x", clock="2026-11-22T14:06")
        self.assertEqual(self.entries(), before)


class Schedule(RecipeTest):
    name = "schedule"

    def shown(self, clock, **fields):
        return re.findall("<p>(\\w+)", self.site.get("/", fields, clock=clock).text())

    def test_each_begins_and_ends_to_the_minute_in_local_time(self):
        for clock, shown in (("2026-11-20T07:59", ["Today"]), ("2026-11-20T08:00", ["Advent", "Today"]), ("2026-11-29T16:59", ["Advent"]),
                             ("2026-11-29T17:00", []), ("2026-12-24T10:59", []), ("2026-12-24T11:00", ["Closed"]),
                             ("2027-01-05T22:59", ["Closed"]), ("2027-01-05T23:00", [])):
            self.assertEqual(self.shown(clock), shown, clock)

    def test_a_visitor_does_not_choose_the_time(self):
        self.assertEqual(self.shown("2026-11-29T17:00", now="20261122.1200", date="2026-11-22"), [])


class Countdown(RecipeTest):
    name = "countdown"

    def test_every_day_of_some_years(self):
        self.site.write("www/index.html", "^optimize[no]^context[dates;^load[dates]^menu[^macro[day_number;^item[dates;0]];,]]")
        first = datetime.date(1999, 12, 25)
        days = [first + datetime.timedelta(n) for n in range(1600)] + [datetime.date(2100, 3, 1), datetime.date(1600, 2, 29)]
        self.site.write("www/_dates", "\n".join(str(day) for day in days))
        expected = [(day - datetime.date(1970, 1, 1)).days for day in days]
        self.assertEqual(list(map(int, self.site.get("/").text().split(","))), expected)

    def test_the_words(self):
        for clock, words in (("2026-12-22T22:59", "2 days to go"), ("2026-12-24T22:59", "It is today!"), ("2026-12-24T23:00", "It was 1 day ago."),
                             ("2026-03-29T12:00", "270 days to go"), ("2026-10-25T00:30", "60 days to go")):
            self.assertIn(words, self.site.get("/", clock=clock).text(), clock)


class Languages(RecipeTest):
    name = "languages"

    def preferred(self, header):
        return self.site.get("/", HTTP_ACCEPT_LANGUAGE=header).headers["Location"]

    def test_any_header_is_one_of_two(self):
        for header, language in (("", "en"), ("de", "de"), ("DE-at", "de"), ("en,de", "en"), ("fr, de;q=0.3", "de"), ("den", "en"),
                                 ("fr", "en"), ("*", "en"), ("../", "en"), ("de\r\nX: y", "en"), ("<b>", "en"), ("^env[PATH]", "en"), ("[", "en"),
                                 ("," * 5000, "en"), ("nde", "en")):
            self.assertEqual(self.preferred(header), f"/{language}/", header)

    def test_a_missing_word_shows_its_name(self):
        self.site.write("www/en/_words", "name\ttext\nwelcome\t<Come & in>\n")
        page = self.site.get("/en/").text()
        self.assertIn("<h1>title</h1>", page)
        self.assertIn("<p>&lt;Come & in&gt;</p>", page)


class Formats(RecipeTest):
    name = "formats"

    def test_amounts(self):
        amounts = [0, 0.9, 1, 12, 123, 1234.5, 12345, 123456, 1234567, 999999999, -0.5, -123, -1234, -123456.75, 1000, 1000000, 1234567890.5, 999999999999]
        self.site.write("www/index.html", "^optimize[no]^context[n;^load[n]^menu[^macro[amount;^item[n;0];,;.];|]]")
        self.site.write("www/_n", "\n".join(map(str, amounts)))
        self.assertEqual(self.site.get("/").text(), "|".join(f"{amount:,.2f}" for amount in amounts))

    def test_every_month(self):
        self.site.write("www/_prices", "since\tprice\n" + "".join(f"2026-{m:02}-01\t1\n" for m in range(1, 13)))
        page = self.site.get("/prices.html").text()
        for m in range(1, 13):
            self.assertIn(datetime.date(2026, m, 1).strftime(">1 %B 2026: "), page)
        self.assertIn(">1. März 2026: 1,00 €<", page)


class Statistics(RecipeTest):
    name = "statistics"

    def test_no_line_of_the_log_is_more_than_data(self):
        lines = [f'1.2.3.4 - - [x] "GET /{text} HTTP/1.1" 200 1 "-" "-"' for text in
                 ("<b>", "^env[PATH]", "a\tb", '\\"', '\\" HTTP/1.1\\" 200 \\"GET /forged', "x" * 300, "#", "\\x41", "[", "]", "`", "$(id)")]
        self.site.write("log/access.log", "\n".join(lines) + "\n\x00\xff\n")
        page = self.site.get("/statistics.html").text()
        self.assertNotIn("<b>", page)
        self.assertNotIn("forged", page)
        self.assertIn("<td>/^env[PATH]</td>", page)
        self.assertEqual({int(times) for times in re.findall("<td>(\\d+)</td>", page)}, {1})

    def test_it_counts_once_an_hour(self):
        first = self.site.get("/statistics.html", clock="2026-11-22T15:00").text()
        self.site.write("log/access.log", "")
        self.assertEqual(self.site.get("/statistics.html", clock="2026-11-22T15:59").text(), first)
        self.assertNotEqual(self.site.get("/statistics.html", clock="2026-11-22T16:00").text(), first)

    def test_without_a_log_the_table_is_empty(self):
        (self.site.root / "log/access.log").unlink()
        self.assertNotIn("<td>", self.site.get("/statistics.html").text())


class Poll(RecipeTest):
    name = "poll"

    def votes(self):
        return re.findall("</button> (\\d+)", self.site.get("/poll.html").text())

    def files(self):
        return sorted(path.name for path in (self.site.root / "run/poll").iterdir())

    def test_other_answers_and_get_count_nothing(self):
        for answer in ("", "Black", "black ", "../x", "<b>", "^", "[", "x" * 1000):
            self.site.post("/poll.html", {"answer": answer})
        self.site.get("/poll.html", {"answer": "black"})
        self.assertEqual((self.votes(), self.files()), (["0", "0", "0"], ["about"]))

    def test_an_address_that_is_none_counts_nothing(self):
        for address in ("", "../x", "host.example", "1.2.3.4/x", "1.2.3.4\n"):
            self.site.post("/poll.html", "answer=black", REMOTE_ADDR=address)
        self.assertEqual(self.votes(), ["0", "0", "0"])

    def test_one_address_at_the_same_time_counts_once(self):
        running = [self.site.start("/poll.html", "POST", b"answer=green") for _ in range(20)]
        for process in running:
            with process:
                process.communicate(b"answer=green")
        self.assertEqual(self.votes(), ["0", "1", "0"])

    def test_a_header_of_the_visitor_is_no_address(self):
        for number in range(3):
            self.site.post("/poll.html", "answer=white", HTTP_X_FORWARDED_FOR=f"192.0.2.{number}")
        self.assertEqual(self.votes(), ["0", "0", "1"])


class Shell(RecipeTest):
    name = "shell"

    def run_page(self, *arguments):
        done = subprocess.run([self.site.root / "bin/run-page", *arguments], capture_output=True, check=True, cwd="/",
                              env={"PATH": os.environ["PATH"], "QUILLET": str(PROGRAM), "REMOTE_USER": "ann", "TZ": "x"})
        return done.stdout.decode()

    def test_the_shell_gives_the_page_of_the_web_server(self):
        self.assertEqual(self.run_page("/teas.html", "kind=green"), self.site.get("/teas.html", "kind=green").text())

    def test_arguments_are_values_only(self):
        self.run_page("/teas.html", "kind=$(touch x)`touch y`;touch z&<b>'\"")
        self.assertEqual(sorted(path.name for path in self.site.root.rglob("[xyz]")), [])

    def test_nothing_of_the_shell_gets_into_the_page(self):
        self.site.write("www/teas.html", "(^env[REMOTE_USER]^env[TZ]^env[HOME])")
        self.assertEqual(self.run_page("/teas.html", ""), "()")


if __name__ == "__main__":
    unittest.main()
