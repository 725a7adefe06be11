"""Words that all have the same hash where a table uses std::hash of GCC's library, whatever number that starts from:
what a visitor would send who wants a table to be slow. A table that is safe does not notice them.

The hash takes eight bytes at a time: h = (h ^ mixed(bytes)) * MULTIPLIER. When the mixed bytes of one step differ in
the highest bit only, so does h afterwards, and a second step that differs there too makes it equal again.
"""

import random

MULTIPLIER = 0xC6A4A7935BD1E995
INVERSE = pow(MULTIPLIER, -1, 1 << 64)
MASK = (1 << 64) - 1
HIGHEST = 1 << 63
PLAIN = frozenset(range(33, 256)) - frozenset(b"^[]`;|#$\"<>&'\\")


def mixed(block):
    value = block * MULTIPLIER & MASK
    return (value ^ value >> 47) * MULTIPLIER & MASK


def unmixed(value):
    value = value * INVERSE & MASK
    return (value ^ value >> 47) * INVERSE & MASK


def plain_pair(chance):
    """Two blocks of eight plain bytes whose mixed values differ in the highest bit only."""
    while True:
        first = bytes(chance.choice(b"abcdefghijklmnopqrstuvwxyz") for _ in range(8))
        second = unmixed(mixed(int.from_bytes(first, "little")) ^ HIGHEST).to_bytes(8, "little")
        if PLAIN.issuperset(second):
            return first.decode("latin-1"), second.decode("latin-1")


def words(count, most=1 << 17):
    """So many words with one hash. Words are equally long for every `count` up to `most`."""
    chance = random.Random(1)
    steps = [(plain_pair(chance), plain_pair(chance)) for _ in range((most - 1).bit_length())]
    return ["".join(pair[number >> place & 1] for place, step in enumerate(steps) for pair in step)
            for number in range(count)]
