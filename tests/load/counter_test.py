"""Many counts of one file at the same time: every number is returned once, and the last one is their number.

First `processes` processes count `calls` times each. They wait for the lock of the file until all of them run, so
that all are at it at once. Then, through a real Apache httpd, `clients` clients ask for a page `requests` times
each, at first without a file. The full load, 10,000 counts each way:

    QUILLET_PROGRAM=build/release/bin/quillet python3 tests/load/counter_test.py --processes 50 --calls 200 --requests 500
"""

import argparse
import concurrent.futures
import fcntl
import http.client
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
sys.path += [str(TESTS), str(TESTS / "apache")]
import served_site
from program import PROGRAM, cgi_environment


def check(what, counts, path, total, seconds):
    last = path.read_text()
    good = sorted(counts) == list(range(1, total + 1)) and last == f"{total:010d}"
    print(f"{what}: {total} counts in {seconds:.1f} s, the file holds {last}, "
          + ("each number came out once" if good else "WRONG"), flush=True)
    return good


def by_processes(processes, calls):
    folder = Path(tempfile.mkdtemp(prefix="quillet-load-"))
    (folder / "www").mkdir()
    (folder / "www/page.html").write_text("^counter[visits] " * calls)
    count_file = folder / "www/visits.count"
    with open(count_file, "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        running = [subprocess.Popen([PROGRAM], cwd=folder, env=cgi_environment(folder), stdin=subprocess.DEVNULL,
                                    stdout=subprocess.PIPE) for _ in range(processes)]
        start = time.monotonic()
    counts = [int(count) for process in running for count in process.communicate()[0].partition(b"\n\n")[2].split()]
    good = check(f"{processes} processes", counts, count_file, processes * calls, time.monotonic() - start)
    shutil.rmtree(folder)
    return good


def by_clients(clients, requests):
    folder = served_site.Folder()
    folder.write("site/www/index.html", "^counter[visits]")
    folder.write("site/run/_macro.cfg", "")
    (folder.path / "site/www").chmod(0o777)
    demo = served_site.Demo(folder.path / "site", folder.path)

    def ask(_):
        connection = http.client.HTTPConnection("127.0.0.1", demo.port, timeout=600)
        counts = []
        for _ in range(requests):
            connection.request("GET", "/")
            counts.append(int(connection.getresponse().read()))
        connection.close()
        return counts

    try:
        start = time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(clients) as workers:
            counts = [count for part in workers.map(ask, range(clients)) for count in part]
        return check(f"{clients} clients of Apache httpd", counts, folder.path / "site/www/visits.count",
                     clients * requests, time.monotonic() - start)
    finally:
        demo.stop()
        folder.remove()


def main():
    parser = argparse.ArgumentParser(description="Counts one file from many sides at once.")
    for name, number in (("processes", 20), ("calls", 50), ("clients", 20), ("requests", 10)):
        parser.add_argument(f"--{name}", type=int, default=number)
    options = parser.parse_args()
    results = [by_processes(options.processes, options.calls), by_clients(options.clients, options.requests)]
    sys.exit(0 if all(results) else 1)


if __name__ == "__main__":
    main()
