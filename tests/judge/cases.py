"""The pairs of vaults that the judge hands to the program, by group."""

from __future__ import annotations

import random
import unicodedata
from collections.abc import Callable, Iterator
from dataclasses import dataclass, replace
from pathlib import Path

from vault import Blowfish, Preferences, Record, Vault, chunk, pdat, raw, reference_buffer, u8, u32

DATA = Path(__file__).parent.parent / "data"
FISH = Blowfish("open sesame")
OTHER_FISH = Blowfish("open sesame!")
REFERENCE = reference_buffer(FISH)
OTHER_REFERENCE = reference_buffer(OTHER_FISH)
IDENTITIES = ("11111111-AAAA-4AAA-8AAA-000000000001", "22222222-BBBB-4BBB-8BBB-000000000002")


@dataclass
class Case:
    name: str
    first: bytes
    second: bytes
    after: tuple[list, list] | None = None  # identities that must be there afterwards, told by hand
    failure: str | None = None  # told by hand: the text, or "" for none


def uuid(number: int, letters: str = "ABCDEF") -> str:
    return f"{letters}{number:02X}-0000-4000-8000-{number:012X}"


def record(identity: str | bytes, category: str | bytes = "", body: bytes | None = None, **fields) -> Record:
    """A record with a body that nobody has to encipher."""
    if body is None:
        body = random.Random(repr((identity, category))).randbytes(64)
    return Record(uuid=identity, category=category, body=body, **fields)


def side(number: int, *parts: Record | bytes, deleted=(), **fields) -> bytes:
    """A vault of the first (0) or second (1) file. Deletions are identities, or pairs with a checksum."""
    deletions = [entry if isinstance(entry, tuple) else (entry, 0x1000 + number) for entry in deleted]
    fields = {"unique": IDENTITIES[number], "reference": REFERENCE, **fields}
    return Vault(FISH, list(parts), deletions, **fields).encode()


def first(*parts, **fields) -> bytes:
    return side(0, *parts, **fields)


def second(*parts, **fields) -> bytes:
    return side(1, *parts, **fields)


# --- groups -----------------------------------------------------------------------------------------------------------

U, V, W, X = (uuid(number) for number in range(1, 5))


@dataclass
class Row:
    """One situation of a merge: what each side holds and has deleted, and what must be there."""

    name: str
    hh: list[Record]
    pc: list[Record]
    hh_deleted: list
    pc_deleted: list
    after: tuple[list, list]


MERGE_TABLE = [
    Row("on both", [record(U)], [record(U)], [], [], ([U], [U])),
    Row("only on the first", [record(U)], [], [], [], ([U], [U])),
    Row("only on the second", [], [record(U)], [], [], ([U], [U])),
    Row("deleted on the second", [record(U)], [], [], [U], ([], [])),
    Row("deleted on the first", [], [record(U)], [U], [], ([], [])),
    Row("edited on the first", [record(V)], [record(U)], [U], [], ([V], [V])),
    Row("edited on the second", [record(U)], [record(V)], [], [U], ([V], [V])),
    Row("edited on both", [record(V)], [record(W)], [U], [U], ([V, W], [W, V])),
    Row("edited here, deleted there", [record(V)], [], [U], [U], ([V], [V])),
    Row("one identity, two categories", [record(U, "a")], [record(U, "b")], [], [], ([U, U], [U, U])),
    Row("on both, and deleted on the first", [record(U)], [record(U)], [U], [], ([U], [U])),
    Row("on both, and deleted on the second", [record(U)], [record(U)], [], [U], ([U], [U])),
    Row("on both, and deleted on both", [record(U)], [record(U)], [U], [U], ([U], [U])),
    Row("here and in the own list", [record(U)], [], [U], [], ([], [])),
    Row("nothing but deletions", [], [], [U, V], [V, W], ([], [])),
    Row("all on one side", [], [record(U), record(V)], [], [], ([U, V], [U, V])),
    Row("all go", [record(U)], [record(V)], [V], [U], ([], [])),
]


def merge_table() -> Iterator[Case]:
    for row in MERGE_TABLE:
        hh, pc = first(*row.hh, deleted=row.hh_deleted), second(*row.pc, deleted=row.pc_deleted)
        yield Case(row.name, hh, pc, row.after, "")


def deletion_lists() -> Iterator[Case]:
    low, high = U.lower(), U.upper()
    yield Case("one entry, first", first(deleted=[(U, 7)]), second(), failure="")
    yield Case("one entry, second", first(), second(deleted=[(U, 7)]), failure="")
    yield Case("twice in one list", first(deleted=[(U, 1), (U, 2)]), second(), failure="")
    yield Case("in both, other checksums", first(deleted=[(U, 1)]), second(deleted=[(U, 2)]), failure="")
    yield Case("mixed case folds", first(deleted=[(low, 1)]), second(deleted=[(high, 2)]), failure="")
    yield Case("mixed case folds, turned", first(deleted=[(high, 1)]), second(deleted=[(low, 2)]), failure="")
    yield Case("other case removes a record", first(record(low), record(V)), second(deleted=[high]), ([V], [V]), "")
    yield Case(
        "sorted and folded",
        first(deleted=[("b", 1), ("B", 2), ("a", 3), ("C", 4), ("a", 5)]),
        second(deleted=[("A", 6), ("c", 7), ("B", 8), ("", 9), ("d", 10), ("", 11)]),
        failure="",
    )
    yield Case("entry is the start of another", first(deleted=["ab", "abc", "a"]), second(deleted=["", "abcd"]))
    yield Case("empty entry removes a nameless record", first(record("")), second(deleted=[""]), ([], []), "")
    yield Case(
        "hundreds, shuffled",
        first(deleted=[(uuid(n * 7 % 200), n) for n in range(300)]),
        second(deleted=[(uuid(n * 11 % 251).lower(), n) for n in range(300)]),
    )


def golden_vaults() -> Iterator[Case]:
    """Each format, and each kind of damage that has a name, on either side and on both."""
    for path in sorted(DATA.glob("*.hex")):
        data = bytes.fromhex("".join(line.split("#")[0] for line in path.read_text(encoding="utf-8").splitlines()))
        yield Case(path.stem, data, second(record(V)))
        yield Case(f"{path.stem}, second", first(record(V)), data)
        yield Case(f"{path.stem}, both", data, data)


def fields() -> Iterator[Case]:
    yield Case("extreme flags", first(record(U, collapsed=-128, changed=128, clear_value=-(1 << 31))), second())
    yield Case("bodies differ under one identity", first(record(U, body=b"A" * 8)), second(record(U, body=b"B" * 16)))
    yield Case(
        "clear parts differ under one identity",
        first(record(U, changed=1, clear_block=b"one", collapsed=1)), second(record(U, clear_value=7)), failure="",
    )
    for version in range(4):
        old = Record("", "Title", "url", version=version, old_identity=(0xAB, 0x12345678), clear_block=b"cb", modified=5)
        yield Case(f"record format version {version}", first(old), second(replace(old, old_identity=(1, 2))), failure="")
    every = bytes(range(128, 256)).decode("mac_roman")
    yield Case("old category, every byte", first(record("", every, version=3)), second(), failure="")
    long_block = record("", "a", version=3, body=bytes(range(256)) * 600, old_identity=(1, 2))
    yield Case("checksum of a long block", first(long_block), second(long_block), failure="")


def headers() -> Iterator[Case]:
    a, b = record(U), record(V)
    for number, (left, right) in enumerate((("", "x"), ("x", ""), ("", ""))):
        yield Case(f"empty identities {number}", first(a, unique=left), second(b, unique=right), failure="")
    yield Case("one identity in both", first(a, unique="x", partner="y"), second(b, unique="x"), failure="")
    yield Case("identities of any text", first(a, unique=b"\xff\0"), second(unique="\u212b" * 500), failure="")
    yield Case("old partners go", first(partner="old"), second(partner="older"), failure="")
    strange = Preferences(
        date=0xFFFFFFFF, stamp=0, flag_a=0x80, sort=0x80000001, rect=(-1, 32767, -32768, 5), flag_b=0xFF,
        background=(0, 65535, 1), overridable=0, flag_c=0x7F,
    )
    for version in (2, 3, 4):
        yield Case(f"preferences version {version}", first(a, preferences=replace(strange, version=version)), second(b))
    yield Case("sort order 0 becomes 1", first(preferences=Preferences(sort=0)), second(preferences=strange), failure="")
    for length in (1, 8, 255, 300):
        name = f"reference buffers of {length} bytes"
        yield Case(name, *(side(n, record(U), reference=bytes(length)) for n in (0, 1)), failure="")


def with_bytes(data: bytes, old: bytes, new: bytes) -> bytes:
    assert data.count(old) == 1
    return data.replace(old, new)


def categories() -> Iterator[Case]:
    """Categories of one record that are written differently; `all_texts` has the same for identities."""
    for one, other in (
        ("abc", "ABC"),
        ("\u00e9", "e\u0301"),
        ("\u212a", "K"),
        ("a\u0323\u0307", "a\u0307\u0323"),
        ("stra\u00dfe", "STRASSE"),
        ("a\0b", "a\0c"),
        (b"\xff", b"\xfe"),
        (b"\xffe\xcc\x81", b"\xff\xc3\xa9"),
    ):
        yield Case(f"{one!r} and {other!r}", first(record(U, one)), second(record(U, other)), failure="")


def repeated() -> Iterator[Case]:
    """One identity several times on one side."""
    a, b, c = record(U, "a"), record(U, "b"), record(U, "c")
    plain = record(U, "a", body=b"other body ....."[:16])
    yield Case("two categories here", first(a, b), second(), failure="")
    yield Case("two categories there", first(), second(a, b), failure="")
    yield Case("two here, one there", first(a, b), second(b), failure="")
    yield Case("two on both, turned", first(a, b), second(b, a), failure="")
    yield Case("three and two", first(a, b, c), second(c, a), failure="")
    yield Case("same twice", first(a, plain), second(), failure="")
    yield Case("same twice, deleted there", first(a, plain, b), second(deleted=[U.lower()]), ([], []), "")
    yield Case("nameless records", first(record(""), record("", "x")), second(record(""), record(V)), failure="")


def damage() -> Iterator[Case]:
    a, b = record(U), record(V)
    whole = a.block(FISH)
    no_body = "no original encrypted data to write"
    yield Case("body of length 0", first(record(U, body=b"")), second(b), failure=no_body)
    yield Case("body of length 0, on the second", first(b), second(record(U, body=b"")), failure=no_body)
    yield Case("body of length 0, known to the other", first(a), second(record(U, body=b"")), failure=no_body)
    yield Case("body of length 0, deleted there", first(deleted=[U]), second(b, record(U, body=b"")), ([V], [V]), "")
    for cut in range(0, len(whole), 3):
        yield Case(f"block of {cut} bytes", first(pdat(whole[:cut]), b), second(a), failure=no_body)
    yield Case("cut block, deleted there", first(pdat(whole[:50]), b), second(deleted=[U]), ([V], [V]), "")
    yield Case("nothing left of a block, nameless deleted", first(pdat(b""), b), second(deleted=[""]), ([V], [V]), "")
    yield Case("chunk cut, nameless deleted", first(b, pdat(whole[:9], 99)), second(deleted=[""]), ([V], [V]), "")
    yield Case("count too large, record inside", first(pdat(whole, 9999), b), second(deleted=[""]), ([V], [V]), "")
    yield Case("count too small", first(pdat(whole, 60), b), second(deleted=[U]), ([V], [V]), "")
    yield Case("false record inside a body", first(record(U, body=b"Pdat" + pdat(whole)), b), second(), failure="")
    yield Case("ends with the tag", first(b, b"Pdat"), second(deleted=[""]), ([V], [V]), "")
    yield Case("ends with the tag, not deleted", first(b, b"Pdat"), second(), failure=no_body)
    yield Case("nameless on both", first(a, pdat(b"")), second(record("")), failure=no_body)
    yield Case("nameless on both, turned", first(record("")), second(a, pdat(b"")), failure=no_body)
    yield Case("damage on both", first(a, pdat(whole[:60])), second(pdat(b"\0"), b), failure=no_body)
    yield Case("unknown clear part", first(pdat(u32(2) + u8(1) + u32(2) + u8(0) + u8(0) + chunk(b"12345678"))), second())


def garbage() -> Iterator[Case]:
    a, b = record(U), record(V)
    for junk in (b"x", b"Pda", b"xyz", b"tadP", b"PPdatt"[:2], b"garbage " * 40, bytes(1001)):
        name = f"{junk[:8]!r}, {len(junk)} bytes"
        yield Case(f"behind: {name}", first(a, b, junk), second(), ([U, V], [U, V]), "")
        yield Case(f"between: {name}", first(a, junk, b), second(), ([U, V], [U, V]), "")
        yield Case(f"ahead: {name}", first(), second(junk, a, b), ([U, V], [U, V]), "")
        yield Case(f"everywhere: {name}", first(junk, a, junk, b, junk), second(junk), ([U, V], [U, V]), "")
    yield Case("only the start of a tag", first(b"PdaPda"), second(b"P"), ([], []), "")
    yield Case("overlapping tags", first(b"PdPdatPdat", a), second(deleted=[""]))


def large_notes() -> Iterator[Case]:
    notes = ("Grüße, 世界! " * 30000)[:200000]
    entry = Record(U, "T", notes=notes, username="n", modified=1)
    tags = record(V, body=(b"Pdat" * 100000)[:-3])
    yield Case("notes of several hundred KiB", first(replace(entry, body=FISH.encrypt(entry.plain()))), second(), failure="")
    yield Case("a body full of tags", first(tags), second(record(U)), failure="")
    block = bytes(range(256)) * 2048
    yield Case("clear block of half a MiB", first(record(U)), second(record(V, clear_block=block)), failure="")
    yield Case("long category and identity", first(record("i" * 300000, "c" * 300000)), second(record("i" * 299999)))
    yield Case("garbage of a MiB", first(record(U), bytes(1 << 20), record(V)), second(), ([U, V], [U, V]), "")


def masters() -> Iterator[Case]:
    a, b = record(U), record(V)
    yield Case("other master", first(a), second(b, reference=OTHER_REFERENCE))
    yield Case("one byte differs", first(a), second(b, reference=b"\0" + REFERENCE[1:]))
    yield Case("last byte differs", first(a), second(b, reference=REFERENCE[:-1] + bytes([REFERENCE[-1] ^ 1])))
    yield Case("other length", first(a), second(b, reference=REFERENCE + bytes(8)))
    yield Case("no reference buffer", first(a, reference=b""), second(b))
    yield Case(
        "no reference buffer on either", *(side(n, a, reference=b"") for n in (0, 1)),
        failure="no original reference buffer to write",
    )


def refusals() -> Iterator[Case]:
    good = first(record(U))
    for name, data in {
        "one byte": b"V", "magic alone": b"VL_4", "magic twice": b"VL_4" + good, "magic of older files": b"VL_3" + good[4:],
        "zeros": bytes(400), "tag in lower case": b"fish" + good[8:],
    }.items():
        yield Case(name, data, good)
        yield Case(f"{name}, second", good, data)
    for version in (0, 1, 5, 0xFFFFFFFF):
        yield Case(
            f"preferences version {version:X}", first(preferences=Preferences(version=version)), good,
            failure="unknown document preferences version",
        )
    for length in (0, 32, 33, 35, 0xFFFFFFFF):
        yield Case(f"preferences length {length:X}", first(preferences_length=length), good, failure="corrupted data block")
    yield Case("both refused: the first is told", good.replace(b"Dele", b"dele"), good.replace(b"SyIn", b"syin"))


def spoiled_everywhere() -> Iterator[Case]:
    """Cut at every length, and a count that is none at every place but inside of the reference buffer."""
    data = first(record(U), record(V), deleted=[W])
    other = second(record(X), deleted=[""])
    for at in range(len(data)):
        yield Case(f"first {at} bytes", data[:at], other)
    for at in (*range(12), *range(268, len(data) - 3)):
        count = (0xFFFFFFFF, 0xFFFFFFFC, 0x80000000, 0x7FFFFFFF, 0)[at % 5]
        yield Case(f"{count:X} at {at}", data[:at] + u32(count) + data[at + 4 :], other)


GROUPS: dict[str, Callable[[], Iterator[Case]]] = {
    "merge table": merge_table,
    "deletion lists": deletion_lists,
    "golden vaults": golden_vaults,
    "fields and formats of records": fields,
    "headers": headers,
    "categories": categories,
    "one identity several times": repeated,
    "damaged records": damage,
    "garbage": garbage,
    "large contents": large_notes,
    "masters": masters,
    "files that are refused": refusals,
    "spoiled everywhere": spoiled_everywhere,
}


def all_texts(seed: int) -> Iterator[Case]:
    """Every code point that is assigned, alone and beside others, and bytes that are nearly text."""
    chance = random.Random(seed)
    assigned = [chr(c) for c in range(0x110000) if unicodedata.category(chr(c)) not in ("Cn", "Cs", "Co")]
    shuffled = chance.sample(assigned, len(assigned))
    yield Case("every code point deleted on both", first(deleted=assigned), second(deleted=shuffled), failure="")
    marks = [c for c in assigned if unicodedata.combining(c)]
    mixed = ["".join((*chance.choices(assigned, k=2), *chance.choices(marks, k=2))) for _ in range(30000)]
    variants = [chance.choice((str.upper, str.lower, str.title, str.swapcase))(text) for text in mixed]
    yield Case("letters and marks", first(deleted=mixed), second(deleted=variants), failure="")
    other = [unicodedata.normalize(chance.choice(("NFC", "NFD", "NFKC")), text) for text in assigned + mixed[:5000]]
    yield Case(
        "records in other forms",
        first(*(record(text, body=b"12345678") for text in assigned + mixed[:5000])),
        second(*(record(text, body=b"87654321") for text in other)),
        failure="",
    )
    pieces = [bytes([b]) for b in (0, 0x41, 0x7F, *range(0x80, 0x100, 3), 0xC0, 0xC1, 0xC3, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xFF)]
    pieces += [raw(text) for text in ("\u00e9", "\u0301", "\u1100", "\u1161", "\uac00", "\uffff", "\U0010ffff", "A", "\u212b")]
    pieces += [bytes.fromhex(piece) for piece in ("C080", "E080", "E280", "EDA0", "EDA080", "EDB3BF", "F090", "F09F94", "F490")]
    nearly = [b"".join(chance.choices(pieces, k=chance.randrange(1, 6))) for _ in range(60000)]
    yield Case("bytes that are nearly text", first(deleted=nearly[:30000]), second(deleted=nearly[30000:]), failure="")
    yield Case(
        "records of bytes that are nearly text",
        first(*(record(text, body=b"12345678") for text in nearly[:20000])),
        second(*(record(text, body=b"87654321") for text in nearly[15000:35000])),
        failure="",
    )


def large_pair(count: int, seed: int) -> Case:
    """Vaults of many records: most on both sides, the others new, edited or deleted on one of them."""
    chance = random.Random(seed)
    records: tuple[list[bytes], list[bytes]] = ([], [])
    deleted: tuple[list, list] = ([], [])
    for _ in range(count):
        name, category, body = identity(chance), chance.choice(("", "Bank", "Büro", "Post", "Büro " * 16)), chance.randbytes(304)
        block = pdat(Record(uuid=name, category=category, body=body).block(None))
        fate = chance.random()
        here = chance.randrange(2)
        if fate < 0.8:
            records[0].append(block)
            records[1].append(block)
        elif fate < 0.9:
            records[here].append(block)
        else:
            records[here].append(block)
            deleted[1 - here].append((name if chance.random() < 0.8 else name.lower(), chance.randrange(65536)))
            if fate < 0.95:
                edited = Record(uuid=identity(chance), category=category, body=chance.randbytes(304)).block(None)
                records[1 - here].append(pdat(edited))
    chance.shuffle(records[1])
    return Case(
        f"{count} records",
        first(b"".join(records[0]), deleted=deleted[0]),
        second(b"".join(records[1]), deleted=deleted[1]),
        failure="",
    )


def identity(chance: random.Random) -> str:
    digits = f"{chance.getrandbits(128):032X}"
    return "-".join((digits[:8], digits[8:12], digits[12:16], digits[16:20], digits[20:]))
