#!/usr/bin/env python3
"""Makes the golden vaults of versions 1 to 3 in tests/data/older: commented hex, as make_golden.py does for version 4.

    make_golden_older.py [FOLDER]

A version 3 vault is a file. Of a version 1 or 2 vault there is what a host hands over that has taken it apart: the
reference buffer, the preferences and the record blocks, one behind the other and each as a chunk. The first comments
say what a reader must report:

    # version: N
    # password: "TEXT"             where it isn't "open sesame"
    # raises: TEXT                 the read ends with this text; the lines below tell what it has read before
    # errors: N                    damaged entries
    # records: N
    # preferences: DATE STAMP A SORT TOP LEFT BOTTOM RIGHT B RED GREEN BLUE OVERRIDABLE C
    # record I FIELD: VALUE        as make_golden.py tells. The UUID of a version 1 record is another one at each read
"""

from __future__ import annotations

import json
import sys
from dataclasses import replace
from pathlib import Path

from make_golden import BANK, DATA, NOW, OLD, UUIDS, commented, contents
from older import HandedOver, OlderDocument, Version3
from vault import Blowfish, Preferences, Record, chunk, padded, pdat, u32

PASSWORD = "open sesame"
FISH = Blowfish(padded(PASSWORD))
UPPER_HALF = bytes(range(0x80, 0x100)).decode("mac_roman")

FIRST = replace(
    OLD, category="B\u00fcro", browser="abc", growth=[b"\0\1\2"], clear_block=b"opaque", clear_value=-7, collapsed=1, changed=1,
    version=3,
)
SECOND = Record(
    "", "\u00c6on \u2020", "", "https://\u00e6.example/", "", "\u2026\u20ac", notes="a\rb", modified=1, old_identity=(1, 2), version=3
)
LATE = replace(OLD, title="Late", modified=-1, version=2)  # a date that isn't past the start of 2001 stands as it is
SETTINGS = Preferences(3, 0x01020304, 0x0A0B0C0D, -1, 0x80000006, (-1, 2, -3, 4), 5, (6, 7, 8), 0, 9)


def older(record: Record, version: int) -> Record:
    """What the format holds of the record."""
    return replace(record, version=version, **({"category": ""} if version < 3 else {}))


def version3(*parts: Record | bytes, **fields) -> Version3:
    return Version3(FISH, list(parts), **{"preferences": SETTINGS, **fields})


def handed_over(version: int, *parts: Record | bytes, preferences: bytes = SETTINGS.encode()) -> HandedOver:
    return HandedOver(version, FISH, list(parts), preferences)


def with_password(password: str) -> Version3:
    return Version3(Blowfish(padded(password)), [SECOND], preferences=SETTINGS)


def goldens() -> dict[str, tuple[str, Version3 | HandedOver, str]]:
    """By name: what it is, the vault, and its password."""
    block = FIRST.block(FISH)
    cipher = FISH.encrypt(FIRST.plain())
    odd = replace(FIRST, body=cipher[:-3])
    cut = replace(FIRST, body=cipher[:8])
    formats = [older(replace(OLD, title=f"Format {version}"), version) for version in range(3)]
    oldest = [replace(OLD, notes=""), LATE, replace(SECOND, title=UPPER_HALF, notes="")]
    oldest_cut = FISH.encrypt(FIRST.plain())[:16]
    rows = {
        "version-3": (
            "Two records, and a deletion list that isn't taken over.",
            version3(FIRST, SECOND, deletions=[(UUIDS[2], 0x0102), (UUIDS[3], 0xFFFF)]),
        ),
        "version-3-empty": (
            "No records; what stands as deletion list is none, and nobody looks.", version3(deletions_chunk=chunk(b"\0\0\0\1"))
        ),
        "version-3-mac-roman": (
            "All of the upper half of Mac Roman, and notes in ASCII that hold another byte.",
            version3(replace(SECOND, title=UPPER_HALF, category=UPPER_HALF, notes=b"caf\x8e!")),
        ),
        "version-3-record-formats": (
            "Records of all formats.", version3(*formats, FIRST, replace(BANK, changed=1, growth=[b"x"], browser="b"))
        ),
        "version-3-utf16-browser": ("The browser item as UTF-16.", version3(replace(FIRST, browser="S\u00e4f\u00e4ri", browser_utf16=True))),
        "version-3-empty-password": ("The key is 73 zero bytes.", with_password(""), ""),
        "version-3-long-password": ("A password longer than a padded key.", with_password("\u00e9" * 40), "\u00e9" * 40),
        "version-3-damaged": ("A damaged record stays, with what was read of it.", version3(odd, cut, pdat(block[:9]), pdat(b""), SECOND)),
        "version-3-stray-bytes": ("Bytes between records end the read.", version3(FIRST, b"stray", SECOND)),
        "version-3-tag-cut": ("The file ends inside of a tag.", version3(FIRST, b"Pda")),
        "version-3-count-cut": ("The file ends inside of a count.", version3(FIRST, b"Pdat\0\0")),
        "version-3-chunk-cut": ("The file ends inside of a record.", version3(FIRST, pdat(block[:60], len(block)))),
        "version-3-count-too-large": ("A count that wraps if it is added.", version3(pdat(block, 0xFFFFFFFC), SECOND)),
        "version-3-preferences-short": ("Preferences of 32 bytes, where others follow.", version3(preferences_length=32)),
        "version-2": ("Records of formats 0 to 3.", handed_over(2, *formats, FIRST, older(SECOND, 2), LATE)),
        "version-2-preferences-short": (
            "Preferences without their two last bytes keep the defaults of these.", handed_over(2, LATE, preferences=SETTINGS.encode()[:32])
        ),
        "version-2-no-preferences": ("No preferences.", handed_over(2, LATE, preferences=b"")),
        "version-2-no-records": ("No records.", handed_over(2)),
        "version-2-damaged": ("A damaged record stays, with what was read of it.", handed_over(2, odd, cut, block[:9], b"", formats[2])),
        "version-2-preferences-long": ("Preferences of 35 bytes.", handed_over(2, LATE, preferences=SETTINGS.encode() + b"\0")),
        "version-2-preferences-cut": ("Preferences of 31 bytes.", handed_over(2, LATE, preferences=SETTINGS.encode()[:31])),
        "version-2-preferences-unknown": (
            "Preferences of an unknown version.", handed_over(2, LATE, preferences=u32(5) + SETTINGS.encode()[4:])
        ),
        "version-1": ("Records without identity, category and notes.", handed_over(1, *oldest)),
        "version-1-preferences-short": (
            "Preferences without their last byte keep the default of it.", handed_over(1, oldest[0], preferences=SETTINGS.encode()[:33])
        ),
        "version-1-damaged": (
            "A damaged record stays, with what was read of it.", handed_over(1, b"123", oldest_cut, b"", oldest[0])
        ),
    }
    return {name: row if len(row) == 3 else (*row, PASSWORD) for name, row in rows.items()}


def texts() -> dict[str, str]:
    """File names and contents."""
    made = {}
    for name, (purpose, vault, password) in goldens().items():
        layout = vault.layout()
        data = b"".join(piece for _, piece in layout)
        made[f"{name}.hex"] = "\n".join([f"# {purpose}", *promises(vault, data, password), "", *commented(layout)]) + "\n"
    return made


def promises(vault: Version3 | HandedOver, data: bytes, password: str) -> list[str]:
    version = vault.version if isinstance(vault, HandedOver) else 3
    read = OlderDocument(version, data, vault.fish, NOW)
    lines = [f"# version: {version}"]
    if password != PASSWORD:
        lines.append(f"# password: {json.dumps(password, ensure_ascii=False)}")
    if read.failure:
        lines.append(f"# raises: {read.failure}")
    lines += [f"# errors: {read.errors}", f"# records: {len(read.records)}", f"# preferences: {settings(read.preferences)}"]
    for number, record in enumerate(read.records):
        lines += [f"# record {number} {name}: {value}" for name, value in contents(record)]
    return lines


def settings(of: Preferences) -> str:
    values = [of.date, of.stamp, of.flag_a, of.sort, *of.rect, of.flag_b, *of.background, of.overridable, of.flag_c]
    return " ".join(map(str, values))


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else DATA / "older"
    folder.mkdir(exist_ok=True)
    for name, text in texts().items():
        (folder / name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
