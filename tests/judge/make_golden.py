#!/usr/bin/env python3
"""Makes the golden vaults in tests/data: commented hex, one file for each kind of vault and of damage.

    make_golden.py [FOLDER]        writes the files
    make_golden.py --dump          prints the dumps that docs/file-format.md shows

Behind `#` stands a comment. The first ones of a file say what it is and what a reader must report, line by line:

    # raises: TEXT                 the read fails with this text; nothing else is told then
    # errors: N                    damaged entries of a read that leaves the records enciphered
    # errors deciphered: N         the same for a read with the password "open sesame"
    # wrong password               instead of the line above: that password isn't the vault's
    # records: N                   records that both reads keep
    # deletions: N
    # write raises: TEXT           what writing an enciphered document fails with; without the line it succeeds
    # record I FIELD: VALUE        what record I (from 0) holds after a read with the password; fields without a line are
                                   empty or 0. Text is as in JSON, bytes are hex, dates are seconds since 2001;
                                   a date that the file doesn't hold is the time of the read, without a line
    # record I growth: HEX ...     the items of the growth area, "-" for one of no bytes
"""

from __future__ import annotations

import json
import sys
from dataclasses import replace
from pathlib import Path

import merge
from cases import DATA, FISH, OTHER_REFERENCE, REFERENCE, with_bytes
from vault import Document, Failure, Layout, Preferences, ReadRecord, Record, Vault, chunk, pdat, u16, u32

NOW = 780000000  # seconds since 2001, in 2025: the clock of a reader that looks at it
UUIDS = [f"{n:08X}-1234-4ABC-8DEF-0123456789AB" for n in range(1, 5)]
TEXT_FIELDS = (
    "uuid", "category", "title", "url", "username", "password", "username_label", "password_label", "notes", "browser"
)
NUMBER_FIELDS = ("collapsed", "changed", "clear_value", "modified", "last_used", "hidden")

BANK = Record(
    UUIDS[0], "Bank", "Money", "https://bank.example/", "ada", "correct horse", "Login", "PIN", "two\nlines",
    modified=700000000, last_used=700000100, color=(1, 2, 65535),
)
CAFE = Record(UUIDS[1], "Caf\u00e9 \U0001f511", "", "", "bob", "\u00fcber", browser="abc", changed=1, modified=700000200)
OLD = Record(
    title="Caf\u00e9", url="url", username="name", password="secret", notes="notes", modified=100000000,
    old_identity=(0xAB, 0x12345678),
)


def vault(*parts: Record | bytes, **fields) -> Vault:
    preferences = Preferences(date=760000000)
    fields = {"unique": "C0FFEE00-0000-4000-8000-000000000001", "preferences": preferences, **fields}
    return Vault(FISH, list(parts), **fields)


def cut_record(record: Record, length: int) -> bytes:
    """The start of a record section whose count tells of the whole block."""
    block = record.block(FISH)
    return pdat(block[:length], len(block))


def older(version: int, **fields) -> Vault:
    return vault(replace(OLD, version=version, **fields))


def goldens() -> dict[str, tuple[str, Vault | bytes]]:
    bank = BANK.block(FISH)
    growth = replace(BANK, browser="abc", growth=[b"", b"\0\1\2", b"for a later version"])
    clear = replace(BANK, clear_block=b"opaque", clear_value=-2, collapsed=-1, changed=255, hidden=0xFEDCBA98)
    deleted = [(UUIDS[2], 0x0102), (UUIDS[3], 0xFFFF)]
    twice = [(UUIDS[2], 1), (UUIDS[3], 2), (UUIDS[2], 3), (UUIDS[2].lower(), 4)]
    two_errors = vault(BANK, cut_record(CAFE, 60))
    short = vault(preferences_length=32)
    in_cipher = replace(BANK, body=FISH.encrypt(BANK.plain())[:-3])
    return {
        "empty": ("A vault without records and deletions.", vault()),
        "two-records": ("Two records, two deletions and a partner.", vault(BANK, CAFE, deletions=deleted, partner="partner")),
        "no-magic": ("The file begins directly with the tag of the reference buffer.", vault(BANK, magic=b"")),
        "no-identity": ("The file has no identity yet; a reader gives it one.", vault(BANK, unique="")),
        "empty-fields": ("All texts of the record are empty: 56 bytes of cipher text.", vault(Record(UUIDS[0]))),
        "clear-part": ("Opaque bytes and values, and flags at their limits.", vault(clear)),
        "growth-items": ("A browser, and growth items of later versions behind it.", vault(growth)),
        "growth-without-browser": ("Without a browser the next item is taken for one.", vault(replace(growth, browser=""))),
        "utf16-browser": (
            "The browser item as older writers stored it.", vault(replace(BANK, browser="S\u00e4f\u00e4ri", browser_utf16=True)),
        ),
        "deletions-twice": ("Entries stay as often as they are there, in their order.", vault(deletions=twice)),
        "dates": (
            "A date of use that lies years ahead reads as none, a date of change does not.",
            vault(replace(BANK, modified=2500000000, last_used=2500000000), replace(CAFE, modified=0, last_used=0)),
        ),
        "preferences-version-2": (
            "An older version, a sort order of 0, and no value at its default.",
            vault(preferences=Preferences(2, 1, 2, 3, 0, (-1, 2, -3, 4), 5, (6, 7, 8), 0, 9)),
        ),
        "record-format-0": ("A record without category, labels and growth area.", older(0)),
        "record-format-1": ("A record without category, labels and growth area.", older(1)),
        "record-format-2": ("A record without category, labels and growth area.", older(2)),
        "record-format-3": (
            "A record with a category in Mac Roman and a growth area.",
            older(3, category="B\u00fcro", browser="abc", clear_block=b"opaque", clear_value=7),
        ),
        "record-format-5": ("A record format that is not known yet reads as 4.", vault(replace(BANK, version=5))),
        "bytes-behind-body": ("A reader leaves out what stands behind the encrypted part.", vault(replace(BANK, behind=b"?"))),
        "garbage-between-records": ("Bytes that are no section, between records.", vault(BANK, b"junk Pda", CAFE)),
        "garbage-behind": ("Three bytes behind the last record.", vault(BANK, b"xyz")),
        "tag-behind": ("The file ends with the tag of a record.", vault(BANK, b"Pdat")),
        "record-chunk-cut": ("The last record is cut by the end of the file, inside of its block.", two_errors),
        "record-count-cut": ("The file ends behind the count of a record.", vault(BANK, b"Pdat" + u32(100))),
        "record-count-too-large": (
            "The count of the first record runs past the end; the scan finds the second.", vault(pdat(bank, 0xFFFFFFFC), CAFE),
        ),
        "record-count-all-ones": ("A count of all ones is an empty block.", vault(pdat(b"", 0xFFFFFFFF), CAFE)),
        "record-block-short": ("The block ends inside of the identity.", vault(pdat(bank[:20]), CAFE)),
        "record-block-without-body": ("The block ends ahead of the encrypted part.", vault(pdat(bank[: -4 - len(FISH.encrypt(BANK.plain()))]), CAFE)),
        "body-empty": ("An encrypted part of no bytes.", vault(replace(BANK, body=b""))),
        "body-odd-length": ("An encrypted part that isn't whole cipher blocks.", vault(in_cipher, CAFE)),
        "body-garbage": ("An encrypted part that deciphers to nonsense.", vault(replace(BANK, body=bytes(range(64))))),
        "tag-in-body": ("The tag of a record stands inside of an encrypted part; nobody looks there.", tag_in_body()),
        "other-master": ("A vault of another master password.", vault(reference=OTHER_REFERENCE)),
        "reference-last-block": (
            "Nobody looks at the last cipher block of the reference buffer.", vault(BANK, reference=REFERENCE[:248] + bytes(8)),
        ),
        "bad-preferences-version": ("Preferences of an unknown version.", vault(preferences=Preferences(5))),
        "preferences-short": ("Preferences that claim 32 bytes and hold 34.", short),
        "preferences-long": ("Preferences that claim 35 bytes and hold 34.", vault(preferences_length=35)),
        "deletion-cut": ("A deletion entry ends inside of its chunk.", vault(deletions_chunk=chunk(chunk(UUIDS[2]) + b"\1"))),
        "deletion-count-wraps": (
            "An entry's count that wraps if it is added.", vault(deletions_chunk=chunk(u32(0xFFFFFFFC) + u16(1))),
        ),
        "reference-count-too-large": ("The count of the reference buffer runs past the end.", b"VL_4Fish" + u32(257) + REFERENCE),
        "no-deletion-list": ("The section of the deletions is missing.", with_bytes(vault().encode(), b"Dele" + u32(0), b"")),
        "no-vault": ("No vault at all.", b"This is a letter to the bank.\n"),
        "no-bytes": ("An empty file.", b""),
    }


def tag_in_body() -> Vault:
    """A body that begins with the tag; deciphered it is nonsense."""
    return vault(replace(BANK, body=b"Pdat" + u32(20) + FISH.encrypt(BANK.plain())), CAFE)


# --- text -------------------------------------------------------------------------------------------------------------


def texts() -> dict[str, str]:
    """File names and contents."""
    made = {}
    for name, (purpose, content) in goldens().items():
        layout: Layout = [("the whole file", content)] if isinstance(content, bytes) else content.layout()
        data = b"".join(piece for _, piece in layout)
        made[f"{name}.hex"] = "\n".join([f"# {purpose}", *promises(data), "", *commented(layout)]) + "\n"
    return made


def promises(data: bytes) -> list[str]:
    try:
        kept, read = Document(data, fresh=b"-"), Document(data, FISH, b"-", NOW)
    except Failure as failure:
        return [f"# raises: {failure.text}"]
    with_password = f"errors deciphered: {read.errors}" if FISH.verify(kept.reference) else "wrong password"
    lines = [f"# errors: {kept.errors}", f"# {with_password}", f"# records: {len(kept.records)}"]
    lines.append(f"# deletions: {len(kept.deletions)}")
    try:
        merge.write(kept, 0)
    except Failure as failure:
        lines.append(f"# write raises: {failure.text}")
    for number, record in enumerate(read.records):
        lines += [f"# record {number} {name}: {value}" for name, value in contents(record)]
    return lines


def contents(record: ReadRecord) -> list[tuple[str, str]]:
    """Those fields that hold something."""
    texts = [(name, getattr(record, name)) for name in TEXT_FIELDS]
    numbers = [(name, getattr(record, name)) for name in NUMBER_FIELDS]
    found = [(name, json.dumps(text.decode("utf-8"), ensure_ascii=False)) for name, text in texts if text]
    found += [(name, str(number)) for name, number in numbers if number]
    if record.clear_block:
        found.append(("clear_block", record.clear_block.hex().upper()))
    if any(record.color):
        found.append(("color", " ".join(map(str, record.color))))
    if record.growth:
        found.append(("growth", " ".join(item.hex().upper() or "-" for item in record.growth)))
    return found


def commented(layout: Layout) -> list[str]:
    lines = []
    for what, content in layout:
        if what.startswith(("tag", "piece")):
            lines.append("")
        rows = [content[i : i + 16].hex(" ").upper() for i in range(0, len(content), 16)]
        lines += [f"{rows[0]:<48} # {what}"] if len(rows) == 1 else [f"# {what}", *rows]
    return lines


def dump(layout: Layout) -> str:
    lines, offset = [], 0
    for what, content in layout:
        for i in range(0, len(content), 16):
            row = content[i : i + 16].hex(" ").upper()
            lines.append(f"{offset + i:5}  {row:<47}  {what if i == 0 else ''}".rstrip())
        offset += len(content)
    return "\n".join(lines) + "\n"


def dumps() -> tuple[str, str]:
    """A whole vault, and what its last record has in its encrypted part."""
    shown_vault = goldens()["two-records"][1]
    last = shown_vault.parts[-1]
    padding = bytes(-len(last.plain()) % 8)
    return dump(shown_vault.layout()), dump([*last.plain_layout(), ("zero bytes", padding)])


def main():
    if sys.argv[1:] == ["--dump"]:
        print("\n".join(dumps()), end="")
        return
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else DATA
    for name, text in texts().items():
        (folder / name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
