#!/usr/bin/env python3
"""Tests of the judge itself: what was made by it, its short cut, and faults that it must notice."""

from __future__ import annotations

import sys
import tempfile
import unittest
from pathlib import Path

import make_golden
import make_golden_older
import merge
import run_judge
from cases import DATA, Case, U, first, large_pair, record, second
from histories import History


class GoldenTest(unittest.TestCase):
    def test_documented_dumps(self):
        page = (DATA.parent.parent / "docs" / "file-format.md").read_text()
        for dump in make_golden.dumps():
            self.assertIn(dump, page)

    def test_golden_files(self):
        """The files in tests/data are those that the script makes, and the comments in them hold."""
        for name, text in make_golden.texts().items():
            self.assertEqual((DATA / name).read_text(), text, name)
        for name, text in make_golden_older.texts().items():
            self.assertEqual((DATA / "older" / name).read_text(), text, name)


class MergeTest(unittest.TestCase):
    def test_indexed_answers_are_those_of_scans(self):
        pairs = [History(seed).part_ways() for seed in range(200)]
        large = large_pair(300, 1)
        for pair in [*pairs, (large.first, large.second)]:
            self.assertEqual(merge.run(*pair), merge.run(*pair, lists=merge.IndexedLists))


class RunnerTest(unittest.TestCase):
    """Programs that do what the model says, but for one fault, in place of the synchroniser."""

    PROGRAM = """#!{python}
import os, sys, time, uuid
sys.path.insert(0, {folder!r})
import cases, merge, vault
fault, paths, now = {fault!r}, sys.argv[1:], int(time.time()) - 978307200
before = [open(path, "rb").read() for path in paths]
names = tuple(str(uuid.uuid4()).upper().encode() for _ in paths)
date = now - (3600 if fault == "date" else 0)
outcome = merge.run(*before, (date, date), merge.FRESH if fault == "identities" else names)
for path, old, data in zip(paths, before, outcome.files):
    loses = data is not None and not vault.carried_whole(old, cases.FISH)
    if data is not None and (loses or fault == "backup of all") and fault != "no backup":
        backup = path.replace(".vlr", " backup 1.vlr")
        open(backup, "wb").write(data if fault == "backup too late" else old)
        if fault != "backup untold":
            print("not all of it can be carried over. Your data file was backed up with the name",
                  repr(os.path.basename(backup)), file=sys.stderr)
    if data is not None and fault != "not written":
        open(path, "wb").write(data)
        if fault != "attributes":
            try:
                os.setxattr(path, "user.com.apple.FinderInfo", b"Vlr4sh11" + bytes(24))
            except OSError:
                pass
for text in outcome.log if fault != "log" else []:
    print(text, file=sys.stderr)
if fault == "left over":
    os.mkdir(os.path.join(os.path.dirname(paths[0]), "." + os.path.basename(paths[0])))
if outcome.failure is None:
    print("<Success>")
    sys.exit(fault == "status")
if fault == "touched":
    open(paths[1], "ab").write(b"x")
print(f"<VLR_Some.cpp:{{'Other' if fault == 'place' else outcome.failure.operation}} (7:0x0)>")
sys.exit(1)
"""
    GOOD = Case("good", first(record(U), unique=""), second(b"xyz"))
    BAD = Case("bad", first(record(U)), second(b"Pdat"))

    def differences(self, fault: str, case: Case) -> list[str]:
        with tempfile.TemporaryDirectory() as scratch:
            program = Path(scratch, "program")
            folder = str(Path(__file__).parent.absolute())
            program.write_text(self.PROGRAM.format(python=sys.executable, folder=folder, fault=fault))
            program.chmod(0o700)
            return run_judge.Judge(str(program)).differences(case)[0]

    def test_faults_are_noticed(self):
        self.assertEqual([], self.differences("", self.GOOD) + self.differences("", self.BAD))
        faults = [("date", self.GOOD), ("identities", self.GOOD), ("not written", self.GOOD), ("status", self.GOOD)]
        faults += [("left over", self.GOOD), ("log", self.GOOD), ("touched", self.BAD), ("place", self.BAD)]
        faults += [(fault, self.GOOD) for fault in ("backup of all", "no backup", "backup too late", "backup untold")]
        if run_judge.attributes_work(tempfile.gettempdir()):
            faults.append(("attributes", self.GOOD))
        for fault, case in faults:
            self.assertTrue(self.differences(fault, case), fault)


if __name__ == "__main__":
    unittest.main()
