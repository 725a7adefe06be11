"""usage: make_site.py --program QUILLET --modules NODE_MODULES FOLDER

Writes the manual as static HTML: the text of each page comes from the Markdown files by cmark-gfm, the frame around it
from the macros of frame/_frame.cfg, which quillet expands."""

import argparse
import html
import json
import os
import re
import shutil
import subprocess
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from addresses import Addresses, relative
from chapters import read_pages
from markup import Codes, render

HERE = Path(__file__).resolve().parent
FRAME = HERE / "frame"
HEADING = re.compile(r'<h([2-3]) id="([^"]*)">(.*?)</h\1>', re.DOTALL)


def cell(text):
    return " ".join(text.split())


def write_table(path, rows):
    """A data file with named columns."""
    lines = ["\t".join(rows[0])] + ["\t".join(map(cell, row.values())) for row in rows]
    path.write_text("\n".join(lines) + "\n")


def contents(text):
    """The list of the headings of a page with several."""
    found = [(level, anchor, re.sub("<[^>]*>", "", name)) for level, anchor, name in HEADING.findall(text)]
    if sum(level == "2" for level, _, _ in found) < 3:
        return ""
    return "".join(f'<li class="level{level}"><a href="#{anchor}">{name}</a></li>' for level, anchor, name in found)


def trail(page):
    links = [f'<a href="{html.escape(relative(page, above.path))}">{name(above)}</a>' for above in page.ancestors[1:]]
    return " / ".join(links)


def title(page):
    return html.escape(page.title, quote=False)


def name(page):
    return html.escape(page.name, quote=False)


def row(page, text, previous, following):
    chain = [*page.ancestors, page]
    return {
        "address": "/" + page.path, "path": page.path, "root": "../" * page.path.count("/"), "kind": page.kind,
        "title": title(page), "summary": html.escape(page.summary), "chapter": (chain[1:2] or chain)[0].path,
        "part": chain[2].path if len(chain) > 2 else "", "body": "/_bodies/" + page.path, "trail": trail(page),
        "contents": contents(text),
        "previous_path": previous.path if previous else "", "previous_title": name(previous) if previous else "",
        "next_path": following.path if following else "", "next_title": name(following) if following else "",
    }


def write_tables(folder, pages, texts):
    following = [*pages[1:], None]
    write_table(folder / "_pages", [row(*each) for each in zip(pages, texts, [None, *pages], following)])
    lists = {1: "_chapters", 2: "_parts"}
    for depth, file in lists.items():
        write_table(folder / file, [{"path": page.path, "title": name(page), "parent": page.ancestors[-1].path}
                                    for page in pages if len(page.ancestors) == depth])
    operators = sorted((page for page in pages if page.kind == "operator"), key=lambda page: page.title)
    write_table(folder / "_operators", [{"path": page.path, "title": title(page), "theme": page.parent.path}
                                        for page in operators])


def list_of_operators(page):
    rows = "".join(f'<dt><a href="{html.escape(relative(page, each.path))}"><code>{title(each)}</code></a></dt>'
                   f"<dd>{html.escape(each.summary)}</dd>\n" for each in page.operators)
    return f'<h2 id="operators-of-this-page"><a class="anchor" href="#operators-of-this-page">Operators</a></h2>\n' \
           f'<dl class="operators">\n{rows}</dl>\n'


def with_outline(text):
    """The headings at the top, where there is no room for them beside the text."""
    headings = contents(text)
    if not headings:
        return text
    outline = f'<details class="outline"><summary>On this page</summary><ul>{headings}</ul></details>'
    return text.replace("</h1>", "</h1>" + outline, 1)


def with_operators(page, text):
    """A theme's list of operators is after its introduction."""
    if not page.operators:
        return text
    before, heading, after = text.partition("<h2 ")
    return before + list_of_operators(page) + heading + after


def run_node(script, modules, data):
    command = ["node", str(HERE / script), str(modules)]
    environment = {**os.environ, "QUILLET_NODE_MODULES": str(modules)}
    return subprocess.run(command, input=json.dumps(data), env=environment, check=True,
                          stdout=subprocess.PIPE, text=True).stdout


def render_all(pages, addresses, modules):
    codes = Codes()
    texts = [with_operators(page, render(page, addresses, codes)) for page in pages]
    coloured = json.loads(run_node("colours.js", modules, codes.blocks))
    return [codes.put_in(text, coloured, page) for page, text in zip(pages, texts)]


def words_of(text):
    """HTML as one line of text."""
    text = re.sub(r"</(?:p|td|th|li|dt|dd|pre|div|h\d)>", " ", text)
    return " ".join(html.unescape(re.sub("<[^>]*>", "", text)).split())


def beginning(text):
    """What a list of found sections shows of one: its first words, without code."""
    words = words_of(re.sub(r"<pre.*?</pre>|<p class=\"label\">.*?</p>", "", text, flags=re.DOTALL))
    return words if len(words) <= 120 else words[:120].rpartition(" ")[0] + " ..."


def sections(pages, texts):
    """What the search finds: the parts of each page, up to the next heading."""
    found = []
    for page, text in zip(pages, texts):
        for part in re.split(r'(?=<h[1-3] id=")', text):
            heading = re.match(r'<h([1-3]) id="([^"]*)">(.*?)</h\1>', part, re.DOTALL)
            if not heading:
                continue
            rest, is_page = part[heading.end():], heading[1] == "1"
            found.append({"path": page.path + ("" if is_page else "#" + heading[2]), "title": words_of(heading[3]),
                          "page": page.title, "text": words_of(rest),
                          "summary": page.summary if is_page else beginning(rest)})
    return found


def write_pages(folder, pages, texts):
    """The site of pages that quillet expands: all the same, each finds its row and its text by its address."""
    shutil.copytree(FRAME, folder, dirs_exist_ok=True)
    write_tables(folder, pages, texts)
    for page, text in zip(pages, texts):
        for path, content in ((folder / page.path, "^macro_use[/frame.cfg]^macro[page]"),
                              # A line that begins with "#" would be a comment.
                              (folder / "_bodies" / page.path, re.sub("^#", "&#35;", with_outline(text), flags=re.MULTILINE))):
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(content)


def expand(program, pages, work, page):
    """What a visitor of the page gets."""
    environment = {"PATH_TRANSLATED": str(pages / page.path), "REQUEST_URI": "/" + page.path,
                   "DOCUMENT_ROOT": str(pages), "SCRIPT_NAME": "/cgi-bin/quillet", "REQUEST_METHOD": "GET"}
    answer = subprocess.run([program], env=environment, cwd=work, check=True, capture_output=True).stdout
    return answer.partition(b"\n\n")[2]


def write_site(program, pages, source, folder):
    with tempfile.TemporaryDirectory() as work, ThreadPoolExecutor() as workers:
        answers = workers.map(lambda page: expand(program, source, work, page), pages)
        for page, answer in zip(pages, answers):
            path = folder / page.path
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(answer)


def copy_files(folder, addresses, modules):
    for path, name in addresses.assets.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(path, folder / name)
    for path in FRAME.iterdir():
        if not path.name.startswith("_"):
            shutil.copy(path, folder)
    shutil.copy(modules / "minisearch/dist/umd/index.js", folder / "minisearch.js")
    shutil.copy(modules / "minisearch/LICENSE.txt", folder / "minisearch-license.txt")


def make_site(program, modules, folder):
    pages = read_pages()
    addresses = Addresses(pages)
    texts = render_all(pages, addresses, modules)
    with tempfile.TemporaryDirectory() as made:
        write_pages(Path(made), pages, texts)
        write_site(program, pages, Path(made), folder)
    copy_files(folder, addresses, modules)
    (folder / "search_index.js").write_text(run_node("search_index.js", modules, sections(pages, texts)))
    return len(pages)


def main():
    parser = argparse.ArgumentParser(description="Writes the manual as static HTML.")
    parser.add_argument("--program", required=True, type=Path)
    parser.add_argument("--modules", required=True, type=Path, metavar="DIR", help="the npm packages")
    parser.add_argument("folder", type=Path)
    options = parser.parse_args()
    folder = options.folder.resolve()
    if (folder / "search_index.js").is_file():  # a site that was made before; some of its pages may be gone
        shutil.rmtree(folder)
    folder.mkdir(parents=True, exist_ok=True)
    count = make_site(options.program.resolve(), options.modules.resolve(), folder)
    print(f"{count} pages in {folder}")


if __name__ == "__main__":
    main()
