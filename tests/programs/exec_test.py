"""exec with real programs: what they are given, and what becomes of their answers."""

import os
import resource
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from page_runner import PageTest  # noqa: E402
from program import compile_c  # noqa: E402

PROBE = r"""
#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

extern char **environ;

static void show(const char *name) {
  const char *value = getenv(name);
  printf("%s=%s\n", name, value ? value : "(unset)");
}

int main(int count, char **arguments) {
  char directory[4096];
  printf("Content-type: text/plain\r\n\r\n");
  if (getenv("PATH_INFO") && strcmp(getenv("PATH_INFO"), "/descriptors") == 0) {
    DIR *open_files = opendir("/proc/self/fd");
    for (struct dirent *entry; (entry = readdir(open_files));) {
      if (entry->d_name[0] != '.' && atoi(entry->d_name) != dirfd(open_files)) printf("%s ", entry->d_name);
    }
    return 0;
  }
  if (getenv("PATH_INFO") && strcmp(getenv("PATH_INFO"), "/signals") == 0) {
    for (int number = 1; number < 32; ++number) {
      struct sigaction action;
      if (sigaction(number, NULL, &action) == 0 && action.sa_handler != SIG_DFL) printf("%d ", number);
    }
    return 0;
  }
  if (getenv("PATH_INFO") && strcmp(getenv("PATH_INFO"), "/bytes") == 0) {
    for (int byte = 1; byte < 256; ++byte) putchar(byte);
    putchar(0);
    printf("never seen");
    return 0;
  }
  printf("%d %s %s\n", count, arguments[0], getcwd(directory, sizeof directory));
  show("QUERY_STRING");
  show("PATH_INFO");
  show("DOCUMENT_URI");
  show("QUERY_STRING_UNESCAPED");
  show("REQUEST_URI");
  return 0;
}
"""


class Exec(PageTest):
    def setUp(self):
        super().setUp()
        folder = self.www / "bin"
        folder.mkdir()
        compile_c(self.write("probe.c", PROBE), folder / "probe")

    def test_a_program_in_c_gets_its_directory_and_its_environment(self):
        body = self.run_page("^exec[bin/probe;a=1&b=2;/path]", {
            "QUERY_STRING": "x=%41", "PATH_INFO": "/own", "REQUEST_URI": "/page.html?x=%41"})
        self.assertEqual(body, f"1 ./probe {self.www}/bin\nQUERY_STRING=a=1&b=2\nPATH_INFO=/path\n"
                               "DOCUMENT_URI=/page.html?x=%41\nQUERY_STRING_UNESCAPED=x=%41\n"
                               "REQUEST_URI=/page.html?x=%41\n")

    def test_what_is_missing_is_not_set(self):
        body = self.run_page("^exec[bin/probe]", {"PATH_INFO": "/own"})
        self.assertIn("QUERY_STRING=(unset)\nPATH_INFO=(unset)\nDOCUMENT_URI=/page.html\n"
                      "QUERY_STRING_UNESCAPED=(unset)\n", body)

    def test_only_the_three_standard_descriptors_are_open(self):
        numbers = (20, 21, 200)
        for number in numbers:
            os.dup2(sys.stdin.fileno(), number)
            self.addCleanup(os.close, number)
        body = self.run_page("^exec[bin/probe;;/descriptors]", pass_fds=numbers)
        self.assertEqual(body.split(), ["0", "1", "2"])

    def test_signals_have_their_defaults(self):
        self.assertEqual(self.run_page("(^exec[bin/probe;;/signals])"), "()")

    def test_bytes_pass_up_to_the_first_nul(self):
        self.assertEqual(self.run_page("^exec[bin/probe;;/bytes]"), "".join(map(chr, range(1, 256))))

    def test_a_perl_program_reads_its_query(self):
        self.write("www/bin/search.pl", '#!/usr/bin/perl\nuse strict; use warnings;\n'
                   'my %query = map { split /=/, $_, 2 } split /&/, $ENV{QUERY_STRING};\n'
                   'print "Content-type: text/html\\n\\n<ul>\\n";\n'
                   'print "<li>$_: $query{$_}\\n" for sort keys %query;\nprint "</ul>\\n";\n', 0o755)
        self.assertEqual(self.run_page("^exec[bin/search.pl;b=2&a=1]"), "<ul>\n<li>a: 1\n<li>b: 2\n</ul>\n")

    def test_a_closed_standard_output_or_error_does_not_matter(self):
        self.write("www/bin/hi", "#!/bin/sh\nexec 2>&-\nprintf '\\n\\nhi'\n", 0o755)
        self.assertEqual(self.run_page("^exec[bin/hi]"), "hi")
        self.write("www/bin/quiet", "#!/bin/sh\nexec >&-\n", 0o755)
        self.assertEqual(self.run_page("(^exec[bin/quiet])"), "()")

    def test_many_programs_leave_no_descriptor_open(self):
        self.write("www/bin/hi", "#!/bin/sh\nprintf '\\n\\n.'\n", 0o755)
        body = self.run_page("^for[i;1;50;^exec[bin/hi]]", limits=[(resource.RLIMIT_NOFILE, 16)])
        self.assertEqual(body, "." * 50)

    def test_programs_that_have_ended_are_gone(self):
        self.write("www/bin/zombies", "#!/bin/sh\nprintf '\\n\\n'\nset -- $(cat /proc/$PPID/stat)\n"
                   "cat /proc/[0-9]*/stat 2>/dev/null | grep -cE \"[)] Z ($PPID|$4) \"\n", 0o755)
        self.assertEqual(self.run_page("^exec[bin/zombies]" * 3), "0\n0\n0\n")

    def test_a_standard_input_that_is_closed(self):
        self.write("www/bin/cat", "#!/bin/sh\nprintf '\\n\\n'; cat\n", 0o755)
        self.assertEqual(self.run_page("(^exec[bin/cat])"), "()")


if __name__ == "__main__":
    unittest.main()
