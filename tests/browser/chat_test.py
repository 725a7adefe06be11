"""The demo site's chat, calendar and labels in real browsers."""

import contextlib
import select
import socket
import socketserver
import threading
import unittest

from browsed_site import BrowsedSite
from browser import wait_for
from screenshot import decode
from served_site import example_site

BLUE, RED, WHITE = "1F3F77", "9C2F23", "FFFFFF"


class FromAddress(socketserver.ThreadingTCPServer):
    """Hands connections on to the site, so that they come from another loopback address."""

    daemon_threads = True

    def __init__(self, address, port):
        self.source, self.target = address, ("127.0.0.1", port)
        super().__init__(("127.0.0.1", 0), HandOn)
        self.thread = threading.Thread(target=self.serve_forever)
        self.thread.start()

    def close(self):
        self.shutdown()
        self.thread.join()
        self.server_close()


class HandOn(socketserver.BaseRequestHandler):
    def handle(self):
        with contextlib.suppress(OSError), \
                socket.create_connection(self.server.target, source_address=(self.server.source, 0)) as site:
            other = {self.request: site, site: self.request}
            while True:
                for stream in select.select(list(other), [], [])[0]:
                    data = stream.recv(65536)
                    if not data:
                        return
                    other[stream].sendall(data)


class Pages(BrowsedSite):
    files = example_site() | {"run/chat/admin/banned": b"127.0.9.\n"}

    def enter(self, name, ink="blue", address=None):
        """A browser that asked to come in under the name."""
        port = self.demo.port
        if address:
            server = FromAddress(address, port)
            self.addCleanup(server.close)
            port = server.server_address[1]
        browser = self.new_browser()
        browser.open(f"http://localhost:{port}/chat/")
        browser.type("input[name=login]", name)
        for field, value in (("color", ink), ("refresh_chat", "3"), ("refresh_userlist", "5")):
            browser.click(f"select[name={field}] option[value='{value}']")
        browser.click("article form button")
        # Of what is written at the same moment one may be lost: the others wait for the answer.
        browser.find("iframe.lines, .complaints")
        return browser

    def said(self, browser):
        """The lines of the room as they are seen, the oldest first, without their times."""
        lines = browser.run("return Array.from(frames.lines.document.querySelectorAll('.said p[class]:not(.quiet)'), "
                            "line => [getComputedStyle(line).color, line.innerText])")
        return [(color, text[:-len(" 12:00")]) for color, text in lines]

    def say(self, browser, text):
        browser.type("input[name=message]", text)
        browser.click("form.search button")
        wait_for(lambda: browser.run("return document.querySelector('[name=message]').value === ''"), "an empty field")

    def await_said(self, browser, expected):
        wait_for(lambda: self.said(browser) == expected, f"the lines {expected}")

    def test_two_browsers_chat_and_a_third_cannot_take_their_name(self):
        ann, bob = self.enter("ann lee", "red"), self.enter("bob")
        self.say(ann, "Is the <b>glue</b> dry? :-)")
        first = ("rgb(156, 47, 35)", "ann lee Is the <b>glue</b> dry? ☺")
        self.await_said(bob, [first])
        self.say(bob, "Not yet.")
        second = ("rgb(31, 63, 119)", "bob Not yet.")
        self.await_said(ann, [first, second])
        wait_for(lambda: ann.run("return Array.from(frames.users.document.querySelectorAll('li'), e => e.innerText)") ==
                 ["ann lee", "bob"], "both names in the list")

        third = self.enter("bob", address="127.0.0.3")
        self.assertEqual(third.texts(".complaints"), ["Somebody in the room has that name. Please take another one."])
        self.assertEqual(third.find_all("iframe"), [])
        self.await_said(bob, [first, second])

    def test_a_banned_address_stays_outside(self):
        banned = self.enter("cleo", address="127.0.9.1")
        self.assertEqual(banned.texts(".complaints"), ["You cannot come in."])
        self.assertEqual(banned.find_all("iframe"), [])

    def test_the_calendar_leads_from_a_day_to_its_week(self):
        browser = self.new_browser()
        browser.open(f"http://localhost:{self.demo.port}/workshops/calendar.html?day=2026.2.1")
        self.assertEqual(browser.texts("h1"), ["February 2026"])
        self.assertEqual(len(browser.find_all(".month td a")), 28)
        browser.click(".steps a:last-child")
        wait_for(lambda: browser.texts("h1") == ["March 2026"], "the next month")
        browser.click(".month a[href$='2026.03.12']")
        wait_for(lambda: browser.texts(".month .chosen") == ["12"], "the chosen day")
        self.assertEqual(browser.texts(".week th")[3:6], ["Thu 12.3.", "Fri 13.3.", "Sat 14.3."])

    def test_a_workshop_is_marked_in_the_calendar_and_named_in_its_week(self):
        browser = self.new_browser()
        browser.open(f"http://localhost:{self.demo.port}/workshops/")
        browser.click("aside li:nth-child(2) a")
        wait_for(lambda: browser.find_all(".month .chosen.busy"), "the day of the workshop")
        self.assertEqual(browser.texts(".week td")[3], "Italic hand")

    def test_a_label_is_shown_in_its_size_and_colors(self):
        browser = self.new_browser()
        browser.request("POST", "/goog/cdp/execute", {"cmd": "Emulation.setDeviceMetricsOverride", "params": {
            "width": 1000, "height": 800, "deviceScaleFactor": 2, "mobile": False}})
        browser.open(f"http://localhost:{self.demo.port}/labels/?text=HI")
        for ink, color in (("blue", BLUE), ("red", RED)):
            selector = f".labels img[src$='ink={ink}']"
            wait_for(lambda: browser.run(f'return document.querySelector("{selector}").complete'), "the picture")
            pixels = decode(browser.screenshot(selector))
            # On a dense screen each pixel of the picture is one of the screen.
            self.assertEqual((len(pixels[0]), len(pixels)), (400, 72))
            inner = [row[12:-12] for row in pixels[12:-12]]
            self.assertEqual((inner[0][0], len({pixel for row in inner for pixel in row})), (color, 5))
            stems = [x for x in range(len(inner[0])) if all(row[x] == WHITE for row in inner[18:30])]
            self.assertEqual([right - left > 1 for left, right in zip(stems, stems[1:])].count(True), 2)


if __name__ == "__main__":
    unittest.main()
