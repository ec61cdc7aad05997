#!/usr/bin/env python3
"""How vellorin ends when the world doesn't do as it should: no reader, no room, no descriptors, a signal; and what
becomes of locks whose holders live, died or can't be asked. Usage: run_ends.py BIN"""

import fcntl
import os
import pathlib
import signal
import socket
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "commands"))
from vaults import checked, run_tests, tests_of  # noqa: E402

FULL = "vellorin: can't write to standard output: No space left on device\n"


def commands(scratch):
    listed = scratch.run("--help").stdout.decode().split("\n\n")[2]
    return [line.split()[0] for line in listed.splitlines() if line.startswith("  ") and line[2] != " "]


def test_a_full_device_ends_nothing_with_0(scratch):
    with open("/dev/full", "wb") as full:
        for words in [["--help"], ["--version"]] + [[name, "--help"] for name in commands(scratch)]:
            done = scratch.run(*words, stdout=full)
            assert (done.returncode, done.stderr.decode()) == (3, FULL), (words, done)


def test_a_reader_that_has_gone_ends_it_quietly(scratch):
    for words in [["--help"]] + [[name, "--help"] for name in commands(scratch)]:
        reader, writer = os.pipe()
        os.close(reader)
        done = scratch.run(*words, stdout=writer)
        os.close(writer)
        assert (done.returncode, done.stderr) == (-signal.SIGPIPE, b""), (words, done)


def test_a_log_without_a_reader_is_no_failure(scratch):
    reader, writer = os.pipe()
    os.close(reader)
    done = scratch.run("sample", "made", stderr=writer)
    os.close(writer)
    assert done.returncode == 0, done
    assert (scratch.folder / "made" / "stick.vlr").exists()


def test_closed_descriptors_are_no_vaults(scratch):
    done = scratch.run("--version", stdout=None, preexec_fn=lambda: os.close(1))
    assert (done.returncode, done.stderr) == (3, b"vellorin: can't write to standard output: Bad file descriptor\n"), done
    assert scratch.run("sample", "plain").returncode == 0
    lengths = [(scratch.folder / "plain" / name).stat().st_size for name in ("laptop.vlr", "stick.vlr")]
    close_all = lambda: [os.close(descriptor) for descriptor in range(3)]
    done = scratch.run("sample", "made", stdin=None, stdout=None, stderr=None, preexec_fn=close_all)
    assert done.returncode == 0, done
    for name, length in zip(("laptop.vlr", "stick.vlr"), lengths):
        assert (scratch.folder / "made" / name).stat().st_size == length, name


def test_a_signal_ends_it_by_that_signal(scratch):
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        started = scratch.start(scratch.program, "sample", "--records", "2000000000", "made", stdout=None)
        while not (scratch.folder / "made").exists():
            time.sleep(0.01)
        started.send_signal(number)
        assert started.communicate(timeout=60) == (None, b"")
        assert started.returncode == -number, started.returncode
        assert list((scratch.folder / "made").iterdir()) == []
        (scratch.folder / "made").rmdir()


def start_of_process(number):
    ticks = int(pathlib.Path(f"/proc/{number}/stat").read_text().rpartition(")")[2].split()[19])
    boot = next(line for line in open("/proc/stat") if line.startswith("btime"))
    return int(boot.split()[1]) + ticks // os.sysconf("SC_CLK_TCK")


def note(host, process, started, program="vellorin-sync"):
    start = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(started))
    return f"host: {host}\nprocess: {process}\nstarted: {start}\nprogram: {program}\n"


def holder_cases():
    here, own = socket.gethostname(), start_of_process(os.getpid())
    return [
        # note, marked as in use, state, exit status, exit status with --force
        (note(here, os.getpid(), own), False, "lives", 2, 0),
        (note(here, os.getpid(), own - 86400), False, "gone", 0, 0),
        (note(here, os.getpid(), own - 86400), True, "lives", 2, 0),
        (note(here, 2**31 - 1, own), False, "gone", 0, 0),
        (note("elsewhere\x1b[2J", 1, own), False, "another-host", 2, 0),
        ("", False, "unknown", 2, 0),
        (None, False, "unknown", 2, 0),
    ]


def test_locks_stay_while_their_holders_may_live(scratch):
    lock = scratch.folder / ".a\udce9.vlr"
    for text, marked, state, status, forced in holder_cases():
        for words, expected in ((["--json"], status), ([], status), (["--force", "--json"], forced)):
            lock.mkdir(exist_ok=True)
            if text is not None:
                (lock / "holder").write_text(text)
            descriptor = os.open(lock, os.O_RDONLY)
            if marked:
                fcntl.flock(descriptor, fcntl.LOCK_EX)
            done = scratch.run("unlock", *words, b"a\xe9.vlr")
            os.close(descriptor)
            assert done.returncode == expected, (text, words, done)
            assert lock.exists() == (expected != 0), (text, words, done)
            assert (done.stderr == b"") == (expected == 0), done
            assert b"\x1b" not in done.stdout + done.stderr, done
            if "--json" in words:
                told = checked(done.stdout)
                assert told["holder"]["state"] == state and told["broken"] == (expected == 0), told
                assert bytes.fromhex(told["file"]["hex"]) == b"a\xe9.vlr", told
    assert scratch.json("unlock", "none.vlr")["holder"] is None


def test_what_is_no_lock_is_never_removed(scratch):
    (scratch.folder / ".config" / "settings").mkdir(parents=True)
    (scratch.folder / ".w" / "holder").mkdir(parents=True)
    (scratch.folder / ".profile").write_text("x")
    (scratch.folder / "sub").mkdir()
    (scratch.folder / "sub" / "holder").write_text("host: x")
    before = sorted(map(str, scratch.folder.rglob("*")))
    for name in ("config", "w", "profile", "sub/.", "sub/..", ".", "..", "", "/"):
        expected = 0 if name in ("sub/.", ".") else 2  # folders, for which there is nothing to break
        for force in ([], ["--force"]):
            done = scratch.run("unlock", *force, name)
            assert done.returncode == expected, (name, done)
    assert sorted(map(str, scratch.folder.rglob("*"))) == before


if __name__ == "__main__":
    sys.exit(run_tests(tests_of(globals()), pathlib.Path(sys.argv[1]).resolve() / "vellorin"))
