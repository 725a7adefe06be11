"""The weak undefined symbols of the release program are those of weak_symbols.txt, each of which has its reason there.

One more, and the program may jump to address 0 where the linker used to complain; one fewer, and the list is wrong.
The dynamic program of the same objects is read: those of the C library itself do not show there.
"""

import os
import subprocess
import unittest
from pathlib import Path

LIST = Path(__file__).with_name("weak_symbols.txt")


def listed():
    lines = LIST.read_text().splitlines()
    return sorted(line for line in lines if line and not line.startswith("#"))


def weak_undefined(program):
    """The dynamic symbols of the types "w" and "v" of nm, their versions cut off."""
    lines = subprocess.run(["nm", "--dynamic", "--undefined-only", "--format=posix", program],
                           check=True, capture_output=True, text=True).stdout.splitlines()
    symbols = (line.split() for line in lines)
    return sorted(symbol.split("@")[0] for symbol, kind, *_ in symbols if kind in "wv")


class WeakSymbolsTest(unittest.TestCase):
    def test_the_program_has_the_listed_ones_and_no_others(self):
        self.assertEqual(weak_undefined(os.environ["QUILLET_DYNAMIC_PROGRAM"]), listed())


if __name__ == "__main__":
    unittest.main()
