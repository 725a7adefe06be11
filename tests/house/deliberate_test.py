"""What is deliberate: each oddity of the language is marked in the code, `Deliberate: <sentence>.`, and shown by a
test that says the same sentence in a comment: a case whose name begins with "deliberate-", or, where no case can show
it, another test."""

import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
# From the mark to the end of the sentence, over the lines of one comment.
MARK = re.compile(r"\bDeliberate: (.*?)\.(?=\s|$)", re.S)
LINE_START = {".cpp": r"\s*//\s?", ".h": r"\s*//\s?", ".case": r"#\s?", ".py": r"\s*#\s?"}


def sentences(path):
    """The sentences that are marked in the comments of a file."""
    start = re.compile(LINE_START[path.suffix])
    comment, comments = [], []
    for line in path.read_text("latin-1").split("\n"):
        mark = start.match(line) or re.search(r" // (?=Deliberate)", line)
        if mark:
            comment.append(line[mark.end():])
        elif comment:
            comments.append(" ".join(comment))
            comment = []
    return [re.sub(r"\s+", " ", found) for text in comments for found in MARK.findall(text)]


def marked(folder, *suffixes):
    """The files that mark each sentence."""
    found = {}
    for path in sorted((ROOT / folder).rglob("*")):
        if path.suffix in suffixes:
            for sentence in sentences(path):
                found.setdefault(sentence, []).append(str(path.relative_to(ROOT)))
    return found


class Deliberate(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.code = marked("src", ".cpp", ".h")
        cls.cases = marked("tests", ".case")
        cls.others = marked("tests", ".cpp", ".py")

    def test_every_mark_ends_with_a_full_stop(self):
        for path in [*(ROOT / "src").rglob("*.cpp"), *(ROOT / "src").rglob("*.h")]:
            self.assertEqual(path.read_text("latin-1").count("Deliberate"), len(sentences(path)), path)

    def test_every_sentence_in_the_code_has_a_test(self):
        self.assertEqual(sorted(self.code.keys() - self.cases.keys() - self.others.keys()), [])

    def test_every_sentence_in_a_test_is_in_the_code(self):
        self.assertEqual(sorted((self.cases.keys() | self.others.keys()) - self.code.keys()), [])

    def test_every_sentence_is_once_in_the_code(self):
        self.assertEqual({sentence: files for sentence, files in self.code.items() if len(files) > 1}, {})

    def test_the_name_of_a_case_says_so(self):
        named = {str(path.relative_to(ROOT)) for path in (ROOT / "tests").rglob("*.case")
                 if "deliberate" in path.name}
        saying = {file for files in self.cases.values() for file in files}
        self.assertEqual(sorted(named ^ saying), [])
        self.assertEqual([file for file in sorted(named) if not Path(file).name.startswith("deliberate-")], [])


if __name__ == "__main__":
    unittest.main()
