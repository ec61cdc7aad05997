#!/usr/bin/env python3
"""How vellorin ends when the world doesn't do as it should: no reader, no room, no descriptors, a signal; and what
becomes of locks whose holders live, died or can't be asked. Usage: run_ends.py BIN"""

import fcntl
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time
import traceback

import jsonschema

PROGRAM = str(pathlib.Path(sys.argv[1]).resolve() / "vellorin")
SCHEMA = json.loads((pathlib.Path(__file__).parents[3] / "resources/vellorin.schema.json").read_text())
FULL = "vellorin: can't write to standard output: No space left on device\n"


def run(folder, *words, **options):
    options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "stdin": subprocess.DEVNULL, **options}
    environment = {"HOME": str(folder), "PATH": os.environ["PATH"]}
    return subprocess.run([PROGRAM, *words], cwd=folder, env=environment, timeout=120, **options)


def commands(folder):
    listed = run(folder, "--help").stdout.decode().split("\n\n")[2]
    return [line.split()[0] for line in listed.splitlines() if line.startswith("  ") and line[2] != " "]


def test_a_full_device_ends_nothing_with_0(folder):
    with open("/dev/full", "wb") as full:
        for words in [["--help"], ["--version"]] + [[name, "--help"] for name in commands(folder)]:
            done = run(folder, *words, stdout=full)
            assert (done.returncode, done.stderr.decode()) == (3, FULL), (words, done)


def test_a_reader_that_has_gone_ends_it_quietly(folder):
    for words in [["--help"]] + [[name, "--help"] for name in commands(folder)]:
        reader, writer = os.pipe()
        os.close(reader)
        done = run(folder, *words, stdout=writer)
        os.close(writer)
        assert (done.returncode, done.stderr) == (-signal.SIGPIPE, b""), (words, done)


def test_a_log_without_a_reader_is_no_failure(folder):
    reader, writer = os.pipe()
    os.close(reader)
    done = run(folder, "sample", "made", stderr=writer)
    os.close(writer)
    assert done.returncode == 0, done
    assert (folder / "made" / "stick.vlr").exists()


def test_closed_descriptors_are_no_vaults(folder):
    done = run(folder, "--version", stdout=None, preexec_fn=lambda: os.close(1))
    assert (done.returncode, done.stderr) == (3, b"vellorin: can't write to standard output: Bad file descriptor\n"), done
    assert run(folder, "sample", "plain").returncode == 0
    lengths = [(folder / "plain" / name).stat().st_size for name in ("laptop.vlr", "stick.vlr")]
    close_all = lambda: [os.close(descriptor) for descriptor in range(3)]
    done = run(folder, "sample", "made", stdin=None, stdout=None, stderr=None, preexec_fn=close_all)
    assert done.returncode == 0, done
    for name, length in zip(("laptop.vlr", "stick.vlr"), lengths):
        assert (folder / "made" / name).stat().st_size == length, name


def test_a_signal_ends_it_by_that_signal(folder):
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        started = subprocess.Popen([PROGRAM, "sample", "--records", "2000000000", "made"], cwd=folder,
                                   stderr=subprocess.PIPE)
        while not (folder / "made").exists():
            time.sleep(0.01)
        started.send_signal(number)
        assert started.communicate(timeout=60) == (None, b"")
        assert started.returncode == -number, started.returncode
        assert list((folder / "made").iterdir()) == []
        (folder / "made").rmdir()


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


def test_locks_stay_while_their_holders_may_live(folder):
    lock = folder / ".a\udce9.vlr"
    for text, marked, state, status, forced in holder_cases():
        for words, expected in ((["--json"], status), ([], status), (["--force", "--json"], forced)):
            lock.mkdir(exist_ok=True)
            if text is not None:
                (lock / "holder").write_text(text)
            descriptor = os.open(lock, os.O_RDONLY)
            if marked:
                fcntl.flock(descriptor, fcntl.LOCK_EX)
            done = run(folder, "unlock", *words, b"a\xe9.vlr")
            os.close(descriptor)
            assert done.returncode == expected, (text, words, done)
            assert lock.exists() == (expected != 0), (text, words, done)
            assert (done.stderr == b"") == (expected == 0), done
            assert b"\x1b" not in done.stdout + done.stderr, done
            if "--json" in words:
                told = json.loads(done.stdout)
                jsonschema.validate(told, SCHEMA)
                assert told["holder"]["state"] == state and told["broken"] == (expected == 0), told
                assert bytes.fromhex(told["file"]["hex"]) == b"a\xe9.vlr", told
    done = run(folder, "unlock", "--json", "none.vlr")
    jsonschema.validate(json.loads(done.stdout), SCHEMA)
    assert done.returncode == 0 and json.loads(done.stdout)["holder"] is None, done


def test_what_is_no_lock_is_never_removed(folder):
    (folder / ".config" / "settings").mkdir(parents=True)
    (folder / ".profile").write_text("x")
    (folder / "sub").mkdir()
    (folder / "sub" / "holder").write_text("host: x")
    before = sorted(map(str, folder.rglob("*")))
    for name in ("config", "profile", "sub/.", "sub/..", ".", "..", "", "/"):
        for force in ([], ["--force"]):
            done = run(folder, "unlock", *force, name)
            assert done.returncode == 2, (name, done)
    assert sorted(map(str, folder.rglob("*"))) == before


def main():
    passed = failed = 0
    for name, test in list(globals().items()):
        if not name.startswith("test_"):
            continue
        with tempfile.TemporaryDirectory(prefix="vellorin-ends.") as folder:
            try:
                test(pathlib.Path(folder))
                passed += 1
            except Exception:
                print(f"{name}:\n{traceback.format_exc()}")
                failed += 1
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
