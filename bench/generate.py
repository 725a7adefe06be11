#!/usr/bin/env python3
"""Prepares the scenarios of the comparison in a folder: the pages, and the large inputs made here.

    generate.py FOLDER

The same bytes every time.
"""

import pathlib
import random
import shutil
import sys

SOURCE = pathlib.Path(__file__).parent / "scenarios"
WORDS = ("garden spade walnut basket summer water kettle ladder window market autumn orchard pepper "
         "yellow little narrow gentle broken evening morning between behind across under because").split()


def sentence(chance, length):
    """About `length` bytes of words."""
    words = []
    while length > 0:
        words.append(chance.choice(WORDS))
        length -= len(words[-1]) + 1
    return " ".join(words)


def macro_page(calls, size, call):
    """A page of about `size` bytes with `calls` calls, each written by call(name, price)."""
    chance = random.Random(calls)
    paragraph = size // calls
    lines = []
    for i in range(calls):
        name, price = f"spade {i}", f"{i % 90 + 10}.50"
        words = sentence(chance, paragraph - len(name) - len(price) - 28)
        lines.append(f"<p>{words} {call(name, price)}.</p>\n")
    return "".join(lines)


def make_macro_calls(folder):
    for calls, size in ((200, 1_000_000), (1_000, 100_000), (10_000, 1_000_000)):
        page = macro_page(calls, size, "^macro[product;{};{}]".format)
        (folder / f"page-{calls}.html").write_text(page)
        page = macro_page(calls, size, "<?= product('{}', '{}') ?>".format)
        (folder / f"page-{calls}.php").write_text("<?php include 'macros.php' ?>\n" + page)
        page = macro_page(calls, size, "<%= product('{}', '{}') %>".format)
        head = "#!/usr/bin/haserl --shell=lua\nContent-type: text/html\n\n<% dofile('macros.lua') %>"
        (folder / f"page-{calls}.lua").write_text(head + page)


def table_rows(count):
    """Five columns; the third one is a number that occurs once."""
    chance = random.Random(count)
    prices = list(range(count))
    chance.shuffle(prices)
    lines = []
    for i in range(count):
        name = f"{chance.choice(WORDS)} {chance.choice(WORDS)} no. {i}"
        size = f'{chance.randrange(1, 40)}" <{chance.choice("SML")}>'
        lines.append(f"{i + 1}\t{name}\t{prices[i] / 4 + 1}\t{size}\t{sentence(chance, 30)}\n")
    return "".join(lines)


def make_rows(folder):
    for count in (1_000, 10_000, 20_000, 100_000):
        (folder / f"_rows-{count}").write_text(table_rows(count))


def make_sort(folder):
    (folder / "_rows").write_text(table_rows(5_000))


def make_match(folder):
    """One line with a number every 40 bytes."""
    for count in (5_000, 50_000):
        chance = random.Random(count)
        parts = [f"{sentence(chance, 32)[:32].rstrip()} {i}" for i in range(10_000, 10_000 + count)]
        (folder / f"_text-{count}").write_text(" ".join(parts) + "\n")


def make_php_settings(target):
    """The extensions that php-cgi loads as Debian installs it: those of the package php-mysql, which every page
    would load, for the scenario sql only."""
    settings = next(iter(sorted(pathlib.Path("/etc/php").glob("*/cgi/conf.d"))))
    modules = settings.parent.parent / "mods-available"
    for folder in (target / "php.d", target / "sql/php.d"):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        for file in settings.glob("*.ini"):
            if "mysql" not in file.name:
                shutil.copy(file, folder)
    shutil.copy(modules / "mysqlnd.ini", target / "sql/php.d/10-mysqlnd.ini")
    shutil.copy(modules / "mysqli.ini", target / "sql/php.d/20-mysqli.ini")


def main():
    target = pathlib.Path(sys.argv[1])
    shutil.copytree(SOURCE, target, dirs_exist_ok=True)
    make_macro_calls(target / "macro-calls")
    make_rows(target / "rows")
    make_sort(target / "sort")
    make_match(target / "match")
    make_php_settings(target)


if __name__ == "__main__":
    main()
