#!/usr/bin/env python3
"""sync, undo and explain from outside: each exit status, guard and option, texts and JSON, signals, and many at once.
Usage: run_sync_commands.py BIN. With VELLORIN_FAULTS_FULL in the environment 64 processes work for 100 rounds."""

import json
import os
import pathlib
import pty
import random
import signal
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "commands"))
from vaults import contents, run_tests, tests_of, vault  # noqa: E402

BIN = pathlib.Path(sys.argv[1]).resolve()
X, Y = b"xxxxxxxx", b"yyyyyyyy"
MANY = [str(i) for i in range(12)]
LONG = "l" * 251 + ".vlr"

VAULTS = {
    "a.vlr": vault(["1", ("2", "Mail", X)], ["9"]),
    "b.vlr": vault(["1", ("3", "Shops", Y)], ["9"]),
    "same.vlr": vault([("2", "Mail", X), "1"], ["9"], identity="J"),
    "moved.vlr": vault(["1", ("2", "Work", X)], ["9"]),
    "other.vlr": vault(["1"], master=b"n"),
    "stranger.vlr": vault([("7", "", b"zzzzzzzz")], identity="K"),
    "many.vlr": vault(MANY),
    "emptied.vlr": vault(["20"], MANY),
    "damaged.vlr": vault(["1"]) + b"???",
    "own.vlr": vault(["1", "5"], ["5"]),
    "plain.vlr": vault(["1"]),
    "none.vlr": b"hello",
    LONG: vault(),
}
WROTE, NOTHING = True, False

# Words, exit status, whether files were replaced, what standard output and standard error hold
CASES = [
    ("a.vlr b.vlr", 0, WROTE, "1 record goes from a.vlr to b.vlr.\n1 record goes from b.vlr to a.vlr.\nBackups: ", ""),
    ("-q a.vlr b.vlr", 0, WROTE, "", ""),
    ("-- a.vlr b.vlr", 0, WROTE, "Backups: a backup 1.vlr, b backup 1.vlr\n", ""),
    ("a.vlr same.vlr", 0, NOTHING, "a.vlr and same.vlr: already in step\n", ""),
    ("a.vlr moved.vlr", 1, WROTE, "Kept twice; look at them:\n  2, in two categories\n", ""),
    ("a.vlr b.vlr same.vlr", 0, WROTE, "1 record goes from b.vlr to a.vlr", ""),
    ("--dry-run a.vlr b.vlr", 0, NOTHING, "1 record goes from a.vlr to b.vlr.\n", ""),
    ("--dry-run --exit-code a.vlr b.vlr", 1, NOTHING, "goes from", ""),
    ("--dry-run --exit-code a.vlr same.vlr", 0, NOTHING, "already in step", ""),
    ("--dry-run --exit-code a.vlr b.vlr same.vlr", 1, NOTHING, "goes from", ""),
    ("--exit-code a.vlr b.vlr", 2, NOTHING, "", "--exit-code goes with --dry-run\n"),
    ("--no-backup a.vlr b.vlr", 0, WROTE, "to a.vlr.\n", ""),
    ("--keep-backups 0 a.vlr b.vlr", 2, NOTHING, "", "--keep-backups needs a number from 1 to 99\n"),
    ("--keep-backups 100 a.vlr b.vlr", 2, NOTHING, "", "--keep-backups needs a number from 1 to 99\n"),
    ("a.vlr", 2, NOTHING, "", "vellorin: "),
    ("a.vlr missing.vlr", 3, NOTHING, "", "vellorin: missing.vlr: No such file or directory; no file was changed\n"),
    ("a.vlr folder", 3, NOTHING, "", "folder: is no regular file; no file was changed\n"),
    ("a.vlr none.vlr", 3, NOTHING, "", "none.vlr: is no vault"),
    ("a.vlr ./a.vlr", 2, NOTHING, "", "./a.vlr: is the same file as a.vlr"),
    ("a.vlr " + LONG, 2, NOTHING, "", "too long to carry a lock"),
    ("a.vlr other.vlr", 2, NOTHING, "", "a.vlr and other.vlr: the master passwords differ; "
     "give both vaults the same one and synchronise again; no file was changed\n"),
    ("a.vlr stranger.vlr", 2, NOTHING, "", "refused (unrelated)"),
    ("--allow-unrelated a.vlr stranger.vlr", 0, WROTE, "goes from", ""),
    ("many.vlr emptied.vlr", 2, NOTHING, "", "refused (removals): many.vlr: would lose 12 of 12 records"),
    ("--allow-removals many.vlr emptied.vlr", 0, WROTE, "12 records are removed from many.vlr", ""),
    ("own.vlr plain.vlr", 0, WROTE, "1 record is removed from own.vlr, which lists it as deleted itself.", ""),
    ("a.vlr damaged.vlr", 2, NOTHING, "", "refused (damage): damaged.vlr: "),
    ("--dry-run many.vlr emptied.vlr", 0, NOTHING, "are removed from many.vlr",
     "vellorin: would be refused (removals): many.vlr: would lose 12 of 12 records"),
    ("--dry-run a.vlr same.vlr damaged.vlr", 0, NOTHING, "goes from", "would be refused (damage): damaged.vlr: "),
    ("--dry-run --allow-removals many.vlr emptied.vlr", 0, NOTHING, "are removed from many.vlr", ""),
    ("--allow-damage --no-backup a.vlr damaged.vlr", 0, WROTE, "Backups: damaged backup 1.vlr\n", ""),
]


def write_all(scratch):
    for path in scratch.folder.iterdir():
        if path.is_file():
            path.unlink()
    for name, data in VAULTS.items():
        scratch.write(name, data)
    (scratch.folder / "folder").mkdir(exist_ok=True)
    subprocess.run(["rm", "-rf", str(scratch.folder / "state")], check=True)


def are_unchanged(scratch):
    return all(scratch.read(name) == data for name, data in VAULTS.items())


def test_each_option_guard_and_status(scratch):
    for words, status, wrote, out, err in CASES:
        write_all(scratch)
        done = scratch.run("sync", *words.split())
        assert done.returncode == status, (words, done)
        assert are_unchanged(scratch) != wrote, words
        assert out in done.stdout.decode() and err in done.stderr.decode(), (words, done)
        assert (done.stdout == b"") == (out == "") and (done.stderr == b"") == (err == ""), (words, done)
        left = [name for name in scratch.names() if name.startswith(".")]
        assert left == [], (words, left)
        if "--dry-run" in words:
            assert scratch.names() == sorted([*VAULTS, "folder"]), words


def test_json_fits_its_schema(scratch):
    write_all(scratch)
    assert scratch.json("sync", "a.vlr", "moved.vlr", "--dry-run")["runs"][0]["outcome"] == "planned"
    told = scratch.json("sync", "a.vlr", "moved.vlr", status=1)
    run = told["runs"][0]
    assert told["equal"] and run["keptTwice"][0]["sameUuid"] and run["files"][0]["written"], told
    assert scratch.json("sync", "a.vlr", "moved.vlr")["runs"][0]["outcome"] == "in-step"
    refused = scratch.json("sync", "a.vlr", "stranger.vlr", status=2)
    assert refused["refused"]["guard"] == "unrelated" and refused["paths"] == ["a.vlr", "stranger.vlr"], refused
    write_all(scratch)
    scratch.write("caf\udce9.vlr", VAULTS["b.vlr"])
    told = scratch.json("sync", "a.vlr", "caf\udce9.vlr", "same.vlr")
    assert bytes.fromhex(told["paths"][1]["hex"]) == b"caf\xe9.vlr" and told["equal"], told
    told = scratch.json("explain", "caf\udce9.vlr", "2")
    assert told["present"] and [event["deed"] for event in told["events"]] == ["added"], told
    assert scratch.json("undo", "--dry-run")["outcome"] == "planned"
    assert [run["command"] for run in scratch.json("undo")["runs"]] == ["sync", "sync"]
    assert scratch.read("caf\udce9.vlr") == VAULTS["b.vlr"]


def test_an_older_file_is_refused(scratch):
    write_all(scratch)
    assert scratch.run("sync", "a.vlr", "b.vlr").returncode == 0
    scratch.write("a.vlr", VAULTS["a.vlr"])
    done = scratch.run("sync", "a.vlr", "b.vlr")
    assert done.returncode == 2 and b"refused (older-state): a.vlr: is older" in done.stderr, done
    assert scratch.run("sync", "--allow-older", "a.vlr", "b.vlr").returncode == 0


def test_backups_are_pruned(scratch):
    write_all(scratch)
    for i in range(5):
        scratch.write("b.vlr", vault(["1", (f"N{i}", "", bytes([65 + i] * 8))], ["9"]))
        done = scratch.run("sync", "--keep-backups", "2", "--allow-older", "a.vlr", "b.vlr")
        assert done.returncode == 0, done
    assert sum(name.startswith("a backup ") for name in scratch.names()) == 2, scratch.names()
    assert sum(name.startswith("b backup ") for name in scratch.names()) == 2, scratch.names()


def test_undo_and_explain(scratch):
    write_all(scratch)
    assert scratch.run("sync", "a.vlr", "b.vlr").returncode == 0
    told = scratch.run("explain", "b.vlr", "2")
    assert told.returncode == 0 and b"  sync: came from " in told.stdout and b'in the category "Mail"' in told.stdout, told
    assert scratch.run("explain", "b.vlr", "Q").returncode == 2
    assert scratch.run("explain", "missing", "Q").returncode == 3
    assert b"Would be taken back" in scratch.run("undo", "--dry-run", "a.vlr").stdout
    assert scratch.run("undo", "many.vlr").returncode == 2
    backup = scratch.read("a backup 1.vlr")
    scratch.write("a.vlr", scratch.read("a.vlr") + b" ")
    assert b"a.vlr: has changed since the run of" in scratch.run("undo").stderr
    scratch.write("a.vlr", scratch.read("a.vlr")[:-1])
    assert backup == VAULTS["a.vlr"]
    assert b"Taken back: sync of" in scratch.run("undo").stdout
    assert are_unchanged(scratch)
    assert scratch.run("undo").returncode == 2
    assert b"(taken back since)" in scratch.run("explain", "b.vlr", "2").stdout


def test_a_terminal_is_asked(scratch):
    for answer, status in ((b"n\n", 2), (b"y\n", 0)):
        write_all(scratch)
        master, slave = pty.openpty()
        started = scratch.start(scratch.program, "sync", "a.vlr", "stranger.vlr", stdin=slave, stderr=slave)
        os.close(slave)
        told = b""
        while b"Go on?" not in told:
            told += os.read(master, 4096)
        os.write(master, answer)
        started.communicate(timeout=60)
        os.close(master)
        assert started.returncode == status, (answer, told)
        assert are_unchanged(scratch) == (status == 2), answer


def test_a_held_lock_is_waited_for_and_a_signal_ends_the_wait(scratch):
    write_all(scratch)
    (scratch.folder / ".b.vlr").mkdir()
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        started = scratch.start(scratch.program, "sync", "a.vlr", "b.vlr")
        while not (scratch.folder / ".a.vlr").exists():
            time.sleep(0.01)
        started.send_signal(number)
        assert started.communicate(timeout=60) == (b"", b"")
        assert started.returncode == -number, started.returncode
        assert [name for name in scratch.names() if name.startswith(".")] == [".b.vlr"]
    done = scratch.run("sync", "a.vlr", "b.vlr")
    assert done.returncode == 3 and b"b.vlr is locked by a program that left no note" in done.stderr, done
    assert are_unchanged(scratch)


def test_a_folder_that_cant_be_written(scratch):
    write_all(scratch)
    if os.geteuid() == 0:
        return  # whom modes don't stop
    (scratch.folder / "folder" / "c.vlr").write_bytes(VAULTS["b.vlr"])
    (scratch.folder / "folder").chmod(0o500)
    done = scratch.run("sync", "a.vlr", "folder/c.vlr")
    (scratch.folder / "folder").chmod(0o700)
    assert done.returncode == 3 and b"can't be written" in done.stderr, done


def test_a_full_device_says_that_it_is_done(scratch):
    write_all(scratch)
    with open("/dev/full", "wb") as full:
        done = scratch.run("sync", "a.vlr", "b.vlr", stdout=full)
    assert done.returncode == 1 and not are_unchanged(scratch), done


def test_links_stay_and_their_files_are_replaced(scratch):
    write_all(scratch)
    (scratch.folder / "folder" / "real.vlr").write_bytes(VAULTS["b.vlr"])
    (scratch.folder / "link.vlr").symlink_to("folder/real.vlr")
    assert scratch.run("sync", "a.vlr", "link.vlr").returncode == 0
    assert (scratch.folder / "link.vlr").is_symlink()
    assert contents((scratch.folder / "folder" / "real.vlr").read_bytes()) == contents(scratch.read("a.vlr"))
    assert scratch.read("link backup 1.vlr") == VAULTS["b.vlr"]
    assert scratch.run("undo", "link.vlr").returncode == 0
    assert (scratch.folder / "folder" / "real.vlr").read_bytes() == VAULTS["b.vlr"]


def test_many_at_once_lose_nothing(scratch):
    """Processes synchronise the same three files, two each and in one order: runs that take two locks in opposite orders
    wait for each other until they give up, which takes 15 seconds."""
    processes, rounds = (64, 100) if "VELLORIN_FAULTS_FULL" in os.environ else (12, 4)
    names = ["a.vlr", "b.vlr", "c.vlr"]
    for name in names:
        scratch.write(name, vault(["1"]))
    wanted = {"1"}
    draw = random.Random(4714)
    statuses = []
    for number in range(rounds):
        name = draw.choice(names)
        records = contents(scratch.read(name))
        scratch.write(name, vault([*records[0], (f"N{number}", "", number.to_bytes(8, "big"))], records[1]))
        wanted.add(f"N{number}")
        started = [scratch.start(scratch.program, "sync", "--allow-older", "--no-backup", *sorted(draw.sample(names, 2)))
                   for _ in range(processes)]
        for process in started:
            said = process.communicate(timeout=300)[1]
            statuses.append(process.returncode)
            assert process.returncode in (0, 3), said
            assert process.returncode == 0 or b"held the write lock" in said or b"changed it 3 times" in said, said
        found = {uuid for each in names for uuid, _, _ in contents(scratch.read(each))[0]}
        assert found == wanted, (number, wanted - found)
    assert scratch.run("sync", "--allow-older", "--no-backup", *names).returncode == 0
    for name in names:
        assert {uuid for uuid, _, _ in contents(scratch.read(name))[0]} == wanted
    assert [name for name in scratch.names() if name.startswith(".")] == []
    assert statuses.count(0) > rounds
    print(f"{len(statuses)} runs, {statuses.count(3)} gave up without writing")


if __name__ == "__main__":
    sys.exit(run_tests(tests_of(globals()), BIN / "vellorin"))
