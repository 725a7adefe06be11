"""What was measured, as Markdown and as a picture, and where docs/performance.md keeps it."""

import math
import pathlib

import growth
import pages
import picture

DOCUMENT = pathlib.Path(__file__).resolve().parent.parent / "docs/performance.md"
PICTURE = DOCUMENT.with_suffix(".svg")


def table(heads, rows):
    """A Markdown table; the columns after the second one are numbers."""
    lines = ["| " + " | ".join(heads) + " |", "|---|---|" + "---:|" * (len(heads) - 2)]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def milliseconds(time):
    return f"{time:.2f}" if time < 10 else f"{time:.1f}" if time < 100 else f"{time:.0f}"


def page_tables(measured):
    """The medians of the CPU time, and the ratios with their targets."""
    programs = [name for name in pages.PROGRAMS if any(name in each.times for each in measured)]
    times = [[each.page.name, each.page.what] +
             [milliseconds(each.median(name)) if name in each.times else "" for name in programs]
             for each in measured]
    ratios = []
    for each in measured:
        peer = each.best_peer()
        to_peer, to_native = each.ratio("quillet", peer), each.ratio("quillet", "native")
        ratios.append([each.page.name, peer, f"{to_peer:.2f}", f"{each.page.to_peer:.2f}",
                       met(to_peer, each.page.to_peer), f"{to_native:.2f}", f"{each.page.to_native:.2f}",
                       met(to_native, each.page.to_native)])
    return (table(["", "CPU time in ms", *programs], times) + "\n" +
            table(["", "best peer", "quillet / best peer", "target", "", "quillet / native", "target", ""], ratios))


def met(ratio, target):
    return "" if ratio <= target else "missed"


def before_table(measured):
    """One build of quillet beside an earlier one."""
    rows = [[each.page.name, each.page.what, milliseconds(each.median("quillet")), milliseconds(each.median("before")),
             f"{each.ratio('quillet', 'before'):.3f}", f"{each.ratio('quillet', 'native'):.2f}"] for each in measured]
    return table(["", "CPU time in ms", "quillet", "before", "quillet / before", "quillet / native"], rows)


def growth_table(grown):
    """Exponents: 1 is linear. What is named as inherent has no target."""
    rows = [[each.case.name, f"{100 * each.n:,}", milliseconds(each.times[3]),
             *("" if exponent is None or math.isnan(exponent) else f"{exponent:.2f}" for exponent in each.exponents()),
             "" if each.case.inherent else f"{growth.TARGET}", "missed" if each.is_missed() else ""] for each in grown]
    return table(["what there are n of", "100 n", "ms", "n to 10 n", "10 n to 100 n, by time", "by instructions",
                  "target", ""], rows)


def memory_table(rows):
    return table(["", "", "bytes", "most resident, MB", "less what is free, times the bytes", "target", ""],
                 [[each.what, "of " + each.of, f"{size:,}", f"{taken / 2 ** 20:.1f}", f"{times:.2f}",
                   f"{each.target}", met(times, each.target)] for each, size, taken, times in rows])


def keep(name, text, document=DOCUMENT):
    """Puts the text into the document, between the two marks of that name."""
    start, end = f"<!-- {name} -->\n", f"<!-- end of {name} -->"
    before, rest = document.read_text().split(start)
    after = rest.split(end)[1]
    document.write_text(before + start + text + end + after)


def keep_picture(measured):
    PICTURE.write_text(picture.draw(measured, pages.PROGRAMS))
