"""What hostile visitors send to the cookbook's lists: search, pages, guest book, notes, statuses."""

import re
import unittest
import urllib.parse

from recipe import Recipe, Site

MARKUP = ["<b>", '"><script>', "'", "&lt;", "<!--"]
TEXTS = [*MARKUP, "", " ", "^", "^^", "^form[x]", "^env[PATH]", "[", "]", "[]", "[^a]", "(", ")", "(a|", "*", "+", "a{2", ".*", "\\", "\\n",
         "\\1", "$", "$1", ";", "`", "@main", "#", "../x", "/etc/passwd", "%00", "\t", "\n", "x" * 5_000, "ü", "\x01", "a\x01b", "a\nb", "a\tb"]


class RecipeTest(unittest.TestCase):
    name = ""

    def setUp(self):
        self.site = Site(Recipe.named(self.name))
        self.addCleanup(self.site.__exit__)

    def assert_clean(self, answer, *more):
        """No markup of a visitor, no message of the program."""
        page = answer.text()
        for text in ("<b>", "<script>", "<!--", "[invalid", "[undefined", "error:", "failed:", *more):
            self.assertNotIn(text, page)
        return page


class Frame(RecipeTest):
    name = "frame"

    def test_the_url_changes_nothing(self):
        page = self.site.get("/teas/green.html").text()
        for text in TEXTS:
            self.assertEqual(self.site.get("/teas/green.html", {"q": text[:1000]}).text(), page)


class Search(RecipeTest):
    name = "search"

    def found(self, text):
        return re.findall("<li>(.*?)</li>", self.assert_clean(self.site.get("/search.html", {"q": text})))

    def test_every_text_finds_just_itself(self):
        rows = self.site.read("www/_teas").splitlines()[1:]
        for text in [*TEXTS, "malty; 4", "(no more)", "& f", "ü", "n M", "minutes (no"]:
            sought = text.lower().replace("\t", " ")  # in what a regular expression matched, a tab is a space
            shown = [row.replace("\t", ": ") for row in rows if text and sought in row.replace("\t", " ").lower()]
            self.assertEqual(self.found(text), shown or (["Nothing was found."] if text else []), text)

    def test_a_long_text_is_cut_and_finds_nothing(self):
        self.site.write("www/_teas", "name\tnote\nlong\t" + "y" * 70 + "\n")
        self.assertEqual(self.found("y" * 60), ["long: " + "y" * 70])
        self.assertEqual(self.found("y" * 61), ["Nothing was found."])

    def test_a_letter_beyond_ascii_counts_in_its_case(self):
        self.assertEqual(self.found("Ü"), ["Nothing was found."])

    def test_every_character_finds_itself_in_data(self):
        signs = "".join(map(chr, range(33, 127)))
        self.site.write("www/_teas", f"name\tnote\nall\t{signs}\n")
        for sign in signs:
            page = self.site.get("/search.html", {"q": sign}).text()
            self.assertIn("<li>all: ", page, sign)

    def test_a_pattern_that_takes_forever_is_a_text(self):
        self.assertEqual(self.found(r"(.*)(.*)(.*)(.*)(.*)\1\2\3\4\5x"), ["Nothing was found."])


class Paging(RecipeTest):
    name = "paging"

    def test_unknown_words_are_the_usual_order_and_no_rows(self):
        usual = self.site.get("/teas.html").text()
        for text in TEXTS:
            self.assert_clean(self.site.get("/teas.html", {"kind": text}))
            by = self.assert_clean(self.site.get("/teas.html", {"by": text}))
            self.assertEqual(re.findall("<td>.*</td>", by), re.findall("<td>.*</td>", usual))

    def test_any_page_number(self):
        for text in [*TEXTS, "-1", "0", "+", ".", "1.5", "1e9", "99999999999999999999", "2147483647", "page"]:
            self.assert_clean(self.site.get("/teas.html", {"page": text}))
        self.assertIn("<td>Keemun</td>", self.site.get("/teas.html", {"page": "2"}).text())

    def test_links_keep_the_other_fields(self):
        page = self.site.get("/teas.html", {"kind": "", "by": 'a"&b=<ü'}).text()
        link = re.search('<a href="(.*?)">More', page)[1]
        self.assertEqual(urllib.parse.parse_qs(link[1:], True), {"kind": [""], "by": ['a"&b=<ü'], "page": ["2"]})


class Append(RecipeTest):
    name = "append"

    def entries(self):
        return sorted(path.name for path in (self.site.root / "run").glob("_guest-*"))

    def test_every_text_is_one_row_or_refused(self):
        taken = 0
        for text in TEXTS:
            answer = self.site.post("/guests.html", {"name": text, "words": text})
            self.assert_clean(answer)
            fits = re.fullmatch(r"[^\x00-\x1f]{1,240}", text) is not None and text != " "
            self.assertEqual("Status" in answer.headers, fits, text)
            taken += fits
            self.assertEqual(len(self.entries()), taken)
        for entry in self.entries():
            lines = self.site.read("run/" + entry).splitlines()
            self.assertEqual([len(line.split("\t")) for line in lines], [3])
        self.assertEqual(self.assert_clean(self.site.get("/guests.html")).count("<p><strong>"), 20)

    def test_what_is_too_long_is_refused(self):
        for fields in ({"name": "x" * 241, "words": "x"}, {"name": "x", "words": "x" * 1201}, {"name": "x"}, {},
                       {"name": "x", "words": "x" * 600_000}):
            self.assertRegex(self.site.post("/guests.html", fields).text(), "<p>Please|<p>That is too long")
        self.assertEqual(self.entries(), [])

    def test_a_full_book_takes_nothing(self):
        self.site.write("run/guests.count", "0000001000")
        self.assertIn("The book is full.", self.site.post("/guests.html", "name=a&words=b").text())

    def test_get_writes_nothing(self):
        self.site.get("/guests.html", {"name": "a", "words": "b"})
        self.assertEqual(self.entries(), [])

    def test_a_folder_that_cannot_be_written_is_status_500(self):
        (self.site.root / "run/guests.count").mkdir()
        answer = self.site.post("/guests.html", "name=a&words=A+%3Clong%3E+text")
        self.assertEqual(answer.headers["Status"], "500 Internal Server Error")
        self.assertIn("could not be stored", answer.text())
        self.assertIn('name="words" maxlength="300" required value="A &lt;long&gt; text"', answer.text())
        self.assertNotIn(str(self.site.root), answer.text())


class Edit(RecipeTest):
    name = "edit"

    def setUp(self):
        super().setUp()
        self.site.environment["REMOTE_USER"] = "ann"

    def post(self, origin="https://tea.example", **fields):
        return self.site.post("/editors/notes.html", fields, HTTP_ORIGIN=origin)

    def test_without_a_name_nothing_is_shown_or_changed(self):
        self.site.environment.clear()
        self.assertEqual(self.site.get("/editors/notes.html").headers["Status"], "403 Forbidden")
        self.assertEqual(self.post(id="0", do="Save", text="x").headers["Status"], "403 Forbidden")
        self.assertEqual(list((self.site.root / "run").glob("_note*")), [])

    def test_every_text_comes_back(self):
        for number, text in enumerate((text for text in TEXTS if 0 < len(text) < 5000 and text != "\x01"), 1):
            self.assertIn("303", self.post(id="0", do="Save", text=text).headers["Status"])
            page = self.site.get("/editors/notes.html", {"id": number}).text()
            shown = re.search("<textarea[^>]*>\n(.*)</textarea>", page, re.S)[1]
            for entity, sign in (("&lt;", "<"), ("&gt;", ">"), ("&quot;", '"'), ("&amp;", "&")):
                shown = shown.replace(entity, sign)
            self.assertEqual(shown, text.replace("\t", " "))

    def test_only_a_number_names_a_note(self):
        self.post(id="0", do="Save", text="first")
        for text in [*TEXTS, "2", "01", "+1", "1x", "99999", "-1", "1.0"]:
            for do in ("Save", "Delete"):
                if do == "Save" and text != "2":
                    continue  # any other text is a new note
                self.assertEqual(self.post(id=text, do=do, text="x").headers.get("Status"), "403 Forbidden", text)
        self.assertEqual(self.site.read("run/_note-1"), " first")

    def test_another_site_and_another_word_change_nothing(self):
        for origin, do in (("", "Save"), ("null", "Save"), ("https://tea.example.org", "Save"),
                           ("https://tea.example", "save"), ("https://tea.example", "")):
            self.assertEqual(self.post(origin, id="0", do=do, text="x").headers["Status"], "403 Forbidden")
        self.assertEqual(list((self.site.root / "run").glob("_note*")), [])

    def test_get_changes_nothing(self):
        self.site.get("/editors/notes.html", {"id": "0", "do": "Save", "text": "x"}, HTTP_ORIGIN="https://tea.example")
        self.assertEqual(list((self.site.root / "run").glob("_note*")), [])

    def test_a_long_text_is_refused(self):
        self.assertEqual(self.post(id="0", do="Save", text="x" * 5001).headers["Status"], "403 Forbidden")
        self.assertEqual(self.post(id="0", do="Save", text="x" * 600_000).headers["Status"], "403 Forbidden")


class Redirect(RecipeTest):
    name = "redirect"

    def test_any_number_is_a_number(self):
        for text in TEXTS:
            page = self.assert_clean(self.site.get("/wish.html", {"number": text}))
            self.assertNotIn("Thank you", page)

    def test_only_post_counts(self):
        self.site.get("/wish.html", {"tea": "x"})
        self.assertFalse((self.site.root / "run/wishes.count").exists())


class Errors(RecipeTest):
    name = "errors"

    def test_what_is_not_there_is_status_404(self):
        for text in TEXTS:
            answer = self.site.get("/tea.html", {"id": text[:1000]})
            self.assert_clean(answer)
            self.assertEqual(answer.headers["Status"], "404 Not Found", text)

    def test_no_address_becomes_markup(self):
        for address in ('/"><script>', "/<b>", "/^env[PATH]"):
            self.assert_clean(self.site.get("/not-found.html", REQUEST_URI=address))


if __name__ == "__main__":
    unittest.main()
