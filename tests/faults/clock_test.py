"""Time stamps while the machine's clock is stopped, at a time that the test chooses or at one that is not a date."""

import datetime
import sys
import unittest
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
from page_runner import PreloadTest  # noqa: E402

CENTRAL_EUROPE = "CET-1CEST,M3.5.0,M10.5.0/3"
STAMP = "^item[year].^item[month].^item[day] ^item[hour]:^item[min]"
PAST_ALL_YEARS = 67768036191676800  # the year 2147485548, one more than a date of the C library holds


class FixedClock(PreloadTest):
    SOURCE = FOLDER / "clock.c"

    def clock(self, seconds):
        return self.preloading(CLOCK=str(seconds))


class Stamps(FixedClock):
    def at(self, seconds, page, zone="UTC"):
        return self.run_page(page, self.clock(seconds) | {"TZ": zone})

    def test_a_time_stamp_is_the_local_time(self):
        for seconds, zone, stamp in (
                (0, "UTC", "1970.01.01 00:00"),
                (59, "UTC", "1970.01.01 00:00"),
                (60, "UTC", "1970.01.01 00:01"),
                (-1, "UTC", "1969.12.31 23:59"),
                (951782399, "UTC", "2000.02.28 23:59"),
                (951782400, "UTC", "2000.02.29 00:00"),
                (951868800, "UTC", "2000.03.01 00:00"),
                (1735689599, "UTC", "2024.12.31 23:59"),
                (1735689599, "XXX-5:30", "2025.01.01 05:29"),
                (1735689600, "XXX8", "2024.12.31 16:00"),
                (1711846799, CENTRAL_EUROPE, "2024.03.31 01:59"),
                (1711846800, CENTRAL_EUROPE, "2024.03.31 03:00"),
                (1729990799, CENTRAL_EUROPE, "2024.10.27 02:59"),
                (1729990800, CENTRAL_EUROPE, "2024.10.27 02:00"),
                (-2208988801, "UTC", "1899.12.31 23:59"),
                (-62135596800, "UTC", "0001.01.01 00:00"),
                (PAST_ALL_YEARS - 1, "UTC", "2147485547.12.31 23:59")):
            with self.subTest(seconds=seconds, zone=zone):
                self.assertEqual(self.at(seconds, f"^loadtimestamp[]{STAMP}", zone), stamp)

    def test_a_date_takes_the_parts_that_it_lacks_from_the_local_time(self):
        for date, stamp in (("2001", "2001.03.31 03:07"), ("2001.02", "2001.02.31 03:07"),
                            ("2001.02.03", "2001.02.03 03:07"), ("2001.02.03 04", "2001.02.03 04:07"),
                            ("2001.02.03 04:05", "2001.02.03 04:05"), ("2001.02.03 ", "2001.02.03 00:07"),
                            (" ", "0000.03.31 03:07"), ("", "2024.03.31 03:07"), ("^var[none]", "2024.03.31 03:07"),
                            ("2001.02.03 04:05;", "2024.03.31 03:07")):
            with self.subTest(date):
                page = f"^loadtimestamp[{date}]{STAMP}"
                self.assertEqual(self.at(1711847220, page, CENTRAL_EUROPE), stamp)

    def test_a_time_that_is_no_date_is_a_bad_date_and_leaves_the_table_as_it_was(self):
        for seconds in (PAST_ALL_YEARS, 2**63 - 1, -2**63):
            for date in ("", "2001.02.03 04:05"):
                with self.subTest(seconds=seconds, date=date):
                    page = f"^config[kept]^loadtimestamp[{date}] ^item[0]"
                    self.assertEqual(self.at(seconds, page), "[loadtimestamp: bad input date] kept")


class Logs(FixedClock):
    def line_at(self, seconds, zone):
        self.run_page("^log[text]x", self.clock(seconds) | {"TZ": zone})
        log = self.site / "access_log"
        line = log.read_text()
        log.unlink()
        return line

    def test_a_line_begins_with_the_local_time(self):
        for seconds, zone, stamp in (
                (0, "UTC", "01/Jan/1970 00:00:00"),
                (1735689599, "UTC", "31/Dec/2024 23:59:59"),
                (1735689599, "XXX-5:30", "01/Jan/2025 05:29:59"),
                (1735689599, "XXX8", "31/Dec/2024 15:59:59"),
                (1711846800, CENTRAL_EUROPE, "31/Mar/2024 03:00:00"),
                (-1, "UTC", "31/Dec/1969 23:59:59")):
            with self.subTest(seconds=seconds, zone=zone):
                self.assertEqual(self.line_at(seconds, zone),
                                 f"[{stamp}] {self.www}/page.html: 127.0.0.1 as anonymous: text\n")

    def test_a_time_that_is_no_date_is_left_out(self):
        for seconds in (PAST_ALL_YEARS, 2**63 - 1, -2**63):
            self.assertEqual(self.line_at(seconds, "UTC"), f"{self.www}/page.html: 127.0.0.1 as anonymous: text\n")


class Chat(FixedClock):
    """The times of its user list, and the cookies of its settings."""

    ANN = {"QUERY_STRING": "login=ann&message=hi", "HTTP_COOKIE": "login=ann"}
    REFRESHING = ("^userlist[]", "^chat[10]")

    def list_at(self, seconds, page, old=""):
        """The user list after a page of "ann"."""
        self.write("site/chat/userlist", old)
        self.assertEqual(self.run_page(page + "x", self.clock(seconds) | self.ANN), "x")
        return (self.site / "chat/userlist").read_text()

    def test_those_who_join_are_listed_with_the_time(self):
        for page in ("^startup[line]", "^message[line]"):
            for seconds in (0, 1735689599, 2**33, -5):
                with self.subTest(page=page, seconds=seconds):
                    self.assertEqual(self.list_at(seconds, page, "bob 10.0.0.8 7\n"),
                                     f"bob 10.0.0.8 7\nann 127.0.0.1 {seconds}\n")

    def test_those_who_have_joined_keep_their_time(self):
        for page in ("^startup[line]", "^message[line]", "^userlist[^rem[each]]", "^validate[^rem[any]]"):
            with self.subTest(page=page):
                self.assertEqual(self.list_at(1735689599, page, "ann 127.0.0.1 7\n"), "ann 127.0.0.1 7\n")

    def test_a_user_stays_listed_for_179_seconds(self):
        for page in self.REFRESHING:
            for age, listed in ((0, True), (1, True), (178, True), (179, True), (180, False), (181, False), (-1, True)):
                with self.subTest(page=page, age=age):
                    line = f"bob 10.0.0.8 {1735689599 - age}\n"
                    self.assertEqual(self.list_at(1735689599, page, line), line if listed else "")

    def test_refreshing_notes_the_time_of_the_visitor(self):
        for page in self.REFRESHING:
            with self.subTest(page=page):
                self.assertEqual(self.list_at(1735689599, page, "ann 127.0.0.1 1735689000\nann 10.0.0.8 1735689500\n"),
                                 "ann 127.0.0.1 1735689599\nann 10.0.0.8 1735689500\n")

    def test_a_setting_is_kept_for_90_days(self):
        with self.start("x", self.clock(1709251199) | {"QUERY_STRING": "color=red"}) as process:
            output = process.communicate()[0]
        self.assertEqual(output, b"Set-Cookie: color=red; path=/; expires=Wed, 29-May-2024 23:59:59 GMT\n"
                                 b"Content-type: text/html\nContent-length: 1\n\nx")


class Cookies(FixedClock):
    def sent(self, seconds, call, zone="UTC"):
        """The header line that the call sends."""
        with self.start(call + "x", self.clock(seconds) | {"TZ": zone}) as process:
            return process.communicate()[0].decode().partition("\n")[0]

    def test_a_cookie_ends_so_many_days_ahead_in_utc(self):
        for seconds, days, zone, end in (
                (0, ";1", "UTC", "Fri, 02-Jan-1970 00:00:00"),
                (0, ";1", "XXX-5:30", "Fri, 02-Jan-1970 00:00:00"),
                (0, ";-1", "XXX8", "Wed, 31-Dec-1969 00:00:00"),
                (1709251199, "", "UTC", "Wed, 29-May-2024 23:59:59"),
                (1709251199, ";", "UTC", "Wed, 29-May-2024 23:59:59"),
                (1709251199, ";^form[days]", "UTC", "Wed, 29-May-2024 23:59:59"),
                (1711803599, ";1", CENTRAL_EUROPE, "Sun, 31-Mar-2024 12:59:59"),  # a day of 23 hours there
                (1735689599, ";2", "XXX-5:30", "Thu, 02-Jan-2025 23:59:59"),
                (-62135596800, ";1", "UTC", "Tue, 02-Jan-0001 00:00:00")):
            with self.subTest(seconds=seconds, days=days, zone=zone):
                self.assertEqual(self.sent(seconds, f"^cookie[a;b{days}]", zone),
                                 f"Set-Cookie: a=b; path=/; expires={end} GMT")

    def test_every_day_of_a_year_has_its_names(self):
        start = datetime.datetime(2023, 12, 31, 8, 5, 9, tzinfo=datetime.timezone.utc)
        days = range(1, 367)
        with self.start("".join(f"^cookie[a;b;{day}]" for day in days) + "x",
                        self.clock(int(start.timestamp()))) as process:
            lines = process.communicate()[0].decode().splitlines()
        self.assertEqual(lines[:366], [
            f"Set-Cookie: a=b; path=/; expires={start + datetime.timedelta(day):%a, %d-%b-%Y %H:%M:%S} GMT"
            for day in days])

    def test_a_cookie_that_would_end_past_all_years_is_sent_without_an_end(self):
        self.assertEqual(self.sent(PAST_ALL_YEARS - 86401, "^cookie[a;b;1]"),
                         "Set-Cookie: a=b; path=/; expires=Wed, 31-Dec-2147485547 23:59:59 GMT")
        self.assertEqual(self.sent(PAST_ALL_YEARS - 86400, "^cookie[a;b;1]"), "Set-Cookie: a=b; path=/")


if __name__ == "__main__":
    unittest.main()
