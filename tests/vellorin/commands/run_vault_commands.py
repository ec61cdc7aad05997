#!/usr/bin/env python3
"""info, diff, check and merge from outside: statuses, options, texts and JSON. Usage: run_vault_commands.py BIN DATA"""

import os
import pathlib
import pty
import subprocess
import sys

from vaults import checked, contents, golden_bytes, record, run_tests, tests_of, vault

BIN, DATA = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
X, Y, Z = b"x" * 24, b"y" * 24, b"z" * 24
CUT = vault(["1"]) + b"Pdat" + b"\0\0\0\x05" + b"\0\0\0\x04\0" + record("2")
MANY = [str(i) for i in range(12)]

VAULTS = {
    "a.vlr": vault([("1", "Money"), ("2", "Mail", X)], ["9"]),
    "b.vlr": vault([("1", "Money"), ("3", "Mail", X + Y)], ["9"]),
    "edited.vlr": vault([("1", "Money", Y), ("2", "Other", X)], ["9"]),
    "deleted.vlr": vault([("1", "Money")], ["9", "2"]),
    "other.vlr": vault([("1", "Money")], master=b"n"),
    "stranger.vlr": vault([("7", "Money", Z)], identity="J"),
    "many.vlr": vault(MANY),
    "emptied.vlr": vault(["20"], MANY),
    "cut.vlr": CUT,
    "twice.vlr": vault([("1", "Money"), ("1", "Mail")]),
    "nasty.vlr": vault([("\x1b[2J", "\u202e\n")]),
    "none.vlr": b"hello",
    "empty.vlr": b"",
    "uneven.vlr": vault([("1", "", b"123")]),
    "short-reference.vlr": b"Fish\0\0\0\x18" + X + vault()[268:],
    "version2.vlr": golden_bytes(DATA / "older/version-2.hex"),
    "version3.vlr": golden_bytes(DATA / "older/version-3.hex"),
    "older.vlr": golden_bytes(DATA / "record-format-3.hex"),
}

# Words, exit status, what standard output and standard error begin with or, behind "~", hold
CASES = [
    ("info a.vlr", 0, "a.vlr\nversion      4\nidentity     I\npartner      none yet\n"
     "records      2: 1 Mail, 1 Money\ndeletions    1\nopened       2001-01-01 00:16:40\nmodified     ", ""),
    ("info --content --records a.vlr", 0, "version      4\n", ""),
    ("info --records a.vlr", 0, "~\n  1  Money  8 bytes\n  2  Mail   24 bytes\n", ""),
    ("info a.vlr b.vlr", 0, "~\nAll have the same master password.\n", ""),
    ("info a.vlr b.vlr other.vlr", 0, "~\nThe master passwords differ:\n  1: a.vlr, b.vlr\n  2: other.vlr\n", ""),
    ("info cut.vlr", 0, "~\ndamage       1\n  at byte ", ""),
    ("info none.vlr a.vlr", 3, "a.vlr\n", "vellorin: none.vlr: is no vault: the reference buffer is not where"),
    ("info missing", 3, "", "vellorin: missing: can't be read: No such file or directory\n"),
    ("info --content none.vlr a.vlr", 0, "no vault\nsize         ", "vellorin: none.vlr: is no vault: "),
    ("info --content missing", 3, "", "vellorin: missing: can't be read: "),
    ("info nasty.vlr --records", 0, "~\n  \\x1b[2J  \\u202e\\x0a  8 bytes\n", ""),
    ("info", 2, "", "vellorin: missing FILE\n"),
    ("diff a.vlr a.vlr", 0, "no difference\n      2  the same in both\n", ""),
    ("diff a.vlr b.vlr", 1, "      1  only in a.vlr\n      1  only in b.vlr\n"
     "      1  likely pairs: two versions of one record\n      1  the same in both\n", ""),
    ("diff a.vlr b.vlr -v", 1, "~\nonly in a.vlr\n  2  Mail  24 bytes\n", ""),
    ("diff a.vlr edited.vlr --records", 1, "~\nin both, with different encrypted parts\n"
     "  1  Money  8 bytes  |  1  Money  24 bytes\n", ""),
    ("diff a.vlr deleted.vlr", 1, "      1  in a.vlr, deleted by deleted.vlr\n"
     "      1  deletions only in deleted.vlr\n      1  the same in both\n", ""),
    ("diff -q deleted.vlr other.vlr", 1, "the master passwords differ\n      2  deletions only in", ""),
    ("diff a.vlr missing", 3, "", "vellorin: missing: can't be read: "),
    ("diff a.vlr", 2, "", "vellorin: missing B\n"),
    ("check a.vlr b.vlr", 0, "a.vlr: 2 records, whole\nb.vlr: 2 records, whole\n", ""),
    ("check cut.vlr", 1, "cut.vlr: 3 records, 1 damaged place\n  at byte ", ""),
    ("check twice.vlr", 0, "twice.vlr: 2 records, whole\n  2 records have the UUID 1\n", ""),
    ("check uneven.vlr", 1, "~: the encrypted part has a wrong length: no password reads it (record 1)\n", ""),
    ("check short-reference.vlr", 1, "~  the reference buffer has a wrong length: no password opens the vault\n", ""),
    ("check older.vlr", 1, "~: the record has an older format, ", ""),
    ("check cut.vlr none.vlr", 3, "cut.vlr: 3 records", "vellorin: none.vlr: is no vault"),
    ("check empty.vlr", 3, "", "vellorin: empty.vlr: is no vault: the file is empty (at byte 0)\n"),
    ("check version2.vlr", 3, "", "vellorin: version2.vlr: is no vault: it has the form of an older version, "),
    ("check version3.vlr", 3, "", "vellorin: version3.vlr: is no vault: it has the form of an older version, "),
    ("check cut.vlr --repair out.vlr", 1, "~out.vlr: written with 2 records\n  lost at byte ", ""),
    ("check a.vlr --repair out.vlr", 0, "~out.vlr: written with 2 records\n", ""),
    ("check cut.vlr --repair a.vlr", 2, "", "vellorin: a.vlr: there is such a file, and it stays as it is\n"),
    ("check cut.vlr --repair cut.vlr", 2, "", "vellorin: cut.vlr: there is such a file"),
    ("check cut.vlr --repair none/out.vlr", 3, "cut.vlr: 3 records", "vellorin: none/out.vlr: can't be written"),
    ("check a.vlr b.vlr --repair out.vlr", 2, "", "vellorin: --repair goes with one FILE\n"),
    ("merge a.vlr deleted.vlr -o out.vlr", 0, "", "1 record: 0 only from a.vlr, 0 only from deleted.vlr\n"),
    ("merge a.vlr deleted.vlr -o out.vlr -q", 0, "", ""),
    ("merge a.vlr b.vlr -o out.vlr", 1, "", "3 records: 1 only from a.vlr, 1 only from b.vlr\n1 record stands twice"),
    ("merge a.vlr b.vlr", 2, "", "vellorin: name the file to make with -o\n"),
    ("merge a.vlr b.vlr -o deleted.vlr", 2, "", "vellorin: deleted.vlr: there is such a file, and it stays"),
    ("merge a.vlr b.vlr -o a.vlr --force", 2, "", "vellorin: a.vlr: is one of the vaults to merge, and stays"),
    ("merge a.vlr b.vlr -o - --json", 2, "", "vellorin: standard output can't take both"),
    ("merge a.vlr other.vlr -o out.vlr", 2, "", "vellorin: a.vlr and other.vlr: the master passwords differ\n"),
    ("merge a.vlr stranger.vlr -o out.vlr", 2, "", "~no identity in common (--allow-unrelated merges them all the same)\n"),
    ("merge a.vlr stranger.vlr -o out.vlr --allow-unrelated", 0, "", "3 records: "),
    ("merge a.vlr cut.vlr -o out.vlr", 2, "", "~(--allow-damage merges them all the same)\n"),
    ("merge many.vlr emptied.vlr -o out.vlr", 2, "", "vellorin: many.vlr: would lose 12 of 12 records, because "
     "emptied.vlr has deleted them (--allow-removals merges them all the same)\n"),
    ("merge emptied.vlr many.vlr -o out.vlr --allow-removals", 0, "", "1 record: "),
    ("merge a.vlr none.vlr -o out.vlr", 3, "", "vellorin: none.vlr: is no vault"),
    ("merge a.vlr b.vlr -o out.vlr --base missing", 3, "", "vellorin: missing: can't be read"),
    ("merge a.vlr b.vlr -o none/out.vlr", 3, "", "vellorin: none/out.vlr: can't be written, and is as it was"),
    ("merge-driver empty.vlr a.vlr", 2, "", "vellorin: missing "),
]


def fits(text, expected):
    return expected[1:] in text if expected.startswith("~") else text.startswith(expected) and bool(text) == bool(expected)


def make_vaults(scratch):
    for name, data in VAULTS.items():
        scratch.write(name, data)


def test_statuses_and_texts(scratch):
    for words, status, out, err in CASES:
        make_vaults(scratch)
        done = scratch.run(*words.split())
        told = (words, done)
        assert done.returncode == status, told
        assert fits(done.stdout.decode(), out), told
        assert fits(done.stderr.decode(), err), told
        written = {"out.vlr"} if status < 2 and "out.vlr" in words else set()
        assert set(scratch.names()) == set(VAULTS) | written, told
        for name, data in VAULTS.items():
            assert scratch.read(name) == data, (words, name)
        if written:
            (scratch.folder / "out.vlr").unlink()


def test_what_info_tells_programs(scratch):
    make_vaults(scratch)
    scratch.write(b"\xff.vlr".decode(errors="surrogateescape"), vault())
    told = scratch.json("info", "--records", "a.vlr", "other.vlr", "b.vlr", "nasty.vlr", "cut.vlr", b"\xff.vlr")
    a, other, b, nasty, cut, bad = told["files"]
    assert (a["master"], other["master"], b["master"]) == (1, 2, 1)
    assert a["categories"] == [{"category": "Mail", "recordCount": 1}, {"category": "Money", "recordCount": 1}]
    assert a["opened"] == "2001-01-01T00:16:40Z" and a["size"] == len(VAULTS["a.vlr"])
    assert [r["uuid"] for r in a["records"]] == ["1", "2"]
    assert nasty["records"][0]["uuid"] == "\x1b[2J"
    assert [d["kind"] for d in cut["damage"]] == ["record-cut"]
    assert bad["path"] == {"text": "\ufffd.vlr", "hex": "ff2e766c72"}
    told = scratch.json("info", "a.vlr", "missing", status=3)
    assert "records" not in told["files"][0] and "No such file" in told["files"][1]["error"]
    told = scratch.run("info", "--json", "--content", "a.vlr", "none.vlr").stdout
    for name in ("a.vlr", "none.vlr"):
        (scratch.folder / name).rename(scratch.folder / f"moved {name}")
        os.utime(scratch.folder / f"moved {name}", (1, 1))
    assert scratch.run("info", "--json", "--content", "moved a.vlr", "moved none.vlr").stdout == told
    vault_told, other = checked(told)["files"]
    assert "records" not in vault_told and other["error"].startswith("is no vault: "), other


def test_what_diff_tells_programs(scratch):
    make_vaults(scratch)
    told = scratch.json("diff", "a.vlr", "b.vlr", status=1)
    assert [r["uuid"] for r in told["onlyInA"] + told["onlyInB"]] == ["2", "3"]
    assert [(p["a"]["uuid"], p["b"]["uuid"]) for p in told["likelyPairs"]] == [("2", "3")]
    assert not told["inStep"] and told["same"] == 1
    told = scratch.json("diff", "edited.vlr", "a.vlr", status=1)
    assert len(told["otherCategory"]) == len(told["otherBody"]) == 1
    told = scratch.json("diff", "deleted.vlr", "a.vlr", status=1)
    assert [r["uuid"] for r in told["deletedByA"]] == ["2"] and told["deletionsOnlyInA"] == 1
    scratch.write("own.vlr", vault(["1", "5"], ["5"]))
    scratch.write("one.vlr", vault(["1"]))
    told = scratch.json("diff", "own.vlr", "one.vlr", status=1)
    assert [r["uuid"] for r in told["selfDeletedInA"]] == ["5"] and told["onlyInA"] == told["selfDeletedInB"] == []
    assert scratch.json("diff", "b.vlr", "b.vlr")["inStep"]


def test_repair_saves_what_is_whole(scratch):
    make_vaults(scratch)
    told = scratch.json("check", "cut.vlr", "--repair", "saved.vlr", status=1)["files"][0]
    assert (told["saved"], [d["kind"] for d in told["lost"]]) == (2, ["record-cut"])
    assert contents(scratch.read("saved.vlr")) == contents(vault(["1", "2"]))
    assert scratch.json("check", "saved.vlr")["files"][0]["damage"] == []
    sync = subprocess.run([BIN / "vellorin-sync", "saved.vlr", "a.vlr"], cwd=scratch.folder, env=scratch.environment,
                          capture_output=True, check=False) if (BIN / "vellorin-sync").exists() else None
    assert sync is None or sync.stdout == b"<Success>\n", sync
    assert scratch.json("check", "none.vlr", "twice.vlr", status=3)["files"][1]["repeated"] == [
        {"uuid": "1", "recordCount": 2}]


def test_a_merge_is_the_same_in_both_orders_and_forms(scratch):
    make_vaults(scratch)
    told = scratch.json("merge", "a.vlr", "edited.vlr", "-o", "one.vlr", status=1)
    assert (told["recordCount"], told["keptTwice"]) == (3, 1), told
    assert scratch.run("merge", "edited.vlr", "a.vlr", "-o", "two.vlr").returncode == 1
    piped = scratch.run("merge", "edited.vlr", "a.vlr", "-o", "-")
    assert scratch.read("one.vlr") == scratch.read("two.vlr") == piped.stdout
    records, deletions = contents(piped.stdout)
    assert records == [("1", "Money", Y), ("2", "Mail", X), ("2", "Other", X)] and deletions == ["9"]
    # The side that differs from the base wins, though its bytes are the lesser.
    assert scratch.run("merge", "a.vlr", "edited.vlr", "--base", "edited.vlr", "-o", "three.vlr").returncode == 1
    assert ("1", "Money", b"12345678") in contents(scratch.read("three.vlr"))[0]
    (scratch.folder / "two.vlr").chmod(0o640)
    assert scratch.run("merge", "a.vlr", "b.vlr", "-o", "two.vlr", "--force").returncode == 1
    assert contents(scratch.read("two.vlr")) != contents(piped.stdout)
    assert (scratch.folder / "two.vlr").stat().st_mode & 0o777 == 0o640
    with open("/dev/full", "wb") as full:
        assert scratch.run("merge", "a.vlr", "b.vlr", "-o", "-", stdout=full).returncode == 3


def test_a_terminal_is_asked_and_gets_no_vault(scratch):
    make_vaults(scratch)
    for answer, words, status, said in [
            (b"y\n", ["-o", "out.vlr", "stranger.vlr"], 0, b"Merge them all the same?"),
            (b"n\n", ["-o", "out2.vlr", "stranger.vlr"], 2, b"--allow-unrelated"),
            (b"", ["-o", "-", "b.vlr"], 2, b"a vault is nothing for a terminal")]:
        ours, theirs = pty.openpty()
        child = subprocess.Popen([scratch.program, "merge", "a.vlr", *words], cwd=scratch.folder, env=scratch.environment,
                                 stdin=theirs, stdout=theirs, stderr=theirs)
        os.close(theirs)
        os.write(ours, answer)
        output = b""
        try:
            while piece := os.read(ours, 4096):
                output += piece
        except OSError:  # the other end has gone
            pass
        os.close(ours)
        assert child.wait(60) == status and said in output, output
    assert (scratch.folder / "out.vlr").exists() and not (scratch.folder / "out2.vlr").exists()


def test_the_driver_writes_one_file_or_none(scratch):
    make_vaults(scratch)
    before = scratch.names()
    for base, theirs, status, reason in [
            ("empty.vlr", "b.vlr", 0, ""), ("a.vlr", "b.vlr", 0, ""), ("none.vlr", "b.vlr", 0, ""),
            ("missing", "edited.vlr", 0, ""), ("a.vlr", "other.vlr", 1, "the master passwords differ"),
            ("a.vlr", "stranger.vlr", 1, "no identity in common"), ("a.vlr", "cut.vlr", 1, "damaged"),
            ("a.vlr", "none.vlr", 1, "is no vault"), ("a.vlr", "empty.vlr", 1, "is no vault")]:
        make_vaults(scratch)
        scratch.write("ours", VAULTS["a.vlr"])
        done = scratch.run("merge-driver", base, "ours", theirs, "sub/my\x1b.vlr")
        assert done.returncode == status and done.stdout == b"", done
        assert scratch.names() == sorted(before + ["ours"])
        assert all(scratch.read(name) == data for name, data in VAULTS.items())
        assert (scratch.read("ours") == VAULTS["a.vlr"]) == (status == 1)
        error = done.stderr.decode()
        if status == 1:
            assert error.startswith("vellorin: sub/my\\x1b.vlr: not merged: ") and reason in error, error
            assert error.count("\n") == 1, error
        else:
            assert error == "", error


if __name__ == "__main__":
    sys.exit(run_tests(tests_of(globals()), BIN / "vellorin"))
