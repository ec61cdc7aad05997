#!/usr/bin/env python3
"""Runs the synchroniser as life does: beside a running application on a real bus, twice at once, with a lock left
behind, interrupted, on a full disk. Usage: run_real_life.py BIN."""

import ctypes
import pathlib
import resource
import signal
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "vellorin" / "commands"))
from vaults import Scratch, Skip, run_tests  # noqa: E402

BIN = pathlib.Path(sys.argv[1]).resolve()
SANITIZED = "--sanitized" in sys.argv


class Scene(Scratch):
    """A scratch folder with a pair of vaults, and what is started in it."""

    def __init__(self, program):
        super().__init__(program)
        self.environment["XDG_RUNTIME_DIR"] = str(self.folder)
        self.vaults = self.folder / "vaults"
        subprocess.run([BIN / "vellorin", "sample", self.vaults], env=self.environment, check=True, capture_output=True)
        self.first, self.second = self.vaults / "laptop.vlr", self.vaults / "stick.vlr"
        self.before = self.contents()

    def start_bus(self):
        bus = self.start("dbus-daemon", "--session", "--nofork", "--print-address",
                         f"--address=unix:path={self.folder}/bus", text=True)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()

    def start_application(self, mode):
        self.start_bus()
        application = self.start(BIN / "foreign-receiver", mode, text=True)
        assert application.stdout.readline() == "ready\n"
        return application

    def sync(self, *options, **arguments):
        return self.run(*options, self.first, self.second, text=True, **arguments)

    def start_sync(self, **options):
        return self.start(self.program, self.first, self.second, text=True, **options)

    def contents(self):
        return self.first.read_bytes(), self.second.read_bytes()

    def records(self):
        return [set(content.split(b"Pdat")[1:]) for content in self.contents()]

    def check_merged(self, *expected):
        first, second = self.records()
        assert first == second and len(first) == 11, (len(first), len(second))
        self.check_tidy(*expected)

    def check_unchanged(self):
        assert self.contents() == self.before
        self.check_tidy()

    def check_tidy(self, *expected):
        names = sorted(p.name for p in self.vaults.iterdir())
        assert names == sorted(["laptop.vlr", "stick.vlr", *expected]), names


def heard(application, count):
    lines = [application.stdout.readline().rstrip("\n") for _ in range(count)]
    return [line.split(" ") for line in lines]


def application_says_yes(scene):
    application = scene.start_application("yes")
    done = scene.sync()
    assert (done.returncode, done.stdout, done.stderr) == (0, "<Success>\n", ""), done
    events = heard(application, 4)
    assert [e[1] for e in events] == ["SynA", "SynA", "SynB", "SynB"], events
    for event in events:
        assert event[0] == "Sh11" and event[2:4] == ["-1", "0"] and event[4] == "----listfurl", event
    assert [e[5] for e in events[:2]] == [f"file://{scene.first}", f"file://{scene.second}"], events
    scene.check_merged()


def application_says_no(scene):
    application = scene.start_application("no")
    assert scene.sync().stdout == "<Success>\n"
    assert [e[1] for e in heard(application, 2)] == ["SynA", "SynA"]
    application.kill()
    assert application.stdout.read() == ""
    scene.check_merged()


def application_says_nothing_or_nonsense(scene):
    for mode, text in (("nothing", "<Bad event response from Vellorin. (-1701)>\n"),
                       ("nonsense", "<Unable to AEGetParamPtr. (-1700)>\n"),
                       ("error", "<sendStart: Unable to AESend. (-1708)>\n")):
        application = scene.start_application(mode)
        done = scene.sync()
        assert (done.returncode, done.stdout) == (1, text), done
        scene.check_unchanged()
        application.kill()


def application_quits_in_between(scene):
    scene.start_application("quits")
    assert scene.sync().stdout == "<Success>\n"
    scene.check_merged()


def without_the_bus_library_a_named_bus_ends_the_run(scene):
    libraries = scene.folder / "libraries"
    libraries.mkdir()
    (libraries / "libsystemd.so.0").touch()  # found first, and no library
    scene.environment["LD_LIBRARY_PATH"] = str(libraries)
    assert scene.sync().stdout == "<Success>\n"  # no bus is named
    merged = scene.contents()
    scene.environment["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={scene.folder}/bus"
    done = scene.sync()
    assert (done.returncode, done.stdout) == (2, "") and "libsystemd.so.0" in done.stderr, done
    assert scene.contents() == merged
    scene.check_tidy()


def busctl_is_a_foreign_sender(scene):
    """The description of the hand-off is enough to speak it: the bus's own tool does, and a receiver of ours hears."""
    application = scene.start_application("yes")
    call = ["busctl", "--address=" + scene.environment["DBUS_SESSION_BUS_ADDRESS"], "--", "call", "com.Tarquen.VELLORIN",
            "/com/tarquen/Vellorin", "com.tarquen.Vellorin.Events", "SendEvent", "uuiia(u(uv))", str(0x53683131),
            str(0x53796E41), "-1", "0", "1", str(0x2D2D2D2D), str(0x6C697374), "a(uv)", "1", str(0x6675726C), "ay",
            "8", *map(str, b"file:///")]
    done = subprocess.run(call, env=scene.environment, capture_output=True, text=True, timeout=60)
    assert done.stdout.split() == ["a(u(uv))", "1", str(0x2D2D2D2D), str(0x626F6F6C), "ay", "1", "1"], done
    assert heard(application, 1)[0][5] == "file:///"


def interrupted_while_the_application_is_silent(scene):
    for sign in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        application = scene.start_application("silent")
        run = scene.start_sync()
        heard(application, 1)
        run.send_signal(sign)
        assert run.wait(timeout=20) == -sign
        scene.check_unchanged()
        application.kill()


def interrupted_in_the_wait_for_a_lock(scene):
    """The first file is let go and its application told, though the second can't be had."""
    application = scene.start_application("yes")
    (scene.vaults / ".stick.vlr").mkdir()
    run = scene.start_sync()
    heard(application, 2)
    time.sleep(0.3)
    assert (scene.vaults / ".laptop.vlr" / "holder").exists()
    run.send_signal(signal.SIGINT)
    assert run.wait(timeout=20) == -signal.SIGINT
    assert [e[1] for e in heard(application, 2)] == ["SynB", "SynB"]
    (scene.vaults / ".stick.vlr").rmdir()
    scene.check_unchanged()


def ignored_signals_stay_ignored(scene):
    run = scene.start_sync(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
    run.send_signal(signal.SIGHUP)
    assert run.communicate(timeout=30)[0] == "<Success>\n"
    scene.check_merged()


def a_lock_left_behind_ends_the_wait(scene):
    (scene.vaults / ".laptop.vlr").mkdir()
    begin = time.monotonic()
    done = scene.sync()
    assert done.returncode == 1 and done.stdout.startswith("<It appears your Vellorin file is open"), done
    assert 14.9 < time.monotonic() - begin < 20
    assert f"its lock is {scene.vaults}/.laptop.vlr; " in done.stderr and ".stick.vlr" not in done.stderr, done
    scene.check_tidy(".laptop.vlr")
    assert scene.contents() == scene.before


def two_runs_through_a_link(scene):
    """Locks stand beside names, so they don't exclude each other here; what changed meanwhile is not overwritten."""
    other = scene.folder / "other.vlr"
    other.symlink_to(scene.second)
    for _ in range(20):
        runs = [scene.start_sync(), scene.start(scene.program, scene.first, other, text=True)]
        for run in runs:
            assert run.communicate(timeout=60)[0] == "<Success>\n"
            assert run.returncode in (0, 3), run.returncode
    assert scene.sync().returncode == 0
    first, second = scene.records()
    assert first == second


def no_room_for_the_new_file(scene):
    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

    done = scene.sync(preexec_fn=limit)
    assert (done.returncode, done.stdout) == (3, "<Success>\n"), done
    assert f"{scene.first}: not replaced: write: File too large" in done.stderr, done.stderr
    assert f"{scene.second}: not replaced: " in done.stderr
    scene.check_unchanged()
    assert "not replaced" in scene.sync("--quiet", preexec_fn=limit).stderr


def no_memory(scene):
    if SANITIZED:
        raise Skip("the sanitizers reserve more memory than there is")

    def limit():
        resource.setrlimit(resource.RLIMIT_AS, (60 << 20, 60 << 20))

    scene.first.write_bytes(scene.before[0] + bytes(64 << 20))
    before = scene.contents()
    done = scene.sync("--quiet", preexec_fn=limit)
    assert done.returncode in (1, 2), done
    assert scene.contents() == before
    scene.check_tidy()


def a_log_that_nobody_reads(scene):
    scene.first.write_bytes(scene.before[0] + b"garbage")
    run = scene.start_sync()
    run.stderr.close()
    assert run.stdout.read() == "<Success>\n"
    assert run.wait(timeout=60) == 0
    scene.check_merged("laptop backup 1.vlr")


def a_vault_that_would_lose_bytes_is_backed_up(scene):
    scene.first.chmod(0o640)
    scene.first.write_bytes(scene.before[0] + b"garbage")
    done = scene.sync("--quiet")
    assert (done.returncode, done.stdout) == (0, "<Success>\n"), done
    told = [line for line in done.stderr.splitlines() if line]
    assert told == [f"vellorin-sync: {scene.first}: not all of it can be carried over. Your data file was backed up with "
                    "the name 'laptop backup 1.vlr' in the same folder as the original."], done.stderr
    backup = scene.vaults / "laptop backup 1.vlr"
    assert backup.read_bytes() == scene.before[0] + b"garbage"
    assert backup.stat().st_mode & 0o777 == 0o640
    done = scene.sync()
    assert (done.returncode, done.stderr) == (0, ""), done  # all of it is readable now
    scene.check_merged("laptop backup 1.vlr")


def without_its_backup_a_vault_is_not_replaced(scene):
    damaged = scene.before[1] + b"garbage"
    scene.second.write_bytes(damaged)
    taken = [f"stick backup {number}.vlr" for number in range(1, 101)]
    for name in taken:
        (scene.vaults / name).write_bytes(b"")
    done = scene.sync()
    assert (done.returncode, done.stdout) == (3, "<Success>\n"), done
    assert f"{scene.second}: not replaced: not all of it can be carried over. Couldn't create backup" in done.stderr
    assert scene.second.read_bytes() == damaged
    assert scene.first.read_bytes() != scene.before[0]  # this one loses nothing
    assert all((scene.vaults / name).read_bytes() == b"" for name in taken)
    scene.check_tidy(*taken)


def other_folders_are_out_of_reach(scene):
    """A file that has become a link into another folder since the program began is not followed there."""
    if SANITIZED or landlock_version() <= 0:
        raise Skip("this program is not restricted to folders, or this kernel can't do it")
    elsewhere = scene.folder / "elsewhere"
    elsewhere.mkdir()
    lock = scene.vaults / ".stick.vlr"
    lock.mkdir()
    run = scene.start_sync()
    while not (scene.vaults / ".laptop.vlr" / "holder").exists():
        time.sleep(0.01)
    scene.first.rename(elsewhere / "laptop.vlr")
    scene.first.symlink_to(elsewhere / "laptop.vlr")
    lock.rmdir()
    result, log = run.communicate(timeout=60)
    assert (run.returncode, result) == (1, "<(null) is not kind of NSData (SysToVLR)>\n"), (run.returncode, result, log)
    scene.check_unchanged()
    done = scene.sync()  # a link that is there from the beginning is followed
    assert (done.returncode, done.stdout) == (0, "<Success>\n"), done
    scene.check_merged()


def landlock_version():
    return ctypes.CDLL(None).syscall(444, None, 0, 1)  # landlock_create_ruleset, asked for its version


def output_into_a_pipe_that_closes(scene):
    run = scene.start_sync()
    run.stdout.close()
    run.stderr.read()
    run.wait(timeout=60)
    scene.check_merged()


SCENES = [application_says_yes, application_says_no, application_says_nothing_or_nonsense,
          application_quits_in_between, without_the_bus_library_a_named_bus_ends_the_run, busctl_is_a_foreign_sender,
          interrupted_while_the_application_is_silent, interrupted_in_the_wait_for_a_lock,
          ignored_signals_stay_ignored, a_lock_left_behind_ends_the_wait,
          two_runs_through_a_link, no_room_for_the_new_file, no_memory, a_log_that_nobody_reads,
          a_vault_that_would_lose_bytes_is_backed_up,
          without_its_backup_a_vault_is_not_replaced, other_folders_are_out_of_reach, output_into_a_pipe_that_closes]


if __name__ == "__main__":
    sys.exit(run_tests(SCENES, BIN / "vellorin-sync", Scene))
