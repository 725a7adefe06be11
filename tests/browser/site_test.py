"""The demo site in a real browser: files up and down, the guest book, the gallery, the members' corner."""

import re
import unittest

from browsed_site import BrowsedSite
from browser import wait_for
from served_site import example_site


class Site(BrowsedSite):
    files = example_site()

    def test_a_file_that_is_chosen_and_sent_is_downloaded_byte_for_byte(self):
        content = bytes(range(256)) * 1000 + b"\r\n--\0"
        chosen = self.folder.write("to send/My <letter> ü.bin", content)
        self.open("/drop/")
        self.browser.type("input[name=file]", chosen)
        self.browser.click("article form button")
        self.await_texts(".files a", ["My-letter-.bin"])
        self.assertEqual(self.browser.texts(".files td.number"), ["250.0 KB"])
        self.browser.click(".files a")
        self.assertEqual(self.browser.downloaded("My-letter-.bin"), content)
        self.browser.click(".files button")
        self.await_texts(".nothing", ["Nothing has been left yet."])

    def test_a_page_that_was_left_is_downloaded_and_not_shown(self):
        chosen = self.folder.write("evil.html", "<script>document.title = 'broken'</script>^env[PATH]")
        self.open("/drop/")
        self.browser.type("input[name=file]", chosen)
        self.browser.click("article form button")
        self.await_texts(".files a", ["evil.html"])
        self.browser.click(".files a")
        self.assertEqual(self.browser.downloaded("evil.html"), chosen.read_bytes())
        self.assertEqual(self.browser.run("return document.title"), "File drop – The Inkwell")
        self.browser.click(".files button")
        self.await_texts(".nothing", ["Nothing has been left yet."])

    def test_a_script_in_the_guest_book_is_text_and_the_name_is_remembered(self):
        script = "<script>document.title = \"broken\"</script><img src=x onerror=\"document.title = 'broken'\">"
        self.open("/guestbook/")
        self.browser.type("input[name=name]", "<b>\"Ann\"</b> & Bob")
        self.browser.type("textarea[name=text]", script)
        self.browser.click("input[name=remember]")
        self.browser.click("article form button")
        self.await_texts(".entry p:first-child", [script])
        self.assertRegex(self.browser.texts(".entry .quiet")[0], r'^<b>"Ann"</b> & Bob, \d\d\.\d\d\.\d{4}$')
        self.assertEqual(self.browser.run("return document.title"), "Guest book – The Inkwell")
        self.assertEqual(self.browser.find_all("article script, article img, article b"), [])
        self.assertEqual(self.browser.run("return document.querySelector('[name=name]').value"), '<b>"Ann"</b> & Bob')
        self.assertIs(self.browser.run("return document.querySelector('[name=remember]').checked"), True)

    def test_the_pictures_of_the_gallery_have_the_size_that_the_page_says(self):
        self.open("/gallery/")
        pictures = "Array.from(document.querySelectorAll('.wall img'))"
        wait_for(lambda: self.browser.run(f"return {pictures}.every(picture => picture.complete)"), "the pictures")
        sizes = self.browser.run(f"return {pictures}.map(p => [p.naturalWidth, p.naturalHeight, "
                                 "Number(p.getAttribute('width')), Number(p.getAttribute('height'))])")
        self.assertEqual(sizes, [[300, 200, 300, 200]] * 5)

    def test_the_source_of_a_page_can_be_read_and_leads_to_the_manual(self):
        self.open("/catalogue/")
        self.browser.click(".above a")
        self.await_texts("h1", ["Source: Catalogue"])
        shown = self.browser.texts("details[open] pre")
        self.assertTrue(shown[0].startswith("# The listing: a data file beside the page"), shown)
        self.browser.click("details:nth-child(3) summary")
        wait_for(lambda: self.browser.texts("details[open] pre")[1:], "the data")
        self.assertIn("atlas\tAtlas notebook, A5\tNotebooks", self.browser.run(
            "return document.querySelectorAll('details[open] pre')[1].textContent"))
        self.assertIn("/manual/operators/menu.html", self.browser.run(
            "return Array.from(document.querySelectorAll('pre a'), link => link.getAttribute('href'))"))

    def test_a_member_is_let_in_with_name_and_password(self):
        password = re.search(r"password: (\S+)", "".join(self.demo.said))[1]
        self.open("/members/", f"bob:{password}@")
        self.await_texts("h1", ["Good to see you, bob"])
        self.browser.click("aside a[href='/members/staff/']")
        self.await_texts("h1", ["Behind the counter"])


if __name__ == "__main__":
    unittest.main()
