"""No call that a visitor writes is ever made, except where the manual says so: every operator, every parameter."""

import json
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from page_runner import PageTest  # noqa: E402

OPERATORS = json.loads(subprocess.run([os.environ["QUILLET_OPERATORS"]], stdout=subprocess.PIPE, check=True).stdout)
# What the visitor sends: calls, also after brackets and a separator that could end the page's own call.
CALLS = "^header[X-Called;yes]^env[CALLED];]]^header[X-Called;yes]^env[CALLED]"
EVALUATED = {("process", 1), ("var", 1)}  # operator, number of the parameter

SETTING = """@greeting[name]
Hello $name $1
@font[]
@MIME_TYPES[]
"""


def synopses(operator):
    """The parameters of each form of an operator, as words."""
    for synopsis in operator["synopsis"]:
        inside = synopsis[synopsis.index("[") + 1 : -1]
        yield re.sub(r"\[.*?\]", "", inside).split(";") if inside else []


def calls_of(operator):
    """(number of the parameter, calls of the operator with the visitor's text there), for each parameter.

    The other parameters are the words of the synopsis, numbers, options, names of what is there."""
    found = {}
    for words in synopses(operator):
        words = [word.strip(".") for word in words]
        for at in range(max(len(words), 1)):
            for filler in (None, "1", "g", "page.html", "/../site/rows", "greeting", "v"):
                parameters = [filler or word for word in words] or [""]
                # the first parameter is often the word that chooses what the others are
                for first in {parameters[0], words[0] if words else ""}:
                    filled = [first, *parameters[1:]]
                    filled[at] = "^form[calls]"
                    found.setdefault(at + 1, []).append(f"^{operator['name']}[{';'.join(filled)}]")
    return found.items()


class VisitorCallsTest(PageTest):
    def was_called(self, calls):
        """Whether a call of the visitor was made by one of these calls of the page. A call that may end the page
        comes alone."""
        self.write("site/_macro.cfg", SETTING)
        self.write("site/rows", "one\ttwo\nthree\tfour\n")
        page = "^optimize[no]^var[v;1]^load[/../site/rows]" + "".join(calls) + "^var[shown;x]^var[shown]"
        with self.start(page, {"QUERY_STRING": "calls=" + CALLS.replace(";", "%3b"), "CALLED": "was-called"}) as process:
            output, _ = self.output(process)
        self.assertIn(process.returncode, (0, 1), output)
        return b"X-Called: yes" in output or b"was-called" in output

    def test_no_parameter_but_the_known_ones_makes_a_visitors_call(self):
        called = set()
        for operator in OPERATORS:
            for number, calls in calls_of(operator):
                groups = [[call] for call in calls] if operator["name"] in ("download", "exec") else [calls]
                if any(self.was_called(group) for group in groups):
                    called.add((operator["name"], number))
        self.assertEqual(called, EVALUATED)

    def test_what_is_stored_first_makes_no_calls(self):
        for call in ("^greeting[^form[calls]]", "^macro[greeting;^form[calls]]", "^macro[^form[calls]]",
                     "^macro_new[shown;<^form[calls]>]^macro[shown]", "^var[kept;^form[calls]]^var[kept]"):
            self.assertFalse(self.was_called([call]), call)


if __name__ == "__main__":
    unittest.main()
