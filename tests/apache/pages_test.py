"""Pages with a real Apache httpd: what the program is given, what the client gets, what is refused."""

import unittest

from served_site import ServedSite
from page_requests import PageRequests


class Pages(PageRequests, ServedSite):
    pass


if __name__ == "__main__":
    unittest.main()
