"""What a run must do to two vault files, told the slow and obvious way.

`run` reads both files without deciphering anything, merges them by plain scans over plain lists and gives the bytes that
each file must hold afterwards, or the failure. Every look-up is a walk from the start of a list; `IndexedLists` answers
the same questions from dictionaries, for vaults so large that the walks would take hours.
"""

from __future__ import annotations

import unicodedata
from collections.abc import Callable
from dataclasses import dataclass, replace
from functools import cmp_to_key, lru_cache

from vault import MAGIC, Deletion, Document, Failure, ReadRecord, chunk, u8, u16, u32

FRESH = (b"fresh identity of the first", b"fresh identity of the second")


# --- text -------------------------------------------------------------------------------------------------------------


@lru_cache(maxsize=None)
def exact(text: bytes) -> str:
    """What texts are compared by: code points, canonically equivalent ones being equal. A byte that isn't valid UTF-8
    stands for itself, as a code point of its own."""
    return unicodedata.normalize("NFD", text.decode("utf-8", "surrogateescape"))


@lru_cache(maxsize=None)
def caseless(text: bytes) -> str:
    return unicodedata.normalize("NFD", exact(text).casefold())


def compare(a: bytes, b: bytes, key: Callable[[bytes], str] = exact) -> int:
    return (key(a) > key(b)) - (key(a) < key(b))


# --- look-ups ---------------------------------------------------------------------------------------------------------


class Scans:
    """The look-ups of a merge as walks over the lists."""

    def __init__(self, records: list[ReadRecord], deletions: list[Deletion]):
        self.records, self.deletions = records, deletions

    def record(self, uuid: bytes) -> ReadRecord | None:
        for record in self.records:
            if compare(record.uuid, uuid) == 0:
                return record
        return None

    def is_deleted(self, uuid: bytes) -> bool:
        return any(compare(deletion.uuid, uuid, caseless) == 0 for deletion in self.deletions)

    def append(self, record: ReadRecord):
        self.records.append(record)


class IndexedLists(Scans):
    """The same answers from dictionaries."""

    def __init__(self, records: list[ReadRecord], deletions: list[Deletion]):
        super().__init__(records, deletions)
        self.first: dict[str, ReadRecord] = {}
        for record in records:
            self.first.setdefault(exact(record.uuid), record)
        self.deleted = {caseless(deletion.uuid) for deletion in deletions}

    def record(self, uuid: bytes) -> ReadRecord | None:
        return self.first.get(exact(uuid))

    def is_deleted(self, uuid: bytes) -> bool:
        return caseless(uuid) in self.deleted

    def append(self, record: ReadRecord):
        super().append(record)
        self.first.setdefault(exact(record.uuid), record)


# --- the merge --------------------------------------------------------------------------------------------------------


def merge(hh: Document, pc: Document, lists: type[Scans] = Scans):
    if hh.reference != pc.reference:
        raise Failure("", "VerifyMastersCompatible", code=9, line=32)
    merge_deletions(hh, pc)
    merge_side(hh, pc, lists)
    merge_side(pc, hh, lists)
    pc.partner = hh.unique
    hh.partner = pc.unique


def merge_deletions(hh: Document, pc: Document):
    union = hh.deletions + pc.deletions
    if len(union) >= 2:
        union.sort(key=cmp_to_key(lambda a, b: compare(a.uuid, b.uuid, caseless)))  # stable
        kept: list[Deletion] = []
        for entry in union:
            if not kept or compare(entry.uuid, kept[-1].uuid, caseless) != 0:
                kept.append(entry)
        union = kept
    hh.deletions, pc.deletions = union, list(union)


def merge_side(side: Document, other: Document, lists: type[Scans]):
    there = lists(other.records, other.deletions)
    removals: list[ReadRecord] = []
    for record in side.records:
        match = there.record(record.uuid)
        if match is not None:
            if compare(record.category, match.category) != 0:
                there.append(record)
        elif there.is_deleted(record.uuid):
            removals.append(record)
        else:
            there.append(record)
    remove_all(side.records, removals)


def remove_all(records: list[ReadRecord], removals: list[ReadRecord]):
    """Each record once, by identity, its first occurrence. A record that stands in a list twice is found there by the
    other side too, and so is never in the removals: dropping all that are listed is the same."""
    gone = {id(record) for record in removals}
    records[:] = [record for record in records if id(record) not in gone]


# --- writing ----------------------------------------------------------------------------------------------------------


def write(document: Document, date: int) -> bytes:
    if not document.reference:
        raise Failure("no original reference buffer to write", "WriteVersion4Contents")
    deletions = b"".join(chunk(entry.uuid) + u16(entry.checksum) for entry in document.deletions)
    header = [
        MAGIC,
        b"Fish",
        chunk(document.reference),
        b"Pref",
        chunk(replace(document.preferences, version=4, date=date).encode()),
        b"Dele",
        chunk(deletions),
        b"SyIn",
        chunk(document.unique),
        chunk(document.partner),
    ]
    return b"".join(header + [b"Pdat" + chunk(write_record(record)) for record in document.records])


def write_record(record: ReadRecord) -> bytes:
    if not record.body:
        raise Failure("no original encrypted data to write", "WriteDataWithFish")
    return (
        u32(4)
        + chunk(record.uuid)
        + u8(record.collapsed)
        + u8(record.changed)
        + chunk(record.category)
        + chunk(record.clear_block)
        + u32(record.clear_value)
        + chunk(record.body)
    )


# --- a run ------------------------------------------------------------------------------------------------------------


@dataclass
class Outcome:
    """What a run comes to. A file of None stays as it was."""

    files: list[bytes | None]
    failure: Failure | None = None
    log: list[str] | None = None
    had_identity: tuple[bool, bool] = (True, True)


def run(
    first: bytes,
    second: bytes,
    dates: tuple[int, int] = (0, 0),
    identities: tuple[bytes, bytes] = FRESH,
    lists: type[Scans] = Scans,
) -> Outcome:
    """`dates` are those that the run gives the preferences, `identities` those that it gives to files without one."""
    outcome = Outcome([None, None], log=[])
    try:
        documents = []
        for data, fresh in zip((first, second), identities):
            documents.append(Document(data, fresh=fresh))
            outcome.log += documents[-1].log
        outcome.had_identity = (documents[0].had_identity, documents[1].had_identity)
        merge(*documents, lists)
        for number, document in enumerate(documents):
            outcome.files[number] = write(document, dates[number])
    except Failure as failure:
        outcome.failure = failure
        outcome.log += [failure.text] if failure.text else []
    return outcome
