#!/usr/bin/env python3
"""The measurements of whole processes; scripts/bench runs them.

    measure.py pages|instructions|growth|memory [OPTION...] [NAME...]
"""

import argparse
import pathlib
import sys

sys.dont_write_bytecode = True

import generate  # noqa: E402
import instructions  # noqa: E402
import pages  # noqa: E402
import report  # noqa: E402

BINARIES = pathlib.Path(__file__).resolve().parent.parent / "build/bench/bin"
SCENARIOS = BINARIES.parent / "scenarios"


def measure_pages(options):
    quillet = {"quillet": options.quillet.resolve()}
    only = None
    if options.before:
        quillet["before"] = options.before.resolve()
        only = ["nothing", "native"]
    chosen = pages.chosen(options.names)
    measured, failed = [], False
    with pages.database_for(chosen, SCENARIOS):
        for page in chosen:
            print(f"{page.name}: {page.what}", file=sys.stderr)
            try:
                measured.append(pages.measure(page, SCENARIOS, BINARIES, quillet, options.rounds, only))
            except RuntimeError as error:
                print(f"{page.name}: FAILED: {error}")
                failed = True
    text = report.before_table(measured) if options.before else report.page_tables(measured)
    print(text)
    if options.keep and not failed:
        report.keep("pages", text)
        if not options.names:
            report.keep_picture(measured)
    return failed


def count_instructions(options):
    """Without a check the counts are kept; those of pages that were not chosen stay."""
    chosen = pages.chosen(options.names)
    made = instructions.made_with(BINARIES.parent)
    kept_made, kept = instructions.read_kept()
    with pages.database_for(chosen, SCENARIOS):
        counts = {page.name: instructions.count_page(page, SCENARIOS, options.quillet.resolve()) for page in chosen}
    dearer = instructions.compare(kept, counts)
    if not options.check:
        same = kept if made == kept_made else {}
        instructions.write_kept(made, {**same, **counts}, pages.PAGES)
        return False
    if made != kept_made:
        print("The counts kept are of another compiler, library, valgrind or processor: nothing is checked.")
        return False
    if dearer:
        print(f"More than 1 % dearer: {', '.join(dearer)}")
    return bool(dearer)


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench")
    kinds = parser.add_subparsers(required=True)
    kind = kinds.add_parser("pages", help="the twelve pages beside other programs")
    kind.add_argument("names", nargs="*", metavar="W1", help="some of them")
    kind.add_argument("--rounds", type=int)
    kind.add_argument("--before", type=pathlib.Path, help="another build of quillet, to compare with it alone")
    kind.set_defaults(run=measure_pages)
    kind.add_argument("--keep", action="store_true", help="write the result into docs/performance.md")
    kind = kinds.add_parser("instructions", help="instruction counts of the pages")
    kind.add_argument("names", nargs="*", metavar="W1", help="some of them")
    kind.add_argument("--check", action="store_true", help="compare with those kept instead of keeping them")
    kind.set_defaults(run=count_instructions)
    for kind in kinds.choices.values():
        kind.add_argument("--quillet", type=pathlib.Path, default=BINARIES / "quillet", help="the build to measure")
    options = parser.parse_args()
    generate.prepare(SCENARIOS)
    sys.exit(1 if options.run(options) else 0)


if __name__ == "__main__":
    main()
