#!/usr/bin/env python3
"""Nodes of a cluster are killed and come back while 20 clients post and count: nothing is lost, doubled or wrong.

    kill_test.py [--rounds N] [unittest arguments]

In each round a database node, then a web node is killed (the next one in the next round). A round takes a minute
and a half. Packages: scripts/install-packages cluster.
"""

import collections
import http.client
import itertools
import re
import subprocess
import sys
import threading
import time
import unittest
import urllib.parse
from pathlib import Path

sys.path[:0] = [str(Path(__file__).resolve().parents[1]), str(Path(__file__).resolve().parents[2] / "scripts")]
from private_cluster import Cluster  # noqa: E402
from program import PROGRAM, ROOT  # noqa: E402

ROUNDS = 1
CLIENTS = 20
CYCLES = 4  # of each client, between one event and the next
PATIENCE = 90  # seconds for one response: longer than nginx and HAProxy wait
COUNTING_PAGE = "^counter[/../run/counted]"

Answer = collections.namedtuple("Answer", "ended took kind status verdict page")


class Client(threading.Thread):
    """Posts a message and looks at it, orders, counts, and reads the list of the board; again and again."""

    def __init__(self, number, port):
        super().__init__()
        self.number, self.port = number, port
        self.answers = []
        self.posts, self.orders = {}, {}  # by a text that is only there: whether they were confirmed
        self.counts = []
        self.cycles = 0
        self.stopped = threading.Event()

    def run(self):
        for k in itertools.count():
            if self.stopped.is_set():
                return
            self.post(f"message {self.number}-{k}")
            self.order(f"Visitor {self.number}-{k}", k % 99 + 1)
            self.ask("count", "/count.html", {"x": "1"}, self.is_count)
            if k % 5 == 0:
                self.ask("board", "/board/", None, lambda status, page: status == 200 and is_whole(page)
                         and "<h2>A new thread</h2>" in page)
            self.cycles += 1

    def post(self, subject):
        self.posts[subject] = False
        form = {"author": f"client {self.number}", "subject": subject, "text": f"the text of {subject}."}
        status, location = self.ask("post", "/board/", form, lambda status, page: status == 303)
        if status == 303:
            self.posts[subject] = True
            self.ask("thread", location, None, lambda status, page: status == 200 and is_whole(page)
                     and f"<h1>{subject}</h1>" in page and f"the text of {subject}.</div>" in page)

    def order(self, name, pieces):
        self.orders[name] = False
        form = {"id": "11", "pieces": pieces, "name": name, "address": "Steingasse 4"}

        def is_confirmed(status, page):
            self.orders[name] = (status == 200 and is_whole(page) and "Thank you. Your order:" in page
                                 and f"<td>{pieces}</td>" in page and f'<td class="written">{name}</td>' in page)
            return self.orders[name]
        self.ask("order", "/shop/goods.html", form, is_confirmed)

    def is_count(self, status, page):
        if status != 200 or not re.fullmatch(r"[0-9]+", page):
            return False
        self.counts.append(int(page))
        return True

    def ask(self, kind, address, form, is_right):
        """Asks and notes what came: right, an error that says it is one, or a wrong page."""
        began, status, page, location = time.monotonic(), 0, "", ""
        try:
            connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
            connection.request("GET" if form is None else "POST", address, form and urllib.parse.urlencode(form),
                               {"Content-Type": "application/x-www-form-urlencoded"})
            response = connection.getresponse()
            status, location, page = response.status, response.headers["Location"], response.read().decode()
            connection.close()
        except (OSError, http.client.HTTPException) as error:
            status, page = 0, repr(error)
        verdict = "right" if is_right(status, page) else "error" if status == 0 or status >= 500 else "wrong"
        if verdict == "error" and "[sql " in page:
            verdict = "wrong"  # an error page says nothing of the database
        ended = time.monotonic()
        self.answers.append(Answer(ended, ended - began, kind, status, verdict, page))
        return status, location


def is_whole(page):
    return page.startswith("<!DOCTYPE html>") and page.rstrip().endswith("</html>") and "[sql " not in page


class Run:
    """The clients at work, and when what happened to the nodes."""

    def __init__(self, cluster):
        self.cluster = cluster
        self.clients = [Client(number, cluster.web_server.port) for number in range(CLIENTS)]
        self.events = []

    def run(self, rounds):
        for client in self.clients:
            client.start()
        try:
            self.work("all nodes there")
            for number in range(rounds):
                self.take_away(self.cluster.databases[number % 3])
                self.take_away(self.cluster.webs[number % 2])
        finally:
            for client in self.clients:
                client.stopped.set()
            for client in self.clients:
                client.join()
        self.events.append(("the end", time.monotonic()))

    def take_away(self, node):
        killed = time.monotonic()
        node.kill()
        self.work(f"{node.name} killed", killed)
        self.events.append((f"{node.name} coming back", time.monotonic()))
        node.start()
        self.work(f"{node.name} back")

    def work(self, event, began=None):
        """Every client goes on for some cycles."""
        self.events.append((event, began or time.monotonic()))
        wanted = [client.cycles + CYCLES for client in self.clients]
        while any(client.cycles < cycles for client, cycles in zip(self.clients, wanted)):
            time.sleep(0.1)

    def answers(self):
        return sorted(itertools.chain.from_iterable(client.answers for client in self.clients))

    def table(self):
        rows = [("", "seconds", "requests", "errors", "seconds with errors", "longest wait, s", "wrong pages")]
        answers = self.answers()
        for (event, began), (_, ended) in itertools.pairwise(self.events):
            part = [answer for answer in answers if began <= answer.ended < ended]
            errors = [answer for answer in part if answer.verdict == "error"]
            rows.append((event, f"{ended - began:.1f}", len(part), len(errors),
                         len({int(answer.ended - began) for answer in errors}),
                         f"{max((answer.took for answer in part), default=0):.1f}",
                         sum(answer.verdict == "wrong" for answer in part)))
        rows.insert(1, ("---",) * len(rows[0]))
        return "".join("| " + " | ".join(map(str, row)) + " |\n" for row in rows)


class Killed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.cluster = Cluster(ROOT / "examples/site", PROGRAM.parent, say=print)
        cls.addClassCleanup(cls.cluster.stop)
        (cls.cluster.shared / "www/count.html").write_text(COUNTING_PAGE)
        cls.run_of_all = Run(cls.cluster)
        cls.run_of_all.run(ROUNDS)
        cls.clients, cls.answers = cls.run_of_all.clients, cls.run_of_all.answers()
        statuses = collections.Counter(answer.status for answer in cls.answers if answer.verdict == "error")
        waits = ((round(answer.took, 1), answer.kind, answer.status) for answer in cls.answers)
        longest = sorted(waits, reverse=True)[:3]
        print(cls.run_of_all.table() + f"Statuses of the errors (0: the connection): {dict(statuses)}")
        print(f"The longest waits, with request and status: {longest}")

    def confirmed(self, what):
        return {text: confirmed for client in self.clients for text, confirmed in getattr(client, what).items()}

    def check_rows(self, what, statement):
        """Each confirmed one is there once, each other one at most once; the same on each node."""
        confirmed = self.confirmed(what)
        self.assertGreater(sum(confirmed.values()), CLIENTS)
        for node in self.cluster.databases:
            there = collections.Counter(self.sql(node, statement).splitlines())
            wrong = {text: there[text] for text in confirmed if not confirmed[text] <= there[text] <= 1}
            self.assertEqual(wrong, {}, node.name)
            self.assertEqual(set(there) - set(confirmed), set(), node.name)
        print(f"{what}: {sum(confirmed.values())} confirmed, each there once; {sum(there.values())} there")

    def sql(self, node, statement):
        user, password = self.cluster.connection.partition("@")[0].split(":")
        return subprocess.run(["mariadb", "--no-defaults", "--host=127.0.0.1", f"--port={node.port}", f"--user={user}",
                               f"--password={password}", "--batch", "--skip-column-names", "--execute", statement,
                               "demo"], check=True, capture_output=True, text=True).stdout

    def test_every_confirmed_post_is_there_once(self):
        self.check_rows("posts", "select subject from messages where author like 'client %'")

    def test_every_confirmed_order_is_there_once(self):
        self.check_rows("orders", "select name from orders where name like 'Visitor %'")

    def test_every_count_came_out_once(self):
        counts = [count for client in self.clients for count in client.counts]
        self.assertEqual(len(counts), len(set(counts)))
        for client in self.clients:
            self.assertEqual(client.counts, sorted(client.counts))
        last = int((self.cluster.shared / "run/counted.count").read_text())
        failed = sum(answer.kind == "count" and answer.verdict == "error" for answer in self.answers)
        self.assertLessEqual(max(counts), last)
        self.assertLessEqual(last - len(counts), failed)
        print(f"counts: {len(counts)} came out, each once; the file says {last}; {failed} requests for one failed")

    def test_no_page_is_wrong(self):
        wrong = [answer for answer in self.answers if answer.verdict == "wrong"]
        self.assertEqual(len(wrong), 0, "the first one:\n" + "\n".join(map(str, wrong[0])) if wrong else "")


if __name__ == "__main__":
    if "--rounds" in sys.argv:
        at = sys.argv.index("--rounds")
        ROUNDS = int(sys.argv[at + 1])
        del sys.argv[at:at + 2]
    unittest.main()
