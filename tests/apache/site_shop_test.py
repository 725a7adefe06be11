"""The demo site's shop and discussion board, on the database server that scripts/demo starts: with what visitors
should send, and with what they should not."""

import concurrent.futures
import html
import re
import unittest
import urllib.parse

from served_site import ExampleSite, example_site, example_site_with_database

HOSTILE = ["O'Neil", '"', "\\", "\\'", "'; drop table orders -- ", "' or '1'='1", "%_", "&amp; &lt; &", "^env[PATH]",
           "<script>alert(1)</script>", "$name $1 $$", "  two  blanks  ", "[;]`", "\\n\\r\\0\\x1a", "Žluťoučký ✒ 𝕬",
           "\x01\x08\x1a\x1f"]
CLOSED = "We cannot look into our books at the moment."


class Visit(ExampleSite):
    files = example_site_with_database()

    def log(self):
        log = self.site_path / "run/error_log"
        return log.read_text(errors="replace") if log.exists() else ""


def shown(pattern, page):
    """What a visitor sees at the pattern's group."""
    return html.unescape(re.search(pattern, page, re.S)[1])


class Shop(Visit):
    ORDER = {"id": "11", "pieces": "3", "name": "Ann", "address": "Linzer Gasse 12\n5020 Salzburg"}

    def listed(self, query=""):
        found = re.findall(r'<td><a href="goods.html\?id=(\d+)">(.*?)</a>', self.page("/shop/" + query))
        return [html.unescape(name) for _, name in found]

    def last_orders(self):
        return re.findall(r"<li>(\d+ × .*?)<br>", self.ask("/shop/").text().partition("Last orders")[2])

    def order(self, **fields):
        return self.article(self.send("/shop/goods.html", **(self.ORDER | fields)))

    def test_the_pages_together_are_all_goods_in_their_order(self):
        pages = [self.listed(f"?page={page}") for page in range(1, 5)]
        self.assertEqual([len(page) for page in pages], [6, 6, 6, 6])
        names = sum(pages, [])
        self.assertEqual(names, sorted(set(names), key=str.lower))

    def test_nonsense_for_a_page_is_the_first_one(self):
        first = self.listed()
        for page in ("0", "-3", "x", "", "1'", "%2B", "."):
            self.assertEqual(self.listed("?page=" + page), first, page)

    def test_after_the_last_page_there_is_the_last_one(self):
        for page in ("5", "2147483647", "99999999999"):
            self.assertEqual(self.listed("?page=" + page), self.listed("?page=4"), page)

    def test_the_search_looks_at_name_and_note_in_upper_or_lower_case(self):
        self.assertEqual(self.listed("?q=QUILL"), ["Goose quill, cut by hand"])
        self.assertEqual(self.listed("?q=reFILLable"), ["Brush pen"])
        self.assertIn("1 article<", self.page("/shop/?q=quill"))

    def test_the_search_finds_characters_of_every_kind(self):
        for text, name in (("Ann's", "Ann's inkstand"), ('"Salzburg"', 'Seal "Salzburg", brass'),
                           ("<fine> to", "Nibs, box of twelve"), ("key & lock", "Writing slope, walnut")):
            self.assertEqual(self.listed("?q=" + urllib.parse.quote(text)), [name], text)

    def test_a_search_is_neither_a_pattern_nor_a_statement(self):
        for text in HOSTILE:
            query = "?q=x" + urllib.parse.quote(text)
            self.assertEqual(self.listed(query), [], text)
            self.assertIn("Nothing found for", self.page("/shop/" + query), text)
            self.assertEqual(self.listed("?category=x" + urllib.parse.quote(text)), [], text)

    def test_a_drawer_alone_and_its_pages(self):
        self.assertEqual(len(self.listed("?category=5")), 4)
        self.assertEqual(self.listed("?category=3&q=vermilion"), ["Vermilion ink, 30 ml"])
        self.assertIn('<a href="?q=in&category=&page=2">2</a>', self.page("/shop/?q=in"))

    def test_an_order_is_shown_as_the_database_has_it(self):
        page = self.order()
        for part in ("<td>3</td>", '<td class="written">Ann</td>', "€ 26.70", "Thank you"):
            self.assertIn(part, page)
        self.assertEqual(shown(r'<th>To</th><td class="written">(.*?)</td>', page), self.ORDER["address"])
        self.assertEqual(self.last_orders()[0], "3 × Iron gall ink, 50 ml")

    def test_orders_are_numbered_one_after_the_other(self):
        numbers = [int(shown(r"<th>Number</th><td>(\d+)<", self.order())) for _ in range(2)]
        self.assertEqual(numbers[1], numbers[0] + 1)

    def test_hostile_values_are_stored_and_shown_exactly(self):
        for text in HOSTILE:
            page = self.order(name=text, address=text + "\n" + text)
            self.assertEqual(shown(r'<th>For</th><td class="written">(.*?)</td>', page), text)
            self.assertEqual(shown(r'<th>To</th><td class="written">(.*?)</td>', page), text + "\n" + text)
            self.assertNotIn("<script", page)

    def test_an_order_with_something_missing_comes_again_and_is_not_stored(self):
        before = self.last_orders()
        for fields, complaints in (({"name": ""}, 1), ({"address": ""}, 1), ({"name": "", "pieces": "x"}, 2),
                                   ({"pieces": "0"}, 1), ({"pieces": "100"}, 1), ({"pieces": "-1"}, 1),
                                   ({"pieces": "5', '5"}, 1), ({"pieces": ""}, 1)):
            page = self.order(**({"name": "Nobody"} | fields))
            self.assertEqual(page.count("<li>"), complaints, fields)
            self.assertIn(">\nLinzer" if "address" not in fields else 'value="Nobody"', page)
        self.assertEqual(self.last_orders(), before)

    def test_what_the_shop_does_not_have_cannot_be_ordered(self):
        before = self.last_orders()
        for number in ("0", "999", "", "1 or 1=1", "x'", "-1"):
            page = self.order(id=number)
            self.assertIn("No such article", page, number)
            self.assertNotIn("Thank you", page, number)
        self.assertEqual(self.last_orders(), before)

    def test_a_text_longer_than_its_column_is_cut(self):
        page = self.order(name="ž" * 100, address="a" * 500)
        self.assertEqual(shown(r'<th>For</th><td class="written">(.*?)</td>', page), "ž" * 80)
        self.assertEqual(shown(r'<th>To</th><td class="written">(.*?)</td>', page), "a" * 400)

    def test_a_statement_that_fails_is_in_the_log_and_not_in_the_page(self):
        page = self.article(self.post("/shop/goods.html", "id=11&pieces=1&address=x&name=%3Cscript%3E%FF"), 503)
        self.assertIn(CLOSED, page)
        self.assertNotIn("insert", page)
        self.assertNotIn("<script", page)
        self.assertIn("sql query error: ", self.log())


# Thread 1001, in which each message answers the one before it.
DEEP_THREAD = b"insert into messages select seq + 1000, if(seq = 1, 0, seq + 999), seq, '-', '-', '2026-01-01' " \
              b"from seq_1_to_249;\n"


class Board(Visit):
    files = example_site_with_database() | {"database/3-deep.sql": DEEP_THREAD}
    MESSAGE = {"author": "Ann", "subject": "Gum arabic", "text": "Where from?\n\nAnd  how much?"}

    def post_message(self, path="/board/", **fields):
        """Posts it; the thread and the number of the new message."""
        reply = self.send(path, **(self.MESSAGE | fields))
        self.assertEqual(reply.status, 303)
        address = re.fullmatch(r"/board/thread\.html\?thread=(\d+)(?:&message=(\d+))?", reply.headers["Location"])
        return address[1], address[2] or address[1]

    def answer(self, thread, message, **fields):
        return self.post_message("/board/thread.html", thread=thread, message=message, **fields)

    def thread(self, thread, message=""):
        return self.page(f"/board/thread.html?thread={thread}" + (message and f"&message={message}"))

    def tree(self, thread):
        """The subjects in their order, each with its branches: the classes of the squares before it."""
        lines = re.findall(r'<div class="line" id="m\d+">(.*?)</div>', self.thread(thread), re.S)
        return [([" ".join(mark.split()[1:]) for mark in re.findall(r'<span class="(mark[^"]*)"></span>', line)],
                 html.unescape(re.search(r"<(?:a|strong)[^>]*>(.*?)</", line)[1])) for line in lines]

    def test_a_new_thread_is_first_in_the_list(self):
        thread, _ = self.post_message(subject="A new one")
        page = self.page("/board/")
        self.assertEqual(shown(r"<td><a href=\"thread\.html\?thread=\d+\">(.*?)</a>", page), "A new one")
        self.assertEqual(self.tree(thread), [([], "A new one")])

    def test_a_message_is_shown_exactly_with_its_spaces_and_lines(self):
        thread, _ = self.post_message()
        self.assertEqual(shown(r'<div class="entry written">(.*?)</div>', self.thread(thread)), self.MESSAGE["text"])

    def test_answers_are_below_what_they_answer_at_their_depth(self):
        thread, root = self.post_message(subject="root")
        _, first = self.answer(thread, root, subject="first")
        self.answer(thread, root, subject="second")
        _, below = self.answer(thread, first, subject="below first")
        self.answer(thread, below, subject="deeper")
        self.answer(thread, first, subject="also below first")
        self.assertEqual(self.tree(thread), [
            ([], "root"),
            (["more"], "first"),
            (["past", "more"], "below first"),
            (["past", "past", "last"], "deeper"),
            (["past", "last"], "also below first"),
            (["last"], "second")])

    def test_a_branch_that_ended_leaves_a_space(self):
        thread, root = self.post_message(subject="root")
        _, first = self.answer(thread, root, subject="first")
        self.answer(thread, first, subject="below")
        self.assertEqual(self.tree(thread), [([], "root"), (["last"], "first"), (["", "last"], "below")])

    def test_messages_deeper_than_nineteen_are_drawn_there(self):
        thread, message = self.post_message(subject="1")
        for depth in range(2, 23):
            _, message = self.answer(thread, message, subject=str(depth))
        self.assertEqual([len(marks) for marks, _ in self.tree(thread)], [min(depth, 18) for depth in range(22)])
        self.assertEqual([subject for _, subject in self.tree(thread)], [str(depth) for depth in range(1, 23)])

    def test_an_answer_that_would_be_too_deep_is_next_to_what_it_answers(self):
        _, deepest = self.answer(1001, 1249, subject="deepest")
        _, beside = self.answer(1001, deepest, subject="beside")
        self.answer(1001, beside, subject="beside both")
        self.assertEqual([subject for _, subject in self.tree(1001)[248:]],
                         ["249", "deepest", "beside", "beside both"])
        self.assertEqual([len(marks) for marks, _ in self.tree(1001)[248:]], [18] * 4)
        self.assertEqual(self.tree(1001)[-1][0][-1], "last")

    def test_the_answer_form_quotes_the_message(self):
        thread, _ = self.post_message(text="Where from?\n\n" + "long " * 20 + "\n<b> & &amp;")
        page = self.thread(thread)
        self.assertEqual(shown(r'<textarea[^>]*>\n(.*?)</textarea>', page),
                         "> Where from?\n> " + "long " * 13 + "\n> " + "long " * 7 + "\n> <b> & &amp;\n")
        self.assertIn('name="subject" maxlength="80" value="Re: Gum arabic"', page)

    def test_the_subject_of_an_answer_has_one_re(self):
        thread, root = self.post_message(subject='Re: "x"')
        self.assertIn('value="Re: &quot;x&quot;"', self.thread(thread, root))

    def test_hostile_values_are_stored_and_shown_exactly(self):
        thread, root = self.post_message()
        for text in HOSTILE:
            _, message = self.answer(thread, root, subject=text, author=text, text=text + "\n" + text)
            page = self.thread(thread, message)
            self.assertEqual(shown(r"<h1>(.*?)</h1>", page), text)
            self.assertEqual(shown(r'<p class="quiet">(.*?), \d+ \w+ \d{4}, \d\d:\d\d</p>', page), text)
            self.assertEqual(shown(r'<div class="entry written">(.*?)</div>', page), text + "\n" + text)
            self.assertNotIn("<script", page)
        self.assertEqual([subject for _, subject in self.tree(thread)], [self.MESSAGE["subject"], *HOSTILE])

    def test_a_message_with_something_missing_comes_again_and_is_not_stored(self):
        before = self.page("/board/").count("<tr")
        for name in self.MESSAGE:
            page = self.article(self.send("/board/", **(self.MESSAGE | {name: ""})))
            self.assertEqual(page.count("<li>"), 1, name)
            self.assertEqual(page.count('value="Gum arabic"'), name != "subject", name)
        self.assertEqual(self.page("/board/").count("<tr"), before)
        self.assertIn("<li>", self.article(self.send("/board/thread.html", thread=1, message=3, text="no name")))

    def test_there_is_no_answer_to_what_is_not_there(self):
        for message in ("0", "99999", "x", "1 or 1=1", "x'"):
            page = self.article(self.send("/board/thread.html", thread="88888", message=message, **self.MESSAGE))
            self.assertIn("No such message", page, message)

    def test_a_message_that_the_database_refuses_is_an_error_page_and_leads_nowhere(self):
        for path, fields in (("/board/", ""), ("/board/thread.html", "&thread=1&message=3")):
            reply = self.post(path, "subject=x&text=y&author=%FF" + fields)
            self.assertIn(CLOSED, self.article(reply, 503))
            self.assertIsNone(reply.headers["Location"])
        self.assertIn("sql query error: ", self.log())

    def test_a_message_from_a_page_of_somebody_else_is_not_stored(self):
        before = self.page("/board/").count("<tr")
        reply = self.ask("/board/", "POST", urllib.parse.urlencode(self.MESSAGE), {
            "Content-Type": "application/x-www-form-urlencoded", "Origin": "http://elsewhere.example"})
        self.assertIn("sent from another site", self.article(reply, 403))
        self.assertEqual(self.page("/board/").count("<tr"), before)

    def test_a_message_is_shown_in_its_own_thread_only(self):
        for query in ("thread=1&message=8", "thread=2", "thread=", "thread='", "", "thread=1&message=99999"):
            self.assertIn("No such message", self.page("/board/thread.html?" + query), query)
        self.assertIn("<h1>Pencil</h1>", self.page("/board/thread.html?thread=1&message=6"))

    def test_answers_at_the_same_time_are_all_there(self):
        thread, root = self.post_message(subject="root")
        with concurrent.futures.ThreadPoolExecutor(8) as visitors:
            list(visitors.map(lambda n: self.answer(thread, root, subject=f"answer {n}"), range(24)))
        tree = self.tree(thread)
        self.assertEqual(sorted(subject for _, subject in tree[1:]), sorted(f"answer {n}" for n in range(24)))
        self.assertEqual([marks for marks, _ in tree], [[]] + [["more"]] * 23 + [["last"]])


class NoDatabase(Visit):
    files = example_site()

    def test_the_pages_say_so_kindly(self):
        for path in ("/shop/", "/shop/goods.html?id=1", "/board/", "/board/thread.html?thread=1"):
            page = self.page(path, 503)
            self.assertIn(CLOSED, page)
            self.assertNotIn("[", page)


class NoServer(Visit):
    files = example_site()
    files["run/.profile"] += b"QUILLET_DATABASE=ann:secret@127.0.0.1:1/shop\n"

    def test_the_message_of_the_connection_is_in_the_log_only(self):
        for path in ("/shop/", "/board/"):
            page = self.page(path, 503)
            self.assertIn(CLOSED, page)
            self.assertNotIn("127.0.0.1", page)
        self.assertIn("sql connect error: ", self.log())


if __name__ == "__main__":
    unittest.main()
