"""scripts/demo itself: how it starts, what it serves and how it ends."""

import os
import pathlib
import signal
import socket
import subprocess
import unittest

from served_site import Demo, Folder, PROGRAM, ROOT, ServedSite
from program import wait_for


class DemoCommand(unittest.TestCase):
    def setUp(self):
        self.folder = Folder()
        self.addCleanup(self.folder.remove)

    def start(self, site):
        demo = Demo(site, self.folder.path)
        self.addCleanup(lambda: demo.process.poll() is None and demo.stop())
        return demo

    def fetch(self, demo, path="/"):
        asked = ServedSite()
        asked.demo = demo
        return asked.ask(path)

    def run_demo(self, *arguments):
        return subprocess.run([ROOT / "scripts/demo", *map(str, arguments)], capture_output=True, text=True,
                              env={**os.environ, "TMPDIR": str(self.folder.path)})

    def assert_ends_without_a_trace(self, demo, number):
        self.assertEqual(demo.stop(number), 0)
        self.assertEqual(demo.left_processes(), [])
        self.assertFalse(demo.instance.exists())

    def test_the_example_site_is_served_and_ctrl_c_leaves_no_process(self):
        demo = self.start(ROOT / "examples/site")
        self.assertEqual(demo.address(), f"http://localhost:{demo.port}/")
        self.assertEqual(self.fetch(demo).status, 200)
        self.assert_ends_without_a_trace(demo, signal.SIGINT)

    def test_termination_leaves_no_process(self):
        self.folder.write("site/www/index.html", "page")
        self.assert_ends_without_a_trace(self.start(self.folder.path / "site"), signal.SIGTERM)

    def start_with_database(self):
        self.folder.write("site/www/index.html", "^server[^env[QUILLET_DATABASE];^sql[set names utf8mb4]"
                          "^sql[select * from hats]^item[name]]")
        self.folder.write("site/run/_macro.cfg", "@SERVER_ERROR[message]\n$message\n")
        self.folder.write("site/database/1.sql", "create table hats (name text); insert into hats values ('cap')")
        self.folder.write("site/database/2.sql", "update hats set name = 'Žluťoučký'")
        return self.start(self.folder.path / "site")

    def database_folders(self):
        return list(self.folder.path.glob("quillet-mariadb.*"))

    def test_a_schema_is_run_in_a_database_server_that_ends_with_the_demo(self):
        demo = self.start_with_database()
        self.assertEqual(self.fetch(demo).text(), "Žluťoučký")
        self.assertEqual(len(self.database_folders()), 1)
        self.assert_ends_without_a_trace(demo, signal.SIGINT)
        self.assertEqual(self.database_folders(), [])

    def test_the_database_server_ends_when_the_demo_is_killed(self):
        demo = self.start_with_database()
        os.kill(demo.process.pid, signal.SIGKILL)
        wait_for(lambda: not self.database_folders(), "the end of the database server")
        os.kill(demo.httpd, signal.SIGTERM)  # a killed demo cannot do it
        wait_for(lambda: not demo.left_processes(), "the end of httpd")
        demo.stop()

    def test_pages_may_change_rows_of_the_database_and_nothing_else(self):
        demo = self.start_with_database()
        for statement in ("drop table hats", "create table more (n int)", "select * from mysql.global_priv",
                          "select 'x' into outfile '/tmp/x'"):
            self.folder.write("site/www/index.html", f"^server[^env[QUILLET_DATABASE];^sql[{statement}]]")
            self.assertRegex(self.fetch(demo).text(), "denied", statement)

    def test_a_schema_that_fails_leaves_the_pages_without_a_database(self):
        self.folder.write("site/www/index.html", "(^env[QUILLET_DATABASE])")
        self.folder.write("site/database/1.sql", "create nonsense")
        demo = self.start(self.folder.path / "site")
        self.assertIn("There is no database for the pages.", "".join(demo.said))
        self.assertEqual(self.fetch(demo).text(), "()")
        self.assertEqual(self.database_folders(), [])

    def test_a_directory_without_www_contains_the_pages(self):
        self.folder.write("only pages/index.html", "^sum[1;2]")
        demo = self.start(self.folder.path / "only pages")
        self.assertEqual(self.fetch(demo).text(), "3")
        self.assertEqual([path.name for path in (self.folder.path / "only pages").iterdir()], ["index.html"])

    def test_a_path_with_spaces_and_quotes(self):
        self.folder.write("Ann's  site/www/index.html", "^macro[who]")
        self.folder.write("Ann's  site/run/_macro.cfg", "@who[]\nAnn\n")
        self.assertEqual(self.fetch(self.start(self.folder.path / "Ann's  site")).text(), "Ann")

    @unittest.skipIf(os.geteuid() == 0, "root gives the folder to the user of httpd")
    def test_a_working_directory_that_cannot_be_written_is_copied(self):
        self.folder.write("site/www/index.html", "^macro[who]")
        self.folder.write("site/run/_macro.cfg", "@who[]\nAnn\n")
        (self.folder.path / "site/run").chmod(0o555)
        self.addCleanup(lambda: (self.folder.path / "site/run").chmod(0o755))
        demo = self.start(self.folder.path / "site")
        self.assertIn("working in a copy", "".join(demo.said))
        self.assertEqual(self.fetch(demo).text(), "Ann")

    @unittest.skipUnless(os.geteuid() == 0, "an ordinary user serves what the user can read")
    def test_root_serves_a_copy_of_a_directory_that_httpd_cannot_read(self):
        page = self.folder.write("private/site/www/index.html", "^sum[1;2]")
        self.folder.write("private/site/run/_macro.cfg", "")
        (self.folder.path / "private").chmod(0o700)
        demo = self.start(self.folder.path / "private/site")
        self.assertIn("serving a copy", "".join(demo.said))
        self.assertEqual(self.fetch(demo).text(), "3")
        self.assertEqual(page.owner(), "root")

    @unittest.skipUnless(os.geteuid() == 0, "only root changes to another user")
    def test_root_serves_pages_as_an_unprivileged_user(self):
        self.folder.write("site/www/index.html", "^rem[]")
        self.folder.write("site/run/_macro.cfg", "")
        self.fetch(self.start(self.folder.path / "site"))
        self.assertEqual(pathlib.Path(self.folder.path / "site/run/error_log").owner(), "www-data")

    def test_a_port_in_use_is_said(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            port = other.getsockname()[1]
            self.folder.write("site/index.html", "page")
            ended = self.run_demo("--program", PROGRAM, "--port", port, self.folder.path / "site")
        self.assertEqual(ended.returncode, 1)
        self.assertIn(f"is port {port} in use?", ended.stderr)
        self.assertEqual(list(self.folder.path.glob("quillet-demo.*")), [])

    def test_a_directory_that_does_not_exist_is_reported(self):
        ended = self.run_demo(self.folder.path / "nowhere")
        self.assertEqual((ended.returncode, ended.stderr), (2, f"demo: {self.folder.path}/nowhere is not a folder\n"))

    def test_help_shows_how_it_is_called(self):
        self.assertIn("usage: scripts/demo [--port N] [--program FILE] [--manual DIR] [DIR]", self.run_demo("--help").stdout)


if __name__ == "__main__":
    unittest.main()
