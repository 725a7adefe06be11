"""The demo site, examples/site, as a visitor sees it."""

import html
import json
import os
import re
import subprocess
import unittest
import urllib.parse

from served_site import ROOT, ExampleSite, days_ago

SITE = ROOT / "examples/site"


def table(name):
    lines = [line for line in (SITE / "www" / name).read_text().splitlines() if line and not line.startswith("#")]
    names = lines[0].split("\t")
    return [dict(zip(names, line.split("\t"))) for line in lines[1:]]


GOODS = table("catalogue/_goods")
PAGES = table("_pages")
OPERATORS = table("examples/_operators")


def is_open(page):
    """Whether it is a page that everybody may see."""
    return page.endswith(".html") and not page.startswith("/members/")


def sales_by_month():
    months = {}
    for row in table("catalogue/_sales"):
        months.setdefault(days_ago(int(row["ago"]), "%Y-%m"), []).append(row)
    return months


def mangled(text):
    return re.sub("[^a-zA-Z0-9]", lambda sign: f"%{ord(sign[0]):02x}", text)


class Site(ExampleSite):
    def listed(self, path):
        """The identifiers of the articles that a listing shows."""
        return re.findall(r'<tr class="\w+"><td><a href="item.html\?id=(\w+)"', self.page(path))

    # All pages.

    def test_every_link_leads_somewhere(self):
        expected = {"/language/missing.html": 404, "/language/_quillet.cfg": 403, "/cgi-bin/quillet/index.html": 403,
                    "/members/": 401, "/members/staff/": 401, "/errors/401.html": 401, "/errors/403.html": 403,
                    "/errors/404.html": 404, "/errors/500.html": 500}
        seen, waiting = {"/"}, ["/"]
        while waiting:
            path = waiting.pop()
            reply = self.ask(path)
            needs_database = path.startswith(("/shop/", "/board/"))  # there is none
            self.assertEqual(reply.status, 503 if needs_database else expected.get(path, 200), path)
            if not reply.headers["Content-Type"].startswith("text/html"):
                continue
            for link in re.findall(r'(?<!rel="nofollow" )href="([^"]*)"', reply.text()):
                target = urllib.parse.urldefrag(urllib.parse.urljoin(path, html.unescape(link)))[0]
                target = urllib.parse.quote(target, safe="/?&=%+'")
                if target.startswith("/") and not target.startswith("/manual/") and target not in seen:
                    seen.add(target)
                    if not target.startswith("/source/?"):  # each has a test of its own
                        waiting.append(target)
        self.assertTrue({"/catalogue/sales.html?month=" + days_ago(59, "%Y-%m"), "/workshops/bookbinding/",
                         "/language/empty.html", "/catalogue/item.html?id=nibs", "/style.css", "/contact.html",
                         "/catalogue/pricelist.html", "/gallery/?picture=10-combed_night.gif", "/drop/", "/members/",
                         "/examples/?operator=menu", "/source/?page=%2fchat%2f"} <= seen)

    def test_the_front_page_says_what_is_shown_and_where_to_read_on(self):
        beginning = self.page("/").partition('class="lead"')[0].partition("<h1>")[2]
        self.assertIn("<strong>quillet</strong>", beginning)
        self.assertEqual(re.findall('href="([^"]*)"', beginning),
                         ["/language/", "/source/?page=%2f", "/examples/", "/manual/"])

    def test_no_page_but_the_one_on_errors_shows_an_error(self):
        for path in self.files:
            page = path.removeprefix("www")
            if is_open(page) and page != "/language/errors.html":
                self.assertNotRegex(self.ask(page).text(), r"\[(invalid|undefined|macro|infinite|\w+:) ", page)

    def test_pages_are_closed_and_have_a_title(self):
        for path in self.files:
            page = path.removeprefix("www")
            if is_open(page) and page not in ("/language/empty.html", "/labels/label.html"):
                self.assertRegex(self.ask(page).text(), r"(?s)<title>[^<]+ – The Inkwell</title>.*</html>\s*$")

    def test_a_page_is_marked_in_the_navigation(self):
        self.assertIn('<a href="/workshops/" class="here">Workshops</a>', self.ask("/workshops/bookbinding/").text())

    def test_a_directory_changes_what_the_directory_above_says(self):
        self.assertIn("Next dates", self.ask("/workshops/").text())
        page = self.ask("/workshops/bookbinding/").text()
        self.assertIn('<span>Workshops / Bookbinding</span>', page)
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
                         [names[:8], names[8:16], names[16:], names[16:]])

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

    def test_after_the_last_page_of_the_listing_there_is_the_last_one(self):
        self.assertEqual(self.listed("/catalogue/?page=99999999999"), self.listed("/catalogue/?page=3"))

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
        for month, sales in sales_by_month().items():
            total = sum(int(row["quantity"]) * prices[row["id"]] for row in sales)
            pieces = sum(int(row["quantity"]) for row in sales)
            page = self.page(f"/catalogue/sales.html?month={month}")
            self.assertRegex(page, rf'Total</td><td class="number">{pieces}</td>.*€ {total:.2f}<')
            self.assertEqual(len(re.findall('<tr class="(?:odd|even)">', page)), len(sales))

    def test_the_sales_of_the_last_month_come_first(self):
        self.assertIn(f"<h1>Sales of {max(sales_by_month())}</h1>", self.page("/catalogue/sales.html"))

    # The sources.

    HOSTILE = ["../run/.profile", "run/.profile", ".profile", "/../run/.profile", "../run/chat/admin/password",
               "/etc/passwd", "index.html", "_pages", "/source/?page=/", "/nosuch", "/catalogue", "/catalogue/ ", "//",
               "/\n", "^env[PATH]", "/catalogue/index.html ../run/.profile", "x' y", "<script>", "$(id)", "`id`",
               "-", "--help"]

    def files_of(self, address):
        """The files that the source of a page shows: name and text. A browser drops the line end after <pre>."""
        page = self.page("/source/?page=" + urllib.parse.quote(address, safe=""))
        return {name: html.unescape(re.sub("</?(?:a|b|i)(?: [^>]*)?>", "", text))[1:] for name, text in
                re.findall(r"<details[^>]*><summary><code>(.*?)</code></summary><pre>(.*?)</pre>", page, re.S)}

    def test_every_page_leads_to_its_source(self):
        for row in PAGES:
            if row["address"] not in ("/members/", "/members/staff/", "/language/empty.html"):
                page = self.ask(row["address"]).text()
                self.assertIn(f'href="/source/?page={mangled(row["address"])}">source</a>', page, row["address"])

    def test_every_page_has_its_row_and_its_place_in_the_navigation(self):
        files = {row["files"].split()[0] for row in PAGES}
        parts = {"labels/label.html", "chat/lines.html", "chat/users.html"}  # of other pages
        pages = {str(path.relative_to(SITE / "www")) for path in (SITE / "www").rglob("*.html")}
        self.assertEqual({page for page in pages if "/_" not in page} - parts, files)
        home = self.ask("/").text()
        for row in PAGES:
            self.assertEqual(f'<li><a href="{row["address"]}">{row["label"]}</a></li>' in home, bool(row["group"]))

    def test_the_source_of_a_page_is_its_files_as_they_are_and_tells_no_secret(self):
        secrets = ["SHOP_MAIL=", "The_Inkwell:quill", "members: ann",
                   re.search(r"password: (\S+)", "".join(self.demo.said))[1]]
        for row in PAGES:
            self.assertNotRegex(row["files"], r"\.profile|password|banned|groups|count|\*")
            shown = self.files_of(row["address"])
            for secret in secrets:
                self.assertNotIn(secret, "".join(shown.values()), row["address"])
            self.assertEqual(list(shown), row["files"].split() + ["_pages", "_quillet.cfg", "../run/_macro.cfg"])
            for name, text in shown.items():
                if not name.startswith("../database/"):  # this site has none
                    self.assertEqual(text, (SITE / "www" / name).read_text(), name)

    def test_calls_notes_and_macros_are_marked(self):
        page = self.page("/source/?page=%2Flanguage%2F")
        for part in ('<a href="/manual/operators/macro.html">^macro</a>[layout]', "\n<b>@title</b>[]\n",
                     "\n<i># The pages below quote template text.", "^^form[name]"):
            self.assertIn(part, page)

    def test_what_a_visitor_sends_names_no_file(self):
        for address in self.HOSTILE:
            reply = self.ask("/source/?page=" + urllib.parse.quote(address, safe=""))
            self.assertEqual(reply.status, 404, address)
            self.assertNotIn("<pre>", reply.text(), address)
        for query in ("file=../run/.profile", "page=/&file=../run/.profile", "page=/&files=/etc/passwd",
                      "page=/&page=/etc/passwd"):
            self.assertNotRegex(self.ask("/source/?" + query).text(), "SHOP_MAIL|root:", query)

    # The pages for what the web server answers.

    def test_what_is_not_there_or_not_served_is_said_in_the_frame_of_the_site(self):
        nothing = "We have no such page"
        for path, status, title in (("/nosuch.html", 404, nothing), ("/catalogue/nosuch", 404, nothing),
                                    ("/index.html/more", 404, nothing), ("/_pages", 403, "Not over the counter"),
                                    ("/members/", 401, "For members only")):
            reply = self.ask(path)
            self.assertIn(f"<h1>{title}</h1>", self.article(reply, status), path)
            self.assertIn(f'href="/source/?page=%2ferrors%2f{status}%2ehtml">source</a>', reply.text())
        self.assertEqual(self.ask("/members/").headers["WWW-Authenticate"], 'Basic realm="Members of The Inkwell"')

    def test_a_request_that_takes_too_much_is_out_of_order(self):
        page = self.folder.write("site/www/endless.html", "^for[i;1;2000000000;^for[j;1;2000000000;]]")
        self.addCleanup(page.unlink)
        wrapper = self.demo.instance / "cgi-bin/quillet"
        original = wrapper.read_text()
        self.addCleanup(wrapper.write_text, original)
        wrapper.write_text(original.replace("processor_time=20", "processor_time=1"))
        self.assertIn("<h1>Out of order</h1>", self.article(self.ask("/endless.html"), 500))

    # The examples of the operators.

    def example(self, row):
        """What the page shows of an operator: its parts by their headings."""
        page = self.page(f"/examples/?operator={row['operator']}&{row['query']}")
        return {html.unescape(re.sub("<.*?>", "", head)): html.unescape(text).strip() for head, text in
                re.findall(r"<section><h2>(.*?)</h2><pre>(.*?)</pre>", page, re.S)}

    def test_every_operator_has_its_example(self):
        printed = subprocess.run([os.environ["QUILLET_OPERATORS"]], capture_output=True, check=True).stdout
        registered = {operator["name"]: operator["summary"] for operator in json.loads(printed)
                      if not operator["gives_way"]}
        self.assertEqual({row["operator"]: row["purpose"] for row in OPERATORS}, registered)
        for name in registered:
            self.assertIn(f"^{name}[", (SITE / f"www/examples/_{name}.html").read_text())

    def test_each_example_shows_its_page_its_data_and_what_comes_out(self):
        for row in OPERATORS:
            shown = self.example(row)
            source = (SITE / f"www/examples/_{row['operator']}.html").read_text().strip()
            self.assertEqual(shown.pop("The page"), source)
            self.assertNotRegex(shown["The result"], r"^$|\[(invalid|undefined) ", row["operator"])
            if row["data"]:
                data = (SITE / "www/examples" / row["data"]).read_text().strip()
                self.assertEqual(shown[f"Its data, {row['data']}"], data)

    def test_what_comes_out_of_an_example_is_evaluated(self):
        rows = {row["operator"]: row for row in OPERATORS}
        for name, result in (("form", "<p>Hello, Ann!</p>"), ("combine", "<p>By letter and telephone.</p>"),
                             ("level", "<p>&lt;b&gt;bold&lt;/b&gt; or <b>bold</b></p>"),
                             ("exec", f"<p>It is {days_ago(0, '%A')}.</p>"),
                             ("menu", "<ul>\n<li>Iron gall ink € 8.90</li>\n<li>Goose quill € 5.20</li>\n"
                                      "<li>Laid paper € 11.20</li>\n</ul>")):
            self.assertEqual(self.example(rows[name])["The result"], result)
        self.assertIn("<p>Hello, &lt;i&gt;!</p>", self.example(rows["form"] | {"query": "name=%3Ci%3E"})["The result"])

    def test_a_visitor_sends_no_code(self):
        for name in ("^env[PATH]", "../source/index", "menu.html", "_menu", "menu%0A", "MENU", "%3Cb%3E"):
            reply = self.ask("/examples/?operator=" + name)
            self.assertEqual(reply.status, 404, name)
            self.assertNotIn("<pre>", reply.text())


if __name__ == "__main__":
    unittest.main()
