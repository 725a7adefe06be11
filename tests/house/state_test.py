#!/usr/bin/env python3
"""Reads the writable variables of the program and fails on one that nobody answers for.

One process may answer several requests. So whatever a request can change is either given its beginning back by
`forget_request`, or by a scope on every way out of it, or it is the same for every request.
"""

import os
import subprocess
import sys

ANSWERED_FOR = {
    "forgotten by forget_request": [
        "calls", "charsets", "cookie_index", "library", "optimize", "process", "request", "seeded", "tables", "turn",
        "variables",
        # the form
        "input", "runs", "search",
    ],
    "restored by a scope": [
        "has_connection", "current_list_user", "current_mode", "current_switch", "bracket_scope::current",
        "parameters::stack_top", "parameters::slot_stack::memory", "prepared_text::open_calls::frames",
        "prepared_text::open_calls::top",
        # a text that is kept leaves its places when it ends
        "places", "used_places",
    ],
    "read only where a process answers one request": ["bytes_read"],
    "written before it is read": ["current_call", "integer_program::compute() const::stack"],
    "constant after the start": [
        "registry", "register_all_operators()::registered", "write_last_message", "before_end", "streams",
        "preparation_door::open", "kept_files_door::open",
        "current_onlooker",
        "keyed_hash(std::basic_string_view<char, std::char_traits<char> >)::secret",
    ],
    "kept for later requests, which it does not change": [
        # counts up with every table, for the process's whole life
        "last_numbering",
        # compiled regular expressions
        "cache",
        # files, each compared with the one on the disk before it is used
        "all_kept()::all", "kept_descriptor::count",
        # directories, each looked at in every request
        "knows_directories", "last_names", "request_number", "mounts_now()::asked_in", "mounts_now()::mounts",
        "mounts_now()::version",
    ],
}


def writable_variables(program):
    """The names in the program's writable sections, without the namespaces of the house."""
    listing = subprocess.run(["nm", "--demangle", "--format=sysv", program], check=True, capture_output=True, text=True)
    names = []
    for line in listing.stdout.splitlines():
        columns = [column.strip() for column in line.split("|")]
        if len(columns) < 7 or columns[6] not in (".data", ".bss", ".tdata", ".tbss"):
            continue
        name = columns[0].removeprefix("guard variable for ")
        if name.startswith("quillet::"):
            names.append(name.removeprefix("quillet::").removeprefix("(anonymous namespace)::"))
    return sorted(set(names))


def main():
    program = os.environ["QUILLET_PROGRAM"]
    names = writable_variables(program)
    answered_for = {name for names in ANSWERED_FOR.values() for name in names}
    failures = [f"{name}: changes while the program runs, and nobody gives it its beginning back"
                for name in names if name not in answered_for]
    if not names:
        failures.append(f"{program}: no writable variable found")
    print("\n".join(failures) or f"{len(names)} writable variables")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
