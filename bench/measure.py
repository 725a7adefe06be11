#!/usr/bin/env python3
"""The measurements of whole processes; scripts/bench runs them.

    measure.py pages|instructions|growth|memory [OPTION...] [NAME...]
"""

import argparse
import pathlib
import sys

sys.dont_write_bytecode = True

import database  # noqa: E402
import generate  # noqa: E402
import growth  # noqa: E402
import instructions  # noqa: E402
import memory  # noqa: E402
import pages  # noqa: E402
import report  # noqa: E402
import serving  # noqa: E402

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


def measure_growth(options):
    grown, failed = [], False
    for each in growth.chosen(options.names):
        try:
            grown.append(growth.measure(each, options.quillet.resolve(), options.rounds))
            print(report.growth_table(grown[-1:]).splitlines()[-1], file=sys.stderr, flush=True)
        except RuntimeError as error:
            print(f"{each.name}: FAILED: {error}")
            failed = True
    text = report.growth_table(grown)
    if not options.names:
        taken = growth.milliseconds_of_nested_calls(options.quillet.resolve(), options.rounds)
        text += f"\n100,000 calls nested in one text take {taken:.0f} ms (target: {growth.NESTED_TARGET}).\n"
    print(text)
    if options.keep and not failed:
        report.keep("growth", text)
    return failed


def measure_memory(options):
    with database.running(SCENARIOS):
        connection = (SCENARIOS / "sql/_macro.cfg").read_text()
        measured = memory.measure(options.quillet.resolve(), BINARIES / "peak_memory", connection)
    text = report.memory_table(measured)
    print(text)
    if options.keep:
        report.keep("memory", text)
    return False


def measure_serving(options):
    text = serving.measure(SCENARIOS, options.quillet.resolve().parent, options.names, options.seconds, options.rounds)
    if options.keep:
        report.keep("serving", text, serving.DOCUMENT)
    return False


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench")
    kinds = parser.add_subparsers(required=True)
    kind = kinds.add_parser("pages", help="the twelve pages beside other programs")
    kind.add_argument("names", nargs="*", metavar="W1", help="some of them")
    kind.add_argument("--rounds", type=int)
    kind.add_argument("--before", type=pathlib.Path, help="another build of quillet, to compare with it alone")
    kind.set_defaults(run=measure_pages)
    kind = kinds.add_parser("growth", help="what ten and a hundred times as much costs")
    kind.add_argument("names", nargs="*", metavar="WORD", help="the cases with this word in their names")
    kind.add_argument("--rounds", type=int, default=5)
    kind.set_defaults(run=measure_growth)
    kind = kinds.add_parser("memory", help="the most memory that a request has")
    kind.set_defaults(run=measure_memory)
    kind = kinds.add_parser("serving", help="pages behind nginx, beside other servers")
    kind.add_argument("names", nargs="*", metavar="W1", help="some of them")
    kind.add_argument("--seconds", type=int, default=2)
    kind.add_argument("--rounds", type=int, default=3)
    kind.set_defaults(run=measure_serving)
    for kind in kinds.choices.values():
        kind.add_argument("--keep", action="store_true", help="write the result into the manual")
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
