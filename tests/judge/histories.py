"""Random histories: two copies of a vault that are edited apart, meet, and are edited on."""

from __future__ import annotations

import random
from dataclasses import replace

from cases import FISH, REFERENCE, identity
from vault import Document, Preferences, Record, Vault, checksum, rewritten

TEXTS = ["", "a", "A", "b", "\u00e9", "e\u0301", "E\u0301", "\u00df", "SS", "\u212b", "A\u030a", b"\xff", b"\xffA", b"\xc3"]


class Copy:
    """One copy of the vault, and what its user and careless programs do to it."""

    def __init__(self, chance: random.Random, records: list[Record], name: str):
        self.chance = chance
        self.vault = Vault(FISH, list(records), unique=name, reference=REFERENCE)

    def some_uuid(self) -> str | bytes:
        return self.chance.choice(TEXTS) if self.chance.random() < 0.1 else identity(self.chance)

    def new_record(self) -> Record:
        chance = self.chance
        return Record(
            uuid=self.some_uuid(),
            category=chance.choice(TEXTS),
            collapsed=chance.randrange(-128, 128),
            changed=chance.randrange(256),
            clear_block=chance.randbytes(chance.choice((0, 0, 0, 1, 9))),
            clear_value=chance.randrange(-(1 << 31), 1 << 31),
            body=chance.randbytes(8 * chance.randrange(7, 20)),
        )

    def delete(self, record: Record):
        self.vault.deletions.append((record.uuid, checksum(record.block(FISH))))

    def live(self):
        """One thing that happens to the copy."""
        chance, parts = self.chance, self.vault.parts
        what = chance.choice(("add", "add", "edit", "edit", "remove", "remove", "move", "touch", "double", "case", "lose",
                              "delete anything", "order", "preferences"))
        if what == "add" or not parts:
            parts.append(self.new_record())
            return
        at = chance.randrange(len(parts))
        if what == "edit":
            self.delete(parts[at])
            parts[at] = replace(self.new_record(), category=parts[at].category)
        elif what == "remove":
            self.delete(parts.pop(at))
        elif what == "move":  # a change of category that kept the identity
            parts[at] = replace(parts[at], category=chance.choice(TEXTS))
        elif what == "touch":  # a change of the body that kept the identity
            parts[at] = replace(parts[at], body=chance.randbytes(64), changed=1)
        elif what == "double":
            parts.insert(chance.randrange(len(parts)), replace(parts[at], body=chance.randbytes(8)))
        elif what == "case" and self.vault.deletions:
            self.vault.deletions = [
                (u.swapcase() if chance.random() < 0.3 else u, value) for u, value in self.vault.deletions
            ]
        elif what == "lose":  # gone without a trace
            parts.pop(at)
        elif what == "delete anything":
            self.vault.deletions.append((self.some_uuid(), chance.randrange(65536)))
        elif what == "order":
            chance.shuffle(parts)
        elif what == "preferences":
            self.vault.preferences = Preferences(
                version=chance.randrange(2, 5), sort=chance.choice((0, 1, 7, 0x80000003)), flag_c=chance.randrange(256)
            )

    def take(self, data: bytes):
        """Goes on from a file as a run has left it."""
        self.vault = rewritten(Document(data), FISH)


class History:
    def __init__(self, seed: int):
        self.chance = random.Random(seed)
        start = Copy(self.chance, [], "")
        for _ in range(self.chance.randrange(13)):
            start.vault.parts.append(start.new_record())
        self.copies = [Copy(self.chance, start.vault.parts, self.name()) for _ in range(2)]

    def name(self) -> str:
        return "" if self.chance.random() < 0.1 else identity(self.chance)

    def part_ways(self) -> tuple[bytes, bytes]:
        """The two files after some time apart."""
        for copy in self.copies:
            for _ in range(self.chance.randrange(8)):
                copy.live()
        return tuple(copy.vault.encode() for copy in self.copies)

    def meet(self, files: list[bytes]):
        for copy, data in zip(self.copies, files):
            copy.take(data)


def spoiled(data: bytes, chance: random.Random) -> bytes:
    """The file with some bytes changed, lost, doubled, added or cut off, mostly behind the reference buffer."""
    for _ in range(chance.randrange(1, 4)):
        start = min(260, len(data) - 1) if chance.random() < 0.95 else 0
        at = chance.randrange(start, len(data))
        length = chance.choice((1, 1, 2, 4, 4, 8, 50))
        what = chance.randrange(6)
        if what == 0:
            data = data[:at] + chance.randbytes(length) + data[at + length :]
        elif what == 1:
            data = data[:at] + data[at + length :]
        elif what == 2:
            data = data[:at] + chance.choice((b"Pdat", b"\xff\xff\xff\xff", b"x", bytes(length))) + data[at:]
        elif what == 3:
            data = data[:at]
        elif what == 4:
            data = data[:at] + data[max(0, at - length) :]
        else:
            data = data[:at] + bytes([data[at] ^ 1 << chance.randrange(8)]) + data[at + 1 :] if at < len(data) else data
        if not data:
            break
    return data
