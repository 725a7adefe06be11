"""Requests for pages, whoever serves them: what the program is given, what the client gets, what is refused."""

import http.client
import socket

from program import multipart

ENVIRONMENT = "REQUEST_METHOD SCRIPT_NAME PATH_INFO PATH_TRANSLATED REQUEST_URI DOCUMENT_ROOT QUERY_STRING".split()


class PageRequests:
    """For a class that serves `files` and asks as `ServedSite` does."""

    files = {
        "run/_macro.cfg": "@greet[who]\n<p>Hello, $who!</p>\n",
        "run/.profile": "SITE_NAME=The Quill\n",
        "www/index.html": "the front page\n",
        "www/hello.html": "^macro[greet;^form[name]]",
        "www/variables.html": "^var[a;one]^var[b;two]^var[b] ^var[a]",
        "www/form.html": "^optimize[no]^form[a]|^combine[b;,]|^form[file]",
        "www/environment.html": "^optimize[no]" + "".join(f"{name}=^env[{name}]\n" for name in ENVIRONMENT),
        "www/site.html": "^env[SITE_NAME]",
        "www/headers.html": "^header[X-One;1]^header[X-Two;a^form[x]b]body",
        "www/redirect.html": "^header[Location;^form[to]]",
        "www/plain.html": "^header[Content-Type;text/plain]<plain>",
        "www/empty.html": "^rem[nothing]",
        "www/query.html": "^optimize[no]^query[]|^form[x]",
        "www/large.html": "x" * 4_000_000,
        "www/shop/index.html": "the shop",
        "www/shop/_quillet.cfg": "@section[]\nShop\n",
        "www/shop/list.html": "^macro_use[quillet.cfg]^macro[section]",
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

    # What the program makes of a request.

    def test_a_page_is_expanded_with_the_macros_of_the_working_directory(self):
        self.assertEqual(self.ask("/hello.html?name=Ann").text(), "<p>Hello, Ann!</p>")

    def test_variables_are_expanded(self):
        self.assertEqual(self.ask("/variables.html").text(), "two one")

    def test_a_form_value_is_escaped(self):
        self.assertEqual(self.ask("/hello.html?name=%3Cscript%3E").text(), "<p>Hello, &lt;script&gt;!</p>")

    def test_fields_by_get(self):
        self.assertEqual(self.ask("/form.html?a=1+2&b=x&b=%79").text(), "1 2|x,y|")

    def test_fields_by_url_encoded_post(self):
        self.assertEqual(self.post("/form.html", "a=1+2&b=x&b=%79").text(), "1 2|x,y|")

    def test_fields_of_the_query_come_before_those_of_the_body(self):
        self.assertEqual(self.post("/form.html?b=query", "b=body").text(), "|query,body|")

    def test_fields_by_multipart_post(self):
        body, content_type = multipart([('name="a"', b"1 2"), ('name="b"', b"x"), ('name="b"', b"y"),
                                        ('name="file"; filename="f.bin"', b"\0\xff\r\n")])
        self.assertEqual(self.post("/form.html", body, content_type).text(), "1 2|x,y|(file)")

    def test_the_settings_of_the_profile_are_read(self):
        self.assertEqual(self.ask("/site.html").text(), "The Quill")

    def test_the_configuration_along_the_path_of_the_page_is_read(self):
        self.assertEqual(self.ask("/shop/list.html").text(), "Shop")

    def test_the_environment_names_the_page_and_not_the_program(self):
        page = self.site_path / "www/environment.html"
        self.assertEqual(self.ask("/environment.html?x=1&y=2").text(),
                         "REQUEST_METHOD=GET\nSCRIPT_NAME=/cgi-bin/quillet\nPATH_INFO=/environment.html\n"
                         f"PATH_TRANSLATED={page}\nREQUEST_URI=/environment.html?x=1&y=2\n"
                         f"DOCUMENT_ROOT={self.site_path / 'www'}\nQUERY_STRING=x=1&y=2\n")

    def test_a_query_without_an_equals_sign_is_no_argument_of_the_program(self):
        self.assertEqual(self.ask("/query.html?--help+x").text(), "--help+x|")

    def test_a_directory_shows_its_index_page(self):
        self.assertEqual(self.ask("/shop/").text(), "the shop")

    def test_a_page_whose_name_contains_a_space(self):
        self.assertEqual(self.ask("/with%20blank.html").text(), "blank")

    def test_other_files_are_not_expanded(self):
        self.assertEqual(self.ask("/style.css?x=1").text(), "^form[x]")

    # The response.

    def test_a_page_is_html(self):
        reply = self.ask("/hello.html?name=Ann")
        self.assertEqual((reply.status, reply.headers["Content-Type"]), (200, "text/html; charset=utf-8"))

    def test_header_lines_of_a_page_arrive(self):
        reply = self.ask("/headers.html")
        self.assertEqual((reply.headers["X-One"], reply.headers["X-Two"], reply.text()), ("1", "ab", "body"))

    def test_a_line_feed_in_a_header_value_starts_no_new_header(self):
        reply = self.ask("/headers.html?x=%0AX-Evil:+1%0A")
        self.assertEqual((reply.headers["X-Two"], reply.headers["X-Evil"]), ("a X-Evil: 1 b", None))

    def test_a_page_chooses_its_content_type(self):
        reply = self.ask("/plain.html")
        self.assertEqual((reply.headers["Content-Type"], reply.text()), ("text/plain; charset=utf-8", "<plain>"))

    def test_head_gives_the_headers_alone(self):
        reply = self.ask("/hello.html?name=Ann", "HEAD")
        self.assertEqual((reply.status, reply.headers["Content-Type"], reply.body), (200, "text/html; charset=utf-8", b""))

    def test_a_page_without_output_is_the_error_page(self):
        reply = self.ask("/empty.html")
        self.assertEqual((reply.status, reply.headers["Content-Type"]), (200, "text/html; charset=utf-8"))
        self.assertEqual(reply.text(), "<html><head><title>Error!</title></head><body bgcolor=white><h2>\n"
                         f"unable to print {self.site_path}/www/empty.html</h2></body></html>")

    def test_the_error_page_leaves_two_lines_in_the_error_log(self):
        self.ask("/empty.html")
        log = (self.site_path / "run/error_log").read_text()
        page = f"{self.site_path}/www/empty.html"
        self.assertIn(f"] {page}: script error by host 127.0.0.1\n", log)
        self.assertIn(f"] {page}: unable to print {page}\n", log)

    def test_one_connection_asks_for_many_pages(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.demo.port, timeout=120)
        self.addCleanup(connection.close)
        for name in ("Ann", "Bob", "Cleo"):
            connection.request("GET", "/hello.html?name=" + name)
            self.assertEqual(connection.getresponse().read().decode(), f"<p>Hello, {name}!</p>")

    # Input of every shape.

    def test_a_body_of_five_megabytes(self):
        reply = self.post("/form.html", "a=small&b=" + "x" * 5_000_000)
        self.assertEqual(reply.text()[:8], "small|xx")

    def test_a_field_beyond_the_longest_is_named_in_the_page(self):
        reply = self.post("/hello.html", "name=" + "x" * 600_000)
        self.assertEqual(reply.text(), "<p>Hello, [form element name exceeds maxlength]!</p>")

    def test_a_body_in_chunks(self):
        reply = self.ask("/form.html", "POST", iter([b"a=", b"1"]), in_chunks=True,
                         headers={"Content-Type": "application/x-www-form-urlencoded", "Transfer-Encoding": "chunked"})
        self.assertEqual(reply.text(), "1||")

    def test_a_multipart_body_without_a_boundary_is_an_error_of_the_server(self):
        self.assertEqual(self.post("/form.html", "a=1", "multipart/form-data").status, 500)

    def test_any_byte_in_the_query(self):
        self.assertEqual(self.ask_raw("/form.html?a=%FF%FE%0A%7F&b=%").body, b"\xff\xfe\n\x7f||")

    def test_a_client_that_goes_away_before_the_end_of_its_body(self):
        with socket.create_connection(("127.0.0.1", self.demo.port)) as stream:
            stream.sendall(b"POST /form.html HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000\r\n"
                           b"Content-Type: application/x-www-form-urlencoded\r\n\r\na=1")
        self.assertEqual(self.ask("/variables.html").text(), "two one")

    def test_a_client_that_goes_away_before_the_end_of_the_page(self):
        with socket.create_connection(("127.0.0.1", self.demo.port)) as stream:
            stream.sendall(b"GET /large.html HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.assertEqual(stream.recv(8), b"HTTP/1.1")
        self.assertEqual(self.ask("/variables.html").text(), "two one")

    def test_a_large_page_arrives_whole(self):
        self.assertEqual(self.ask("/large.html").body, b"x" * 4_000_000)

    # What is refused.

    def assert_refused(self, target):
        reply = self.ask_raw(target)
        self.assertEqual(reply.status, 403, target)
        self.assertIn("You don't have permission", reply.text())

    def test_the_program_is_refused_at_its_own_address(self):
        self.assert_refused("/cgi-bin/quillet")
        self.assert_refused("/cgi-bin/quillet/hello.html?name=x")

    def test_the_program_is_refused_at_every_spelling_of_its_address(self):
        for target in ("/cgi-bin/%71uillet/hello.html", "/cgi-bin/%71uillet", "//cgi-bin/quillet/hello.html",
                       "/cgi-bin//quillet//hello.html", "/x/../cgi-bin/quillet/hello.html",
                       "/%2e/cgi-bin/quillet/hello.html", "/x/%2e%2e/cgi-bin/%71uillet/hello.html",
                       "http://localhost/cgi-bin/quillet/hello.html"):
            self.assert_refused(target)

    def test_a_client_cannot_pretend_a_redirection(self):
        reply = self.ask_raw("/cgi-bin/%71uillet/hello.html", ["REDIRECT_STATUS: 200", "Redirect-Status: 200"])
        self.assertEqual(reply.status, 403)

    def test_a_page_can_redirect_to_another_page_inside_the_server(self):
        self.assertEqual(self.ask("/redirect.html?to=/hello.html%3Fname=Ann").text(), "<p>Hello, Ann!</p>")

    def test_no_redirect_inside_the_server_reaches_the_program_past_its_rules(self):
        for target in ("/cgi-bin/quillet/hello.html", "/cgi-bin/%2571uillet/hello.html", "/cgi-bin/quillet",
                       "//cgi-bin//quillet/hello.html", "/x/../cgi-bin/quillet/hello.html"):
            reply = self.ask("/redirect.html?to=" + target)
            self.assertEqual((reply.status, reply.text()), (403, "403 Forbidden\n"), target)

    def test_a_body_beyond_the_limit_is_refused(self):
        head = (b"POST /form.html HTTP/1.0\r\nContent-Type: application/x-www-form-urlencoded\r\n"
                b"Content-Length: %d\r\n\r\n")
        with socket.create_connection(("127.0.0.1", self.demo.port)) as stream:
            stream.sendall(head % (128 * 1024 * 1024 + 1))
            self.assertIn(b" 413 ", stream.makefile("rb").readline())

    def test_the_directory_of_the_program_is_not_a_url(self):
        for target in ("/cgi-bin", "/cgi-bin/", "/cgi-bin/other"):
            self.assertEqual(self.ask(target).status, 404, target)

    def test_files_that_begin_with_an_underscore_are_refused(self):
        for target in ("/_data.html", "/%5Fdata.html", "/shop/_quillet.cfg", "/shop/../_data.html", "/_nothing"):
            self.assert_refused(target)

    def test_files_that_begin_with_a_dot_are_refused(self):
        for target in ("/.profile", "/%2Eprofile", "/shop/.htaccess"):
            self.assert_refused(target)

    def test_files_in_a_directory_that_begins_with_an_underscore_are_refused(self):
        self.assert_refused("/_private/page.html")

    def test_logs_and_counters_are_refused(self):
        for target in ("/visits.count", "/access_log", "/shop/error_log"):
            self.assert_refused(target)

    def test_the_working_directory_is_out_of_reach(self):
        self.assertIn(self.ask_raw("/../run/_macro.cfg").status, (400, 403))
        self.assertIn(self.ask_raw("/%2e%2e/run/error_log").status, (400, 404))

    def test_a_missing_page_is_not_found_by_the_server_itself(self):
        for target in ("/missing.html", "/missing.html?x=1", "/shop/missing/page.html"):
            reply = self.ask(target)
            self.assertEqual(reply.status, 404, target)
            self.assertIn("was not found on this server", reply.text())

    def test_the_extension_of_a_page_counts_in_upper_or_lower_case_and_before_a_language(self):
        self.assertEqual(self.ask("/CAPITALS.HTML").text(), "capitals 3")
        self.assertEqual(self.ask("/french.html.fr").text(), "french 3")

    def test_a_url_that_continues_after_a_page_is_not_found(self):
        for target in ("/hello.html/", "/hello.html/more", "/hello.html/more.html?x=1", "/CAPITALS.HTML/%3Cb%3E",
                       "/french.html.fr/%3Cb%3E", "/hello.html/%0Aline"):
            self.assertEqual(self.ask(target).status, 404, target)
