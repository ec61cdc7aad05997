"""The pair of the benchmarks as databases of keepassxc-cli, made through its own XML import.

As in the vaults, 98 of 100 entries are the same on both sides, one was edited later on the first, one on the second."""

from __future__ import annotations

import base64
import pathlib
import random
import uuid
from xml.sax.saxutils import escape

from harness import run_quietly

PASSWORD = "open sesame"
CHEAPEST_MILLISECONDS = "100"  # the least that the program accepts for its key derivation
LETTERS = "abcdefghijklmnopqrstuvwxyz     "
BEFORE, AFTER = "2020-01-01T00:00:00Z", "2021-01-01T00:00:00Z"
GROUP = base64.b64encode(uuid.UUID(int=1).bytes).decode()


def _times(changed: str) -> str:
    stamps = "".join(f"<{name}>{BEFORE}</{name}>" for name in ("CreationTime", "LastAccessTime", "ExpiryTime"))
    return (f"<Times>{stamps}<LastModificationTime>{changed}</LastModificationTime><LocationChanged>{BEFORE}"
            "</LocationChanged><Expires>False</Expires><UsageCount>0</UsageCount></Times>")


def _entry(identity: str, fields: dict[str, str], changed: str) -> str:
    strings = "".join(f"<String><Key>{key}</Key><Value>{escape(value)}</Value></String>"
                      for key, value in fields.items())
    return f"<Entry><UUID>{identity}</UUID><IconID>0</IconID>{_times(changed)}{strings}</Entry>"


def _write_xml(path: pathlib.Path, count: int, edited: int) -> None:
    """`edited` is the last two digits of the numbers of the entries that this side edited."""
    draw = random.Random(1)
    with path.open("w", encoding="utf-8") as file:
        file.write('<?xml version="1.0" encoding="UTF-8"?>\n<KeePassFile><Meta><DatabaseName>pair</DatabaseName></Meta>'
                   f"<Root><Group><UUID>{GROUP}</UUID><Name>Root</Name><IconID>48</IconID>{_times(BEFORE)}\n")
        for i in range(count):
            identity = uuid.UUID(int=draw.getrandbits(128), version=4)
            user, notes = ("".join(draw.choices(LETTERS, k=length)) for length in (12, 120))
            here = i % 100 == edited
            fields = {"Title": f"Account {i}", "UserName": user, "Password": f"pw-{identity}",
                      "URL": f"https://{user}.example/", "Notes": notes + (" edited" if here else "")}
            file.write(_entry(base64.b64encode(identity.bytes).decode(), fields, AFTER if here else BEFORE) + "\n")
        file.write("</Group></Root></KeePassFile>\n")


def make_pair(count: int, folder: pathlib.Path, scratch: pathlib.Path) -> None:
    """laptop.kdbx and stick.kdbx in `folder`."""
    for name, edited in (("laptop", 17), ("stick", 71)):
        xml = scratch / "import.xml"
        _write_xml(xml, count, edited)
        run_quietly(["keepassxc-cli", "import", "-q", "-p", "-t", CHEAPEST_MILLISECONDS, xml, folder / f"{name}.kdbx"],
                    scratch, f"{PASSWORD}\n{PASSWORD}\n")
        xml.unlink()
