"""The demo site, examples/site, as a visitor sees it."""

import html
import re
import unittest
import urllib.parse

from served_site import ROOT, ExampleSite

SITE = ROOT / "examples/site"


def table(name):
    lines = [line for line in (SITE / "www" / name).read_text().splitlines() if line and not line.startswith("#")]
    names = lines[0].split("\t")
    return [dict(zip(names, line.split("\t"))) for line in lines[1:]]


GOODS = table("catalogue/_goods")


def is_open(page):
    """Whether it is a page that everybody may see."""
    return page.endswith(".html") and not page.startswith("/members/")


class Site(ExampleSite):
    def listed(self, path):
        """The identifiers of the articles that a listing shows."""
        return re.findall(r'<tr class="\w+"><td><a href="item.html\?id=(\w+)"', self.page(path))

    # All pages.

    def test_every_link_leads_somewhere(self):
        expected = {"/language/missing.html": 404, "/language/_quillet.cfg": 403, "/cgi-bin/quillet/index.html": 403,
                    "/members/": 401}
        seen, waiting = {"/"}, ["/"]
        while waiting:
            path = waiting.pop()
            reply = self.ask(path)
            self.assertEqual(reply.status, expected.get(path, 200), path)
            if not reply.headers["Content-Type"].startswith("text/html"):
                continue
            for link in re.findall(r'(?<!rel="nofollow" )href="([^"]*)"', reply.text()):
                target = urllib.parse.quote(urllib.parse.urljoin(path, html.unescape(link)), safe="/?&=%+'")
                if target.startswith("/") and target not in seen:
                    seen.add(target)
                    waiting.append(target)
        self.assertTrue({"/catalogue/sales.html?month=2026-02", "/workshops/bookbinding/", "/language/empty.html",
                         "/catalogue/item.html?id=nibs", "/style.css", "/contact.html", "/catalogue/pricelist.html",
                         "/gallery/?picture=10-combed_night.gif", "/drop/", "/members/"} <= seen)

    def test_no_page_but_the_one_on_errors_shows_an_error(self):
        for path in self.files:
            page = path.removeprefix("www")
            if is_open(page) and page not in ("/language/errors.html", "/language/operators.html"):
                self.assertNotRegex(self.ask(page).text(), r"\[(invalid|undefined|macro|infinite|\w+:) ", page)

    def test_pages_are_closed_and_have_a_title(self):
        for path in self.files:
            page = path.removeprefix("www")
            if is_open(page) and page not in ("/language/empty.html", "/buttons/button.html"):
                self.assertRegex(self.ask(page).text(), r"(?s)<title>[^<]+ – The Inkwell</title>.*</html>\s*$")

    def test_a_page_is_marked_in_the_navigation(self):
        self.assertIn('<a href="/workshops/" class="here">Workshops</a>', self.ask("/workshops/bookbinding/").text())

    def test_a_directory_changes_what_the_directory_above_says(self):
        self.assertIn("Next dates", self.ask("/workshops/").text())
        page = self.ask("/workshops/bookbinding/").text()
        self.assertIn('<p class="section">Workshops / Bookbinding</p>', page)
        self.assertNotIn("Next dates", page)

    # The form.

    FIELDS = {"name": "Ann", "email": "ann@example.org", "subject": "ink", "copies": "2",
              "reach": ["e-mail", "letter"], "message": "one\r\ntwo\r\n\r\nthree"}

    def test_the_form_shows_what_it_received(self):
        page = self.article(self.send("/enquiry.html", **self.FIELDS))
        for row in ("<th>Name</th><td>Ann<", "<th>About</th><td>ink, 2 copies<", "<th>By</th><td>e-mail, letter<",
                    "<td>one<br>\ntwo<p>\nthree<", "a drop of the colour"):
            self.assertIn(row, page)
        self.assertIn("order: " + ", ".join(f"<code>{name}</code>" for name in (
            "name", "email", "subject", "copies", "reach", "reach", "message")), page)

    def test_a_script_in_the_form_stays_text(self):
        page = self.article(self.send("/enquiry.html", **{**self.FIELDS, "name": '"><script>alert(1)</script>'}))
        self.assertNotIn("<script", page)
        self.assertIn("&quot;&gt;&lt;script&gt;alert(1)&lt;/script&gt;", page)

    def test_a_form_with_something_missing_comes_again_with_what_was_there(self):
        page = self.article(self.send("/enquiry.html", name="", message="Hello", copies="many", reach="letter",
                                      subject="pens"))
        self.assertEqual(page.count("<li>"), 2)
        for part in ('name="message" rows="5">Hello<', 'value="letter" checked', 'value="pens" selected'):
            self.assertIn(part, page)

    def test_escaping_is_seen_working(self):
        page = self.page("/language/escaping.html?text=%3Cscript%3E%22'%5C")
        self.assertIn('<p class="echo">&lt;script&gt;&quot;\'\\</p>', page)
        self.assertIn("<th>html</th><td><code>&amp;lt;script&amp;gt;&amp;quot;'\\</code>", page)
        self.assertIn("<th>sql</th><td><code>&lt;script&gt;\\&quot;\\'\\\\</code>", page)

    # The catalogue.

    def test_the_listing_is_sorted_by_name_eight_a_page(self):
        names = [row["id"] for row in sorted(GOODS, key=lambda row: row["name"])]
        self.assertEqual([self.listed(f"/catalogue/?page={page}") for page in (1, 2, 3, 4)],
                         [names[:8], names[8:16], names[16:], []])

    def test_the_listing_is_sorted_by_the_field_asked_for(self):
        prices = {row["id"]: float(row["price"]) for row in GOODS}
        shown = [prices[name] for name in self.listed("/catalogue/?by=price")]
        self.assertEqual(shown, sorted(prices.values())[:8])
        shown = [prices[name] for name in self.listed("/catalogue/?by=price&order=down")]
        self.assertEqual(shown, sorted(prices.values(), reverse=True)[:8])

    def test_the_listing_is_sorted_by_stock_as_a_number(self):
        stock = {row["id"]: int(row["stock"]) for row in GOODS}
        self.assertEqual([stock[name] for name in self.listed("/catalogue/?by=stock&order=down")],
                         sorted(stock.values(), reverse=True)[:8])

    def test_the_search_looks_at_name_and_note_in_upper_or_lower_case(self):
        found = {row["id"] for row in GOODS if "ink" in (row["name"] + " " + row["note"]).lower()}
        shown = self.listed("/catalogue/?q=INK")
        self.assertEqual(set(shown), found)
        self.assertIn(f"{len(found)} articles", self.page("/catalogue/?q=INK"))

    def test_a_drawer_alone(self):
        self.assertEqual(set(self.listed("/catalogue/?category=Pens")),
                         {row["id"] for row in GOODS if row["category"] == "Pens"})

    def test_a_search_is_never_a_regular_expression_of_the_visitor(self):
        for text in ("([*+", "[a-z]*$", "^A", "n.te", "A|B", "\\d", "\\", "]", "a{1}", "`"):
            self.assertEqual(self.listed("/catalogue/?q=" + urllib.parse.quote(text)), [], text)

    def test_the_search_finds_characters_of_every_kind(self):
        for text, found in (("<fine> to", "nibs"), ('"the colour', "prussian"), ("initials & headings", "vermilion"),
                            ("notebook, A5", "atlas")):
            self.assertEqual(self.listed("/catalogue/?q=" + urllib.parse.quote(text)), [found], text)

    def test_a_search_without_result_says_so(self):
        self.assertIn("Nothing found for “&lt;b&gt;”", self.page("/catalogue/?q=%3Cb%3E"))

    def test_nonsense_in_the_fields_of_the_listing_does_no_harm(self):
        first = self.listed("/catalogue/")
        for query in ("page=-3", "page=x", "page=", "page=%2B", "by=%5Erandom%5B%5D", "order=%3Cb%3E&by=x"):
            self.assertEqual(self.listed("/catalogue/?" + query), first, query)
        self.assertEqual(self.listed("/catalogue/?page=99999999999"), [])

    def test_the_pages_of_a_search_are_linked(self):
        page = self.page("/catalogue/?q=e&by=price&order=down")
        self.assertIn('<a href="?q=e&category=&by=price&order=down&page=2">2</a>', page)

    def test_an_article(self):
        page = self.page("/catalogue/item.html?id=nibs")
        for part in ("<h1>Nibs, box of twelve</h1>", "&lt;fine&gt; to &lt;broad&gt;", "€ 13.20", "€ 125.40"):
            self.assertIn(part, page)

    def test_an_article_that_does_not_exist(self):
        self.assertIn("<h1>No such article</h1>", self.page("/catalogue/item.html?id=%3Cb%3E"))
        self.assertIn("<h1>No such article</h1>", self.page("/catalogue/item.html"))

    def test_the_sales_of_a_month_are_summed(self):
        prices = {row["id"]: float(row["price"]) for row in GOODS}
        for month in ("2026-01", "2026-02", "2026-03"):
            sales = [row for row in table("catalogue/_sales") if row["month"] == month]
            total = sum(int(row["quantity"]) * prices[row["id"]] for row in sales)
            pieces = sum(int(row["quantity"]) for row in sales)
            page = self.page(f"/catalogue/sales.html?month={month}")
            self.assertRegex(page, rf'Total</td><td class="number">{pieces}</td>.*€ {total:.2f}<')
            self.assertEqual(len(re.findall('<tr class="(?:odd|even)">', page)), len(sales))

    def test_the_sales_of_the_last_month_come_first(self):
        self.assertIn("<h1>Sales of 2026-03</h1>", self.page("/catalogue/sales.html"))

    # The operators.

    def test_each_operator_is_shown_with_its_source_and_its_result(self):
        page = self.page("/language/operators.html?name=Ann&n=12&n=5")
        for row in table("language/_operators"):
            source = row["source"]
            for plain, escaped in (('"', "&quot;"), ("<", "&lt;"), (">", "&gt;")):
                source = source.replace(plain, escaped)
            self.assertIn(f"<td><code>{source}</code></td><td><code", page)
        for source, result in (("^sum[2;3]", "5"), ("^form[name]", "Ann"), ("^combine[n;+]", "12+5"),
                               ("^toupper[goose quill]", "GOOSE QUILL"), ("^eval[7 / 2;%.2f]", "3.50")):
            self.assertIn(f'<code>{source}</code></td><td><code class="result">{result}</code>', page)

    def test_no_example_of_the_operators_is_unknown_to_the_program(self):
        self.assertNotRegex(self.page("/language/operators.html?name=Ann&n=12&n=5"), r"\[(invalid|undefined) ")

    def test_every_operator_of_the_language_has_its_example(self):
        shown = {name for row in table("language/_operators") for name in row["operator"].split(", ")}
        named = set()
        for sources in ("macro/*", "table/*", "ops/*", "files/*", "db/*", "apps/*"):
            for source in (ROOT / "src").glob(sources + ".cpp"):
                named |= set(re.findall(r'^    \{"([a-z_-]+)", op_\w+, ', source.read_text(), re.M))
        self.assertEqual(sorted(named - shown), [])


if __name__ == "__main__":
    unittest.main()
