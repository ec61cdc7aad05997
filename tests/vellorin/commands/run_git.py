#!/usr/bin/env python3
"""Vaults in real git repositories, merged by vellorin's driver. Usage: run_git.py BIN"""

import pathlib
import subprocess
import sys

from vaults import contents, run_tests, tests_of, vault

BIN = pathlib.Path(sys.argv[1]).resolve()
LINE = "*.vlr merge=vellorin diff=vellorin -text\n"


class Repository:
    """One repository with a vault, in a folder with a name that a shell would take apart."""

    def __init__(self, scratch, name="a repo's $HOME"):
        self.scratch, self.folder = scratch, scratch.folder / name
        self.folder.mkdir()
        self.git("init", "-q", "-b", "main")
        self.git("config", "user.name", "Ann")
        self.git("config", "user.email", "ann@example.org")

    def git(self, *words, status=0):
        done = subprocess.run(["git", *words], cwd=self.folder, env=self.scratch.environment, capture_output=True,
                              stdin=subprocess.DEVNULL, timeout=120, check=False)
        assert status is None or done.returncode == status, (words, done)
        return done

    def setup(self, *words):
        done = self.scratch.run("git-setup", *words, cwd=self.folder)
        assert done.returncode == 0, done
        return done

    def commit(self, records, deletions=(), name="my vault.vlr", message="change"):
        (self.folder / name).write_bytes(vault(records, deletions))
        self.git("add", "-A")
        self.git("commit", "-q", "-m", message)

    def branch(self, name, start="HEAD"):
        self.git("checkout", "-q", "-b", name, start)

    def vault(self, name="my vault.vlr"):
        return contents((self.folder / name).read_bytes())

    def is_clean(self):
        left = self.git("status", "--porcelain", "--ignored").stdout
        return left == b"" or left


def uuids(told):
    return [uuid for uuid, _, _ in told[0]]


def forked(scratch, ours, theirs):
    """A repository whose branches main and theirs have changed the vault of records 1 to 4 on their own."""
    repository = Repository(scratch)
    repository.setup()
    repository.commit(["1", "2", "3", "4"])
    repository.branch("theirs")
    repository.commit(*theirs)
    repository.git("checkout", "-q", "main")
    repository.commit(*ours)
    return repository


def test_merge(scratch):
    repository = forked(scratch, (["1", "2", "3", "5"], ["4"]), (["2", "3", "4", "6"], ["1"]))
    repository.git("merge", "-q", "--no-edit", "theirs")
    assert (uuids(repository.vault()), repository.vault()[1]) == (["2", "3", "5", "6"], ["1", "4"])
    assert repository.is_clean() is True, repository.is_clean()


def test_rebase(scratch):
    repository = forked(scratch, (["1", "2", "3", "4", "5"],), (["2", "3", "4"], ["1"]))
    repository.git("checkout", "-q", "theirs")
    repository.commit(["2", "3", "4", "6"], ["1"])
    repository.commit(["3", "4", "6"], ["1", "2"])
    repository.git("rebase", "-q", "main")
    assert (uuids(repository.vault()), repository.vault()[1]) == (["3", "4", "5", "6"], ["1", "2"])
    assert repository.git("log", "--oneline").stdout.count(b"\n") == 5
    assert repository.is_clean() is True, repository.is_clean()


def test_criss_cross_merge(scratch):
    """Two branches that have merged each other have two common ancestors, which git merges first."""
    repository = forked(scratch, (["1", "2", "3", "4", "5"],), (["2", "3", "4", "6"], ["1"]))
    repository.git("branch", "ours")
    repository.git("merge", "-q", "--no-edit", "theirs")
    repository.git("checkout", "-q", "theirs")
    repository.git("merge", "-q", "--no-edit", "ours")
    repository.commit(["2", "3", "4", "5", "6", "7"], ["1"])
    repository.git("checkout", "-q", "main")
    repository.commit(["2", "3", "5", "6"], ["1", "4"])
    assert len(repository.git("merge-base", "--all", "main", "theirs").stdout.split()) == 2
    repository.git("merge", "-q", "--no-edit", "theirs")
    assert (uuids(repository.vault()), repository.vault()[1]) == (["2", "3", "5", "6", "7"], ["1", "4"])
    assert repository.is_clean() is True, repository.is_clean()


def test_added_on_both_sides(scratch):
    repository = Repository(scratch)
    repository.setup()
    repository.git("add", "-A")
    repository.git("commit", "-q", "-m", "no vault yet")
    repository.branch("theirs")
    repository.commit(["1", "2"])
    repository.git("checkout", "-q", "main")
    repository.commit(["2", "3"])
    repository.git("merge", "-q", "--no-edit", "theirs")
    assert uuids(repository.vault()) == ["1", "2", "3"]


def test_a_conflict_leaves_our_version(scratch):
    repository = forked(scratch, (["1", "2", "3", "4", "5"],), (["2"], ["1"]))
    repository.git("checkout", "-q", "theirs")
    (repository.folder / "my vault.vlr").write_bytes(vault(["2"], ["1"], master=b"n"))
    repository.git("commit", "-q", "-a", "-m", "another master password")
    repository.git("checkout", "-q", "main")
    done = repository.git("merge", "--no-edit", "theirs", status=1)
    assert b"my vault.vlr: not merged: our version and their version: the master passwords differ\n" in done.stderr, done
    assert b"CONFLICT" in done.stdout
    assert uuids(repository.vault()) == ["1", "2", "3", "4", "5"]
    assert sorted(p.name for p in repository.folder.iterdir()) == [".git", ".gitattributes", "my vault.vlr"]


def test_diffs_list_records(scratch):
    repository = forked(scratch, ([("1", "Money"), "2", "3"], ["4"]), (["1"],))
    shown = repository.git("diff", "HEAD~1", "HEAD").stdout.decode()
    changed = [line for line in shown.splitlines() if line[:1] in "+-" and line[:3] not in ("+++", "---")]
    assert "-  4  (no category)  8 bytes" in changed and "+  1  Money  8 bytes" in changed, shown
    assert not any("modified" in line or "tmp" in line for line in changed), shown


def test_a_name_like_an_option_is_merged(scratch):
    repository = Repository(scratch)
    repository.setup("--pattern", "*")
    repository.commit(["1", "2"], name="--help")
    repository.branch("theirs")
    repository.commit(["1", "2", "3"], name="--help")
    repository.git("checkout", "-q", "main")
    repository.commit(["2"], ["1"], name="--help")
    repository.git("merge", "-q", "--no-edit", "theirs")
    assert uuids(repository.vault("--help")) == ["2", "3"]


def test_a_broken_vault_does_not_end_the_log(scratch):
    repository = Repository(scratch)
    repository.setup()
    repository.commit(["1"])
    for content in (b"", b"no vault"):
        (repository.folder / "my vault.vlr").write_bytes(content)
        repository.git("commit", "-q", "-a", "-m", "broken")
    shown = repository.git("log", "-p").stdout
    assert b"-size         0 bytes\n+size         8 bytes\n" in shown, shown
    assert b"+  1  (no category)  8 bytes" in shown, shown


def test_setup_is_told_and_done_once(scratch):
    repository = Repository(scratch)
    attributes = repository.folder / ".gitattributes"
    attributes.write_text("*.txt text")
    first = repository.setup()
    assert attributes.read_text() == "*.txt text\n" + LINE
    assert b"merge.vellorin.driver = " in first.stderr and b"added the line *.vlr merge=vellorin" in first.stderr
    (repository.folder / "sub").mkdir()
    assert scratch.run("git-setup", cwd=repository.folder / "sub").returncode == 0
    assert attributes.read_text() == "*.txt text\n" + LINE
    repository.setup("--pattern", "My Vaults/*")
    assert attributes.read_text().endswith('\n"My Vaults/*" merge=vellorin diff=vellorin -text\n')
    told = repository.git("check-attr", "merge", "text", "--", "My Vaults/x").stdout
    assert told == b"My Vaults/x: merge: vellorin\nMy Vaults/x: text: unset\n", told


def test_setup_refuses_what_it_cannot_do(scratch):
    for words, status, error in [
            ([], 2, b"here is no git repository with files"), (["--pattern", "!x"], 2, b"can't have this pattern"),
            (["--pattern", "a\nb"], 2, b"can't have this pattern"), (["--pattern", ""], 2, b""),
            (["--global"], 0, b"add this line to .gitattributes")]:
        done = scratch.run("git-setup", *words)
        assert done.returncode == status and error in done.stderr, (words, done)
    assert b"merge-driver -- %O %A %B %P" in scratch.read(".gitconfig")
    scratch.environment["PATH"] = str(scratch.folder)
    done = scratch.run("git-setup", "--global")
    assert done.returncode == 3 and b"git can't be run: No such file or directory" in done.stderr, done


def test_a_program_with_any_path_is_called(scratch):
    folder = scratch.folder / "it's 100% $HOME"
    folder.mkdir()
    program = folder / "vellorin"
    program.write_bytes(pathlib.Path(scratch.program).read_bytes())
    program.chmod(0o755)
    scratch.program = program
    test_merge(scratch)


if __name__ == "__main__":
    sys.exit(run_tests(tests_of(globals()), BIN / "vellorin"))
