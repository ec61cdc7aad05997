#!/usr/bin/env python3
"""Runs `vellorin resolve`, `vellorin watch` and its systemd unit, and real unison with `vellorin merge` as its hook.
Usage: run_watch_and_resolve.py BIN SOURCE BUILD [--sanitized]."""

import contextlib
import itertools
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import sys
import time

BIN, SOURCE, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
sys.path.insert(0, str(SOURCE / "tests" / "vellorin" / "commands"))

from vaults import Scratch, Skip, contents, run_tests, vault  # noqa: E402

SYNCTHING = "vault.sync-conflict-20261121-104512-ABCDEF7.vlr"
NEXTCLOUD = "vault (conflicted copy 2026-11-21 104512).vlr"
DROPBOX = "vault (In Konflikt stehende Kopie von laptop 2026-11-21).vlr"
UNISON = "vault (conflict_on_2026-11-21).vlr"
PATIENCE = 30 if "--sanitized" not in sys.argv else 120
SECONDS_TO_2001 = 978307200
OPENING_DATES = itertools.count(int(time.time()) - SECONDS_TO_2001 + 3600)  # each later than those of all runs before


def vault_bytes(titles, deletions=(), identity="I-1", category="Private", master=b"m"):
    """A vault with a record for each title, as a program would save it that has just opened it."""
    return vault([(title, category) for title in titles], deletions, identity, master=master, opened=next(OPENING_DATES))


def titles_of(path):
    return sorted(uuid for uuid, _, _ in contents(path.read_bytes())[0])


class Scene(Scratch):
    """A folder with vaults; the program's home is another one in it."""

    def __init__(self, program):
        super().__init__(program)
        self.home = self.folder / "home"
        self.home.mkdir()
        self.environment |= {"HOME": str(self.home), "XDG_DATA_HOME": str(self.home / "data"),
                             "XDG_STATE_HOME": str(self.home / "state"), "LC_ALL": "C.UTF-8",
                             "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent/bus", "UNISON": str(self.home / ".unison")}
        self.environment |= {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}

    def path(self, name):
        return self.folder / name

    def write(self, name, titles, **options):
        self.path(name).parent.mkdir(parents=True, exist_ok=True)
        self.path(name).write_bytes(vault_bytes(titles, **options))
        return self.path(name)

    def run(self, *words, **options):
        return super().run(*words, **{"text": True, **options})

    def names(self, folder=""):
        return sorted(entry.name for entry in self.path(folder).iterdir() if entry != self.home)

    def trashed(self):
        files = self.home / "data" / "Trash" / "files"
        return sorted(entry.name for entry in files.iterdir()) if files.exists() else []

    # watch

    def watch(self, *words, settle="0.2", rescan="60"):
        with open(self.path("log"), "wb") as log:
            return self.start(self.program, "watch", "--settle", settle, "--rescan", rescan, *words, stderr=log,
                              stdout=subprocess.DEVNULL)

    def log(self):
        return self.path("log").read_text()

    def wait_for(self, condition, what):
        for _ in range(PATIENCE * 20):
            with contextlib.suppress(OSError, AssertionError, struct.error):
                if condition():
                    return
            time.sleep(0.05)
        raise AssertionError(f"{what}; the log:\n{self.log()}")

    def wait_for_titles(self, titles, *names):
        self.wait_for(lambda: all(titles_of(self.path(name)) == titles for name in names), f"{names} get {titles}")

    def runs_in_journal(self):
        folder = self.home / "state" / "vellorin" / "journal"
        return len(list(folder.iterdir())) if folder.exists() else 0

    def end_watch(self, process, sign=signal.SIGTERM):
        process.send_signal(sign)
        assert process.wait(timeout=PATIENCE) == -sign, (process.returncode, self.log())


# --- resolve ----------------------------------------------------------------------------------------------------------


def each_synchronisers_copy_is_merged(scene):
    for name, title in ((SYNCTHING, "S"), (NEXTCLOUD, "N"), (DROPBOX, "D"), (UNISON, "U")):
        scene.write("vault.vlr", ["A"])
        copy = scene.write(name, ["A", title]).read_bytes()
        done = scene.run("resolve", "--no-backup", "vault.vlr")
        assert done.returncode == 0 and done.stderr == "", done
        assert "in the trash" in done.stdout, done
        assert titles_of(scene.path("vault.vlr")) == ["A", title]
        assert scene.names() == ["vault.vlr"], scene.names()
        assert (scene.home / "data" / "Trash" / "files" / name).read_bytes() == copy
    assert len(scene.trashed()) == 4


def a_copy_with_nothing_new_just_goes(scene):
    before = scene.write("vault.vlr", ["A", "B"], deletions=["C"]).read_bytes()
    scene.write(SYNCTHING, ["A", "C"])
    done = scene.run("resolve", ".")
    assert done.returncode == 0 and "nothing that vault.vlr lacks" in done.stdout, done
    assert scene.path("vault.vlr").read_bytes() == before
    assert (scene.names(), scene.trashed(), scene.runs_in_journal()) == (["vault.vlr"], [SYNCTHING], 0)
    assert scene.run("resolve", ".").stdout == "no copies were found\n"
    quiet = scene.run("resolve", "-q", ".")
    assert (quiet.returncode, quiet.stdout, quiet.stderr) == (0, "", ""), quiet


def several_copies_and_a_backup(scene):
    scene.write("vault.vlr", ["A", "X"])
    scene.write(SYNCTHING, ["A", "B"])
    scene.write(NEXTCLOUD, ["A"], deletions=["X"])
    scene.write("other.vlr", ["A", "Z"], identity="I-2")
    done = scene.run("resolve", "vault.vlr")
    assert done.returncode == 0, done
    assert titles_of(scene.path("vault.vlr")) == ["A", "B"]
    assert scene.names() == ["other.vlr", "vault backup 1.vlr", "vault backup 2.vlr", "vault.vlr"], scene.names()
    assert scene.run("resolve", "vault.vlr").stdout == "vault.vlr: has no copies\n"  # the backups are none
    undone = scene.run("undo")
    assert undone.returncode == 0 and "vlr isn't taken back; look for it in the trash\n" in undone.stdout, undone


def files_that_are_kept_in_step_are_no_copies(scene):
    scene.write("laptop.vlr", ["A"])
    scene.write("nas.vlr", ["A", "B"])
    scene.write("old.vlr", ["A"])
    assert scene.run("sync", "--no-backup", "laptop.vlr", "nas.vlr").returncode == 0
    done = scene.run("resolve", "-v", "laptop.vlr")
    assert done.returncode == 0 and "nas.vlr: passed over: stands apart" in done.stderr, done
    assert scene.trashed() == ["old.vlr"] and scene.names() == ["laptop.vlr", "nas.vlr"]
    scene.write("old.vlr", ["A"])
    assert scene.run("resolve", "laptop.vlr", "old.vlr", "nas.vlr").returncode == 0  # named, so wanted
    assert scene.names() == ["laptop.vlr", "nas.vlr", "old.vlr"]


def a_folder_named_file_by_file_loses_nothing(scene):
    """As `resolve FOLDER/*` names them: the backup's name sorts before the vault's."""
    names = ["vault backup 1.vlr", SYNCTHING, "vault.vlr"]
    files = {name: scene.write(name, ["A", name]).read_bytes() for name in names}
    done = scene.run("resolve", *names)
    assert done.returncode == 2 and "numbered backup" in done.stderr and "name that one" in done.stderr, done
    assert {name: scene.path(name).read_bytes() for name in scene.names()} == files and scene.trashed() == []
    assert scene.run("resolve", names[0]).returncode == 2 and scene.trashed() == []
    scene.write("b.vlr", ["A"])
    done = scene.run("resolve", "--no-backup", "b.vlr", "vault.vlr", "vault.vlr")  # the copy goes to one, and once
    assert done.returncode == 0 and scene.trashed() == [SYNCTHING], done
    assert (titles_of(scene.path("b.vlr")), titles_of(scene.path("vault.vlr"))) == (["A"], ["A", SYNCTHING, "vault.vlr"])


def refusals_and_failures_leave_all(scene):
    """Status, and a part of the message; a copy that is refused doesn't keep another one from being merged."""
    many = [f"R{i}" for i in range(40)]
    foreign = vault_bytes(["B"], master=b"n")
    cases = [
        ("other master", {"vault.vlr": vault_bytes(["A"]), SYNCTHING: foreign}, ["vault.vlr"], 2, "password"),
        ("removals", {"vault.vlr": vault_bytes(many), SYNCTHING: vault_bytes(["A"], deletions=many[:20])},
         ["vault.vlr"], 2, "--allow-removals"),
        ("damage", {"vault.vlr": vault_bytes(["A"]), SYNCTHING: vault_bytes(["A", "B"]) + b"stray"}, ["vault.vlr"], 2,
         "--allow-damage"),
        ("two originals", {"a.vlr": vault_bytes(["A"]), "b.vlr": vault_bytes(["A", "B"])}, ["."], 2, "a.vlr, "),
        ("a copy by name", {"vault.vlr": vault_bytes(["A"]), SYNCTHING: vault_bytes(["B"])}, [SYNCTHING], 2,
         "name that one"),
        ("no vault", {"vault.vlr": b"text"}, ["vault.vlr"], 3, "is no vault"),
        ("not there", {}, ["vault.vlr"], 3, "vault.vlr"),
        ("no backups wanted", {"vault.vlr": vault_bytes(["A"])}, ["--keep-backups", "0", "vault.vlr"], 2, "1 to 99"),
    ]
    for name, files, words, status, message in cases:
        for old in scene.names():
            scene.path(old).unlink()
        for file, content in files.items():
            scene.path(file).write_bytes(content)
        done = scene.run("resolve", *words)
        assert done.returncode == status and message in done.stderr, (name, done)
        assert {file: scene.path(file).read_bytes() for file in scene.names()} == files, name
        assert scene.trashed() == [], name
    scene.path("vault.vlr").write_bytes(vault_bytes(["A"]))
    scene.path(SYNCTHING).write_bytes(foreign)
    scene.path(NEXTCLOUD).write_bytes(vault_bytes(["A", "B"]))
    assert scene.run("resolve", "--no-backup", "vault.vlr").returncode == 2
    assert titles_of(scene.path("vault.vlr")) == ["A", "B"] and scene.names() == [SYNCTHING, "vault.vlr"]


def names_that_are_no_text(scene):
    folder = os.fsencode(scene.folder) + b"/f\xff\x1b[31m"
    os.mkdir(folder)
    for name, titles in ((b"vault.vlr", ["A"]), (SYNCTHING.encode(), ["A", "B"])):
        with open(folder + b"/" + name, "wb") as file:
            file.write(vault_bytes(titles))
    document = scene.json("resolve", "--recursive", scene.folder, text=False)
    assert document["vaults"][0]["vault"]["hex"].endswith("/f\xff\x1b[31m/vault.vlr".encode("latin-1").hex()), document
    spoken = scene.run("resolve", folder, text=False)
    assert b"\x1b" not in spoken.stdout + spoken.stderr, spoken


def json_of_each_outcome(scene):
    scene.write("vault.vlr", ["A"])
    scene.write(SYNCTHING, ["A", "B"])
    scene.write(NEXTCLOUD, ["A"])
    scene.path(DROPBOX).write_bytes(vault_bytes(["A", "C"]) + b"stray")
    before = {name: scene.path(name).read_bytes() for name in scene.names()}
    assert scene.json("resolve", "--dry-run", ".")["dryRun"] is True
    assert "would be merged" in scene.run("resolve", "--dry-run", ".").stdout
    assert before == {name: scene.path(name).read_bytes() for name in scene.names()}
    assert scene.trashed() == [] and scene.runs_in_journal() == 0
    document = scene.json("resolve", "--no-backup", ".", "none", status=3)
    assert document["problems"][0]["status"] == 3, document
    copies = {copy["synchroniser"]: copy for copy in document["vaults"][0]["copies"]}
    told = {name: (copy["outcome"], copy["inTrash"], copy["status"]) for name, copy in copies.items()}
    assert told == {"Syncthing": ("merged", True, 0), "Nextcloud": ("nothing-new", True, 0),
                    "Dropbox": ("left", False, 2)}, told


# --- watch ------------------------------------------------------------------------------------------------------------


def watch_follows_every_kind_of_change(scene):
    a, b = scene.write("a/vault.vlr", ["A"]), scene.write("cloud/vault.vlr", ["A", "B"])
    scene.path("b.vlr").symlink_to("cloud/vault.vlr")
    watch = scene.watch("--no-backup", a, "b.vlr")
    both = ("a/vault.vlr", "cloud/vault.vlr")
    scene.wait_for_titles(["A", "B"], *both)
    scene.write("a/new", ["A", "B", "C"]).rename(a)  # as editors do
    scene.wait_for_titles(["A", "B", "C"], *both)
    scene.write("cloud/new", ["A", "B", "C", "D"]).rename(b)  # behind the link
    scene.wait_for_titles(["A", "B", "C", "D"], *both)
    with open(a, "r+b") as file:  # in place
        file.write(vault_bytes(["A", "B", "C", "D", "E"]))
        file.truncate()
    scene.wait_for_titles(["A", "B", "C", "D", "E"], *both)
    shutil.move(scene.path("cloud"), scene.path("gone"))  # as a drive goes
    scene.wait_for(lambda: "cloud" not in scene.log() and "is not there" in scene.log(), "the file is missed")
    scene.write("gone/vault.vlr", ["A", "B", "C", "D", "E", "F"])
    shutil.move(scene.path("gone"), scene.path("cloud"))
    scene.wait_for_titles(["A", "B", "C", "D", "E", "F"], *both)
    assert "is there again" in scene.log()
    scene.end_watch(watch)
    assert re.match(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d ", scene.log()), scene.log()
    assert scene.names("a") == ["vault.vlr"] and scene.names("cloud") == ["vault.vlr"]
    assert scene.path("b.vlr").is_symlink()


def watch_comes_to_rest_by_itself(scene):
    """One change is one run: what a watch writes is no reason to write again."""
    scene.write("a.vlr", ["A"])
    scene.write("b.vlr", ["B"])
    scene.write("c.vlr", ["C"])
    watch = scene.watch("--no-backup", "a.vlr", "b.vlr", "c.vlr", settle="0.1", rescan="0.2")
    scene.wait_for_titles(["A", "B", "C"], "a.vlr", "b.vlr", "c.vlr")
    time.sleep(1)
    runs, stamps = scene.runs_in_journal(), [scene.path(f"{n}.vlr").stat().st_mtime_ns for n in "abc"]
    time.sleep(1.5)
    assert scene.runs_in_journal() == runs and runs <= 3, (runs, scene.runs_in_journal())
    assert stamps == [scene.path(f"{n}.vlr").stat().st_mtime_ns for n in "abc"]
    scene.end_watch(watch, signal.SIGINT)


def watch_says_a_trouble_once_and_goes_on(scene):
    many = [f"R{i}" for i in range(40)]
    scene.write("a.vlr", many)
    scene.write("b.vlr", ["A"], deletions=many[:20])
    watch = scene.watch("--no-backup", "a.vlr", "b.vlr", settle="0.1", rescan="0.2")
    scene.wait_for(lambda: "--allow-removals" in scene.log(), "the guard speaks")
    time.sleep(2)
    assert scene.log().count("--allow-removals") == 1, scene.log()
    scene.write("b.vlr", many + ["B"])
    scene.wait_for_titles(sorted(many + ["B"]), "a.vlr", "b.vlr")
    scene.wait_for(lambda: "in step again" in scene.log(), "the end of the trouble is told")
    scene.end_watch(watch, signal.SIGHUP)


def watch_leaves_out_a_broken_file(scene):
    scene.write("a.vlr", ["A"])
    scene.write("b.vlr", ["B"])
    scene.path("c.vlr").write_bytes(b"VL_4 half of")
    watch = scene.watch("--no-backup", "a.vlr", "b.vlr", "c.vlr", settle="0.1", rescan="0.3")
    scene.wait_for_titles(["A", "B"], "a.vlr", "b.vlr")
    scene.wait_for(lambda: "c.vlr: is no vault" in scene.log(), "the broken file is told")
    time.sleep(1)
    assert scene.log().count("c.vlr: is no vault") == 1, scene.log()
    scene.write("c.vlr", ["C"])
    scene.wait_for_titles(["A", "B", "C"], "a.vlr", "b.vlr", "c.vlr")
    scene.end_watch(watch)


def watch_bounds_what_grows(scene):
    """One UUID in two categories makes both files grow at each run. Two watches that see each other's writes must not
    race."""
    scene.write("a.vlr", ["A"], category="one")
    scene.write("b.vlr", ["A"], category="two")
    watches = [scene.watch("--no-backup", "a.vlr", "b.vlr", settle="0.1", rescan="0.2") for _ in range(2)]
    time.sleep(6)
    grown = len(titles_of(scene.path("a.vlr")))
    for watch in watches:
        scene.end_watch(watch)
    # Pauses of 0.1, 0.2, 0.4 ... seconds: 6 of them in 6 seconds, for each watch.
    assert scene.runs_in_journal() <= 16, (scene.runs_in_journal(), grown)


def a_signal_in_the_middle_of_a_run(scene):
    titles = [f"R{i}" for i in range(300)]
    for sign in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        scene.write("a.vlr", titles + ["A"])
        scene.write("b.vlr", titles + ["B"])
        scene.path(".b.vlr").mkdir()  # a foreign lock: the run waits
        watch = scene.watch("--no-backup", "a.vlr", "b.vlr", settle="0")
        scene.wait_for(lambda: scene.path(".a.vlr").exists(), "the run holds the first lock")
        scene.end_watch(watch, sign)
        scene.path(".b.vlr").rmdir()
        assert titles_of(scene.path("a.vlr")) == sorted(titles + ["A"]), "unchanged"
        assert scene.names() == ["a.vlr", "b.vlr", "log"], scene.names()


def watch_once(scene):
    scene.write("a.vlr", ["A"])
    scene.write("b.vlr", ["B"])
    listed = scene.path("list")
    listed.write_text("# copies at home\n\n~/a.vlr\nb.vlr\nmissing.vlr\n")
    shutil.copy(scene.path("a.vlr"), scene.home / "a.vlr")
    done = scene.run("watch", "--once", "--no-backup", "--from", "list")
    assert done.returncode == 0 and "missing.vlr: is not there" in done.stderr and done.stdout == "", done
    assert titles_of(scene.home / "a.vlr") == titles_of(scene.path("b.vlr")) == ["A", "B"]
    again = scene.run("watch", "--once", "--from", "list", "-q")
    assert (again.returncode, again.stderr) == (0, ""), again
    in_step = scene.json("watch", "--once", "--from", "list")
    assert in_step["status"] == 0 and in_step["runs"][0]["outcome"] == "in-step", in_step
    scene.write("a.vlr", ["A", "C"])
    written = scene.json("watch", "--once", "a.vlr", "b.vlr")
    assert written["equal"] and written["runs"][0]["outcome"] == "done", written
    broken = scene.json("watch", "--once", "a.vlr", "b.vlr", "list", status=3)
    assert broken["status"] == 3 and "list: is no vault" in broken["troubles"][0], broken
    cases = [
        (["--once", "a.vlr"], 2, "two files"), (["--once", "a.vlr", "a.vlr"], 2, "twice"),
        (["--once", "a.vlr", "none.vlr"], 3, "fewer than two"), (["--settle", "soon", "a.vlr", "b.vlr"], 2, "--settle"),
        (["--rescan", "-1", "a.vlr", "b.vlr"], 2, "--rescan"), (["--from", "none"], 2, "none: the list"),
        (["--once", "a.vlr", "list"], 3, "list: is no vault"),
    ]
    for words, status, message in cases:
        done = scene.run("watch", *words)
        assert done.returncode == status and message in done.stderr, (words, done)


# --- the unit ---------------------------------------------------------------------------------------------------------


def the_unit_is_sound(scene):
    if not shutil.which("systemd-analyze"):
        raise Skip("there is no systemd-analyze")
    unit = scene.path("vellorin-watch@.service")
    text = (BUILD / "packaging" / "systemd" / "vellorin-watch@.service").read_text()
    unit.write_text(re.sub(r"^ExecStart=\S+", f"ExecStart={BIN}/vellorin", text, flags=re.M))
    instance = scene.path("vellorin-watch@home.service")
    instance.symlink_to(unit)
    environment = dict(scene.environment, XDG_RUNTIME_DIR=str(scene.folder), SYSTEMD_LOG_LEVEL="warning")
    done = subprocess.run(["systemd-analyze", "--user", "verify", "--man=no", "--recursive-errors=no", str(instance)],
                          env=environment, capture_output=True, text=True, timeout=60)
    complaints = [line for line in done.stderr.splitlines() if "vellorin" in line]
    assert done.returncode == 0 and not complaints, (done.returncode, done.stderr)
    command = ["systemd-analyze", "security", "--offline=yes", "--no-pager", "--threshold=20", str(instance)]
    done = subprocess.run(command, env=environment, capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stdout + done.stderr  # an exposure of 2.0 of 10 at most


# --- unison -----------------------------------------------------------------------------------------------------------


def unison_merges_by_the_hook(scene):
    """As the README tells users to write it, with this program's path."""
    if not shutil.which("unison"):
        raise Skip("unison can't be had")
    line = re.search(r"^merge = (Name .*)$", (SOURCE / "README.md").read_text(), re.MULTILINE).group(1)
    command = ["unison", "left", "right", "-batch", "-ui", "text", "-backupcurrent", "Name *.vlr", "-merge",
               line.replace("-> vellorin", f"-> {scene.program}")]

    def synchronise():
        return subprocess.run(command, cwd=scene.folder, env=scene.environment, capture_output=True, timeout=120)

    left, right = scene.write("left/vault.vlr", ["A", "X"]), scene.path("right/vault.vlr")
    right.parent.mkdir()
    done = synchronise()
    assert done.returncode == 0, done
    scene.write("left/vault.vlr", ["A", "B"], deletions=["X"])
    scene.write("right/vault.vlr", ["A", "X", "C"])
    done = synchronise()
    assert done.returncode == 0, done
    assert left.read_bytes() == right.read_bytes() and titles_of(left) == ["A", "B", "C"], titles_of(left)
    scene.write("left/vault.vlr", ["A", "B", "C", "D"])
    right.write_bytes(vault_bytes([], master=b"n"))
    before = left.read_bytes(), right.read_bytes()
    assert synchronise().returncode != 0  # can't be merged: left in conflict
    assert (left.read_bytes(), right.read_bytes()) == before


SCENES = [each_synchronisers_copy_is_merged, a_copy_with_nothing_new_just_goes, several_copies_and_a_backup,
          files_that_are_kept_in_step_are_no_copies, a_folder_named_file_by_file_loses_nothing,
          refusals_and_failures_leave_all, names_that_are_no_text,
          json_of_each_outcome, watch_follows_every_kind_of_change, watch_comes_to_rest_by_itself,
          watch_says_a_trouble_once_and_goes_on, watch_leaves_out_a_broken_file, watch_bounds_what_grows,
          a_signal_in_the_middle_of_a_run, watch_once, the_unit_is_sound, unison_merges_by_the_hook]


if __name__ == "__main__":
    sys.exit(run_tests(SCENES, BIN / "vellorin", Scene))
