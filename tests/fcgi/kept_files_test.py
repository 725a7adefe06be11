#!/usr/bin/env python3
"""Files change between two requests of one process, which keeps the files that it has read: what it answers is what
the plain program answers.

    kept_files_test.py [--seed N]
"""

import argparse
import os
import random
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from fastcgi import Server
from program import PROGRAM, cgi_environment, wait_for

FOLDERS = 150
PIECES = ("first.html", "second.html", "third.html")
PAGE = ("^macro_use[macro.cfg]^macro[m]|" + "".join(f"^include[{piece}]|" for piece in PIECES) +
        "^include[asis;/shared.html]|^load[rows]^menu[^item[0],]|^env[SET]|\n#\npage")


def random_content(chance):
    """Of few sizes, so that often only the bytes differ."""
    return "".join(chance.choice("ab\n#\r") for _ in range(chance.choice((0, 1, 8))))


class Folder:
    """A page and what it reads, some of it missing."""

    def __init__(self, chance, root, number):
        self.chance = chance
        self.root = root
        self.www = root / "www" / str(number)
        self.www.mkdir(parents=True)
        self.files = {self.www / "page.html": lambda: PAGE + random_content(chance),
                      **{self.www / piece: lambda: random_content(chance) for piece in PIECES},
                      self.www / "_rows": lambda: random_content(chance),
                      self.www / "_macro.cfg": lambda: f"^macro[m;{random_content(chance)}]"}
        for path in self.files:
            if path.name == "page.html" or chance.random() < .8:
                self.write(path)
        (self.root / "targets").mkdir(exist_ok=True)
        self.target = self.root / "targets" / str(number)
        if chance.random() < .3:
            self.target.write_text(random_content(chance))
            (self.www / PIECES[-1]).unlink(missing_ok=True)
            (self.www / PIECES[-1]).symlink_to(self.target)

    def write(self, path):
        path.write_text(self.files[path]())

    def rewrite_with_old_time(self, path):
        old = os.stat(path) if path.exists() else None
        self.write(path)
        if old:
            os.utime(path, ns=(old.st_atime_ns, old.st_mtime_ns))

    def replace(self, path):
        new = path.with_name("new")
        new.write_text(random_content(self.chance) if path == self.target else self.files[path]())
        new.rename(path)

    def replace_target(self, _):
        self.replace(self.target)

    def replace_by_link(self, path):
        target = path.with_name("target")
        target.write_text(self.files[path]())
        path.unlink(missing_ok=True)
        path.symlink_to(target)

    def replace_by_folder(self, path):
        path.unlink(missing_ok=True)
        path.mkdir()

    def append(self, path):
        with path.open("a") as file:
            file.write("x")

    def remove(self, path):
        path.unlink(missing_ok=True)

    def make_other_folder(self):
        """One with the same names and other files, some of them the same one."""
        other = self.www.with_name(f"{self.www.name}.{self.chance.random()}")
        other.mkdir()
        for path in self.files:
            if path.is_file() and self.chance.random() < .5:
                os.link(os.path.realpath(path), other / path.name)
            elif not path.is_dir():
                (other / path.name).write_text(self.files[path]())
        return other

    def replace_all(self, _):
        self.make_other_folder().rename(self.set_aside())

    def replace_all_by_link(self, _):
        other = self.make_other_folder()
        self.set_aside().symlink_to(other)

    def set_aside(self):
        """Gives the name, which is nobody's now."""
        return self.www.rename(self.www.with_name(f"{self.www.name}.old.{self.chance.random()}")) and self.www

    def change(self):
        """Gives the name of what was done."""
        path = self.chance.choice([path for path in self.files if not path.is_dir()])
        how = self.chance.choice((self.write, self.rewrite_with_old_time, self.replace, self.replace_by_link,
                                  self.replace_by_folder, self.append, self.remove,
                                  self.replace_all, self.replace_all_by_link, self.replace_target, lambda path: None))
        if self.target.exists() and self.chance.random() < .5:
            how = self.replace_target
        how(path)
        return f"{how.__name__} {path}"

    def environment(self):
        return cgi_environment(str(self.root), str(self.www.relative_to(self.root) / "page.html"))


class Releases:
    """Two folders and a link to one of them, which a program that the page runs sets to the other one."""

    def __init__(self, root):
        self.root = root
        self.www = root / "www"
        for name in ("one", "two"):
            (self.www / name).mkdir()
            for piece in PIECES:
                (self.www / name / piece).write_text(f"{name} {piece}")
        includes = "".join(f"^include[release/{piece}]|" for piece in PIECES)
        (self.www / "links").mkdir()
        for piece in PIECES:
            (self.www / "links" / piece).symlink_to(f"../release/{piece}")
        (self.www / "linked.html").write_text("".join(f"^include[links/{piece}]|" for piece in PIECES) * 2)
        self.page = "switched.html"
        (self.www / "steady.html").write_text(includes * 2)
        (self.www / "switched.html").write_text(f"{includes * 2}^exec[/switch]{includes}")
        (self.www / "switch").write_text("#!/bin/sh\necho\nln -s two new && mv -T new release\n")
        (self.www / "switch").chmod(0o755)

        self.release = "one"

    def environment(self):
        new = self.www / "new"
        new.symlink_to(self.release)
        new.rename(self.www / "release")
        return cgi_environment(str(self.root), f"www/{self.page}")


def own_mounts():
    """What starts a program with mounts of its own; nothing where that is not allowed."""
    words = ["unshare", "--mount"]
    return words if subprocess.run([*words, "true"], capture_output=True).returncode == 0 else []


def plain(environment, directory, server):
    """Where the server's mounts are."""
    within = [f"--target={server.process.pid}", "--mount", f"--wd={directory}"]
    words = ["nsenter", *within] if own_mounts() else []
    return subprocess.run([*words, PROGRAM], env=environment, cwd=directory, capture_output=True).stdout


def warm(server, environment):
    return server.ask({name: value for name, value in environment.items() if name != "ASAN_OPTIONS"}).output


def reads(server):
    """Calls of read(2) of the only process so far."""
    (process,) = server.children()
    lines = Path(f"/proc/{process}/io").read_text().splitlines()
    return int(next(line for line in lines if line.startswith("syscr")).split()[1])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seed", type=int, default=random.randrange(1000000))
    chance = random.Random(seed := parser.parse_args().seed)
    print(f"--seed {seed}")
    failures = []
    with tempfile.TemporaryDirectory(prefix="quillet-kept-") as name:
        root = Path(os.path.realpath(name))
        site = root / "site"
        site.mkdir()
        (root / "www").mkdir()
        (root / "www/shared.html").write_text("shared")
        (site / ".profile").write_text("SET=1\n")
        folders = [Folder(chance, root, number) for number in range(FOLDERS)]
        releases = Releases(root)
        mounts = own_mounts()
        server = Server(site, "--requests-per-process", "100000", "--processes", "1", "--spare", "1", limits=mounts)

        def compare(place, what, times=2):
            answers = [warm(server, place.environment()) for _ in range(times)]
            expected = plain(place.environment(), site, server)
            if answers != [expected] * times:
                failures.append(f"{what}:\n  plain {expected}\n  warm  {answers}")
        try:
            written = time.time()
            # What has just changed is not kept.
            wait_for(lambda: time.time() > written + 3.5, "the files to be some seconds old")
            compare(releases, "a program that the page runs changes a link", times=4)
            releases.page = "linked.html"
            compare(releases, "links to files below a link")
            releases.release = "two"
            compare(releases, "links to files below a link that changes")
            releases.page, releases.release = "steady.html", "one"
            compare(releases, "a link that stays")
            releases.release = "nowhere"
            compare(releases, "a link to nothing")
            to_mount_in = next(folder for folder in folders if (folder.www / PIECES[0]).is_file())
            folders.remove(to_mount_in)
            for folder in (to_mount_in, *folders):
                compare(folder, "as it was")
            before = reads(server)
            for folder in folders:
                warm(server, folder.environment())
            each = (reads(server) - before) / len(folders)
            if each > 2.5:  # the request's own, and what is not kept
                failures.append(f"{each} calls of read(2) for a page whose files have not changed")
            for folder in folders:
                compare(folder, folder.change())
            if mounts:
                compare(to_mount_in, "as it was still")
                other = root / "mounted.html"
                other.write_text("MOUNTED")
                subprocess.run(["nsenter", f"--target={server.process.pid}", "--mount", "mount", "--bind", other,
                                to_mount_in.www / PIECES[0]], check=True)
                compare(to_mount_in, "another file is mounted in the place of one")
            (root / "www/shared.html").write_text("SHARED")
            (site / ".profile").write_text("SET=2\n")
            for folder in folders:
                compare(folder, "the files of all pages, and " + folder.change())
        finally:
            server.stop()
    print("\n".join(failures) or f"{len(folders)} pages")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
