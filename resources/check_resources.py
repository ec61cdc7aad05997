#!/usr/bin/env python3
"""Proves that the files of the password generators have the form that the generators rely on, and prints what they are
worth.

Usage: check_resources.py [FOLDER] [--samples N]

Says what is wrong on standard error and ends with status 1, or prints a table of strengths in bits. It does what the
program does, for every offset into a dictionary and for every row of the phoneme table, and shares no code with
make_resources.py.
"""

import argparse
import collections
import math
import pathlib
import random
import re
import sys

NEVER_STARTED_AT = 255
READ_AT_ONCE = 254
STEPS_OF_TEN_LETTERS = 5
MOST_FOLLOWERS = 255
FEWEST_KEYS = 150
VOWELS = "aeiouy"

# name, shortest and longest word, fewest different words
DICTIONARIES = (
    ("RandomWordsDictionaryShort.txt", 4, 6, 2_000),
    ("RandomWordsDictionary.txt", 4, 10, 20_000),
)


class Faulty(Exception):
    """What is wrong with a file."""


def demand(condition, fault):
    if not condition:
        raise Faulty(fault)


def some(items):
    """The first few of `items`, for a message."""
    items = sorted(items)
    return " ".join(items[:5]) + (f" and {len(items) - 5} more" if len(items) > 5 else "")


# --- Dictionaries -----------------------------------------------------------------------------------------------------


def check_dictionary_form(content, shortest, longest, fewest):
    demand(b"\n" not in content, "has a line feed, where reading would stop")
    demand(content.endswith(b"\r"), "doesn't end in a carriage return")
    words = content[:-1].split(b"\r")
    wrong = {repr(word) for word in words if not re.fullmatch(b"[a-z]{%d,%d}" % (shortest, longest), word)}
    demand(not wrong, f"has words that aren't {shortest} to {longest} letters from a to z: {some(wrong)}")
    different = len(set(words))
    demand(different >= fewest, f"has {different} different words instead of {fewest} or more")


def picked_word(content, offset):
    """The word that the program takes for a random number of this rest modulo the size."""
    offset = min(offset, len(content) - NEVER_STARTED_AT)
    piece = content[offset:offset + READ_AT_ONCE]
    begin = piece.index(b"\r") + 1
    return piece[begin:piece.index(b"\r", begin)]


def check_every_word_comes_out(content, weights):
    lost = {word.decode() for word in content[:-1].split(b"\r") if word not in weights}
    demand(not lost, f"has words that never come out: {some(lost)}")

    # All draws from the last offset on yield one word. They are all that one word may have more than the others.
    whole_words_before = content[:-NEVER_STARTED_AT].split(b"\r")[:-1]
    twice = {word.decode() for word, count in collections.Counter(whole_words_before).items() if count > 1}
    demand(not twice, f"has words twice before the last offset: {some(twice)}")
    demand(max(weights.values()) == NEVER_STARTED_AT, "favours a word by more than the draws behind the last offset")


def check_dictionary(content, shortest, longest, fewest):
    """How many of the draws yield each word. Raises Faulty."""
    check_dictionary_form(content, shortest, longest, fewest)
    weights = collections.Counter(picked_word(content, offset) for offset in range(len(content)))
    check_every_word_comes_out(content, weights)
    return weights


# --- Phonemes ---------------------------------------------------------------------------------------------------------


def parse_phonemes(content):
    """Key to how often each follower stands in its row. Raises Faulty."""
    demand(content.endswith(b"\n"), "doesn't end in a line feed")
    table = {}
    for number, line in enumerate(content[:-1].split(b"\n"), start=1):
        demand(re.fullmatch(b"[a-z]{2}:[a-z]+", line), f"line {number} isn't two letters, a colon and letters")
        key, followers = line[:2].decode(), line[3:].decode()
        demand(len(followers) % 2 == 0, f"line {number} has half a follower")
        demand(len(followers) // 2 <= MOST_FOLLOWERS, f"line {number} has more than {MOST_FOLLOWERS} followers")
        demand(key not in table, f"line {number} repeats the key {key}")
        table[key] = collections.Counter(followers[i:i + 2] for i in range(0, len(followers), 2))
    return table


def check_phonemes(content):
    table = parse_phonemes(content)
    demand(len(table) >= FEWEST_KEYS, f"has {len(table)} keys instead of {FEWEST_KEYS} or more")
    dead_ends = {key + follower for key, row in table.items() for follower in row if follower not in table}
    demand(not dead_ends, f"has followers without a row: {some(dead_ends)}")
    unspeakable = {key + follower for key, row in table.items() for follower in row
                   if not any(letter in VOWELS for letter in key + follower)}
    demand(not unspeakable, f"has followers that make four consonants in a row: {some(unspeakable)}")
    return table


# --- Strengths --------------------------------------------------------------------------------------------------------
#
# Shannon entropy is the mean of the bits that a draw is worth, min-entropy what its likeliest outcome is worth. The
# random numbers are taken as perfect: that a modulus doesn't divide their range costs less than a thousandth of a bit.


def entropy(weights):
    total = sum(weights)
    return -sum(weight / total * math.log2(weight / total) for weight in weights)


def min_entropy(weights):
    return math.log2(sum(weights) / max(weights))


def step(shares, table):
    """Where the walk is one step on, for where it is now."""
    after = dict.fromkeys(table, 0.0)
    for key, row in table.items():
        share = shares[key] / row.total()
        for follower, weight in row.items():
            after[follower] += share * weight
    return after


def bits_of_next_step(shares, table):
    return sum(shares[key] * entropy(row.values()) for key, row in table.items())


def stationary(table):
    """Where the walk is in the long run: the shares settle within a few dozen steps."""
    shares = dict.fromkeys(table, 1 / len(table))
    for _ in range(200):
        shares = step(shares, table)
    return shares


def password_entropy(table, steps):
    """Of the first `steps` pairs. Each password is one walk, so that the steps' entropies add up."""
    shares = dict.fromkeys(table, 1 / len(table))
    bits = math.log2(len(table))
    for _ in range(steps - 1):
        bits += bits_of_next_step(shares, table)
        shares = step(shares, table)
    return bits


def password_min_entropy(table, steps):
    """Of the likeliest walk: for each key the likeliest way on, from the last step backwards."""
    likeliest = dict.fromkeys(table, 1.0)
    for _ in range(steps - 1):
        likeliest = {key: max(weight / row.total() * likeliest[follower] for follower, weight in row.items())
                     for key, row in table.items()}
    return math.log2(len(table) / max(likeliest.values()))


def print_strengths(dictionaries, table):
    rows = [(name, f"{len(weights):,} words", entropy(weights.values()), min_entropy(weights.values()))
            for name, weights in zip(("one short word", "one long word"), dictionaries)]
    keys_bits = math.log2(len(table))
    likeliest_follower = min(min_entropy(row.values()) for row in table.values())
    rows += [
        ("first phonetic pair", f"{len(table)} pairs", keys_bits, keys_bits),
        ("each further pair", "in the long run", bits_of_next_step(stationary(table), table), likeliest_follower),
        ("10 phonetic letters", "5 pairs", password_entropy(table, STEPS_OF_TEN_LETTERS),
         password_min_entropy(table, STEPS_OF_TEN_LETTERS)),
    ]
    print("| What | Out of | Shannon entropy | Min-entropy |")
    print("|---|---|---:|---:|")
    for name, out_of, shannon, minimum in rows:
        print(f"| {name} | {out_of} | {shannon:.2f} | {minimum:.2f} |")


def sample(table, generator):
    """Ten letters as the program would make them."""
    pair = generator.choice(sorted(table))
    letters = pair
    for _ in range(STEPS_OF_TEN_LETTERS - 1):
        pair = generator.choice(sorted(table[pair].elements()))
        letters += pair
    return letters


# --- Licence ----------------------------------------------------------------------------------------------------------


def check_licence(content):
    text = content.decode()
    for needed in ("SCOWL", "Permission to use, copy, modify, distribute and sell",
                   "Copyright 2000-2018 by Kevin Atkinson", "Copyright 2016 by Benjamin Titze",
                   "WordNet 1.6 Copyright 1997 by Princeton University", "Copyright 1993, Geoff Kuenning"):
        demand(needed in text, f"lacks “{needed}”")


def main():
    parser = argparse.ArgumentParser(description="Checks dictionaries and phonemes, and prints their strength in bits.")
    parser.add_argument("folder", nargs="?", type=pathlib.Path, default=pathlib.Path(__file__).parent)
    parser.add_argument("--samples", type=int, default=0, help="how many phonetic passwords to print too")
    arguments = parser.parse_args()

    faults = []

    def checked(name, check, *limits):
        try:
            return check((arguments.folder / name).read_bytes(), *limits)
        except (Faulty, OSError) as fault:
            faults.append(f"{name}: {fault}")

    dictionaries = [checked(name, check_dictionary, *limits) for name, *limits in DICTIONARIES]
    table = checked("Phonemes.txt", check_phonemes)
    checked("LICENSE.words", check_licence)
    if faults:
        sys.exit("\n".join(faults))

    print_strengths(dictionaries, table)
    generator = random.Random(1) # the same samples each time, to compare tables by
    for _ in range(arguments.samples):
        print(sample(table, generator))


if __name__ == "__main__":
    main()
