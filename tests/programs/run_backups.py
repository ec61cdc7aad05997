#!/usr/bin/env python3
"""Synchronises golden vaults, whole, cut and with changed bytes, each with a copy of itself, and looks at what stands
behind the header: a vault whose replacement lost anything there has a backup with all of its old bytes, and no other one
has. Usage: run_backups.py BIN DATA; ends with "N passed, N failed"."""

import os
import pathlib
import struct
import subprocess
import sys
import tempfile

from run_transcripts import golden_bytes

BIN, DATA = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
CUT_AND_CHANGED = ["two-records.hex", "record-format-2.hex", "garbage-between-records.hex"]
STEP = 23  # between cuts and between changes: neither a power of two nor the length of anything


def records_part(vault):
    """All bytes behind the identities. They are a vault's own; the header changes with each save."""
    place = 4 if vault.startswith(b"VL_4") else 0
    for tag, texts in ((b"Fish", 1), (b"Pref", 1), (b"Dele", 1), (b"SyIn", 2)):
        assert vault[place:place + 4] == tag, tag
        place += 4
        for _ in range(texts):
            count = struct.unpack_from(">I", vault, place)[0]
            place += 4 + (0 if count == 0xFFFFFFFF else count)
    return vault[place:]


def variants():
    for path in sorted(DATA.glob("*.hex")):
        yield path.name, golden_bytes(path)
    for name in CUT_AND_CHANGED:
        vault = golden_bytes(DATA / name)
        start = len(vault) - len(records_part(vault))
        for place in range(start, len(vault), STEP):
            yield f"{name} cut at {place}", vault[:place]
            yield f"{name} changed at {place}", vault[:place] + bytes([vault[place] ^ 0x5B]) + vault[place + 1:]
            yield f"{name} longer at {place}", vault[:place] + b"\0\0\0" + vault[place:]


def fault(vault, folder):
    """What is wrong with the outcome; None if nothing, and whether there is a backup."""
    first, second = folder / "a.vlr", folder / "b.vlr"
    first.write_bytes(vault)
    second.write_bytes(vault)
    done = subprocess.run([BIN / "vellorin-sync", "--quiet", first, second], capture_output=True, timeout=60,
                          env={"HOME": str(folder), "PATH": os.environ["PATH"]})
    if done.returncode not in (0, 1):
        return f"status {done.returncode}: {done.stderr}", False
    for file in (first, second):
        backup = file.with_name(f"{file.stem} backup 1.vlr")
        now = file.read_bytes()
        if now == vault:
            if backup.exists():
                return f"{file.name} was not replaced, and backed up all the same", False
        elif (records_part(now) != records_part(vault)) != backup.exists():
            return f"{file.name}: backup {backup.exists()}, but what it held says otherwise", False
        if backup.exists() and backup.read_bytes() != vault:
            return f"{backup.name} does not hold the old bytes", False
    return None, (folder / "a backup 1.vlr").exists()


def main():
    passed = failed = backups = 0
    for name, vault in variants():
        with tempfile.TemporaryDirectory(prefix="vellorin-backup.") as folder:
            problem, backed_up = fault(vault, pathlib.Path(folder))
        backups += backed_up
        passed += problem is None
        failed += problem is not None
        if problem is not None:
            print(f"FAIL {name}: {problem}")
    if backups == 0 or backups == passed:
        print(f"FAIL {backups} of {passed} vaults have a backup")
        failed += 1
    print(f"{passed} passed, {failed} failed; {backups} with a backup")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
