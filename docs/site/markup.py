"""HTML from the Markdown of a page, by cmark-gfm: headings get anchors, links the addresses of the site, and blocks of
code that belong together become one example."""

import html
import itertools
import re
import subprocess

from addresses import Addresses, anchors_of, relative

CODE = re.compile(r'<pre><code(?: class="language-([\w+-]+)"(?: data-meta="([^"]*)")?)?>(.*?)</code></pre>\n?', re.DOTALL)
CODES = re.compile(rf"(?:{CODE.pattern})+", re.DOTALL)
LABELS = {"page": "Page", "file": "File", "env": "Request", "body": "Body of the request", "output": "What comes out",
          "response": "The response", "request": "Request", "message": "The message", "add": "Add to",
          "replace": "Replace in", "by": "By"}
FILES = ("file", "add", "replace")  # blocks that name one
DRAWN = re.compile(r"[\u2500-\u257f]|--\+--")
FACT = re.compile(r"<p>(Parameters|Evaluation|Quoting|Result|See also): ")
EXPLAINED = {"Evaluation": "language.html#evaluated-and-lazy", "Quoting": "language.html#quoting-modes"}


class Codes:
    """The blocks of code of all pages, which are coloured together at the end. A mark holds the place of each."""

    def __init__(self):
        self.blocks = []

    def mark(self, language, code):
        self.blocks.append({"language": language, "code": code})
        return f"\0{len(self.blocks) - 1}\0"

    def put_in(self, text, coloured, page):
        """The text with the coloured blocks in it; the operators in them are links."""
        def block(match):
            return re.sub(r'<a data-operator="([^"]*)"', lambda name: f'<a href="{operator(name[1])}"',
                          coloured[int(match[1])])

        def operator(name):
            return html.escape(relative(page, f"operators/{name}.html"))

        return re.sub("\0(\\d+)\0", block, text)


def language_of(kind, meta):
    """The grammar for a block."""
    name = meta.split(" ")[0]
    if kind in ("page", "html", "quillet", "by") or kind in FILES and name.endswith((".html", ".cfg")):
        return "quillet"
    if kind in ("output", "response"):
        return "html"
    if kind in FILES:
        return "css" if name.endswith(".css") else "data"
    return {"sh": "shell", "js": "javascript", "css": "css"}.get(kind, "plain")


def pane(codes, kind, meta, code):
    name, _, modifiers = meta.partition(" ")
    if "=" in name:
        name, modifiers = "", meta
    label = LABELS[kind] + (f" <code>{name}</code>" if name else "") + (f" ({modifiers})" if modifiers else "")
    language = language_of(kind, meta)
    # The rows of a table keep their lines and are scrolled.
    is_table = language == "data" and "\t" in code and max(map(len, code.split("\n"))) > 30
    attributes = ' class="rows" tabindex="0"' if is_table else ""
    inner = codes.mark(language, html.unescape(code))
    return f'<div class="pane {kind}"><p class="label">{label}</p><pre{attributes}><code>{inner}</code></pre></div>\n'


def example(codes, text):
    """Blocks without text between them."""
    parts, panes = [], []

    def finish():
        if panes:
            parts.append('<div class="example">\n' + "".join(panes) + "</div>\n")
            panes.clear()

    for kind, meta, code in CODE.findall(text):
        if kind == "page" and any('class="pane output"' in one for one in panes):
            finish()
        if kind in LABELS:
            panes.append(pane(codes, kind, meta, code))
            continue
        finish()
        inner = codes.mark(language_of(kind, meta), html.unescape(code))
        # Drawings keep their lines and are scrolled.
        attributes = 'class="drawing code" tabindex="0"' if DRAWN.search(code) else f'class="code {kind or "plain"}"'
        parts.append(f"<pre {attributes}><code>{inner}</code></pre>\n")
    finish()
    return "".join(parts)


def link_tag(page, addresses, address):
    """The opening tag for a link, and what comes before its end."""
    target = addresses.resolve(page, html.unescape(address))
    return f'<a href="{html.escape(target)}">' if target is not None else None


def with_links(page, addresses, text):
    def link(match):
        tag = link_tag(page, addresses, match[1])
        if tag:
            return tag + match[2] + "</a>"
        name = Addresses.in_source(page, html.unescape(match[1]))
        plain = re.sub("<[^>]*>", "", match[2])
        return f"<code>{name}</code>" if plain in (name, name.rpartition("/")[2]) else f"{match[2]} (<code>{name}</code>)"

    def picture(match):
        address = addresses.resolve(page, html.unescape(match[1]))
        return f'<img loading="lazy" src="{html.escape(address)}"'

    text = re.sub(r'<a href="([^"]*)">(.*?)</a>', link, text, flags=re.DOTALL)
    return re.sub(r'<img src="([^"]*)"', picture, text)


def with_anchors(markdown, text):
    anchors = iter(anchors_of(markdown))

    def heading(match):
        anchor = next(anchors)
        level = int(match[1])
        if level == 1:
            breaking = match[2].replace("_", "_<wbr>")  # long names of operators, on a phone
            return f'<h1 id="{anchor}">{breaking}</h1>'
        return f'<h{level} id="{anchor}"><a class="anchor" href="#{anchor}">{match[2]}</a></h{level}>'

    return re.sub(r"<h([1-6])>(.*?)</h\1>", heading, text, flags=re.DOTALL)


def with_tables(text):
    """Wide tables are scrolled, also by the keyboard. A header without words says nothing."""
    numbers = itertools.count(1)

    def table(match):
        attributes = ' class="table"'
        if match[0].partition("</thead>")[0].count("<th") > 3:
            attributes = f' class="table wide" tabindex="0" role="region" aria-label="Table {next(numbers)}"'
        return f"<div{attributes}>{match[0]}</div>"

    text = re.sub(r"<th([^>]*)></th>", r"<td\1></td>", text)
    text = re.sub(r"<thead>\s*<tr>(?:\s*<td[^>]*></td>)*\s*</tr>\s*</thead>\s*", "", text)
    return re.sub(r"<table>.*?</table>", table, text, flags=re.DOTALL)


def label(page, word):
    """The name of a fact of an entry; what it means is a link away."""
    if word not in EXPLAINED:
        return word
    path, _, anchor = EXPLAINED[word].partition("#")
    return f'<a href="{relative(page, path)}#{anchor}">{word}</a>'


def render(page, addresses, codes):
    """The HTML of a page, with marks for its code."""
    command = ["cmark-gfm", "-e", "table", "-e", "strikethrough", "--full-info-string", "--unsafe"]
    text = subprocess.run(command, input=page.text, check=True, capture_output=True, text=True).stdout
    text = CODES.sub(lambda match: example(codes, match[0]), text)
    text = with_tables(with_links(page, addresses, with_anchors(page.text, text)))
    text = FACT.sub(lambda fact: f'<p class="fact"><b>{label(page, fact[1])}</b> ', text)
    if page.kind == "operator":
        text = text.replace('<pre class="code text">', '<pre class="code synopsis" id="synopsis">', 1)
    return text
