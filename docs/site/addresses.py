"""Where the links of the Markdown files lead on the site."""

import os
import re

from chapters import DOCS, ROOT, without_code


def anchor_of(heading):
    """The anchor of a heading, as the places that show Markdown make it."""
    return re.sub(r"[^\w -]", "", re.sub(r"\]\([^)]*\)", "", heading).lower()).replace(" ", "-")


def anchors_of(text):
    """The anchors of the headings of a Markdown text; of equal ones the second and further ones get a number."""
    anchors = []
    for heading in re.findall(r"^#+ (.*)$", without_code(text), re.MULTILINE):
        anchor, number = anchor_of(heading), 0
        while anchor + (f"-{number}" if number else "") in anchors:
            number += 1
        anchors.append(anchor + (f"-{number}" if number else ""))
    return anchors


class Addresses:
    def __init__(self, pages):
        self.pages = {}  # by the Markdown file
        self.operators = {}  # by the Markdown file and the anchor
        self.assets = {}  # the path on the site of files to be copied, by their path
        for page in pages:
            if page.kind == "operator":
                self.operators[page.source, anchor_of(page.title)] = page
            else:
                self.pages[page.source] = page

    def resolve(self, page, address):
        """The address on the site, relative to the page, for one of the Markdown text; None for a file that is not
        part of the manual."""
        name, _, anchor = address.partition("#")
        if "://" in address or address.startswith("mailto:"):
            return address
        target = (page.source.parent / name).resolve() if name else page.source
        operator = self.operators.get((target, anchor))
        if operator:
            return relative(page, operator.path)
        if target in self.pages:
            path = relative(page, self.pages[target].path)
            return path + (f"#{anchor}" if anchor else "")
        if target.is_relative_to(DOCS) and target.is_file():
            path = str(target.relative_to(DOCS))
            self.assets[target] = path
            return relative(page, path)
        return None

    @staticmethod
    def in_source(page, address):
        """The name in the source tree of a file that is not part of the manual."""
        return str((page.source.parent / address.partition("#")[0]).resolve().relative_to(ROOT))


def relative(page, path):
    return os.path.relpath(path, os.path.dirname(page.path) or ".")
