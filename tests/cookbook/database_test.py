"""Recipes of the cookbook that ask a database: with a private MariaDB server."""

import unittest

from recipe import Recipe, Site, recipes
import private_mariadb  # in the folder that recipe has put into the path


def setUpModule():
    global SERVER
    SERVER = private_mariadb.PrivateServer()
    unittest.addModuleCleanup(SERVER.stop)


class WithDatabase(unittest.TestCase):
    def site(self, recipe):
        SERVER.run(b"drop database if exists shop; drop user if exists ann@localhost; set names utf8mb4;\n"
                   + recipe.files["database/schema.sql"][0])
        return Site(recipe, {"MYSQL_UNIX_PORT": str(SERVER.socket)})

    def test_the_requests_give_what_the_page_says(self):
        found = [recipe for recipe in recipes() if "database/schema.sql" in recipe.files]
        self.assertTrue(found)
        for recipe in found:
            with self.subTest(recipe.path.stem), self.site(recipe) as site:
                recipe.compare(self, site)

    def test_no_value_of_a_visitor_is_sql(self):
        with self.site(Recipe.named("paging-sql")) as site:
            whole = site.get("/teas.html").text()
            self.assertIn("<p>6 found.", whole)
            for value in ("'", "\\", "\\'", "' or '1'='1", "x' union select 1,2,3 -- ", "%", "_", "^[;`", "<b>\""):
                for name in ("q", "kind"):
                    page = site.get("/teas.html", {name: value}).text()
                    self.assertIn("<p>1 found." if (name, value) == ("q", "'") else "<p>0 found.", page, value)
                    self.assertNotIn("<b>", page)
            for value in ("price; drop table teas", "(select 1)", "'", "kind", ""):
                self.assertEqual(site.get("/teas.html", {"by": value}).text().count("<tr>"), 4)
            for value in ("x", "-1", "+", ".", "0", "", "1e3", "1 union"):
                self.assertIn("Assam", site.get("/teas.html", {"page": value}).text(), value)
            for value in ("99999999999999999999", "2147483647", "1000"):
                self.assertNotIn("sql query error", site.get("/teas.html", {"page": value}).text())

    def test_without_a_server_the_page_says_so_with_its_status(self):
        with Site(Recipe.named("paging-sql"), {"MYSQL_UNIX_PORT": "/none"}) as site:
            answer = site.get("/teas.html")
        self.assertEqual(answer.headers["Status"], "503 Service Unavailable")
        self.assertNotIn("/none", answer.text())


if __name__ == "__main__":
    unittest.main()
