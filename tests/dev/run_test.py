"""quillet-dev run: the request that a page gets, the places of messages, the trace, the profile."""

import re
import unittest

from dev_site import DevSite


class Requests(DevSite):
    def test_the_body_is_printed(self):
        self.assertEqual(self.run_page("a ^sum[1;2]").stdout, b"a 3")

    def test_the_headers_are_printed_when_asked_for(self):
        self.assertEqual(self.body("^header[X-One;1]a", "--headers"),
                         "X-One: 1\nContent-type: text/html\nContent-length: 1\n\na")

    def test_fields_are_those_of_the_query(self):
        self.assertEqual(self.body("^form[a]|^combine[b;,]|^query[]", "a=1 ü&", "b=x", "b=y"), "1 ü&|x,y|a=1+%c3%bc%26&b=x&b=y")

    def test_fields_of_a_post_are_those_of_the_body(self):
        self.assertEqual(self.body("^form[a]|^query[]|^env[REQUEST_METHOD]", "a=1", "--method", "POST"), "1||POST")

    def test_a_file_is_sent(self):
        body = self.body({"www/page.html": "^optimize[no]^form[a]|^form[f]|^upload[f;f.txt]^include[asis;f.txt]",
                          "sent.txt": "two\nlines"}, "a=1", "--file", "f=sent.txt")
        self.assertEqual(body, "1|(file)|two\nlines")

    def test_cookies_headers_and_variables(self):
        self.assertEqual(self.body("^cookie[c]^cookie[d]|^env[HTTP_ACCEPT_LANGUAGE]|^env[A]", "--cookie", "c=1",
                                   "--cookie", "d=2", "--header", "Accept-Language: de", "--env", "A=b=c"), "12|de|b=c")

    def test_the_rest_of_the_environment_is_left_out(self):
        self.assertEqual(self.body("(^env[HOME])"), "()")

    def test_root_and_working_directory_are_found_from_the_page(self):
        body = self.body({"www/shop/list.html": "^macro[greet]^env[NAME]|^env[DOCUMENT_ROOT]|^uri[]",
                          "run/_macro.cfg": "@greet\nHello\n", "run/.profile": "NAME=Quill\n"},
                         page="www/shop/list.html")
        self.assertEqual(body, f"HelloQuill|{self.root}/www|/shop/list.html")

    def test_root_and_working_directory_are_those_given(self):
        body = self.body({"pages/a.html": "^macro[greet]", "work/_macro.cfg": "@greet\nHello\n"}, "--root", "pages",
                         "--site", "work", page="pages/a.html")
        self.assertEqual(body, "Hello")

    def test_without_a_working_directory_nothing_is_left_beside_the_page(self):
        for folder in ("www", "run"):
            (self.root / folder).rmdir()
        self.run_page("^nothing_at_all[]^rem[]", page="page.html")
        self.assertEqual([path.name for path in self.root.iterdir()], ["page.html"])

    def test_a_page_outside_the_root_is_refused(self):
        done = self.run_page("x", "--root", "run", status=2)
        self.assertIn(b"is not below the root", done.stderr)

    def test_the_exit_status_is_that_of_the_page(self):
        done = self.run_page("^rem[]", status=253)
        self.assertIn(b"unable to print", done.stdout)
        self.assertIn(b"unable to print", done.stderr)

    def test_a_page_that_takes_too_long_is_stopped_and_says_where(self):
        notes = self.notes("x\n^for[i;1;1000000;\n^for[k;1;1000000;^rem[]]]", "--seconds", "1", status=124)
        self.assertRegex(notes[0], r"^www/page.html:3:18: \[stopped: the time is over\]$")


class Places(DevSite):
    def assert_places(self, files, *expected, **named):
        """The lines without the chains."""
        self.assertEqual([line for line in self.notes(files, **named) if not line.startswith(" ")], list(expected))

    def test_a_call_on_a_page(self):
        self.assert_places("one\n  ^nosuch[]", "www/page.html:2:3: [invalid operator nosuch]")

    def test_a_call_in_a_parameter(self):
        self.assert_places("^eq[a;a;\n ^nosuch[];]", "www/page.html:2:2: [invalid operator nosuch]")

    def test_dropped_lines_and_carriage_returns_count(self):
        self.assert_places(b"#one\r\ntwo\r\n#three\n\r ^nosuch[]\r\n", "www/page.html:4:3: [invalid operator nosuch]")

    def test_the_body_of_a_macro(self):
        self.assert_places("@greet[who]\n# dropped\nHello $who ^nosuch[]\n@main\n^macro[greet;a long argument]",
                           "www/page.html:3:12: [invalid operator nosuch]")

    def test_an_argument_is_where_it_is_written(self):
        self.assert_places("@greet[who]\n<$who$who>\n@main\n^macro[greet;x\n ^nosuch[]]",
                           "www/page.html:5:2: [invalid operator nosuch] (2 times)")

    def test_an_argument_handed_on(self):
        self.assert_places("@inner[x]\n($x)\n@outer[y]\n^macro[inner;-$y-]\n@main\n^macro[outer;^nosuch[]]",
                           "www/page.html:6:14: [invalid operator nosuch]")

    def test_a_short_body_and_a_short_argument(self):
        self.assert_places("@a[x]\n$x^u[]\n@main\n^macro[a;^v[]]",
                           "www/page.html:4:10: [invalid operator v]", "www/page.html:2:3: [invalid operator u]")

    def test_a_macro_made_by_the_page(self):
        self.assert_places("x\n^macro_new[m[a];$a\n ^nosuch[]]^macro[m;1]",
                           "www/page.html:3:2: [invalid operator nosuch]")

    def test_a_macro_file(self):
        self.assert_places({"run/_macro.cfg": "# c\n@m\n ^nosuch[]\n", "www/page.html": "^macro[m]"},
                           "run/_macro.cfg:3:2: [invalid operator nosuch]")

    def test_included_files(self):
        self.assert_places({"www/page.html": "^include[a.html]\n^include[a.html]", "www/a.html": "#\nx ^nosuch[]"},
                           "www/a.html:2:3: [invalid operator nosuch]", "www/a.html:2:3: [invalid operator nosuch]")

    def test_a_file_that_changes_while_the_page_runs(self):
        self.assert_places("^save[a.html;^^one[]]^include[_a.html]^save[a.html;\n ^^two[]]^include[_a.html]",
                           "www/_a.html:1:1: [invalid operator one]", "www/_a.html:2:2: [invalid operator two]")

    def test_loops(self):
        self.assert_places("^for[i;1;9;\n^for[k;1;9;\n ^nosuch[]]]",
                           "www/page.html:3:2: [invalid operator nosuch] (81 times)")

    def test_rows(self):
        self.assert_places({"www/page.html": "^load[named;goods]\n^menu[^item[name]^item[nmae];]",
                            "www/_goods": "name\nA\nB\n"},
                           "www/page.html:2:18: [invalid item name nmae] (2 times)")

    def test_a_value_evaluated_again(self):
        self.assert_places("\n^var[v;long enough not to be kept inside ^^sum[^^nosuch[];1;2]]\n^process[^var[v]]",
                           "www/page.html:2:49: [invalid operator nosuch]",
                           "www/page.html:2:43: [invalid parameters to operator sum]")

    def test_a_short_value_evaluated_again(self):
        self.assert_places("^var[v;^^no[]]\n^process[^var[v]]", "www/page.html:1:9: [invalid operator no]")

    def test_a_cell_evaluated(self):
        self.assert_places({"www/page.html": "^load[named;goods]^process[^item[code]]",
                            "www/_goods": "# c\n\nname\tcode\nA\t^nosuch[1]\n"},
                           "www/_goods:4:3: [invalid operator nosuch]")

    def test_equal_calls_are_told_apart(self):
        self.assert_places("@a[x]\n$x ^nosuch[]\n@b[x]\n$x ^nosuch[]\n@main\n^macro[a;^nosuch[]]^macro[b;^nosuch[]]",
                           "www/page.html:6:10: [invalid operator nosuch]", "www/page.html:2:4: [invalid operator nosuch]",
                           "www/page.html:6:29: [invalid operator nosuch]", "www/page.html:4:4: [invalid operator nosuch]")

    def test_a_call_that_may_be_either_of_two_is_where_it_is_evaluated(self):
        self.assert_places({"www/page.html": "^load[named;goods]^menu[^process[^item[code]];]",
                            "www/_goods": "code\n^nosuch[1]\n^nosuch[1]\n"},
                           "www/page.html:1:25: in a value evaluated here: [invalid operator nosuch] (2 times)")

    def test_calls_inside_each_other_are_one_link(self):
        notes = self.notes("@down[n]\n^if[$n>0;^macro[down;^eval[$n-1]];^nosuch[]]\n@main\n^macro[down;3]")
        self.assertEqual(notes, ["www/page.html:2:35: [invalid operator nosuch]",
                                 "    in macro down, from www/page.html:2:10 (3 times)",
                                 "    in macro down, from www/page.html:4:1",
                                 "    in macro main, from www/page.html:4:1"])

    def test_a_value_of_a_visitor_evaluated_is_where_that_happens(self):
        notes = self.notes("x\n ^process[^form[x]]", "x=^nosuch[]")
        self.assertEqual(notes, ["www/page.html:2:2: in a value evaluated here: [invalid operator nosuch]"])

    def test_the_chain_of_macros_and_includes(self):
        notes = self.notes({"www/page.html": "@inner\n^include[a.html]\n@outer\n ^macro[inner]\n@main\nx\n^macro[outer]",
                            "www/a.html": "\n^nosuch[]"})
        self.assertEqual(notes, ["www/a.html:2:1: [invalid operator nosuch]",
                                 "    in include a.html, from www/page.html:2:1",
                                 "    in macro inner, from www/page.html:4:2",
                                 "    in macro outer, from www/page.html:7:1",
                                 "    in macro main, from www/page.html:6:1"])

    def test_a_reference_that_matches_no_name(self):
        self.assert_places("@m[who]\nHello $wo\n@main\n^macro[m;a]", "www/page.html:2:8: [macro param name not found]")


class Notes(DevSite):
    def test_messages_of_every_kind(self):
        messages = {
            "^macro[m]": "[undefined macro m]",
            "^[x]": "[invalid operator ",
            "^if[1>;a]": "[if: Syntax error near '']",
            "^eq[a]": "[eq: wrong params number]",
            "^unlink[none]": f"[unlink '{self.root}/www/none' failed: No such file or directory(#2)]",
            "^match[(;text]": "[regex error: Unmatched ( or \\(]",
            "^config[t]^menu[^config[t];]": None,
            "^upload[f;g]": "[upload field 'f' to '(no file)' failed: no such field]",
            "^sendmail[]^counter[none/c]": f'[counter: count file "{self.root}/www/none/c.count" not writable or non-existant.]',
            "^download[none]": "[download error: No such file or directory(#2)]",
            "^server[a:b@127.0.0.1:1/c;x]": None,
        }
        for page, message in messages.items():
            with self.subTest(page):
                notes = self.notes(page + "x")
                if message is not None:
                    self.assertEqual(notes[0].partition(": ")[2], message)

    def test_a_message_that_the_page_does_not_show(self):
        seen = self.trace({"www/page.html": "^load[named;goods]^locate[nmae;B]^item[name]", "www/_goods": "name\nA\n"})
        self.assertEqual([(each["message"], each["is_in_body"]) for each in seen["messages"]],
                         [("[invalid item name nmae]", False)])

    def test_files_that_are_missing(self):
        notes = self.notes("^include[none.html]\n^load[goods]x^imgsize[none.gif]^macro_use[lib.cfg]")
        above = [str(folder / "_goods") for folder in self.root.parents]
        self.assertEqual(notes, [
            "www/page.html:1:1: include: not found: www/none.html",
            "www/page.html:2:1: load: not found: " + ", ".join(["www/_goods", "_goods", *above]),
            "www/page.html:2:14: imgsize: not found: www/none.gif",
            "www/page.html:2:32: macro_use: not found: www/_lib.cfg"])

    def test_a_file_found_further_up_is_not_missing(self):
        self.assertEqual(self.notes({"www/a/page.html": "x^load[goods]", "www/_goods": "a"}, page="www/a/page.html"), [])

    def test_output_of_autoexec_is_dropped(self):
        self.assertEqual(self.notes("@autoexec\n^var[a;1]lost\n@main\nx"),
                         ["www/page.html:2:1: the output of autoexec is dropped: lost"])

    def test_white_space_of_autoexec_is_no_news(self):
        self.assertEqual(self.notes("@autoexec\n ^var[a;1]\n\n@main\nx"), [])

    def test_text_before_the_first_definition_is_dropped(self):
        self.assertEqual(self.notes("<html>\n@main\nx"),
                         ["www/page.html:1:1: the text before the first definition is dropped: <html>"])


class Traces(DevSite):
    page = {"www/page.html": "^load[named;goods]\n^level[sql;^menu[^macro[show;^item[name]];, ]]",
            "www/_goods": "name\nA\nB\n", "run/_macro.cfg": "@show[what]\n<$what>\n"}

    def test_the_tree_of_calls(self):
        lines = self.notes(self.page, "--trace")
        calls = [re.sub(r"^(\S+)\s\s(.*)$", r"\1 \2", line) for line in lines if re.match(r"\S+:\d+:\d+ ", line)]
        self.assertEqual([re.sub(r" {2,}", "  ", call) for call in calls], [
            'www/page.html:1:1  ^load[named;goods] = ""',
            'www/page.html:2:1  ^level[sql;^menu[^macro[show;^item[name]];, ]] = "<A>, <B>" {row 0}',
            'www/page.html:2:12  ^menu[^macro[show;^item[name]];, ] = "<A>, <B>" {mode sql}',
            'www/page.html:2:18  ^macro[show;^item[name]] = "<A>"',
            'www/page.html:2:30  ^item[name] = "A"',
            'www/page.html:2:18  ^macro[show;^item[name]] = "<B>" {row 1}',
            'www/page.html:2:30  ^item[name] = "B"'])

    def test_the_files(self):
        lines = self.notes(self.page, "--trace")
        self.assertIn("looked for: run/.profile", lines)
        for path in ("run/_macro.cfg", "www/page.html", "www/_goods"):
            self.assertIn("read: " + path, lines)

    def test_json(self):
        seen = self.trace(self.page)
        level = seen["calls"][1]
        self.assertEqual((level["operator"], level["line"], level["column"], level["file"]),
                         ("level", 2, 1, str(self.root / "www/page.html")))
        menu = level["calls"][0]
        self.assertEqual((menu["parameters"], menu["result"], menu["mode"], menu["row"], menu["table"]),
                         (["^macro[show;^item[name]]", ", "], "<A>, <B>", "sql", 0, ""))
        self.assertEqual([call["calls"][0]["result"] for call in menu["calls"]], ["A", "B"])
        self.assertEqual((seen["status"], seen["is_complete"], seen["body_size"]), (0, True, 9))

    def test_bytes_that_are_no_utf_8_do_not_hinder_json(self):
        self.assertEqual(self.trace(b"^sum[\xe4;1]^form[\xff]")["calls"][1]["parameters"], ["\ufffd"])

    def test_a_page_that_ends_the_process_gives_its_trace(self):
        seen = self.trace("^macro[none]^rem[]" + "^var[a;1]" * 3 + "^macro_new[a;^rem[]]" , status=0)
        self.assertTrue(seen["is_complete"])
        seen = self.trace("^rem[]^var[a;1]", status=253)
        self.assertEqual(([call["operator"] for call in seen["calls"]], seen["is_complete"]), (["rem", "var"], True))

    def test_long_values_are_cut(self):
        seen = self.trace("^form[" + "x" * 5000 + "]y")
        self.assertEqual(len(seen["calls"][0]["parameters"][0]), 400)

    def test_more_calls_than_anybody_reads_are_counted_only(self):
        seen = self.trace("^for[i;1;30000;^sum[1;1]]")
        self.assertEqual(seen["calls_left_out"], 30001 - 20000)


class Profiles(DevSite):
    page = {"www/page.html": "^for[i;1;10;^macro[m;^sum[1;2]]]\n^sum[3;4]",
            "run/_macro.cfg": "@m[x]\n($x)\n"}

    def test_by_operator_and_by_line(self):
        lines = [line.split() for line in self.notes(self.page, "--profile")]
        counts = {" ".join(words[3:]): words[0] for words in lines if len(words) > 3}
        self.assertEqual({name: counts[name] for name in ("for", "macro m", "sum", "www/page.html:1", "www/page.html:2")},
                         {"for": "1", "macro m": "10", "sum": "11", "www/page.html:1": "21", "www/page.html:2": "1"})

    def test_the_time_of_calls_inside_is_part_of_the_total_only(self):
        for line in self.notes(self.page, "--profile"):
            words = line.split()
            if words and words[-1] == "for":
                self.assertGreater(float(words[1]), float(words[2]))

    def test_calls_inside_each_other_count_once_in_the_total(self):
        lines = self.notes("@down[n]\n^if[$n>0;^macro[down;^eval[$n-1]];x]\n@main\n^macro[down;50]", "--profile")
        total = {" ".join(line.split()[3:]): float(line.split()[1]) for line in lines if line[:9].strip().isdigit()}
        self.assertLessEqual(total["macro down"], total["macro main"])

    def test_folded_stacks(self):
        lines = self.notes("@slow\n^for[i;1;20000;x]\n@main\n^macro[slow]", "--profile=folded")
        self.assertTrue(any(re.fullmatch(r"macro main;macro slow \(www/page.html:4\);for \(www/page.html:2\) \d+", line)
                            for line in lines), lines)


if __name__ == "__main__":
    unittest.main()
