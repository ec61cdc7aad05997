"""Synchronisation beside other ways to bring two sets of records together, on the same records and in one run.

The contenders take turns on fresh copies of their files, beginning with another one in each round; each figure is the
median of the rounds."""

from __future__ import annotations

import math
import os
import pathlib
import shutil
import statistics
import sys
from collections.abc import Callable, Sequence
from dataclasses import dataclass

import keepass_pair
from harness import BIN, Cost, measured, run_quietly, scratch_folder, table

SYNC, COPY, PIECES, JOIN = "vellorin-sync", "plain copy", "  through 1 MiB", "copy and hash join"
SQLITE, SQLITE_KEYS, KEEPASS = "SQLite", "  by indexes", "keepassxc-cli merge"

MEMORY_AT_A_MILLION = 6 << 30  # bytes: making the pair takes half of that, and the files should stay in memory
DISK_AT_A_MILLION = 8 << 30


@dataclass(frozen=True)
class Contender:
    name: str
    files: tuple[str, str]
    command: Sequence[str | pathlib.Path]
    entered: str = ""


VAULTS = ("laptop.vlr", "stick.vlr")
DATABASES = ("laptop.db", "stick.db")
KEEPASS_DATABASES = ("laptop.kdbx", "stick.kdbx")

CONTENDERS = [
    Contender(COPY, VAULTS, [BIN / "plain-copy"]),
    Contender(PIECES, VAULTS, [BIN / "plain-copy", "--pieces"]),
    Contender(JOIN, VAULTS, [BIN / "plain-copy", "--join"]),
    Contender(SYNC, VAULTS, [BIN / "vellorin-sync", "--quiet"]),
    Contender(SQLITE, DATABASES, [BIN / "sqlite-merge", "merge"]),
    Contender(SQLITE_KEYS, DATABASES, [BIN / "sqlite-merge", "merge-by-keys"]),
    Contender(KEEPASS, KEEPASS_DATABASES, ["keepassxc-cli", "merge", "-q", "-s"], keepass_pair.PASSWORD + "\n"),
]


@dataclass(frozen=True)
class Goal:
    """A bound and the worst that is acceptable; `at_least` turns both around."""

    bound: float
    worst: float | None = None
    at_least: bool = False

    def text(self, value: float) -> str:
        def met(bound: float | None) -> bool:
            return bound is not None and (value >= bound if self.at_least else value <= bound)

        shown = f"{'at least' if self.at_least else 'at most'} {self.bound:g}"
        shown += f" [{self.worst:g}]" if self.worst is not None else ""
        return shown + (" ok" if met(self.bound) else " MISSED, acceptable" if met(self.worst) else " MISSED")


WALL_GOALS = {1000: Goal(1.2, 1.4), 100_000: Goal(1.5, 2.0), 1_000_000: Goal(1.8, 2.2)}
PROCESSOR_GOAL = Goal(2.5, 3.5)
MEMORY_GOALS = {100_000: Goal(2.5, 4), 1_000_000: Goal(2.5, 4)}
WRITTEN_GOAL = Goal(1.02)
EXPONENT_GOAL = Goal(0.05)
SMALLEST_FOR_EXPONENT = 10_000  # below, starting a program costs more than its records
SHORTEST_FOR_SHARE = 0.05  # seconds of processor time
SQLITE_GOALS = {100_000: Goal(1.5, at_least=True)}
SQLITE_GOAL_ELSEWHERE = Goal(1, at_least=True)
ROUNDS = {1000: 8, 10_000: 3, 1_000_000: 0.6}  # times as many as asked for: what is short is soon disturbed
KEEPASS_GOALS = {1000: Goal(15, at_least=True), 10_000: Goal(40, at_least=True), 100_000: Goal(200, at_least=True)}
GOAL_OF_KEEPASS = max(KEEPASS_GOALS)  # the size that takes minutes


# --- one size ---------------------------------------------------------------------------------------------------------


def size_of(folder: pathlib.Path, files: Sequence[str]) -> int:
    return sum((folder / name).stat().st_size for name in files)


def take_turn(contender: Contender, pair: pathlib.Path, scratch: pathlib.Path, keep: pathlib.Path | None) -> Cost:
    """One run on fresh copies that are on the disk already; into `keep` goes what it made of them."""
    turn = scratch / "turn"
    turn.mkdir()
    for name in contender.files:
        shutil.copy(pair / name, turn / name)
    for path in (*turn.iterdir(), turn):
        descriptor = os.open(path, os.O_RDONLY)
        os.fsync(descriptor)
        os.close(descriptor)
    cost = measured([*contender.command, *(turn / name for name in contender.files)], scratch, contender.entered)
    if keep is not None:
        for name in contender.files:
            (turn / name).rename(keep / name)
    shutil.rmtree(turn)
    return cost


def make_databases(pair: pathlib.Path, scratch: pathlib.Path) -> None:
    for vault, database in zip(VAULTS, DATABASES):
        run_quietly([BIN / "sqlite-merge", "make", pair / vault, pair / database], scratch)


def verify(kept: dict[str, pathlib.Path], pair: pathlib.Path, scratch: pathlib.Path) -> None:
    """A comparison of speed is one only if the contenders did the same: the copies are copies, and the databases hold
    the records of the merged vaults."""
    for name in (COPY, PIECES, JOIN):
        for vault in VAULTS:
            if (kept[name] / vault).read_bytes() != (pair / vault).read_bytes():
                sys.exit(f"{name.strip()} changed {vault}")
    for name in (SQLITE, SQLITE_KEYS):
        if name in kept:
            for vault, database in zip(VAULTS, DATABASES):
                run_quietly([BIN / "sqlite-merge", "verify", kept[name] / database, kept[SYNC] / vault], scratch)


@dataclass(frozen=True)
class Result:
    records: int
    bytes: int  # of both vaults before
    bytes_after: int
    costs: dict[str, Cost]


def in_turn(contenders: list[Contender], turn: int, rounds: int) -> list[Contender]:
    """Beginning with another one each time, so that none gains or suffers by its place. Further rounds than were asked
    for are without the contender that takes seconds."""
    first = turn % len(contenders)
    return [c for c in contenders[first:] + contenders[:first] if turn <= rounds or c.name != KEEPASS]


def measure(records: int, order: str, names: set[str], rounds: int, scratch: pathlib.Path) -> Result:
    pair = scratch / "pair"
    pair.mkdir()
    run_quietly([BIN / "make-pairs", str(records), order, pair], scratch)
    if SQLITE in names:
        make_databases(pair, scratch)
    if KEEPASS in names:
        keepass_pair.make_pair(records, pair, scratch)
    contenders = [c for c in CONTENDERS if c.name in names]
    costs: dict[str, list[Cost]] = {c.name: [] for c in contenders}
    kept: dict[str, pathlib.Path] = {}
    turns = 1 + math.ceil(rounds * ROUNDS.get(records, 1))
    for turn in range(turns):  # the first warms up and is looked at, not counted
        for contender in in_turn(contenders, turn, rounds):
            if turn == 0:
                kept[contender.name] = scratch / f"kept-{len(kept)}"
                kept[contender.name].mkdir()
                take_turn(contender, pair, scratch, kept[contender.name])
            else:
                costs[contender.name].append(take_turn(contender, pair, scratch, None))
        if turn == 0:
            verify(kept, pair, scratch)
            after = size_of(kept[SYNC], VAULTS)
            for folder in kept.values():
                shutil.rmtree(folder)
    size = size_of(pair, VAULTS)
    shutil.rmtree(pair)
    return Result(records, size, after, {name: median(list_) for name, list_ in costs.items()})


def median(costs: list[Cost]) -> Cost:
    def of(value: Callable[[Cost], float]) -> float:
        return statistics.median(value(cost) for cost in costs)

    return Cost(of(lambda c: c.wall), of(lambda c: c.processor), of(lambda c: c.kernel), int(of(lambda c: c.memory)),
                int(of(lambda c: c.written)))


# --- tables -----------------------------------------------------------------------------------------------------------


def exponent(before: Result | None, now: Result, name: str) -> float | None:
    """How processor time grows with the records from one size to the next: 1 is in step."""
    if before is None or name not in before.costs or before.records >= now.records:
        return None
    growth = now.costs[name].processor / before.costs[name].processor
    return math.log(growth) / math.log(now.records / before.records)


def in_kernel(cost: Cost) -> str:
    """The system samples where time is spent, so the share says nothing of a short run."""
    return f"{cost.kernel / cost.processor:.0%}" if cost.processor >= SHORTEST_FOR_SHARE else ""


def cost_table(before: Result | None, result: Result) -> str:
    floor = result.costs[COPY]
    rows = [["", "wall s", "to copy", "processor s", "in kernel", "to copy", "exponent", "peak MB", "to files",
             "written MB", "to files"]]
    for name, cost in result.costs.items():
        grown = exponent(before, result, name)
        rows.append([name, f"{cost.wall:.4f}", f"{cost.wall / floor.wall:.2f}",
                     f"{cost.processor:.4f}", in_kernel(cost), f"{cost.processor / floor.processor:.2f}",
                     "" if grown is None else f"{grown:.2f}",
                     f"{cost.memory / 1e6:.1f}", f"{cost.memory / result.bytes:.2f}",
                     f"{cost.written / 1e6:.2f}", f"{cost.written / result.bytes_after:.3f}"])
    return table(rows)


def goal_table(before: Result | None, result: Result) -> str:
    sync, floor = result.costs[SYNC], result.costs[COPY]
    lines: list[tuple[str, float, Goal | None]] = [
        ("wall time to the copy's", sync.wall / floor.wall, WALL_GOALS.get(result.records)),
        ("processor time to the copy's", sync.processor / floor.processor, PROCESSOR_GOAL),
        ("peak memory to both files", sync.memory / result.bytes, MEMORY_GOALS.get(result.records)),
        ("bytes written to both files", sync.written / result.bytes_after, WRITTEN_GOAL),
    ]
    ours, joins = exponent(before, result, SYNC), exponent(before, result, JOIN)
    if before and ours is not None and joins is not None:
        counts = before.records >= SMALLEST_FOR_EXPONENT
        lines.append(("exponent above the hash join's", ours - joins, EXPONENT_GOAL if counts else None))
    if SQLITE in result.costs:
        goal = SQLITE_GOALS.get(result.records, SQLITE_GOAL_ELSEWHERE)
        lines.append(("times faster than SQLite", result.costs[SQLITE].wall / sync.wall, goal))
        lines.append(("times faster than SQLite by indexes", result.costs[SQLITE_KEYS].wall / sync.wall, None))
    if KEEPASS in result.costs:
        times = result.costs[KEEPASS].wall / sync.wall
        lines.append(("times faster than keepassxc-cli", times, KEEPASS_GOALS.get(result.records)))
    rows = [["", "", "goal [worst acceptable]"]]
    rows += [[what, f"{value:.2f}", goal.text(value) if goal else "-"] for what, value, goal in lines]
    return table([[what, value.rjust(6), goal] for what, value, goal in rows], left=3)


# --- all sizes --------------------------------------------------------------------------------------------------------


def default_sizes(scratch: pathlib.Path) -> tuple[list[int], str]:
    """The sizes and, if the largest is left out, why."""
    memory = os.sysconf("SC_AVPHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")
    sizes = [1000, 10_000, 100_000]
    if memory < MEMORY_AT_A_MILLION:
        return sizes, "1,000,000 records are left out: too little free memory (--sizes asks for them all the same)"
    if shutil.disk_usage(scratch).free < DISK_AT_A_MILLION:
        return sizes, "1,000,000 records are left out: too little free space (--sizes asks for them all the same)"
    return [*sizes, 1_000_000], ""


def contenders_at(records: int, order: str, keepass_up_to: int) -> set[str]:
    names = {SYNC, COPY, PIECES, JOIN}
    if (BIN / "sqlite-merge").exists():
        names |= {SQLITE, SQLITE_KEYS}
    if shutil.which("keepassxc-cli") and records <= keepass_up_to and order == "same":
        names.add(KEEPASS)
    return names


def report(sizes: list[int], orders: list[str], keepass_up_to: int, rounds: int, say: Callable[[str], None]) -> None:
    """Says one part of the report after the other, as they are measured."""
    with scratch_folder() as scratch:
        left_out = ""
        if not sizes:
            sizes, left_out = default_sizes(scratch)
        for order in orders:
            before = None
            for records in sizes:
                names = contenders_at(records, order, keepass_up_to)
                result = measure(records, order, names, rounds, scratch)
                say(f"{records:,} records a side, {result.bytes / 1e6:.1f} MB in both files, "
                    f"{'the same order in both' if order == 'same' else 'the second in another order'}\n\n"
                    f"{cost_table(before, result)}\n\n{goal_table(before, result)}\n")
                before = result
        has_keepass = shutil.which("keepassxc-cli") is not None
        for absent, why in ((not (BIN / "sqlite-merge").exists(), "SQLite is not installed: not compared with"),
                            (not has_keepass, "keepassxc-cli is not installed: not compared with"),
                            (has_keepass and keepass_up_to < GOAL_OF_KEEPASS <= max(sizes),
                             f"keepassxc-cli at {GOAL_OF_KEEPASS:,} records takes minutes and is left out, and its goal "
                             f"is not judged (--keepass-up-to {GOAL_OF_KEEPASS})")):
            if absent:
                say(why)
        if left_out:
            say(left_out)
