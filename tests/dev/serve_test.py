"""quillet-dev serve: what Apache with our configuration gives, and what authors see besides."""

import html
import http.client
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

from dev_site import TIMEOUT, TOOL  # noqa: E402
from page_requests import PageRequests  # noqa: E402
from served_dev import DevServer, ServedByDev  # noqa: E402


class AsApache(PageRequests, ServedByDev):
    options = ("--plain",)


class Files(ServedByDev):
    files = {"www/style.css": "a{}", "www/shop/index.html": "the shop", "www/empty/x.txt": "x", "www/a.gif": b"GIF",
             "www/odd.html/inner.txt": "x",
             "www/page.html": "^header[Status;404 Not Found]^header[X;1]none", "www/away.html": "^header[Location;http://x/]a",
            
             "www/user.html": "(^env[REMOTE_USER]|^env[HTTP_AUTHORIZATION]|^env[HTTP_PROXY]|^env[SERVER_PORT])"}
    options = ("--plain", "--user", "ann")

    def test_content_types(self):
        for path, content_type in (("/style.css", "text/css"), ("/a.gif", "image/gif")):
            self.assertEqual(self.ask(path).headers["Content-Type"], content_type)

    def test_a_folder_without_a_slash_leads_to_the_one_with_it(self):
        reply = self.ask("/shop")
        self.assertEqual((reply.status, reply.headers["Location"]), (301, "/shop/"))

    def test_a_folder_without_an_index_page_is_refused(self):
        self.assertEqual(self.ask("/empty/").status, 403)

    def test_nothing_is_found_in_a_folder_with_the_name_of_a_page(self):
        self.assertEqual(self.ask("/odd.html/inner.txt").status, 404)

    def test_a_file_takes_no_post(self):
        self.assertEqual(self.post("/style.css", "a=1").status, 405)

    def test_a_page_chooses_its_status(self):
        reply = self.ask("/page.html")
        self.assertEqual((reply.status, reply.headers["X"], reply.text()), (404, "1", "none"))

    def test_a_redirect_to_another_server_is_the_client_s(self):
        reply = self.ask("/away.html")
        self.assertEqual((reply.status, reply.headers["Location"]), (302, "http://x/"))

    def test_the_visitor_is_the_one_named(self):
        text = self.ask("/user.html", headers={"Authorization": "Basic eDp5", "Proxy": "p"}).text()
        self.assertEqual(text, f"(ann|||{self.demo.port})")

    def test_a_post_without_a_body(self):
        self.assertEqual(self.ask_raw_method("POST", "/user.html").status, 200)

    def ask_raw_method(self, method, target):
        return self.ask(target, method)


class Hosts(ServedByDev):
    files = {"www/index.html": "front"}
    options = ("--plain",)

    def test_only_names_of_this_machine_are_answered(self):
        port = self.demo.port
        for host, status in (("localhost", 200), (f"localhost:{port}", 200), (f"127.0.0.1:{port}", 200), ("[::1]", 200),
                             ("evil.example", 403), (f"evil.example:{port}", 403), ("localhost.evil.example", 403),
                             ("", 403)):
            for target in ("/", "/.quillet-dev/", "/.quillet-dev/changes") if status == 403 else ("/", "/.quillet-dev/"):
                with self.subTest(host=host, target=target):
                    self.assertEqual(self.ask(target, headers={"Host": host}).status, status)

    def test_nobody_outside_this_machine_can_ask(self):
        listening = []
        for table in ("tcp", "tcp6"):
            for line in pathlib.Path("/proc/net", table).read_text().splitlines()[1:]:
                address, state = line.split()[1], line.split()[3]
                if state == "0A" and address.endswith(f":{self.demo.port:04X}"):
                    listening.append(address.split(":")[0])
        self.assertEqual(listening, ["0100007F"])  # 127.0.0.1, its bytes in the order of this machine


class Panels(ServedByDev):
    files = {
        "www/index.html": "<html><BODY>^macro[greet;^form[name]]^include[none.html]</BODY></html>",
        "www/bare.html": "^rem[]<p>x</p>",
        "www/plain.html": "^header[Content-Type;text/plain]<body></body>",
        "www/style.css": "<body></body>",
        "www/evil.html": "^rem[<script>alert(1)</script>]^nosuch[<b>&\"']^autoexec[]x",
        "www/latin.html": b"\xe4^nosuch\xe4[]",
        "run/_macro.cfg": "@greet[who]\n<p>Hello, $who! ^nosuch[]</p>\n@autoexec\nlost\n",
    }
    options = ("--editor", "edit:{path}?l={line}&c={column}")

    def panel_of(self, target):
        number = re.search(r'data-request="(\d+)"', self.ask(target).text())[1]
        return self.ask("/.quillet-dev/request/" + number)

    def test_a_button_is_put_into_pages(self):
        self.assertRegex(self.ask("/").text(),
                         r'</p><script src="/\.quillet-dev/panel\.js" data-request="\d+"></script></BODY></html>$')
        self.assertRegex(self.ask("/bare.html").text(), r'^<p>x</p><script[^>]*></script>$')

    def test_the_length_is_that_of_what_is_sent(self):
        reply = self.ask("/bare.html")
        self.assertEqual(int(reply.headers["Content-Length"]), len(reply.body))

    def test_only_html_gets_a_button(self):
        self.assertEqual(self.ask("/plain.html").text(), "<body></body>")
        self.assertEqual(self.ask("/style.css").text(), "<body></body>")

    def test_switched_off_no_byte_of_a_page_is_another_one(self):
        self.post("/.quillet-dev/switch", "panel=off")
        self.addCleanup(self.post, "/.quillet-dev/switch", "panel=on")
        self.assertEqual(self.ask("/bare.html").text(), "<p>x</p>")

    def test_messages_with_places_and_chains(self):
        text = self.panel_of("/?name=Ann").text()
        macro, page = self.site_path / "run/_macro.cfg", self.site_path / "www/index.html"
        self.assertIn("[invalid operator nosuch]", text)
        for path, line, column in ((macro, 2, 17), (page, 1, 13), (page, 1, 38)):
            address = html.escape(f"edit:{str(path).replace(' ', '%20')}?l={line}&c={column}")
            self.assertIn(f'href="{address}"', text)
        self.assertIn("in macro greet", text)

    def test_missing_files_dropped_output_and_the_request(self):
        text = self.panel_of("/?name=Ann").text()
        for shown in ("Missing files", "include: ", "www/none.html", "the output of autoexec", "QUERY_STRING",
                      "name=Ann", "Content-Type", "^form[name]"):
            self.assertIn(html.escape(shown), text)

    def test_what_a_page_holds_is_no_markup_of_the_panel(self):
        text = self.panel_of("/evil.html").text()
        self.assertNotIn("<script>alert", text)
        self.assertNotIn("<b>&\"", text)
        self.assertIn("&lt;script&gt;alert(1)", text)

    def test_bytes_that_are_no_utf_8_are_shown_as_numbers(self):
        self.assertIn(r"[invalid operator nosuch\xe4]", self.panel_of("/latin.html").text())

    def test_the_list_of_requests(self):
        self.ask("/bare.html?list")
        text = self.ask("/.quillet-dev/").text()
        self.assertRegex(text, r'<a href="/\.quillet-dev/request/\d+">GET /bare\.html\?list</a> 200')

    def test_the_terminal_shows_requests_and_notes(self):
        self.ask("/?terminal")
        self.assertRegex(self.server.said(), r"GET /\?terminal 200 [\d.]+ ms\n  .*run/_macro\.cfg:2:17: \[invalid operator "
                                             r"nosuch\]\n      in macro greet, from .*www/index\.html:1:13\n")

    def test_other_addresses_of_the_panel(self):
        for target in ("/.quillet-dev/none", "/.quillet-dev/request/0", "/.quillet-dev"):
            self.assertIn(self.ask(target).status, (403, 404), target)


class Limits(ServedByDev):
    files = {"www/long.html": "^for[i;1;1000000;^for[k;1;1000000;^rem[]]]"}
    options = ("--plain", "--seconds", "1")

    def test_a_page_that_takes_too_long(self):
        self.assertEqual(self.ask("/long.html").status, 500)
        text = self.ask("/.quillet-dev/request/1").text()
        self.assertIn("Stopped after 1 seconds.", text)
        self.assertIn("[stopped: the time is over]", text)


class Changes(ServedByDev):
    files = {"www/index.html": "front", "www/count.html": "^counter[visits]^save[data;x^counter[visits]]written"}
    options = ("--plain",)

    def next_event(self, stream):
        """The next line that is an event; comments come while there is none."""
        while not (line := stream.readline()).startswith(b"data:"):
            self.assertTrue(line)
        return line

    def events(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.demo.port, timeout=TIMEOUT)
        self.addCleanup(connection.close)
        connection.request("GET", "/.quillet-dev/changes")
        reply = connection.getresponse()
        self.assertEqual(reply.headers["Content-Type"], "text/event-stream")
        return reply

    def test_a_changed_file_is_told(self):
        stream = self.events()
        (self.site_path / "www/new.txt").write_text("x")
        self.assertEqual(self.next_event(stream), b"data: change\n")
        (self.site_path / "run/_macro.cfg").write_text("x")
        self.assertEqual(self.next_event(stream), b"data: change\n")

    def test_what_pages_write_is_no_change(self):
        stream = self.events()
        self.ask("/count.html")
        for _ in range(2):  # one wait for changes each, which looks several times
            self.assertEqual(stream.readline(), b": nothing yet\n")
            stream.readline()


class EmptyFolders(ServedByDev):
    folders = ("www",)
    options = ("--plain",)

    def test_the_front_page_helps_to_start(self):
        reply = self.ask("/")
        self.assertEqual(reply.status, 404)
        self.assertIn("No index.html yet", reply.text())
        self.assertIn(str(self.site_path / "www"), reply.text())

    def test_the_page_that_it_shows_works_and_nothing_is_left_beside_it(self):
        shown = re.search(r"<pre>(.*)</pre>", self.ask("/").text(), re.S)[1]
        (self.site_path / "www/index.html").write_text(html.unescape(shown))
        self.addCleanup((self.site_path / "www/index.html").unlink)
        self.assertIn("<h1>Hello, Ann!</h1>", self.ask("/?name=Ann").text())
        self.assertIn("<h1>Hello, world!</h1>", self.ask("/").text())
        self.assertEqual(sorted(path.name for path in self.site_path.rglob("*")), ["index.html", "www"])


class Starting(ServedByDev):
    def test_a_port_that_is_taken(self):
        done = subprocess.run([TOOL, "serve", str(self.site_path), "--port", str(self.demo.port)], capture_output=True,
                              text=True, timeout=TIMEOUT, check=False)
        self.assertEqual((done.returncode, done.stderr), (
            2, f"quillet-dev serve: port {self.demo.port} cannot be had; another one: --port N\n"))

    def test_folders_that_are_not_there(self):
        file, nothing = self.site_path / "www/page.html", self.site_path / "www/nothing"
        file.write_text("x")
        for arguments, said in (([nothing], f"cannot read {nothing}"), ([file], f"{file} is no folder"),
                                ([nothing, "--root", self.site_path], f"cannot read {nothing}"),
                                ([self.site_path, "--root", file], f"{file} is no folder"),
                                ([self.site_path, "--site", nothing], f"cannot read {nothing}")):
            with self.subTest(arguments=arguments):
                done = subprocess.run([TOOL, "serve", *arguments, "--port", str(self.demo.port)], capture_output=True,
                                      text=True, timeout=TIMEOUT, check=False)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", f"quillet-dev serve: {said}\n"))

    def test_it_says_what_it_is_for(self):
        self.assertIn("For authors on this machine only, not for production.", self.server.said())

    def test_it_ends_while_a_browser_waits(self):
        server = DevServer(self.site_path, log=self.folder.path / "second.log")
        connection = http.client.HTTPConnection("127.0.0.1", server.port, timeout=TIMEOUT)
        self.addCleanup(connection.close)
        connection.request("GET", "/.quillet-dev/changes")
        connection.getresponse()
        self.assertEqual(server.stop(), 0)


if __name__ == "__main__":
    unittest.main()
