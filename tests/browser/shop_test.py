"""The demo site's shop and discussion board in a real browser."""

import unittest

from browsed_site import BrowsedSite
from served_site import example_site_with_database


class Site(BrowsedSite):
    files = example_site_with_database()

    def test_something_is_found_and_ordered(self):
        self.open("/shop/")
        self.browser.type("article input[name=q]", "iron gall")
        self.browser.click("article form button")
        self.await_texts("article td a", ["Iron gall ink, 50 ml"])
        self.browser.click("article td a")
        self.await_texts("h1", ["Iron gall ink, 50 ml"])
        self.browser.run("document.querySelector('[name=pieces]').value = ''")
        self.browser.type("input[name=pieces]", "4")
        self.browser.type("input[name=name]", "Seán O'Neil \\ \"<b>\" &amp;")
        self.browser.type("textarea[name=address]", "Linzer Gasse 12\n  5020 Salzburg")
        self.browser.click("article form button")
        self.await_texts(".order td.written", ["Seán O'Neil \\ \"<b>\" &amp;", "Linzer Gasse 12\n  5020 Salzburg"])
        self.assertEqual(self.browser.texts(".order .money"), ["€ 35.60"])
        self.assertEqual(self.browser.texts(".last_orders li")[0].split("\n")[0], "4 × Iron gall ink, 50 ml")

    def test_the_next_page_of_the_shop_shows_other_goods(self):
        self.open("/shop/")
        first = self.browser.texts("article td a")
        self.browser.click(".pager a")
        self.await_texts(".pager strong", ["2"])
        second = self.browser.texts("article td a")
        self.assertEqual((len(first), len(second), set(first) & set(second)), (6, 6, set()))

    # Where the line of a message begins, in steps of the tree, and the same from what the browser draws.
    DEPTH = """
        const line = Array.from(document.querySelectorAll('.tree .line')).find(line => line.innerText.startsWith(%r));
        const left = element => element.getBoundingClientRect().left;
        return [line.querySelectorAll('.mark').length,
                (left(line.querySelector('.subject')) - left(document.querySelector('.tree .subject'))) / 30]"""

    def test_an_answer_is_in_the_tree_below_what_it_answers(self):
        self.open("/board/")
        self.browser.click("article td a[href$='thread=1']")
        self.await_texts("h1", ["Which ink for parish registers?"])
        self.browser.click("#m4 a")
        self.await_texts("#m4 strong", ["Re: Iron gall"])
        quoted = self.browser.run("return document.querySelector('textarea').value")
        self.assertEqual(quoted, "> > But rinse the pen every evening.\n> Or take a quill. It has nothing to rust.\n")
        self.browser.run("document.querySelector('[name=subject]').value = ''")
        self.browser.type("input[name=subject]", "Swan's, \"not\" goose's \\")
        self.browser.type("input[name=author]", "Mira")
        self.browser.type("textarea[name=text]", "A swan's is\n  stronger.")
        self.browser.click("article form button")
        self.await_texts("h1", ["Swan's, \"not\" goose's \\"])
        self.assertEqual(self.browser.texts(".entry.written"), [quoted + "A swan's is\n  stronger."])
        subjects = self.browser.texts(".tree .line")
        at = next(n for n, text in enumerate(subjects) if text.startswith("Swan"))
        self.assertIn("Ann at the shop, ", subjects[at - 1])
        self.assertEqual(self.browser.run(self.DEPTH % "Swan"), [4, 4])
        self.assertEqual(self.browser.run(self.DEPTH % "Which paper"), [2, 2])
        address = self.browser.run("return location.search")
        self.browser.run("location.reload()")
        self.await_texts("h1", ["Swan's, \"not\" goose's \\"])
        self.assertEqual(len(self.browser.texts(".tree .line")), 7, address)


if __name__ == "__main__":
    unittest.main()
