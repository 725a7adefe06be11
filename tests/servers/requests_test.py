#!/usr/bin/env python3
"""One list of requests for every web server: what is served and what is refused is the same everywhere.

    requests_test.py WEB_SERVER [unittest arguments]
"""

import base64
import contextlib
import hashlib
import os
import socket
import sys
import unittest

from web_servers import NAME, PASSWORD, WEB_SERVERS
from asking import Asking
from case_run import is_sanitized
from program import PROGRAM, ROOT, TIMEOUT, multipart

SERVER = sys.argv[1] if len(sys.argv) > 1 else "nginx-fcgi"
MEBIBYTE = 1048576
# The sanitizers make it slow.
LARGE = 4 * MEBIBYTE if is_sanitized(PROGRAM) else 100 * MEBIBYTE

# Where a server's own status differs: the table of the manual, by the first cell of its rows.
TABLE = (ROOT / "docs/deploying.md").read_text().partition("\n| request |")[2].partition("\n\n")[0]
STATUS = {line.split("|")[1].strip(): line.split("|")[2:] for line in TABLE.splitlines() if line.startswith("| ")}
COLUMNS = ["apache-cgi", "apache-fcgi", "nginx-fcgiwrap", "nginx-fcgi", "lighttpd"]
NAMES = "REQUEST_METHOD SCRIPT_NAME PATH_INFO PATH_TRANSLATED REQUEST_URI DOCUMENT_ROOT QUERY_STRING REMOTE_USER".split()
VISITOR = ("GATEWAY_INTERFACE SERVER_PROTOCOL SERVER_NAME SERVER_PORT REMOTE_ADDR CONTENT_TYPE CONTENT_LENGTH HTTP_ACCEPT "
           "HTTP_USER_AGENT HTTP_REFERER HTTP_COOKIE").split()
# Headers by which some servers are told to send a file in place of the page.
SENDING = ("X-Accel-Redirect", "X-Sendfile", "X-LIGHTTPD-send-file")
FILES = {
    "run/_macro.cfg": "@greet[who]\n<p>Hello, $who!</p>\n",
    "run/.profile": "SITE_NAME=The Quill\n",
    "www/index.html": "the front page\n",
    "www/hello.html": "^macro[greet;^form[name]]",
    "www/form.html": "^optimize[no]^form[a]|^combine[b;,]|^form[file]",
    "www/environment.html": "^optimize[no]" + "".join(f"{name}=^env[{name}]\n" for name in NAMES),
    "www/site.html": "^env[SITE_NAME]",
    "www/headers.html": "^header[X-One;1]^header[X-Two;a^form[x]b]body",
    "www/redirect.html": "^header[Location;^form[to]]moved",
    "www/moved.html": "^header[Status;303 See Other]^header[Location;/hello.html]moved",
    "www/status.html": "^header[Status;410 Gone]gone",
    "www/endless.html": "^for[i;1;2000000000;^rem[x]]",
    "www/plain.html": "^header[Content-Type;text/plain]<plain>",
    "www/charset.html": "^header[Content-Type;text/html^; charset=koi8-r]x",
    "www/send.html": "".join(f"^header[{name};^form[file]]" for name in SENDING) + "plain",
    "www/visitor.html": "^optimize[no]" + "".join(f"{name}=^env[{name}]\n" for name in VISITOR),
    "www/empty.html": "^rem[nothing]",
    "www/query.html": "^optimize[no]^query[]|^form[x]",
    "www/long.html": "x" * 4_000_000,
    "www/upload.html": "^upload[file;../run/uploaded]^stat[size;../run/uploaded]",
    "www/download.html": "^download[../run/uploaded]done",
    "www/shop/index.html": "the shop",
    "www/shop/_quillet.cfg": "@section[]\nShop\n",
    "www/shop/list.html": "^macro_use[quillet.cfg]^macro[section]",
    "www/members/index.html": "for ^user[]",
    "www/members/_data": "secret",
    "www/with blank.html": "^rem[]blank",
    "www/style.css": "^form[x]",
    "www/CAPITALS.HTML": "capitals ^sum[1;2]",
    "www/french.html.fr": "french ^sum[1;2]",
    "www/_data.html": "data",
    "www/.profile": "A=1\n",
    "www/_private/page.html": "private",
    "www/visits.count": "0000000001",
    "www/access_log": "log",
    "www/shop/error_log": "log",
}


class Requests(Asking, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = WEB_SERVERS[SERVER](FILES)
        cls.addClassCleanup(cls.server.stop)

    def port(self):
        return self.server.port

    def documented(self, request):
        """What the table says of this server."""
        return next(STATUS[request][k].strip() for k, name in enumerate(COLUMNS) if SERVER.startswith(name))

    def status(self, request):
        return int(self.documented(request)[:3])

    # What is served.

    def test_a_page_is_expanded_with_the_macros_of_the_working_directory(self):
        reply = self.ask("/hello.html?name=Ann")
        self.assertEqual((reply.status, reply.text()), (200, "<p>Hello, Ann!</p>"))

    def test_a_page_is_html_in_utf_8(self):
        self.assertEqual(self.ask("/hello.html").headers["Content-Type"].lower(), "text/html; charset=utf-8")

    def test_a_page_chooses_its_content_type(self):
        reply = self.ask("/plain.html")
        self.assertIn(reply.headers["Content-Type"].lower(), ("text/plain", "text/plain; charset=utf-8"))
        self.assertEqual(reply.text(), "<plain>")
        self.assertEqual(self.ask("/charset.html").headers["Content-Type"], "text/html; charset=koi8-r")

    def test_the_environment_names_the_page_and_not_the_program(self):
        www = self.server.site / "www"
        self.assertEqual(self.ask("/environment.html?x=1&y=2").text(),
                         "REQUEST_METHOD=GET\nSCRIPT_NAME=/cgi-bin/quillet\nPATH_INFO=/environment.html\n"
                         f"PATH_TRANSLATED={www}/environment.html\nREQUEST_URI=/environment.html?x=1&y=2\n"
                         f"DOCUMENT_ROOT={www}\nQUERY_STRING=x=1&y=2\nREMOTE_USER=\n")

    def test_the_environment_has_the_server_and_the_visitor(self):
        values = ["CGI/1.1", "HTTP/1.1", "127.0.0.1", str(self.port()), "127.0.0.1", "text/plain", "3", "text/html", "quill/1",
                  "http://example.org/x", "a=1; b=2"]
        headers = {"Content-Type": "text/plain", "Accept": "text/html", "User-Agent": "quill/1",
                   "Referer": "http://example.org/x", "Cookie": "a=1; b=2"}
        self.assertEqual(self.ask("/visitor.html", "POST", "abc", headers).text(),
                         "".join(f"{name}={value}\n" for name, value in zip(VISITOR, values)))

    def test_a_folder_shows_its_index_page(self):
        self.assertEqual([self.ask(path).text() for path in ("/", "/shop/")], ["the front page\n", "the shop"])

    def test_a_folder_without_its_slash_is_a_redirect(self):
        reply = self.ask("/shop")
        self.assertEqual((reply.status, reply.headers["Location"].endswith("/shop/")), (301, True))

    def test_the_configuration_along_the_path_of_the_page_is_read(self):
        self.assertEqual(self.ask("/shop/list.html").text(), "Shop")

    def test_the_settings_of_the_profile_are_read(self):
        self.assertEqual(self.ask("/site.html").text(), "The Quill")

    def test_a_page_whose_name_contains_a_blank(self):
        self.assertEqual(self.ask("/with%20blank.html").text(), "blank")

    def test_other_files_are_not_expanded(self):
        self.assertEqual(self.ask("/style.css?x=1").text(), "^form[x]")

    def test_the_extension_of_a_page_counts_in_upper_or_lower_case_and_before_a_language(self):
        self.assertEqual([self.ask(path).text() for path in ("/CAPITALS.HTML", "/french.html.fr")],
                         ["capitals 3", "french 3"])

    def test_doubled_slashes_name_the_same_page(self):
        for target in ("//hello.html?name=Ann", "/shop//index.html"):
            self.assertEqual(self.ask_raw(target).status, 200, target)

    # Forms.

    def test_fields_by_get(self):
        self.assertEqual(self.ask("/form.html?a=1+2&b=x&b=%79").text(), "1 2|x,y|")

    def test_a_query_without_an_equals_sign_is_no_argument_of_the_program(self):
        self.assertEqual(self.ask("/query.html?--help+x").text(), "--help+x|")

    def test_any_byte_in_the_query(self):
        self.assertEqual(self.ask_raw("/form.html?a=%FF%FE%0A%7F").body, b"\xff\xfe\n\x7f||")

    def test_fields_by_url_encoded_post(self):
        self.assertEqual(self.post("/form.html?b=query", "a=1+2&b=%79").text(), "1 2|query,y|")

    def test_fields_by_multipart_post(self):
        body, content_type = multipart([('name="a"', b"1 2"), ('name="b"', b"x"),
                                        ('name="file"; filename="f.bin"', b"\0\xff\r\n")])
        self.assertEqual(self.post("/form.html", body, content_type).text(), "1 2|x|(file)")

    def test_a_body_of_five_megabytes(self):
        self.assertEqual(self.post("/form.html", "a=small&b=" + "x" * 5_000_000).text()[:8], "small|xx")

    def test_a_body_in_chunks(self):
        reply = self.ask("/form.html", "POST", iter([b"a=", b"1"]), in_chunks=True,
                         headers={"Content-Type": "application/x-www-form-urlencoded", "Transfer-Encoding": "chunked"})
        self.assertEqual((reply.status, reply.text()), (200, "1||"))

    def test_a_body_that_no_page_reads(self):
        for size in (1, 1000, 1_000_000):
            reply = self.post("/hello.html?name=Ann", "x" * size, "text/plain")
            self.assertEqual((reply.status, reply.text()), (200, "<p>Hello, Ann!</p>"))
        self.assertIn("unable to print", self.post("/empty.html", "x" * 1000, "text/plain").text())

    def test_a_body_beyond_the_limit_is_refused(self):
        head = f"POST /form.html HTTP/1.0\r\nContent-Length: {128 * MEBIBYTE + 1}\r\n\r\n"
        with socket.create_connection(("127.0.0.1", self.server.port), TIMEOUT) as stream:
            stream.sendall(head.encode())
            self.assertIn(b" 413 ", stream.makefile("rb").readline())

    def test_a_body_in_chunks_beyond_the_limit_is_refused(self):
        head = (b"POST /form.html HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\nTransfer-Encoding: chunked\r\n"
                b"Content-Type: application/x-www-form-urlencoded\r\n\r\n")
        chunk = b"%x\r\n%b\r\n" % (MEBIBYTE, b"x" * MEBIBYTE)
        with socket.create_connection(("127.0.0.1", self.server.port), TIMEOUT) as stream:
            with contextlib.suppress(ConnectionError):  # a server may refuse it before the end
                stream.sendall(head)
                for _ in range(129):
                    stream.sendall(chunk)
                stream.sendall(b"0\r\n\r\n")
            self.assertIn(b" 413 ", stream.makefile("rb").readline())

    def test_a_form_that_cannot_be_decoded_is_an_error_of_the_server(self):
        reply = self.post("/form.html", "a=1", "multipart/form-data")
        self.assertEqual(reply.status, self.status("a page that ends without a response"))

    def test_a_page_that_computes_too_long_is_an_error_of_the_server(self):
        self.assertEqual(self.ask("/endless.html").status, self.status("a process that exceeds its limits"))

    def test_a_large_file_up_and_down(self):
        content = os.urandom(MEBIBYTE) * (LARGE // MEBIBYTE)
        body, content_type = multipart([('name="file"; filename="f.bin"', content)])
        self.assertEqual(self.post("/upload.html", body, content_type).text(), str(LARGE))
        reply = self.ask("/download.html")
        said = self.documented("length of a [download](operators/transfer.md#download)")
        self.assertEqual(reply.headers["Content-Length"], None if said == "not said" else str(LARGE))
        self.assertEqual(hashlib.sha256(reply.body).digest(), hashlib.sha256(content).digest())

    # Responses.

    def test_header_lines_of_a_page_arrive(self):
        reply = self.ask("/headers.html")
        self.assertEqual((reply.headers["X-One"], reply.headers["X-Two"], reply.text()), ("1", "ab", "body"))

    def test_a_line_feed_in_a_header_value_starts_no_new_header(self):
        reply = self.ask("/headers.html?x=%0AX-Evil:+1%0A")
        self.assertEqual((reply.headers["X-Two"], reply.headers["X-Evil"]), ("a X-Evil: 1 b", None))

    def test_a_page_chooses_its_status(self):
        reply = self.ask("/status.html")
        self.assertEqual((reply.status, reply.text()), (410, "gone"))

    def test_a_redirect_with_a_status(self):
        reply = self.ask("/moved.html")
        self.assertEqual((reply.status, reply.headers["Location"].endswith("/hello.html")), (303, True))

    def test_a_redirect_to_another_server(self):
        reply = self.ask("/redirect.html?to=http://example.org/x")
        self.assertEqual((reply.status, reply.headers["Location"]), (302, "http://example.org/x"))

    def test_a_local_redirect(self):
        reply = self.ask("/redirect.html?to=/hello.html%3Fname=Ann")
        self.assertEqual(reply.status, self.status("`^header[Location;/page.html]` without a status"))
        if reply.status == 200:
            self.assertEqual(reply.text(), "<p>Hello, Ann!</p>")
        else:
            self.assertTrue(reply.headers["Location"].endswith("/hello.html?name=Ann"), reply.headers["Location"])

    def test_head_gives_the_headers_alone(self):
        reply = self.ask("/hello.html?name=Ann", "HEAD")
        self.assertEqual((reply.status, reply.body), (200, b""))

    def test_a_page_without_output_is_the_error_page(self):
        reply = self.ask("/empty.html")
        self.assertEqual(reply.status, 200)
        self.assertIn("unable to print", reply.text())

    def test_a_large_page_arrives_whole(self):
        self.assertEqual(self.ask("/long.html").body, b"x" * 4_000_000)

    def test_many_and_long_headers(self):
        headers = {f"X-Header-{k}": "x" * 50 for k in range(60)} | {"Cookie": "a=" + "x" * 3500}
        self.assertEqual(self.ask("/hello.html?name=Ann", headers=headers).text(), "<p>Hello, Ann!</p>")

    def test_headers_and_addresses_that_are_too_long_are_refused(self):
        self.assertEqual(self.ask("/hello.html", headers={"Cookie": "a=" + "x" * 20000}).status,
                         self.status("header lines of 20 kB"))
        self.assertEqual(self.ask("/hello.html?" + "x" * 20000).status, self.status("an address of 20 kB"))

    # Passwords.

    def test_a_folder_with_a_password(self):
        word = base64.b64encode(f"{NAME}:{PASSWORD}".encode()).decode()
        for path in ("/members/", "/members/index.html"):
            self.assertEqual(self.ask(path).status, 401, path)
            reply = self.ask(path, headers={"Authorization": "Basic " + word})
            self.assertEqual((reply.status, reply.text()), (200, "for ann"))
        self.assertEqual(self.ask("/members/_data", headers={"Authorization": "Basic " + word}).status, 403)

    def test_a_visitor_cannot_bring_a_name_along(self):
        headers = ("Remote-User", "REMOTE_USER", "Redirect-Remote-User", "X-Remote-User")
        reply = self.ask_raw("/environment.html", [f"{name}: eve" for name in headers])
        self.assertIn("REMOTE_USER=\n", reply.text())

    # What is refused.

    def test_the_program_is_refused_at_every_spelling_of_its_address(self):
        for target in ("/cgi-bin/quillet", "/cgi-bin/quillet/hello.html?name=x", "/cgi-bin/%71uillet/hello.html",
                       "//cgi-bin/quillet/hello.html", "/cgi-bin//quillet//hello.html",
                       "/x/../cgi-bin/quillet/hello.html", "/%2e/cgi-bin/quillet/hello.html"):
            self.assertEqual(self.ask_raw(target).status, 403, target)

    def test_no_redirect_inside_the_server_reaches_the_program_past_its_rules(self):
        for target in ("/cgi-bin/quillet/members/index.html", "/cgi-bin/%2571uillet/members/index.html",
                       "/cgi-bin/quillet", "//cgi-bin//quillet/members/index.html"):
            reply = self.ask("/redirect.html?to=" + target)
            self.assertEqual(reply.status, self.status("the same with the program's own address"), target)
            self.assertNotIn("for ", reply.text())
        reply = self.ask("/redirect.html?to=/members/index.html")
        self.assertEqual(reply.status, self.status("the same with a page that asks for a password"))
        self.assertNotIn("for ", reply.text())

    def test_a_password_is_asked_for_at_every_spelling_of_the_address(self):
        for target in ("/members//index.html", "//members/index.html", "/%6dembers/index.html", "/members/./index.html",
                       "/shop/../members/index.html", "/shop/%2e%2e//members/index.html"):
            self.assertEqual(self.ask_raw(target).status, 401, target)
        reply = self.ask_raw("/members%2Findex.html")
        self.assertEqual(reply.status, 404 if self.status("`/directory%2Fpage.html`") == 404 else 401)

    def test_a_header_of_a_page_sends_no_other_file(self):
        for file in ("/members/_data", "/_data.html", self.server.site / "www/_data.html", "/etc/passwd"):
            reply = self.ask(f"/send.html?file={file}")
            self.assertEqual((reply.status, reply.text()), (200, "plain"), file)

    def test_data_and_configuration_are_refused(self):
        for target in ("/_data.html", "/%5Fdata.html", "/shop/_quillet.cfg", "/shop/../_data.html", "/_nothing",
                       "/.profile", "/%2Eprofile", "/shop/.htaccess", "/_private/page.html", "/visits.count",
                       "/visits%2Ecount", "/visits.count/x", "/access_log", "/access_log/x", "/shop/error_log",
                       "/shop/error_log/"):
            self.assertEqual(self.ask_raw(target).status, 403, target)

    def test_the_working_directory_is_out_of_reach(self):
        expected = self.status("`/../x`, above the document root")
        for target in ("/../run/_macro.cfg", "/%2e%2e/run/error_log", "/shop/%2e%2e/%2e%2e/run/.profile"):
            self.assertEqual(self.ask_raw(target).status, expected, target)
        self.assertEqual(self.ask_raw("/shop/..%2f..%2frun/_macro.cfg").status,
                         self.status("the same with `%2f`"))

    def test_a_missing_page_is_not_found(self):
        for target in ("/missing.html", "/missing.html?x=1", "/shop/missing/page.html", "/missing.css"):
            self.assertEqual(self.ask(target).status, 404, target)

    def test_a_url_that_continues_after_a_page_names_nothing(self):
        for target in ("/hello.html/", "/hello.html/more", "/hello.html/more.html?x=1", "/CAPITALS.HTML/%3Cb%3E",
                       "/french.html.fr/%3Cb%3E", "/style.css/x"):
            self.assertEqual(self.ask(target).status, self.status("`/page.html/x`, after a page or another file"), target)

    def test_an_encoded_slash_names_no_other_page(self):
        reply = self.ask_raw("/shop%2Flist.html")
        self.assertEqual(reply.status, self.status("`/directory%2Fpage.html`"))
        if reply.status == 200:
            self.assertEqual(reply.text(), "Shop")

    def test_methods_that_no_page_is_made_for(self):
        self.assertEqual(self.ask("/hello.html", "TRACE").status, self.status("method `TRACE`"))
        self.assertEqual(self.ask("/hello.html", "BREW").status, self.status("an unknown method"))
        self.assertEqual(self.post("/style.css", "x").status, self.status("`POST` to a file that is not a page"))

    # Visitors who are slow, or go away.

    def test_a_slow_visitor_holds_nobody_up(self):
        with socket.create_connection(("127.0.0.1", self.server.port), TIMEOUT) as slow:
            slow.sendall(b"POST /form.html HTTP/1.1\r\nHost: localhost\r\nContent-Length: 3\r\n"
                         b"Content-Type: application/x-www-form-urlencoded\r\n\r\na")
            self.assertEqual(self.ask("/hello.html?name=Ann").text(), "<p>Hello, Ann!</p>")
            slow.sendall(b"=1")
            self.assertEqual(self.reply(slow).text(), "1||")

    def test_visitors_who_read_slowly_hold_nobody_up(self):
        streams = [socket.create_connection(("127.0.0.1", self.server.port), TIMEOUT) for _ in range(3)]
        for stream in streams:
            stream.sendall(b"GET /long.html HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n")
            self.assertEqual(stream.recv(1, socket.MSG_PEEK), b"H")
        self.assertEqual(self.ask("/hello.html?name=Ann").text(), "<p>Hello, Ann!</p>")
        for stream in streams:
            with stream:
                self.assertEqual(len(self.reply(stream).text()), 4_000_000)

    def test_a_visitor_who_goes_away(self):
        for request in (b"POST /form.html HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000\r\n"
                        b"Content-Type: application/x-www-form-urlencoded\r\n\r\na=1",
                        b"GET /long.html HTTP/1.1\r\nHost: localhost\r\n\r\n", b"GET /hel"):
            with socket.create_connection(("127.0.0.1", self.server.port), TIMEOUT) as stream:
                stream.sendall(request)
        self.assertEqual(self.ask("/hello.html?name=Ann").text(), "<p>Hello, Ann!</p>")

    def test_many_visitors_at_the_same_time(self):
        streams = [socket.create_connection(("127.0.0.1", self.server.port), TIMEOUT) for _ in range(50)]
        for k, stream in enumerate(streams):
            stream.sendall(f"GET /hello.html?name={k} HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n".encode())
        for k, stream in enumerate(streams):
            with stream:
                self.assertEqual(self.reply(stream).text(), f"<p>Hello, {k}!</p>")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
