"""Many visitors write to the cookbook's guest book at once: every entry is there afterwards, whole.

    QUILLET_PROGRAM=build/release/bin/quillet python3 tests/cookbook/load_test.py --posts 2000 --at-once 20

It also counts what is left of as many posts to a page that loads one table, appends a row and saves it: some are lost.
"""

import argparse
import concurrent.futures
import sys
import time

from recipe import Recipe, Site

ONE_TABLE = """^eq[^env[REQUEST_METHOD];POST;^context[guests;^load[guests]^config[append;^form[name]	^form[words]]^save[guests]]]ok"""


def post_all(site, page, posts, at_once):
    def post(number):
        return site.post(page, {"name": f"Visitor {number}", "words": f"words {number} " * 20}).headers.get("Status", "200")

    start = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(at_once) as visitors:
        statuses = list(visitors.map(post, range(posts)))
    return statuses, time.monotonic() - start


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--posts", type=int, default=100)
    parser.add_argument("--at-once", type=int, default=20)
    options = parser.parse_args()
    recipe = Recipe.named("append")
    content, mode, changed = recipe.files["www/guests.html"]
    recipe.files["www/guests.html"] = (content.replace(b"last >= 1000", b"last >= 1000000"), mode, changed)
    with Site(recipe) as site:
        statuses, seconds = post_all(site, "/guests.html", options.posts, options.at_once)
        files = {path.name for path in (site.root / "run").glob("_guest-*")}
        rows = [site.read("run/" + name).rstrip("\n").split("\t")[1:] for name in files]
    good = (statuses == ["303 See Other"] * options.posts
            and files == {f"_guest-{number + 1}" for number in range(options.posts)}
            and sorted(rows) == sorted([f"Visitor {n}", f"words {n} " * 20] for n in range(options.posts)))
    print(f"a file for each entry: {options.posts} posts, {options.at_once} at once, {seconds:.1f} s, {len(files)} entries"
          f"{'' if good else ', WRONG'}")
    recipe.files["www/one-table.html"] = (ONE_TABLE.encode(), 0o644, None)
    with Site(recipe) as site:
        post_all(site, "/one-table.html", options.posts, options.at_once)
        left = sum(len(row.split("\t")) == 2 and row.endswith(" ") for row in site.read("www/_guests").splitlines())
    print(f"one table: {options.posts} posts, {options.at_once} at once, {left} rows")
    sys.exit(not good)


if __name__ == "__main__":
    main()
