#!/usr/bin/env python3
"""Pictures that gif_template makes, compared pixel by pixel; and what it does with bad files."""

import os
import resource
import subprocess
import unittest

import gif
from gif import Picture, picture
from page_runner import PageTest
from program import ROOT

HEADER = b"Content-type: image/gif\n\n"
FALLBACK = bytes.fromhex(
    "4749463839610100010080ff00c0c0c000000021f90401000000002c00000000010001000002024401003b")


def strip(*glyphs, **colors):
    """A font picture: the glyphs drawn with characters, an unused row above each."""
    rows = []
    for glyph in glyphs:
        lines = glyph.split()
        rows += ["." * len(lines[0]), *lines]
    return picture("\n".join(rows), **colors)


# The font of most tests, of the characters " .IL".
DOT = ".... .... .k.."
PIPE = ".k.. .k.. .k.."
CORNER = ".k.. .k.. .kk."
FONT = strip(".... .... ....", DOT, PIPE, CORNER, k="000000")
FONT_MACRO = "@font\nfont.gif\n4\t2\n .IL\n"


class GifTemplateTest(PageTest):
    def setUp(self):
        super().setUp()
        self.macros(FONT_MACRO)
        self.put("font.gif", FONT)

    def macros(self, source, encoding="utf-8"):
        (self.root / "site/_macro.cfg").write_text(source, encoding)

    def put(self, name, content):
        data = gif.encode(content) if isinstance(content, Picture) else content
        (self.root / "www" / name).write_bytes(data)

    def run_page(self, page, files=None):
        """What the page sends. `files`: how many the program may have open at once."""
        limits = [] if files is None else [(resource.RLIMIT_NOFILE, files)]
        environment = {"ASAN_OPTIONS": "detect_leaks=1"} if files is None else {}
        with self.start(page.encode("latin-1"), environment, limits) as process:
            output, errors = self.output(process)
        self.assertEqual((process.returncode, errors), (0, b""), output)
        return output

    def made(self, *instructions):
        """The picture that the instructions make of the template."""
        output = self.run_page("^gif_template[t.gif;" + "\n".join(instructions) + "]page")
        self.assertTrue(output.startswith(HEADER), output)
        return gif.decode(output.removeprefix(HEADER))

    def assert_looks(self, made, art, **colors):
        expected = picture(art, **colors)
        self.assertEqual(shown(made), shown(expected))

    # Text.

    def test_a_text_without_an_advance_is_spaced_by_the_widths_of_its_glyphs(self):
        self.put("t.gif", picture("wwwwwwwwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tLI.I"), """
            wkwwwkwwwwwk
            wkwwwkwwwwwk
            wkkwwkwwkwwk""", w="FFFFFF", k="000000")

    def test_a_text_with_an_advance_is_spaced_by_it(self):
        self.put("t.gif", picture("wwwwwwwwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("8\t0\t0\tLI"), """
            wkwwwwwwwkww
            wkwwwwwwwkww
            wkkwwwwwwkww""", w="FFFFFF", k="000000")

    def test_a_space_moves_by_the_advance_of_the_text_too(self):
        self.put("t.gif", picture("wwwwwwwwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("4\t0\t0\tI I"), """
            wkwwwwwwwkww
            wkwwwwwwwkww
            wkwwwwwwwkww""", w="FFFFFF", k="000000")

    def test_an_advance_may_lead_to_the_left(self):
        self.put("t.gif", picture("wwwwwwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("-4\t6\t0\tLI"), """
            wwwkwwwkww
            wwwkwwwkww
            wwwkwwwkkw""", w="FFFFFF", k="000000")

    def test_the_text_is_at_its_place(self):
        self.put("t.gif", picture("wwwww\n" * 5, w="FFFFFF"))
        self.assert_looks(self.made("0\t2\t1\tL"), """
            wwwww
            wwwkw
            wwwkw
            wwwkk
            wwwww""", w="FFFFFF", k="000000")

    def test_the_space_moves_the_pen_by_its_own_advance(self):
        self.put("t.gif", picture("wwwwwwwwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tI  I"), """
            wkwwwwwwkwww
            wkwwwwwwkwww
            wkwwwwwwkwww""", w="FFFFFF", k="000000")

    def test_the_first_glyph_is_never_drawn(self):
        self.put("font.gif", strip("kkkk kkkk kkkk", DOT, PIPE, CORNER, k="000000"))
        self.put("t.gif", picture("wwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\t I"), "wwwkww\n" * 3, w="FFFFFF", k="000000")

    def test_a_character_missing_from_the_font_is_drawn_as_a_dot(self):
        self.put("t.gif", picture("wwwwww\n" * 3, w="FFFFFF"))
        for character in ("?", "i", "\t", "\xff"):
            with self.subTest(character):
                self.assert_looks(self.made(f"0\t0\t0\t{character}"), "wwwwww wwwwww wkwwww", w="FFFFFF", k="000000")

    def test_a_character_missing_from_a_font_without_a_dot_is_the_space(self):
        self.macros("@font\nfont.gif\n4\t2\n +IL\n")
        self.put("t.gif", picture("wwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\t?I"), "wwwkww\n" * 3, w="FFFFFF", k="000000")

    def test_the_first_of_two_equal_characters_of_the_font_counts(self):
        self.macros("@font\nfont.gif\n4\t2\n .II\n")
        self.put("t.gif", picture("wwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tI"), "wkwwww\n" * 3, w="FFFFFF", k="000000")

    def test_a_glyph_with_pixels_in_the_first_column_only_has_no_width(self):
        self.put("font.gif", strip(".... .... ....", DOT, "k... k... k...", CORNER, k="000000"))
        self.put("t.gif", picture("wwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tIIL"), "wkww wkww wkkw", w="FFFFFF", k="000000")

    def test_the_row_above_a_glyph_belongs_to_none(self):
        font = strip(".... .... ....", DOT, PIPE, CORNER, k="000000")
        for row in range(0, len(font.rows), 4):
            font.rows[row] = bytes(4)
        self.put("font.gif", font)
        self.put("t.gif", picture("wwww\n" * 5, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t1\tI"), "wwww wkww wkww wkww wwww", w="FFFFFF", k="000000")

    def test_a_glyph_as_wide_as_the_font_picture_is_followed_by_its_color_0(self):
        colors = {"k": "000000", "r": "FF0000"}
        self.put("font.gif", strip("... ... ...", "... ... .r.", "rrr rrr rrr", "... ... ...", **colors))
        self.put("t.gif", picture("wwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tI"), "rrrkww\n" * 3, w="FFFFFF", **colors)

    def test_a_glyph_below_the_font_picture_is_of_its_color_0(self):
        self.macros("@font\nfont.gif\n4\t2\n .IL?\n")
        self.put("t.gif", picture("wwwwwwww\n" * 4, w="FFFFFF"))
        self.assert_looks(self.made("0\t1\t0\t?I"), "wkkkkkwk wkkkkkwk wkkkkkwk wwwwwwww", w="FFFFFF", k="000000")

    def test_a_font_without_characters_has_the_space_alone(self):
        for characters in ("", "\n"):
            self.macros(f"@font\nfont.gif\n4\t2\n{characters}")
            self.put("t.gif", picture("www\n" * 3, w="FFFFFF"))
            self.assert_looks(self.made("0\t0\t0\tI.L"), "www\n" * 3, w="FFFFFF", k="000000")

    def test_a_fourth_line_of_the_font_is_ignored(self):
        self.macros("@font\nfont.gif\n4\t2\tmore\n .I\nL\n")
        self.put("t.gif", picture("wwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tL"), "wwww wwww wkww", w="FFFFFF", k="000000")

    def test_a_character_can_be_any_byte(self):
        self.macros("@font\nfont.gif\n4\t2\n .\u00ff;\n", "latin-1")
        self.put("t.gif", picture("wwwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\t^;\xff"), """
            wkwwwkw
            wkwwwkw
            wkkwwkw""", w="FFFFFF", k="000000")

    def test_a_space_may_move_back_or_not_at_all(self):
        self.put("t.gif", picture("wwwwwwww\n" * 3, w="FFFFFF"))
        for advance, art in (("-1", "wkwkwwww"), ("", "wkwwkwww"), ("x", "wkwwkwww"), ("+1", "wkwwwkww")):
            with self.subTest(advance):
                self.macros(f"@font\nfont.gif\n4\t{advance}\n .IL\n")
                self.assert_looks(self.made("0\t0\t0\tI I"), f"{art}\n" * 3, w="FFFFFF", k="000000")

    def test_a_field_that_is_not_a_number_before_a_text_is_0(self):
        self.put("t.gif", picture("wwwwwww\n" * 3, w="FFFFFF"))
        for fields in ("0\t0\t0", "x\ty\tz", "\t\t", "0x4\t0\t0", " 0\t 0\t 0", "-0\t+0\t0z"):
            with self.subTest(fields):
                self.assert_looks(self.made(f"{fields}\tII"), "wkwwkww\n" * 3, w="FFFFFF", k="000000")
        self.assert_looks(self.made("4px\t1px\t0\tII"), "wwkwwwk\n" * 3, w="FFFFFF", k="000000")

    def test_a_text_that_is_missing_draws_nothing(self):
        self.put("t.gif", picture("wwww\n" * 3, w="FFFFFF"))
        for line in ("0", "0\t", "0\t0\t0", "0\t0\t0\t"):
            with self.subTest(line):
                self.assert_looks(self.made(line), "wwww\n" * 3, w="FFFFFF")

    def test_the_transparent_color_of_the_font_is_not_drawn(self):
        self.put("t.gif", picture("abc\n" * 3, a="FFFFFF", b="123456", c="00FF00"))
        self.assert_looks(self.made("0\t0\t0\tI"), "akc\n" * 3, a="FFFFFF", k="000000", c="00FF00")

    def test_a_font_without_a_transparent_color_is_drawn_with_its_background(self):
        font = strip(".... .... ....", DOT, PIPE, CORNER, k="000000")
        self.put("font.gif", Picture(font.rows, ["000000", "0000FF"]))
        self.put("t.gif", picture("wwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tI"), "bkbbkw\n" * 3, w="FFFFFF", k="000000", b="0000FF")

    def test_a_text_beyond_the_borders_is_cut_at_them(self):
        self.put("t.gif", picture("www\nwww", w="FFFFFF"))
        for place, art in (("-1\t-1", "kww kkw"), ("1\t0", "wwk wwk"), ("0\t1", "www wkw"), ("-9\t0", "www www"),
                           ("3\t0", "www www"), ("0\t2", "www www"), ("0\t-3", "www www"),
                           ("2147483647\t0", "www www"), ("-2147483648\t-2147483648", "www www")):
            with self.subTest(place):
                self.assert_looks(self.made(f"0\t{place}\tL"), art, w="FFFFFF", k="000000")

    def test_a_text_reaches_every_row_of_a_high_picture_and_every_column_of_a_wide_one(self):
        self.put("t.gif", picture("ww\n" * 6, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t3\tI"), "ww ww ww wk wk wk", w="FFFFFF", k="000000")
        self.put("font.gif", strip(".... .... ....", DOT, "kk.. k.k. k...", k="000000"))
        self.put("t.gif", picture("wwwwww\nwwwwww", w="FFFFFF"))
        self.assert_looks(self.made("0\t3\t0\tI"), "wwwkkw wwwkwk", w="FFFFFF", k="000000")
        self.assert_looks(self.made("0\t5\t0\tI"), "wwwwwk wwwwwk", w="FFFFFF", k="000000")
        self.assert_looks(self.made("0\t0\t1\tI"), "wwwwww kkwwww", w="FFFFFF", k="000000")

    def test_a_text_continues_beyond_the_border_and_comes_back(self):
        self.put("t.gif", picture("wwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t-4\t0\tLI"), "wkwwww\n" * 3, w="FFFFFF", k="000000")

    def test_measures_beyond_all_pictures_take_no_time(self):
        self.put("t.gif", picture("wwwwww\n" * 3, w="FFFFFF"))
        for height in ("2147483647", "-2147483648", "0", "1", ""):
            with self.subTest(height):
                self.macros(f"@font\nfont.gif\n{height}\t2147483647\n .IL\n")
                self.made("0\t0\t0\tILI L IL", "2147483647\t5\t5\tILI L IL", "-2147483648\t5\t5\tILI L IL")

    def test_cells_without_rows_draw_nothing(self):
        self.put("t.gif", picture("www\nwww", w="FFFFFF"))
        for height in ("1", "0", "-5"):
            with self.subTest(height):
                self.macros(f"@font\nfont.gif\n{height}\t2\n .IL\n")
                self.assert_looks(self.made("0\t0\t0\tIL"), "www www", w="FFFFFF")

    def test_a_color_of_the_font_that_the_full_palette_lacks_becomes_the_closest(self):
        palette = [f"{i:02X}{i:02X}FF" for i in range(256)]
        self.put("t.gif", Picture([bytes(range(256))] * 3, palette))
        made = self.made("0\t100\t0\tI")
        self.assertEqual(made.palette, palette)
        self.assertEqual([row[101] for row in made.rows], [0, 0, 0])
        self.assertEqual([row[100] for row in made.rows], [100, 100, 100])

    # Replacing colors.

    def test_a_rectangle_of_four_corners_changes_its_inside_and_its_edges(self):
        self.put("t.gif", picture("wwwww wwbww wwwww wwwww", w="FFFFFF", b="0000FF"))
        for corners in ("1,1,3,1,3,2,1,2", "3,2,1,2,1,1,3,1", "1,2,1,1,3,1,3,2", "1,1,1,2,3,2,3,1"):
            with self.subTest(corners):
                self.assert_looks(self.made(f"replace_color\tFFFFFF\tFF0000\t{corners}"),
                                  "wwwww wrbrw wrrrw wwwww", w="FFFFFF", b="0000FF", r="FF0000")

    def test_a_color_in_the_palette_is_used_again(self):
        self.put("t.gif", picture("wb\nww", w="FFFFFF", b="0000FF"))
        made = self.made("replace_color\tFFFFFF\t0000FF\t0,1,1,1")
        self.assertEqual(made.rows, [b"\0\1", b"\1\1"])
        self.assertEqual(made.palette, ["FFFFFF", "0000FF"])
        made = self.made("replace_color\t0000FF\tFFFFFF\t0,0,1,0")
        self.assertEqual((made.rows, made.palette), ([b"\0\0", b"\0\0"], ["FFFFFF", "0000FF"]))

    def test_a_polygon_reaches_every_row_of_a_high_picture_and_every_column_of_a_wide_one(self):
        replace = "replace_color\tFFFFFF\tFF0000\t-9,-9,9,-9,9,9,-9,9"
        for art in ("w\n" * 6, "wwwwww"):
            self.put("t.gif", picture(art, w="FFFFFF"))
            self.assert_looks(self.made(replace), art, w="FF0000")

    def test_a_color_that_is_not_in_the_template_is_not_replaced(self):
        self.put("t.gif", picture("wb\nww", w="FFFFFF", b="0000FF"))
        self.assert_looks(self.made("replace_color\tFFFFFE\tFF0000\t0,0,1,0,1,1,0,1"), "wb ww", w="FFFFFF", b="0000FF")

    def test_the_new_color_joins_the_palette_also_where_nothing_is_replaced(self):
        self.put("t.gif", picture("wb\nww", w="FFFFFF", b="0000FF"))
        self.assertIn("FF0000", self.made("replace_color\tFFFFFE\tFF0000\t0,0,1,0,1,1,0,1").palette)
        self.assertIn("FF0000", self.made("replace_color\tFFFFFF\tFF0000\t").palette)

    def test_a_full_palette_takes_no_new_color_and_nothing_is_replaced(self):
        palette = [f"0000{i:02X}" for i in range(256)]
        self.put("t.gif", Picture([bytes(range(256))] * 2, palette))
        made = self.made("replace_color\t000005\tFF0000\t0,0,255,0,255,1,0,1")
        self.assertEqual((made.rows, made.palette), ([bytes(range(256))] * 2, palette))

    def test_the_transparent_color_stays_transparent_and_is_not_found(self):
        self.put("t.gif", picture("w.\n.w", w="FFFFFF"))
        self.assert_looks(self.made("replace_color\tFF00FF\t0000FF\t0,0,1,0,1,1,0,1"), "w. .w", w="FFFFFF")

    def test_digits_can_be_of_either_case_and_missing_ones_are_0(self):
        self.put("t.gif", picture("wwww", w="aBcDeF"))
        for digits, color in (("ff0080", "FF0080"), ("", "000000"), ("12", "120000"), ("1234", "123400"),
                              ("#12345", "000000"), ("1234567", "123456")):
            with self.subTest(digits):
                self.assert_looks(self.made(f"replace_color\tAbCdEf\t{digits}\t1,0,2,0"), "wrrw", w="ABCDEF", r=color)

    def test_a_color_that_is_the_transparent_one_joins_the_palette_again(self):
        self.put("t.gif", picture("w.w.", w="FFFFFF"))  # the transparent color is FF00FF
        made = self.made("replace_color\tFFFFFF\tFF00FF\t0,0,0,0", "replace_color\tFFFFFF\tFF00FF\t2,0,2,0")
        self.assertEqual((made.rows, made.transparent), ([b"\2\1\2\1"], 1))
        self.assertEqual(made.palette[:3], ["FFFFFF", "FF00FF", "FF00FF"])

    def test_digits_can_have_leading_spaces_or_a_sign(self):
        self.put("t.gif", picture("wwww", w="FFFFFF"))
        for digits, color in (("+1+2+3", "010203"), (" 12 34  56", "123456"), ("-f-f-f", "F1F1F1"),
                              ("12-34", "12FD04"), ("1 2 3", "010203")):
            with self.subTest(digits):
                self.assert_looks(self.made(f"replace_color\tFFFFFF\t{digits}\t1,0,2,0"), "wrrw", w="FFFFFF", r=color)

    def test_what_is_no_digit_ends_the_color(self):
        self.put("t.gif", picture("wwww", w="FFFFFF"))
        for digits, color in (("1g2233", "010000"), ("12,34,56", "120000"), ("1122zz", "112200"), ("zz1122", "000000")):
            with self.subTest(digits):
                self.assert_looks(self.made(f"replace_color\tFFFFFF\t{digits}\t1,0,2,0"), "wrrw", w="FFFFFF", r=color)

    def test_a_color_below_0_is_none_of_the_template_but_one_that_can_be_replaced(self):
        self.put("t.gif", picture("wwww", w="FFFFFF"))
        made = self.made("replace_color\t-1-1-1\t00FF00\t0,0,3,0")
        self.assertEqual(made.rows, [b"\0\0\0\0"])
        made = self.made("replace_color\tFFFFFF\t-1-1-1\t1,0,2,0", "replace_color\t-1-1-1\t00FF00\t2,0,3,0",
                         "replace_color\tFFFFFF\t-1-1-1\t0,0,0,0")
        self.assertEqual((made.rows, made.palette[:3]), ([b"\1\1\2\0"], ["FFFFFF", "FFFFFF", "00FF00"]))

    def test_the_last_place_of_the_palette_takes_a_color_and_the_next_one_is_left_out(self):
        palette = [f"0000{i:02X}" for i in range(255)]
        self.put("t.gif", Picture([bytes(range(255))], palette))
        made = self.made("replace_color\t000005\tFF0000\t0,0,254,0", "replace_color\t000006\t00FF00\t0,0,254,0",
                         "replace_color\t000007\tFF0000\t0,0,254,0")
        self.assertEqual(made.palette, palette + ["FF0000"])
        self.assertEqual(made.rows, [bytes(255 if i in (5, 7) else i for i in range(255))])

    def test_a_polygon_that_crosses_itself(self):
        self.put("t.gif", picture("wwwww\n" * 5, w="FFFFFF"))
        self.assert_looks(self.made("replace_color\tFFFFFF\tFF0000\t0,0,4,4,4,0,0,4"), """
            rwwwr
            rrwrr
            rrrrr
            rrwrr
            rwwwr""", w="FFFFFF", r="FF0000")

    def test_an_odd_last_number_of_the_corners_is_ignored(self):
        self.put("t.gif", picture("wwww", w="FFFFFF"))
        for corners in ("1,0,2,0", "1,0,2,0,3", "1,0,2,0,", " 1, 0, 2, 0", "1,,2,0", "1x,0,2y,0", "1,0,2,0\tmore,0,0"):
            with self.subTest(corners):
                made = self.made(f"replace_color\tFFFFFF\tFF0000\t{corners}")
                self.assert_looks(made, "wrrw", w="FFFFFF", r="FF0000")

    def test_without_corners_nothing_is_replaced(self):
        self.put("t.gif", picture("wwww", w="FFFFFF"))
        for fields in ("", "\t", "\t1", "\t1,"):
            with self.subTest(fields):
                self.assert_looks(self.made(f"replace_color\tFFFFFF\tFF0000{fields}"), "wwww", w="FFFFFF")

    def test_points_outside_the_picture_change_nothing_there(self):
        self.put("t.gif", picture("www\n" * 3, w="FFFFFF"))
        for corners, art in (("-5,-5,9,-5,9,9,-5,9", "rrr rrr rrr"), ("-5,1,9,1", "www rrr www"),
                             ("3,0,9,9", "www www www"),
                             ("-9,-9,-1,-1", "www www www"), ("1,-7,1,7", "wrw wrw wrw"),
                             ("-2147483648,-2147483648,2147483647,-2147483648,2147483647,2147483647,"
                              "-2147483648,2147483647", "rrr rrr rrr"),
                             ("-2147483648,-2147483648,2147483647,2147483647", "rww wrw wwr")):
            with self.subTest(corners):
                self.assert_looks(self.made(f"replace_color\tFFFFFF\tFF0000\t{corners}"), art, w="FFFFFF", r="FF0000")

    # Instructions.

    def test_instructions_are_carried_out_in_their_order(self):
        self.put("t.gif", picture("wwww\n" * 3, w="FFFFFF"))
        replace = "replace_color\t000000\tFF0000\t0,0,3,0,3,2,0,2"
        self.assert_looks(self.made("0\t0\t0\tI", replace), "wrww\n" * 3, w="FFFFFF", r="FF0000")
        self.assert_looks(self.made(replace, "0\t0\t0\tI"), "wkww\n" * 3, w="FFFFFF", k="000000")

    def test_a_template_without_instructions_is_unchanged(self):
        self.put("t.gif", picture("w.b\n.bw", w="FFFFFF", b="0000FF"))
        self.assert_looks(self.made(), "w.b .bw", w="FFFFFF", b="0000FF")
        sent = self.run_page("^gif_template[t.gif]page")
        self.assertEqual(sent, self.run_page("^gif_template[t.gif;]page"))

    def test_a_line_of_other_text_needs_the_font_and_draws_nothing(self):
        self.put("t.gif", picture("www\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("replace_colour\tFFFFFF\tFF0000\t"), "www\n" * 3, w="FFFFFF")
        self.assert_looks(self.made("\t"), "www\n" * 3, w="FFFFFF")
        (self.root / "www/font.gif").unlink()
        for line in ("x", "\t", " ", "replace_color ", "REPLACE_COLOR\tFFFFFF\tFF0000\t"):
            with self.subTest(line):
                self.assertEqual(self.run_page(f"^gif_template[t.gif;{line}]page"), HEADER + FALLBACK)

    def test_a_picture_written_to_a_file_is_the_one_that_would_be_sent(self):
        self.put("t.gif", picture("wwww\n" * 3, w="FFFFFF"))
        sent = self.run_page("^gif_template[t.gif;0\t0\t0\tI]page")
        self.run_page("^gif_template[t.gif;0\t0\t0\tI;made.gif]page")
        self.assertEqual(HEADER + (self.root / "www/made.gif").read_bytes(), sent)

    def test_a_pipe_that_nobody_reads_is_a_write_error(self):
        os.mkfifo(self.root / "www/pipe")
        self.assertTrue(self.run_page("^gif_template[t.gif;;pipe]").endswith(b"\n\n[gif_template: write error]"))

    def test_a_pipe_is_no_template(self):
        os.mkfifo(self.root / "www/t.gif")
        self.assertEqual(self.run_page("^gif_template[t.gif;]page"), HEADER + FALLBACK)

    def test_a_full_disk_is_a_write_error(self):
        os.symlink("/dev/full", self.root / "www/full.gif")
        self.put("t.gif", picture("w", w="FFFFFF"))
        for template in ("t.gif", "none.gif"):
            with self.subTest(template):
                output = self.run_page(f"^gif_template[{template};;full.gif]")
                self.assertTrue(output.endswith(b"\n\n[gif_template: write error]"), output)

    # Bad files.

    def test_a_picture_of_the_largest_size_is_read_and_a_larger_one_is_not(self):
        data = gif.encode(picture("w", w="FFFFFF"))
        for height, read in ((4096, True), (4097, False)):
            size = (4096).to_bytes(2, "little") + height.to_bytes(2, "little")
            self.put("t.gif", data[:6] + size + data[10:24] + size + data[28:])  # of the screen, of the frame
            output = self.run_page("^gif_template[t.gif;]page")
            self.assertEqual(output[len(HEADER) + 6:len(HEADER) + 10], size if read else FALLBACK[6:10])

    def test_a_frame_larger_than_the_screen_is_not_read(self):
        data = gif.encode(picture("ww ww", w="FFFFFF"))
        self.put("t.gif", data[:6] + b"\1\0\1\0" + data[10:])
        self.assertEqual(self.run_page("^gif_template[t.gif;]page"), HEADER + FALLBACK)

    def test_files_cut_short_give_a_picture_or_the_fallback(self):
        data = gif.encode(picture("w.b .bw", w="FFFFFF", b="0000FF"))
        for length in range(len(data)):
            self.put("t.gif", data[:length])
            output = self.run_page("^gif_template[t.gif;replace_color\tFFFFFF\tFF0000\t0,0,2,1]page")
            if output != HEADER + FALLBACK:
                self.assertEqual(gif.decode(output.removeprefix(HEADER)).width, 3)

    def test_of_several_frames_the_first_one_counts(self):
        first, second = gif.encode(picture("wb\nbw", w="FFFFFF", b="0000FF")), gif.encode(picture("ww\nww", w="FFFFFF"))
        self.put("t.gif", first[:-1] + second[second.index(b",\0\0\0\0"):])
        self.assert_looks(self.made(), "wb bw", w="FFFFFF", b="0000FF")

    def test_of_a_file_that_ends_early_the_missing_pixels_are_of_color_0(self):
        row = bytes(1 + at * at // 7 % 3 for at in range(2500))
        data = gif.encode(Picture([row], ["FFFFFF", "0000FF", "00FF00", "FF0000"]))
        start = data.index(b",\0\0\0\0") + 11  # the first block of pixels: its length, 255 bytes
        self.assertEqual(data[start], 255)
        self.put("t.gif", data[:start + 256])
        made = self.made().rows[0]
        self.assertTrue(0 < made.index(0) < 2500)
        self.assertEqual(made, row[:made.index(0)].ljust(2500, b"\0"))
        self.put("t.gif", data[:start + 255])
        self.assertEqual(self.run_page("^gif_template[t.gif;]page"), HEADER + FALLBACK)

    def test_a_damaged_byte_gives_a_picture_or_the_fallback(self):
        pattern = bytes(i * 7 % 4 for i in range(48))
        source = Picture([pattern[at:at + 6] for at in range(0, 48, 6)], ["FFFFFF", "0000FF", "000000", "FF00FF"], 3)
        data = gif.encode(source)
        self.macros("@font\n^var[font].gif\n3\t2\n .AB\n")
        instructions = "replace_color\tFFFFFF\tFF0000\t0,0,5,0,2,7\n0\t1\t1\tAB .A"
        values = [(at, value) for at in range(len(data)) for value in (0, 255, data[at] ^ 128, data[at] ^ 1)]
        page = []
        for number, (at, value) in enumerate(values):
            self.put(f"bad-{number}.gif", data[:at] + bytes([value]) + data[at + 1:])
            page += [f"^var[font;good]^gif_template[bad-{number}.gif;{instructions};template-{number}.gif]",
                     f"^var[font;bad-{number}]^gif_template[good.gif;{instructions};font-{number}.gif]"]
        self.put("good.gif", source)
        self.assertTrue(self.run_page("x" + "".join(page)).endswith(b"\n\nx"))
        fallbacks = 0
        for number, damage in enumerate(values):
            with self.subTest(damage):
                made = (self.root / f"www/template-{number}.gif").read_bytes()
                fallbacks += made == FALLBACK
                gif.decode(made)
                made = (self.root / f"www/font-{number}.gif").read_bytes()
                self.assertEqual(len(gif.decode(made).rows), 1 if made == FALLBACK else 8)
        self.assertTrue(0 < fallbacks < len(values) / 2, fallbacks)  # most damage leaves a picture

    def test_no_file_stays_open(self):
        self.put("t.gif", picture("wwww\n" * 3, w="FFFFFF"))
        page = "^gif_template[t.gif;0\t0\t0\tI;made.gif]^gif_template[none.gif;;other.gif]" * 40
        output = self.run_page("x" + page, files=12)
        self.assertTrue(output.endswith(b"\n\nx"), output)
        self.assertEqual(gif.decode((self.root / "www/made.gif").read_bytes()).width, 4)

    # The font that the repository draws.

    def make_font(self, *options):
        done = subprocess.run([ROOT / "scripts/make-font-strip", *options, self.root / "www/font.gif"], check=True,
                              capture_output=True, text=True)
        self.macros("@font\nfont.gif\n" + done.stdout)
        return done.stdout.splitlines()

    def test_the_drawn_font_has_every_character_of_ascii(self):
        measures, characters = self.make_font()
        self.assertEqual(measures, "10\t3")
        self.assertEqual(characters, "".join({"^": "^^", "$": "$$"}.get(chr(c), chr(c)) for c in range(32, 127)))
        font = gif.decode((self.root / "www/font.gif").read_bytes())
        self.assertEqual(font.height, 10 * 95)
        glyphs = [tuple(font.rows[10 * i + 1:10 * i + 10]) for i in range(95)]
        self.assertEqual(len(set(glyphs)), 95)
        self.assertTrue(all(not any(row[0] for row in glyph) for glyph in glyphs))

    def test_texts_are_drawn_in_the_drawn_font(self):
        self.make_font()
        self.put("t.gif", picture("wwwwwwwwwwwwww\n" * 9, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tTi!"), """
            wkkkkkwwwkwwkw
            wwwkwwwwwwwwkw
            wwwkwwwwwkwwkw
            wwwkwwwwwkwwkw
            wwwkwwwwwkwwkw
            wwwkwwwwwkwwww
            wwwkwwwwwkwwkw
            wwwwwwwwwwwwww
            wwwwwwwwwwwwww""", w="FFFFFF", k="000000")

    def test_the_drawn_font_has_the_size_and_the_color_that_are_asked_for(self):
        self.assertEqual(self.make_font("--scale", "2", "--color", "FF0000")[0], "19\t6")
        self.put("t.gif", picture("wwwwwwww\n" * 3, w="FFFFFF"))
        self.assert_looks(self.made("0\t0\t0\tL"), "wrrwwwww\n" * 3, w="FFFFFF", r="FF0000")


def shown(source):
    return "\n".join(" ".join(color or "------" for color in row) for row in source.colors())


if __name__ == "__main__":
    unittest.main()
