"""What the cookbook says about web servers, with real ones: the line for addresses that do not exist, and the password
of a directory."""

import base64
import http.client
import re
import shutil
import sys
import unittest

from recipe import TESTS, Recipe

sys.path.insert(0, str(TESTS / "servers"))
import web_servers  # noqa: E402

KINDS = {"Apache httpd": web_servers.ApacheCgi, "nginx": web_servers.NginxFcgiwrap, "lighttpd": web_servers.LighttpdCgi}
PROGRAMS = {"Apache httpd": "apache2", "nginx": "nginx", "lighttpd": "lighttpd"}


def configured(kind, line):
    """The class of a web server whose configuration has one more line, or several."""
    class Configured(kind):
        def write_file(self, path, content):
            if path.name in ("httpd.conf", "lighttpd.conf"):
                content += line.replace("/srv/tea/www", f"{self.site}/www").replace("/srv/tea", str(self.folder)) + "\n"
            elif path.name == "nginx.conf":
                content = content.replace("    root ", f"    {line}\n    root ", 1)
            return super().write_file(path, content)
    return Configured


class WebServers(unittest.TestCase):
    def serve(self, name, line, files):
        if not shutil.which(PROGRAMS[name], path="/usr/sbin:/usr/bin:/sbin:/bin"):
            self.skipTest(f"needs {PROGRAMS[name]}")
        server = configured(KINDS[name], line)(files)
        self.addCleanup(server.stop)
        return server

    def ask(self, server, target, headers=None):
        connection = http.client.HTTPConnection("127.0.0.1", server.port, timeout=90)
        self.addCleanup(connection.close)
        connection.request("GET", target, headers=headers or {})
        reply = connection.getresponse()
        return reply.status, reply.read().decode()

    def test_an_address_that_does_not_exist_gets_the_page_of_the_site(self):
        recipe = Recipe.named("errors")
        lines = dict(re.findall(r"^\| (.*?) \| `(.*)` \|$", recipe.path.read_text(), re.M))
        self.assertEqual(lines.keys(), KINDS.keys())
        for name, line in lines.items():
            with self.subTest(name):
                server = self.serve(name, line, {path: file[0] for path, file in recipe.files.items()})
                for target in ("/teas/%3Cb%3E?x=%22", "/none.html", "/none.gif", "/tea.html?id=none"):
                    status, page = self.ask(server, target)
                    self.assertEqual(status, 404, target)
                    self.assertIn(f"<p>There is nothing at {target}.", page)
                self.assertEqual(self.ask(server, "/tea.html?id=assam")[0], 200)

    def test_a_directory_with_htaccess_asks_for_a_password(self):
        recipe = Recipe.named("login-server")
        snippet = re.search(r"^```text\n(<Directory .*?)\n```", recipe.path.read_text(), re.M | re.S)[1]
        files = {path.replace("members", "inside"): file[0] for path, file in recipe.files.items()}
        server = self.serve("Apache httpd", snippet, files)
        self.assertEqual(self.ask(server, "/inside/")[0], 401)
        for password, status in ((web_servers.PASSWORD, 200), ("wrong", 401)):
            code = base64.b64encode(f"{web_servers.NAME}:{password}".encode()).decode()
            answer = self.ask(server, "/inside/", {"Authorization": "Basic " + code})
            self.assertEqual((answer[0], f"<h1>Hello, {web_servers.NAME}</h1>" in answer[1]), (status, status == 200))
        self.assertEqual(self.ask(server, "/inside/index.html", {"Remote-User": "ann"})[0], 401)


if __name__ == "__main__":
    unittest.main()
