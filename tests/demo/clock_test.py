"""The demo site at other times than now: its greeting, and the dates that it counts from today."""

import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from datetime import date, datetime, timedelta, timezone
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
from program import DYNAMIC_PROGRAM, ROOT, cgi_environment, compile_c  # noqa: E402

WINTER = timezone(timedelta(hours=1))  # of the site, as its .profile says
SUMMER = timezone(timedelta(hours=2))


class Clock(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.root = Path(folder.name)
        shutil.copytree(ROOT / "examples/site", cls.root, dirs_exist_ok=True)
        cls.clock = cls.root / "clock.so"
        compile_c(ROOT / "tests/clock.c", cls.clock, "-shared", "-fPIC")

    def page(self, name, moment):
        environment = cgi_environment(self.root, "www/" + name)
        environment |= {"LD_PRELOAD": str(self.clock), "CLOCK": str(int(moment.timestamp())),
                        "ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0"}
        ended = subprocess.run([DYNAMIC_PROGRAM], cwd=self.root / "run", env=environment, capture_output=True,
                               check=True)
        return ended.stdout.decode()

    def test_the_greeting_fits_the_hour(self):
        for hour in range(24):
            page = self.page("index.html", datetime(2026, 1, 7, hour, 30, tzinfo=WINTER))
            part = "morning" if 5 <= hour < 12 else "afternoon" if 12 <= hour < 18 else "evening"
            self.assertIn(f"<h1>Good {part}</h1>", page, hour)
            self.assertIn(f"It is {hour:02}:30 here", page)

    def test_the_workshops_are_ahead_on_every_day_and_around_the_change_of_the_hour(self):
        days = [(date(2026, 1, 1) + timedelta(days=n), WINTER) for n in range(0, 80, 3)]
        days += [(date(2026, 3, 20) + timedelta(days=n), SUMMER if n > 9 else WINTER) for n in range(16)]
        days += [(date(2026, 10, 18) + timedelta(days=n), SUMMER if n < 7 else WINTER) for n in range(1, 16, 2)]
        for day, zone in days:
            for hour in (0, 23):
                page = self.page("workshops/index.html", datetime(day.year, day.month, day.day, hour, 30, tzinfo=zone))
                shown = [date(*map(int, text.split("."))) for text in re.findall(r"calendar\.html\?day=([\d.]+)", page)]
                self.assertEqual([(each - day).days // 7 for each in shown], [0, 1, 2, 4, 6], (day, hour))
                self.assertEqual([each.isoweekday() for each in shown], [6, 4, 6, 4, 6], (day, hour))

    def test_the_sales_are_those_of_the_last_two_months(self):
        page = self.page("catalogue/sales.html", datetime(2027, 1, 12, 12, 0, tzinfo=WINTER))
        self.assertIn("<h1>Sales of 2027-01</h1>", page)
        self.assertEqual(re.findall(r'<a href="\?month=([\d-]+)">', page), ["2026-11", "2026-12"])


if __name__ == "__main__":
    unittest.main()
