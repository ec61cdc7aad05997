#!/usr/bin/env python3
"""Runs the benchmarks that are built in build/benchmark and prints their tables."""

from __future__ import annotations

import argparse
import datetime
import os
import pathlib
import platform
import subprocess
import sys

import harness
import side_by_side


def numbers(text: str) -> list[int]:
    return [int(number) for number in text.replace("_", "").split(",")]


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="benchmarks/run", description=(
        "Measures synchronisation, cipher, opening and writing with a password, and work on an open document, each "
        "beside something else in the same run, and tells whether the goals are met."))
    parser.add_argument("--sizes", type=numbers, default=[], metavar="N,N,...",
                        help="records a side; 1000,10000,100000 and, if there is room, 1000000")
    parser.add_argument("--orders", default="same,shuffled", help="of the second vault's records (same,shuffled)")
    parser.add_argument("--keepass-up-to", type=int, default=10_000, metavar="N",
                        help="the largest size for keepassxc-cli, which takes minutes at 100000 (10000)")
    parser.add_argument("--rounds", type=int, default=5,
                        help="of the side by side comparison (5); three times as many at 10000, eight times at 1000")
    parser.add_argument("--records", type=int, default=100_000, help="in the other benchmarks (100000)")
    parser.add_argument("--only", default="sync,cipher,password,document", help="some of these parts")
    parser.add_argument("--write", action="store_true", help="also put the tables into docs/performance.md")
    parser.add_argument("--note", default="", help="what a reader of these figures should know, as: shared machine")
    return parser.parse_args()


def processor() -> str:
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.partition(":")[2].strip()
    return platform.machine()


def circumstances(note: str) -> str:
    busy = os.getloadavg()[0]
    told = f"{datetime.date.today()}, {processor()}, {os.cpu_count()} processors, load {busy:.1f} before the start"
    if busy > 0.5:
        told += " (not quiet: figures may be off)"
    return told + (f"; {note}" if note else "")


def run_program(name: str, *arguments: str) -> str:
    with harness.scratch_folder() as scratch:
        folder = [str(scratch)] if name == "password-bench" else []
        return subprocess.run([harness.BIN / name, *folder, *arguments], check=True, stdout=subprocess.PIPE,
                              text=True).stdout


class Section:
    """Prints as it comes, and remembers for the page."""

    def __init__(self, name: str, title: str, head: str):
        self.name = name
        self.text = head + "\n\n"
        print(f"\n== {title}\n", flush=True)

    def say(self, text: str) -> None:
        print(text, flush=True)
        self.text += text + "\n"


def main() -> None:
    options = parse_arguments()
    head = circumstances(options.note)
    print(head)
    records = str(options.records)
    programs = {"cipher": ("The cipher beside other libraries", "cipher-bench", []),
                "password": ("Opening with a password, and writing", "password-bench", [records]),
                "document": ("Work on an open document", "document-bench", [records])}
    for name in options.only.split(","):
        if name == "sync":
            section = Section(name, "Synchronisation, side by side", head)
            side_by_side.report(options.sizes, options.orders.split(","), options.keepass_up_to, options.rounds,
                                section.say)
        elif name in programs:
            title, program, arguments = programs[name]
            section = Section(name, title, head)
            section.say(run_program(program, *arguments))
        else:
            sys.exit(f"no such benchmark: {name}")
        if options.write:
            harness.replace_between_markers(name, section.text)


if __name__ == "__main__":
    main()
