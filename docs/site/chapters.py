"""The pages of the manual: every Markdown file that the index docs/README.md reaches, and one for each operator."""

import dataclasses
import re
from pathlib import Path

DOCS = Path(__file__).resolve().parents[1]
ROOT = DOCS.parent
INDEX = DOCS / "README.md"
OPERATORS = DOCS / "operators"
REFERENCE = OPERATORS / "README.md"

LINK = re.compile(r"(?<!!)\[(?P<text>(?:[^\[\]]|\[[^\[\]]*\])*)\]\((?P<address>[^)\s]+)\)")
FENCE = re.compile(r"^(`{3,}).*?^\1$", re.MULTILINE | re.DOTALL)
ENTRY = re.compile(r"## (?P<name>[a-z_-]+)\n\n```text\n(?P<forms>.*?)\n```\n\n(?P<summary>.*?)\n\n", re.DOTALL)


@dataclasses.dataclass
class Page:
    """A page of the site: its text in Markdown, the file it comes from, and its place among the others."""
    path: str  # of the HTML file, from the top of the site
    source: Path
    title: str  # its heading
    text: str
    kind: str = "chapter"  # index, chapter, reference, theme, operator
    parent: "Page | None" = None
    summary: str = ""
    name: str = ""  # in the navigation
    operators: list["Page"] = dataclasses.field(default_factory=list)

    @property
    def ancestors(self):
        """From the index down to the parent."""
        return [*self.parent.ancestors, self.parent] if self.parent else []


def without_code(text):
    return FENCE.sub("", text)


def linked_files(path, text):
    """The Markdown files of the manual that a text links to, in its order."""
    for link in LINK.finditer(without_code(text)):
        name = link["address"].partition("#")[0]
        target = (path.parent / name).resolve()
        if name.endswith(".md") and target.is_relative_to(DOCS) and target.is_file():
            yield target


def reached_files():
    """{file: the file that is above it}, in the order in which a reader finds them. A file of a folder is below the
    README of the folder, any other below the first that links to it; a README, too, unless only links to its files lead
    there."""
    above = {INDEX: None}
    found = [INDEX]
    found_by_a_file = set()
    for path in found:
        for target in linked_files(path, path.read_text()):
            if target in found_by_a_file and path.parent != target.parent:
                above[target] = path
                found_by_a_file.remove(target)
            if target in above:
                continue
            folder = target.parent / "README.md"
            is_below = folder.is_file() and folder not in (INDEX, target)
            above[target] = folder if is_below else path
            found.append(target)
            if is_below and folder not in above:
                above[folder] = path
                found.append(folder)
                found_by_a_file.add(folder)
    return above


def names_of_links(path):
    """{file: what its link is called} for the links of a file that begin an item of a list or a row of a table."""
    names = {}
    for line in without_code(path.read_text()).splitlines():
        item = re.match(r"(?:- |\| |\d+\. )", line)
        link = item and LINK.match(line, item.end())
        if link:
            target = (path.parent / link["address"]).resolve()
            names.setdefault(target, plain(link["text"]))
    return names


def plain(text):
    """Markdown of a line as text."""
    return LINK.sub(lambda link: link["text"], text).replace("`", "").replace("\\", "")


def title_of(text):
    return plain(re.search(r"^# (.*)$", text, re.MULTILINE)[1])


def first_sentence(text):
    """The first sentence after the heading, for lists."""
    for block in re.split(r"\n\s*\n", without_code(text).partition("\n")[2]):
        block = block.strip()
        if block and block[0] not in "#|!-":
            return re.split(r"(?<=[.:])\s", plain(" ".join(block.split())))[0].rstrip(":")
    return ""


def html_path(path):
    if path == REFERENCE:
        return "operators.html"  # there is an operator `index`
    if path.parent == OPERATORS:
        return f"themes/{path.stem}.html"
    name = path.relative_to(DOCS).with_suffix(".html")
    return str(name.with_name("index.html") if name.name == "README.html" else name)


def split_theme(theme):
    """Takes the entries of operators out of a theme's text: each becomes a page."""
    kept = []
    for part in re.split(r"^(?=## )", theme.text, flags=re.MULTILINE):
        entry = ENTRY.match(part)
        if not entry:
            kept.append(part)
            continue
        name = entry["name"]
        text = re.sub(r"^#(#+ )", r"\1", part, flags=re.MULTILINE)  # its headings, one level up
        theme.operators.append(Page(f"operators/{name}.html", theme.source, name, text, "operator", theme,
                                    " ".join(entry["summary"].split()), name))
    theme.text = "".join(kept)


def kind_of(path):
    if path == INDEX:
        return "index"
    if path == REFERENCE:
        return "reference"
    return "theme" if path.parent == OPERATORS else "chapter"


def read_pages():
    """All pages, each after the one above it, in the order of the navigation."""
    above = reached_files()
    pages = {}
    for path in above:
        text = path.read_text()
        pages[path] = Page(html_path(path), path, title_of(text), text, kind_of(path), None, first_sentence(text))
    for path, parent in above.items():
        pages[path].parent = pages.get(parent)
        pages[path].name = parent and names_of_links(parent).get(path) or pages[path].title
    ordered = []

    def add(page):
        ordered.append(page)
        order = list(linked_files(page.source, page.text))
        below = [other for other in pages.values() if other.parent is page]
        for other in sorted(below, key=lambda other: order.index(other.source) if other.source in order else len(order)):
            add(other)
        if page.kind == "theme":
            split_theme(page)
            ordered.extend(page.operators)

    add(pages[INDEX])
    return ordered
