#!/usr/bin/env python3
"""Runs the synchroniser on pairs of vaults and compares both files, to the byte, with a literal model of the merge.

    run_judge.py PROGRAM [--seed N] [--random N] [--large N] [--group WORD] [--keep FOLDER] [--jobs N]
                 [--samples PROGRAM]

Every run has a scratch folder of its own as home and as the place of its two files. Besides their bytes it is judged by
its result text, exit status, log and attributes, and by what it leaves behind. Only the date in the preferences and the
identities of files that had none are taken from the program. One line for each group; the last one counts all cases.
"""

from __future__ import annotations

import argparse
import os
import re
import subprocess
import sys
import tempfile
import time
from collections import Counter
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

import merge
from cases import FISH, GROUPS, REFERENCE, Case, all_texts, large_pair
from histories import History, spoiled
from vault import EPOCH_2001, Document, Failure, carried_whole, rewritten

NAMES = ("first vault.vlr", "second vault.vlr")
BACKUPS = ("first vault backup 1.vlr", "second vault backup 1.vlr")
NEW_IDENTITY = re.compile(rb"[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")
FINDER_INFO = "user.com.apple.FinderInfo"
CLOCK_GRAIN = 0.02  # seconds by which the clock that programs read may lag behind the exact one
TIME_LIMIT = 120  # seconds
ROUNDS = 3  # times that the copies of one history meet


# --- one run ----------------------------------------------------------------------------------------------------------


@dataclass
class Result:
    stdout: str
    log: str
    status: int
    files: list[bytes]
    attributes: list[bytes | None]
    left_over: list[str]
    backups: list[bytes | None]
    started: float
    ended: float


def run_program(program: str, first: bytes, second: bytes) -> Result:
    with tempfile.TemporaryDirectory(prefix="judge-") as scratch:
        home, files = Path(scratch, "home"), Path(scratch, "files")
        home.mkdir(mode=0o700)
        files.mkdir()
        paths = [files / name for name in NAMES]
        for path, data in zip(paths, (first, second)):
            path.write_bytes(data)
        environment = {
            "PATH": os.environ.get("PATH", ""), "HOME": str(home), "XDG_RUNTIME_DIR": str(home), "TMPDIR": str(home),
        } | {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        started = time.time() - CLOCK_GRAIN
        done = subprocess.run(
            [program, *map(str, paths)], env=environment, cwd=home, stdin=subprocess.DEVNULL, capture_output=True,
            timeout=TIME_LIMIT,
        )
        ended = time.time()
        left_over = sorted(entry.name for entry in [*files.iterdir(), *home.iterdir()] if entry not in paths)
        backups = [path.read_bytes() if path.exists() else None for path in (files / name for name in BACKUPS)]
        return Result(
            done.stdout.decode("utf-8", "backslashreplace"), done.stderr.decode("utf-8", "backslashreplace"),
            done.returncode, [path.read_bytes() for path in paths], [type_and_creator(path) for path in paths], left_over,
            backups, started, ended,
        )


def type_and_creator(path: Path) -> bytes | None:
    try:
        return os.getxattr(path, FINDER_INFO)
    except OSError:
        return None


def attributes_work(folder: str) -> bool:
    with tempfile.NamedTemporaryFile(dir=folder) as file:
        try:
            os.setxattr(file.name, FINDER_INFO, bytes(32))
        except OSError:
            return False
    return True


# --- what is free in a run --------------------------------------------------------------------------------------------


def date_of(data: bytes) -> int:
    """The date in the preferences of a written file."""
    behind_reference = 12 + int.from_bytes(data[8:12], "big")
    return int.from_bytes(data[behind_reference + 12 : behind_reference + 16], "big")


def identities_of(files: list[bytes], before: tuple[bytes, bytes]) -> tuple[bytes, bytes]:
    """What the run calls the two files. A second file that was left alone is known to the first as its partner."""
    try:
        first = Document(files[0])
        return first.unique, Document(files[1]).unique if files[1] != before[1] else first.partner
    except Failure:
        return merge.FRESH


# --- judgement --------------------------------------------------------------------------------------------------------


class Judge:
    def __init__(self, program: str):
        self.program = program
        self.attributes_work = attributes_work(tempfile.gettempdir())

    def differences(self, case: Case, lists: type[merge.Scans] = merge.Scans) -> tuple[list[str], Result | None]:
        try:
            result = run_program(self.program, case.first, case.second)
        except subprocess.TimeoutExpired:
            return [f"no end after {TIME_LIMIT} seconds"], None
        before = (case.first, case.second)
        dates = tuple(date_of(data) for data in result.files)
        identities = identities_of(result.files, before)
        expected = merge.run(*before, dates, identities, lists)
        found = [
            *compare_report(result, expected),
            *compare_log(result, expected, backups_of(expected, before), nothing_else=self.attributes_work),
            *compare_files(result, expected, before),
            *compare_free_parts(result, expected, dates, identities),
        ]
        found += compare_backups(result, backups_of(expected, before), before)
        if self.attributes_work:
            for number, attribute in enumerate(result.attributes):
                wanted = b"Vlr4sh11" + bytes(24) if expected.files[number] is not None else None
                if attribute != wanted:
                    found.append(f"file {number + 1}: type and creator are {attribute}")
        return found, result


def compare_report(result: Result, expected: merge.Outcome) -> list[str]:
    found = []
    if expected.failure is None:
        if result.stdout != "<Success>\n":
            found.append(f"result {result.stdout!r}, expected success")
    else:
        failure = expected.failure
        line = r"\d+" if failure.line is None else str(failure.line)
        file = r"VLR_\w+\.cpp" if failure.code == 0 else r"VLR_Synchronize\.cpp"
        if not re.fullmatch(rf"<{file}:{failure.operation} \({line}:0x{failure.code:x}\)>\n", result.stdout):
            found.append(f"result {result.stdout!r}, expected {failure.operation}: {failure.text!r}")
    if result.status != (0 if expected.failure is None else 1):
        found.append(f"exit status {result.status}, log {result.log[-300:]!r}")
    return found


def backups_of(expected: merge.Outcome, before: tuple[bytes, bytes]) -> list[int]:
    """The files of which a run keeps the old bytes: those that it replaces and of which it can't carry over all."""
    return [n for n in range(2) if expected.files[n] is not None and not carried_whole(before[n], FISH)]


def compare_backups(result: Result, backups: list[int], before: tuple[bytes, bytes]) -> list[str]:
    names = [BACKUPS[number] for number in backups]
    if result.left_over != names:
        return [f"left over: {result.left_over}, expected {names}"]
    return [f"{BACKUPS[n]} does not hold the old bytes" for n in backups if result.backups[n] != before[n]]


def compare_log(result: Result, expected: merge.Outcome, backups: list[int], nothing_else: bool) -> list[str]:
    """Each text as often as it belongs into the log. A line may hold a time ahead of its text and a place behind it."""
    lines = result.log.splitlines()
    found = []
    for text, wanted in Counter(text.strip() for text in expected.log).items():
        told = sum(text in line for line in lines)
        if told != wanted:
            found.append(f"log: {text!r} {told} times, expected {wanted}")
    told_of = [n for n in range(2) if any("carried over" in line and f"'{BACKUPS[n]}'" in line for line in lines)]
    if told_of != backups:
        found.append(f"log: backups of files {told_of}, expected of {backups}")
    known = [*(text.strip() for text in expected.log), "not all of it can be carried over. Your data file was backed up"]
    others = [line for line in lines if not any(text in line for text in known)]
    if nothing_else and others:
        found.append(f"log: {others[:3]}")
    return found


def compare_files(result: Result, expected: merge.Outcome, before: tuple[bytes, bytes]) -> list[str]:
    found = []
    for number, (actual, wanted) in enumerate(zip(result.files, expected.files)):
        if wanted is None and actual != before[number]:
            found.append(f"file {number + 1} has changed and should not")
        elif wanted is not None and actual != wanted:
            found.append(f"file {number + 1}: {first_difference(actual, wanted)}")
    return found


def first_difference(actual: bytes, wanted: bytes) -> str:
    at = next((i for i, (a, b) in enumerate(zip(actual, wanted)) if a != b), min(len(actual), len(wanted)))
    return (
        f"{len(actual)} bytes, expected {len(wanted)}; differs at {at}: "
        f"{actual[at : at + 16].hex(' ')} instead of {wanted[at : at + 16].hex(' ')}"
    )


def compare_free_parts(
    result: Result, expected: merge.Outcome, dates: tuple[int, ...], identities: tuple[bytes, bytes]
) -> list[str]:
    """What the model took over from the program: it must be a fit date, and fit identities."""
    found = []
    for number in range(2):
        if expected.files[number] is not None and not (
            int(result.started) <= dates[number] + EPOCH_2001 <= int(result.ended)
        ):
            found.append(f"file {number + 1}: date {dates[number]} is not the time of the run")
    if expected.files[0] is not None:
        fresh = [name for name, had in zip(identities, expected.had_identity) if not had]
        if not all(NEW_IDENTITY.fullmatch(name) for name in fresh) or len(set(fresh)) != len(fresh):
            found.append(f"fresh identities {fresh}")
    return found


# --- groups -----------------------------------------------------------------------------------------------------------


@dataclass
class Verdict:
    name: str
    case: Case
    differences: list[str]


def judge_case(judge: Judge, case: Case) -> list[Verdict]:
    found, result = judge.differences(case)
    return [Verdict(case.name, case, found + against_hand(case, result))]


def against_hand(case: Case, result: Result | None) -> list[str]:
    """What the case itself says about its outcome, so that the model doesn't judge alone."""
    found = []
    if result and case.failure == "" and result.status != 0:
        found.append("should succeed")
    if result and case.failure and result.status == 0:
        found.append("should fail")
    if result and case.after is not None and result.status == 0:
        for number, names in enumerate(case.after):
            there = [entry.uuid.decode() for entry in Document(result.files[number]).records]
            if there != names:
                found.append(f"file {number + 1} holds {there}, told by hand {names}")
    return found


def judge_history(judge: Judge, seed: int) -> list[Verdict]:
    history, verdicts = History(seed), []
    for meeting in range(1, ROUNDS + 1):
        case = Case(f"seed {seed}, meeting {meeting}", *history.part_ways(), failure="")
        found, result = judge.differences(case)
        verdicts.append(Verdict(case.name, case, found))
        if found:
            break
        history.meet(result.files)
    return verdicts


def judge_spoiled(judge: Judge, seed: int) -> list[Verdict]:
    history = History(seed)
    files = list(history.part_ways())
    which = history.chance.choice(((0,), (1,), (0, 1)))
    for number in which:
        files[number] = spoiled(files[number], history.chance)
    case = Case(f"seed {seed}, spoiled", *files)
    return [Verdict(case.name, case, judge.differences(case)[0])]


def judge_large(judge: Judge, case: Case) -> list[Verdict]:
    """For a case that is too large for scans."""
    found, result = judge.differences(case, merge.IndexedLists)
    if result:
        case.name += f", {result.ended - result.started:.2f} s"
    return [Verdict(case.name, case, found)]


def judge_sample(data: bytes) -> list[str]:
    """Whether a vault written by the product deciphers, and is what another writer makes of its content."""
    document = Document(data, FISH, now=int(time.time()) - EPOCH_2001)
    found = [f"{document.errors} damaged entries"] if document.errors else []
    if not FISH.verify(document.reference) or document.reference != REFERENCE:
        found.append("another reference buffer")
    if not all(entry.title for entry in document.records):
        found.append("a record without title")
    if (other := rewritten(document, FISH).encode()) != data:
        found.append(first_difference(data, other))
    return found


def judge_samples(program: str, options: list[str]) -> list[Verdict]:
    with tempfile.TemporaryDirectory(prefix="judge-") as scratch:
        folder = Path(scratch, "samples")
        folder.mkdir()
        environment = {"PATH": os.environ.get("PATH", ""), "HOME": scratch}
        subprocess.run([program, "sample", *options, str(folder)], env=environment, check=True, capture_output=True)
        files = sorted(folder.iterdir())
        return [Verdict(f"{path.name} {options}", Case("", b"", b""), judge_sample(path.read_bytes())) for path in files]


class Report:
    def __init__(self, keep: Path | None, pool: ThreadPoolExecutor):
        self.keep, self.pool, self.passed, self.failed = keep, pool, 0, 0

    def group(self, name: str, judging: Callable, inputs, note: Callable[[list[Verdict]], str] = lambda _: ""):
        verdicts = [verdict for part in self.pool.map(judging, inputs) for verdict in part]
        failed = [verdict for verdict in verdicts if verdict.differences]
        self.passed += len(verdicts) - len(failed)
        self.failed += len(failed)
        print(f"{'FAIL' if failed else 'ok  '} {name}: {len(verdicts) - len(failed)} of {len(verdicts)}{note(verdicts)}")
        for verdict in failed[:20]:
            print(f"     {verdict.name}: " + "; ".join(verdict.differences))
        if len(failed) > 20:
            print(f"     and {len(failed) - 20} more")
        sys.stdout.flush()
        if self.keep and failed:
            self.keep_smallest(name, failed)

    def keep_smallest(self, group: str, failed: list[Verdict]):
        smallest = min(failed, key=lambda verdict: len(verdict.case.first) + len(verdict.case.second))
        folder = self.keep / re.sub(r"\W+", "-", group)
        folder.mkdir(parents=True, exist_ok=True)
        for name, data in zip(NAMES, (smallest.case.first, smallest.case.second)):
            (folder / name).write_bytes(data)
        (folder / "differences.txt").write_text("\n".join([smallest.name, *smallest.differences]) + "\n")


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program")
    parser.add_argument("--seed", type=int, default=1, help="of the first random vault; the others count on from it")
    parser.add_argument("--random", type=int, default=300, metavar="N", help="histories, and as many spoiled vaults")
    parser.add_argument("--large", type=int, default=100000, metavar="N", help="records of the large vaults, 0 for none")
    parser.add_argument("--group", default="", metavar="WORD", help="only groups with this word in their names")
    parser.add_argument("--keep", type=Path, metavar="FOLDER", help="store the smallest failing pair of each group")
    parser.add_argument("--samples", metavar="PROGRAM", help="judge the samples that this program makes as well")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    return parser.parse_args()


def main() -> int:
    options = arguments()
    judge = Judge(os.path.abspath(options.program))
    seeds = range(options.seed, options.seed + options.random)
    span = f"seeds {seeds.start} to {seeds.stop - 1}" if options.random else "none"
    with ThreadPoolExecutor(options.jobs) as pool:
        report = Report(options.keep, pool)
        for name, cases in GROUPS.items():
            if options.group in name:
                report.group(name, lambda case: judge_case(judge, case), cases())
        if options.random and options.group in "random histories":
            report.group(f"random histories, {span}", lambda seed: judge_history(judge, seed), seeds)
        if options.random and options.group in "spoiled vaults":
            report.group(f"spoiled vaults, {span}", lambda seed: judge_spoiled(judge, seed), seeds)
        if options.group in "all texts":
            report.group("all texts", lambda case: judge_large(judge, case), all_texts(options.seed))
        if options.large and options.group in "large vaults":
            name_of = lambda verdicts: f" ({verdicts[0].name})"  # noqa: E731
            pair = large_pair(options.large, options.seed)
            report.group("large vaults", lambda case: judge_large(judge, case), [pair], name_of)
        if options.samples:
            choices = [[], ["--records", "200", "--seed", str(options.seed)]]
            program = os.path.abspath(options.samples)
            report.group("samples", lambda choice: judge_samples(program, choice), choices)
    print(f"{report.passed} passed, {report.failed} failed")
    return 1 if report.failed else 0


if __name__ == "__main__":
    sys.exit(main())
