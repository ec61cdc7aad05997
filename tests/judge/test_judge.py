#!/usr/bin/env python3
"""Tests of the judge itself: published vectors, bytes told by hand, and faults that its cases must notice."""

from __future__ import annotations

import shutil
import subprocess
import sys
import tempfile
import types
import unittest
from pathlib import Path

import make_golden
import make_golden_older
import merge
import run_judge
from cases import FISH, GROUPS, MERGE_TABLE, REFERENCE, Case, U, first, large_pair, record, second
from histories import History, spoiled
from older import HandedOver, OlderDocument, Version3
from vault import PATTERN, Blowfish, Document, Failure, Record, Vault, checksum, padded, rewritten

DATA = Path(__file__).parent.parent / "data"


def vectors() -> list[dict[str, bytes]]:
    text = (DATA / "blowfish-vectors.txt").read_text()
    lines = [line for line in text.splitlines() if not line.startswith("#")]
    cases = [case for case in "\n".join(lines).split("\n\n") if case.strip()]
    return [{k: bytes.fromhex(v) for k, v in (line.split(" = ") for line in case.strip().splitlines())} for case in cases]


class CipherTest(unittest.TestCase):
    def test_published_vectors(self):
        for case in vectors():
            fish = Blowfish(case["Key"])
            self.assertEqual(fish.encrypt(case["In"]), case["Out"], case)
            self.assertEqual(fish.decrypt(case["Out"]), case["In"], case)

    @unittest.skipUnless(shutil.which("openssl"), "needs the openssl command")
    def test_foreign_cipher(self):
        """The command takes keys of 16 bytes only, so the test is for keys whose length divides 16."""
        for case in vectors():
            key = case["Key"]
            if 16 % len(key):
                continue
            command = ["openssl", "enc", "-bf-ecb", "-nopad", "-K", (key * (16 // len(key))).hex()]
            command += ["-provider", "legacy", "-provider", "default"]
            done = subprocess.run(command, input=case["In"], capture_output=True, check=True)
            self.assertEqual(done.stdout, case["Out"], case)

    def test_keys(self):
        self.assertEqual(Blowfish("").encrypt(PATTERN), Blowfish(b"\0").encrypt(PATTERN))
        self.assertEqual(Blowfish("k" * 72 + "x").encrypt(PATTERN), Blowfish("k" * 73).encrypt(PATTERN))
        self.assertEqual(FISH.encrypt(b"\1"), FISH.encrypt(b"\1" + bytes(7)))

    def test_padded_keys(self):
        self.assertEqual(padded("abc"), b"abc" * 24 + b"a")
        self.assertEqual((padded(""), padded("x" * 80)), (bytes(73), b"x" * 80))
        for password in ("", "abc", "\u00e9" * 40):
            self.assertEqual(Blowfish(padded(password)).encrypt(PATTERN), Blowfish(password).encrypt(PATTERN))


class BytesTest(unittest.TestCase):
    def test_plain_part(self):
        self.assertEqual(len(Record().plain()), 50)
        self.assertEqual(len(Record().block(FISH)), 4 + 4 + 2 + 4 + 4 + 4 + 4 + 56)
        self.assertTrue(Record(browser="abc").plain().endswith(bytes.fromhex("0000000B 00000007 00000003 616263")))

    def test_transfer_form(self):
        form = Record(title="T", modified=1, color=(1, 2, 3), browser="B", category="C").transfer_form()
        told = "01 00000001 54" + "00000000" * 6 + "00000001 00000000 000100020003 00000001 42 00000001 43"
        self.assertEqual(form, bytes.fromhex(told))

    def test_checksum(self):
        table = {"": 0, "FF": 0, "0102": 0x0102, "010203": 0x0102, "FFFF0001": 1, "FFFFFFFF": 0xFFFF, "80008000": 1}
        for block, value in table.items():
            self.assertEqual(checksum(bytes.fromhex(block)), value, block)

    def test_offsets(self):
        data = Vault(FISH, unique="id", reference=REFERENCE).encode()
        for offset, tag in ((0, b"VL_4"), (4, b"Fish"), (268, b"Pref"), (310, b"Dele"), (318, b"SyIn")):
            self.assertEqual(data[offset : offset + 4], tag)
        self.assertEqual(data[272:276] + data[314:318], bytes.fromhex("00000022 00000000"))
        self.assertEqual(data[322:], bytes.fromhex("00000002 6964 00000000"))

    def test_round_trip(self):
        text = dict(title="t", url="u", username="n", password="p", username_label="l", password_label="m", notes="o")
        entry = Record(U, category="c", browser="b", growth=[b"x", b""], modified=7, last_used=8, hidden=9, color=(1, 2, 3),
                       collapsed=-3, changed=200, clear_block=b"cb", clear_value=-9, **text)
        for fish in (FISH, None):
            read = Document(Vault(FISH, [entry], [(U, 3)], "id", "partner").encode(), fish)
            self.assertEqual((read.errors, read.unique, read.partner, read.deletions[0].checksum), (0, b"id", b"partner", 3))
            got = read.records[0]
            self.assertEqual((got.uuid, got.collapsed, got.changed), (U.encode(), -3, 200))
            self.assertEqual((got.category, got.clear_block, got.clear_value), (b"c", b"cb", -9))
            for name, value in text.items():
                self.assertEqual(getattr(got, name), value.encode() if fish else b"", name)
            self.assertEqual(rewritten(read, FISH).parts[0].block(FISH), entry.block(FISH))

    def test_older_bytes(self):
        """Version 3 has the offsets of version 4, less the magic, and no identities."""
        old = Record(title="\u00e9", notes="n", modified=1, old_identity=(0xAB, 0x12345678), category="\u00c4", version=3)
        data = Version3(FISH, [old], reference=REFERENCE).encode()
        for offset, tag in ((0, b"Fish"), (264, b"Pref"), (306, b"Dele"), (314, b"Pdat")):
            self.assertEqual(data[offset : offset + 4], tag)
        self.assertEqual(data[322:], old.block(FISH))
        self.assertTrue(data[322:].startswith(bytes.fromhex("00000003 AABB AB12345678 0000 0180 00000000 00000000 00000018")))
        self.assertEqual(old.plain(), bytes.fromhex("018E 00 00 00 00000001 6E B6757901 00000000"))
        for version, plain in ((1, "018E 00 00 00 B6757901"), (2, "018E 00 00 00 016E B6757901")):
            entry = Record(title="\u00e9", notes="n", modified=1, version=version)
            pieces = HandedOver(version, FISH, [entry], b"").layout()
            self.assertTrue(pieces[-1][1].endswith(FISH.encrypt(bytes.fromhex(plain))))
            read = OlderDocument(version, b"".join(piece for _, piece in pieces), FISH, 0)
            self.assertEqual((read.errors, read.failure, read.records[0].title), (0, "", "\u00e9".encode()))

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
    def test_table(self):
        for row in MERGE_TABLE:
            outcome = merge.run(first(*row.hh, deleted=row.hh_deleted), second(*row.pc, deleted=row.pc_deleted))
            self.assertEqual(outcome.counters, merge.Counters(**{"deleted": [0, 0], "copied": [0, 0], **row.counters}), row.name)
            for data, names in zip(outcome.files, row.after):
                self.assertEqual([entry.uuid.decode() for entry in Document(data).records], names, row.name)

    def test_indexed_answers_are_those_of_scans(self):
        pairs = [History(seed).part_ways() for seed in range(200)]
        large = large_pair(300, 1)
        for pair in [*pairs, (large.first, large.second)]:
            self.assertEqual(merge.run(*pair), merge.run(*pair, lists=merge.IndexedLists))

    def test_text_order(self):
        ordered = [b"", b"A", b"a", b"b", b"\xff", "\ue000".encode(), "\U00010000".encode()]
        for a, b in zip(ordered, ordered[1:]):
            self.assertEqual((merge.compare(a, b), merge.compare(b, a)), (-1, 1), (a, b))

    def test_every_cut_ends_in_a_result(self):
        data = first(record(U), deleted=["x"])
        for length in range(len(data)):
            try:
                Document(data[:length], FISH)
            except Failure:
                pass


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


class FaultTest(unittest.TestCase):
    """Faults are put into the model, one at a time; the cases must tell it from the sound one."""

    FAULTS = [
        ("merge", "hh.deletions + pc.deletions", "pc.deletions + hh.deletions"),
        ("merge", "len(union) >= 2", "len(union) >= 3"),
        ("merge", "len(union) >= 2", "False"),
        ("merge", "compare(entry.uuid, kept[-1].uuid, caseless)", "compare(entry.uuid, kept[-1].uuid)"),
        ("merge", "compare(a.uuid, b.uuid, caseless)", "compare(a.uuid.lower(), b.uuid.lower())"),
        ("merge", "compare(deletion.uuid, uuid, caseless) == 0", "compare(deletion.uuid, uuid) == 0"),
        ("merge", "compare(record.uuid, uuid) == 0", "compare(record.uuid, uuid, caseless) == 0"),
        ("merge", "compare(record.uuid, uuid) == 0", "record.uuid == uuid"),
        ("merge", "compare(record.category, match.category) == 0", "record.category == match.category"),
        ("merge", "compare(record.category, match.category) == 0", "True"),
        ("merge", 'unicodedata.normalize("NFD", exact(text).casefold())', "exact(text).lower()"),
        ("merge", '"surrogateescape"', '"replace"'),
        ("merge", "for record in self.records:", "for record in reversed(self.records):"),
        ("merge", "remove_all(side.records, removals)", "pass"),
        ("merge", "merge_side(1, pc, hh, counters, lists)", "pass"),
        ("merge", "pc.partner = hh.unique", "pass"),
        ("merge", "version=4, date=date", "date=date"),
        ("merge", "if hh.reference != pc.reference", "if hh.reference[:248] != pc.reference[:248]"),
        ("merge", "if not record.body:", "if False:"),
        ("vault", "self.unique = self.unique or fresh", "pass"),
        ("vault", "stream.u32() or 1", "stream.u32()"),
        ("vault", "self.offset += 1\n", "self.offset += 4\n"),
        ("vault", "if count == NO_CHUNK:", "if False:"),
        ("vault", "if self.offset + count > len(self.data):", "if (self.offset + count) % 2**32 > len(self.data):"),
        ("vault", "not in (2, 3, 4)", "not in (3, 4)"),
        ("vault", 'b"00000000-0000-0000-%04X-%08X%04X" % (self.checksum, large, small)', 'b"x"'),
        ("vault", "if record is None:\n                    break", "if record is None or not record.uuid:\n                    break"),
        ("vault", "if self.version >= 3:\n            self.category", "if self.version >= 4:\n            self.category"),
    ]

    def test_faults_are_noticed(self):
        skipped = ("cut at every length", "large contents")
        pairs = [(case.first, case.second) for name, cases in GROUPS.items() if name not in skipped for case in cases()]
        sound = [told(merge.run, pair) for pair in pairs]
        for module, text, instead in self.FAULTS:
            run = faulty_run(module, text, instead)
            noticed = any(told(run, pair) != right for pair, right in zip(pairs, sound))
            self.assertTrue(noticed, f"{text} -> {instead}")

    def test_spoiled_vaults_often_survive(self):
        """Random damage is of use only if not all of it ends in a refusal."""
        outcomes = []
        for seed in range(100):
            history = History(seed)
            one, other = history.part_ways()
            outcomes.append(merge.run(spoiled(one, history.chance), other).failure is None)
        self.assertGreater(sum(outcomes), 10)


def told(run, pair) -> tuple:
    outcome = run(*pair)
    return outcome.files, outcome.failure and outcome.failure.text, outcome.log


def faulty_run(module: str, text: str, instead: str):
    """`merge.run` from sources with one place changed."""
    folder = Path(__file__).parent
    spaces = {}
    for name in ("vault", "merge"):
        source = (folder / f"{name}.py").read_text().replace("from vault import", "from faulty_vault import")
        if name == module:
            assert text in source, text
            source = source.replace(text, instead)
        spaces[name] = load(f"faulty_{name}", source)
    return spaces["merge"].run


def load(name: str, source: str):
    module = sys.modules[name] = types.ModuleType(name)
    exec(compile(source, name, "exec"), module.__dict__)
    return module


if __name__ == "__main__":
    unittest.main()
