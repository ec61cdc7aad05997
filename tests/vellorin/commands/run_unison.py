#!/usr/bin/env python3
"""vellorin as the merge program of a real Unison, as the README tells. Usage: run_unison.py BIN"""

import pathlib
import re
import subprocess
import sys

from vaults import contents, run_tests, vault

BIN = pathlib.Path(sys.argv[1]).resolve()


def merge_line(scratch):
    """What users are told to write, with this program's path."""
    readme = pathlib.Path(__file__).parents[3] / "README.md"
    said = re.search(r"^merge = (Name .*)$", readme.read_text(), re.MULTILINE).group(1)
    return said.replace("-> vellorin", f"-> {scratch.program}")


def unison(scratch):
    done = subprocess.run(["unison", "a", "b", "-batch", "-ui", "text", "-backupcurrent", "Name *.vlr", "-merge",
                           merge_line(scratch)], cwd=scratch.folder, capture_output=True, timeout=120, check=False,
                          stdin=subprocess.DEVNULL, env={**scratch.environment, "UNISON": str(scratch.folder / "state")})
    assert done.returncode == 0, done


def test_a_conflict_is_merged(scratch):
    names = ["a/v.vlr", "b/v.vlr"]
    for name in names:
        (scratch.folder / name).parent.mkdir()
        scratch.write(name, vault(["1", "2"]))
    unison(scratch)
    scratch.write(names[0], vault(["1", "2", ("3", "", b"aaaaaaaa"), "5"]))
    scratch.write(names[1], vault(["2", ("3", "", b"bbbbbbbb"), "6"], ["1"]))  # "5" and "6" make a pair to look at
    unison(scratch)
    merged = contents(scratch.read(names[0]))
    assert [uuid for uuid, _, _ in merged[0]] == ["2", "3", "5", "6"] and merged[1] == ["1"], merged
    assert scratch.read(names[1]) == scratch.read(names[0])


if __name__ == "__main__":
    sys.exit(run_tests([test_a_conflict_is_merged], BIN / "vellorin"))
