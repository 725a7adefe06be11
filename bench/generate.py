#!/usr/bin/env python3
"""Prepares the scenarios in a folder: the pages, and the large inputs made here.

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
UPLOAD_BOUNDARY = "----WebKitFormBoundary7MA4YWxkTrZu0gW"
UPLOAD_TYPE = "multipart/form-data; boundary=" + UPLOAD_BOUNDARY
UPLOAD_BYTES = 10_000_000

LUA_HEAD = "#!/usr/bin/haserl --shell=lua\nContent-type: text/html\n\n"
SHELL_HEAD = "#!/usr/bin/haserl\nContent-type: text/html\n\n"
PERL_HEAD = "#!/usr/bin/perl\nuse strict;\nuse warnings;\n"


def sentence(chance, length):
    """About `length` bytes of words."""
    words = []
    while length > 0:
        words.append(chance.choice(WORDS))
        length -= len(words[-1]) + 1
    return " ".join(words)


def macro_page(calls, size, line):
    """A page of about `size` bytes with `calls` calls, each with its words written by line(words, name, price)."""
    chance = random.Random(calls)
    paragraph = size // calls
    lines = []
    for i in range(calls):
        name, price = f"spade {i}", f"{i % 90 + 10}.50"
        words = sentence(chance, paragraph - len(name) - len(price) - 28)
        lines.append(line(words, name, price))
    return "".join(lines)


def make_macro_calls(folder):
    heads = {
        "html": "",
        "php": "<?php include 'macros.php' ?>\n",
        "pl": PERL_HEAD + 'require "./macros.pl";\n\nprint "Content-type: text/html\\n\\n";\n',
        "lua": LUA_HEAD + "<% dofile('macros.lua') %>",
        "sh": SHELL_HEAD + "<% . ./macros.sh %>",
    }
    lines = {
        "html": "<p>{} ^macro[product;{};{}].</p>\n",
        "php": "<p>{} <?= product('{}', '{}') ?>.</p>\n",
        "pl": 'print "<p>{} ", product("{}", "{}"), ".</p>\\n";\n',
        "lua": "<p>{} <%= product('{}', '{}') %>.</p>\n",
        "sh": "<p>{} <% product '{}' '{}' %>.</p>\n",
    }
    for extension, line in lines.items():
        page = macro_page(200, 1_000_000, line.format)
        (folder / f"page.{extension}").write_text(heads[extension] + page)


def make_includes(folder):
    """Fifty files of half a kilobyte, without code in them: each language reads the same ones."""
    folder.mkdir(exist_ok=True)
    chance = random.Random(50)
    names = [f"piece-{i}.html" for i in range(1, 51)]
    for name in names:
        (folder / name).write_text(f"<h2>{sentence(chance, 20)}</h2>\n<p>{sentence(chance, 470)}</p>\n")
    pages = {
        "html": ("", "^include[{}]"),
        "php": ("", "<?php include '{}' ?>"),
        "pl": (PERL_HEAD + "\nsub include {\n  open my $file, '<', shift or die;\n  print <$file>;\n}\n"
               'print "Content-type: text/html\\n\\n";\n', 'include("{}");\n'),
        "lua": (LUA_HEAD, "<%in {} %>"),
        "sh": (SHELL_HEAD, "<%in {} %>"),
    }
    for extension, (head, line) in pages.items():
        (folder / f"page.{extension}").write_text(head + "".join(map(line.format, names)))


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


def make_tables(target):
    for count in (1_000, 20_000):
        (target / f"rows/_rows-{count}").write_text(table_rows(count))
    (target / "sort/_rows").write_text(table_rows(5_000))
    (target / "common-loop/_goods").write_text("id\tname\tprice\tsize\twords\n" + table_rows(20))


def make_match(folder):
    """One line with a word and a number every 40 bytes."""
    chance = random.Random(5_000)
    parts = [f"{sentence(chance, 32)[:32].rstrip()} {i}" for i in range(10_000, 15_000)]
    (folder / "_text-5000").write_text(" ".join(parts) + "\n")


def make_upload(folder):
    """A form with one file of 10 MB of arbitrary bytes, as a browser sends it."""
    head = (f"--{UPLOAD_BOUNDARY}\r\nContent-Disposition: form-data; name=\"file\"; filename=\"photo.jpg\"\r\n"
            "Content-Type: image/jpeg\r\n\r\n")
    file = random.Random(10).randbytes(UPLOAD_BYTES)
    (folder / "body").write_bytes(head.encode() + file + f"\r\n--{UPLOAD_BOUNDARY}--\r\n".encode())
    (folder / "sent").write_bytes(file)


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


def prepare(target):
    shutil.copytree(SOURCE, target, dirs_exist_ok=True)
    make_macro_calls(target / "macro-calls")
    make_includes(target / "includes")
    make_tables(target)
    make_match(target / "match")
    make_upload(target / "upload")
    make_php_settings(target)


if __name__ == "__main__":
    prepare(pathlib.Path(sys.argv[1]))
