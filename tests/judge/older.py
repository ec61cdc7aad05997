"""Vaults of versions 1 to 3, for tests: an independent writer and reader, as vault.py is for version 4.

A version 3 vault is a file. Of a version 1 or 2 vault there is what a host hands over that has taken the file apart:
the reference buffer, the preferences and the record blocks. Tests keep these one behind the other, each as a chunk.
"""

from __future__ import annotations

from dataclasses import dataclass, field

from vault import (
    Blowfish, Document, Failure, Layout, Preferences, ReadRecord, Record, Stream, Vault, chunk, joined, reference_buffer, u32
)


# --- writing ----------------------------------------------------------------------------------------------------------


@dataclass
class Version3(Vault):
    """Neither magic nor identities."""

    def layout(self) -> Layout:
        return self._layout_up_to_deletions() + self._parts_layout()


@dataclass
class HandedOver:
    """What a host hands over of a version 1 or 2 file. `parts` holds records, and raw bytes for any other block."""

    version: int
    fish: Blowfish
    parts: list[Record | bytes] = field(default_factory=list)
    preferences: bytes = field(default_factory=Preferences().encode)

    def layout(self) -> Layout:
        reference = reference_buffer(self.fish)
        pieces: Layout = [("length of the reference buffer", u32(len(reference))), ("reference buffer", reference)]
        pieces += [("length of the preferences", u32(len(self.preferences)))]
        pieces += [("preferences", self.preferences)] if self.preferences else []
        for part in self.parts:
            block = self._block_layout(part)
            pieces += [("piece: length of a record block", u32(len(joined(block)))), *block]
        return pieces

    def _block_layout(self, part: Record | bytes) -> Layout:
        if isinstance(part, bytes):
            return [("a block that is no record", part)] if part else []
        if self.version == 1:
            return [("record, enciphered", part.version_1_block(self.fish))]
        return part.layout(self.fish)


# --- reading ----------------------------------------------------------------------------------------------------------


class OlderDocument(Document):
    """An older vault as it was read. `failure` is the text that ended the read; what was read before it stays."""

    def __init__(self, version: int, data: bytes, fish: Blowfish, now: int):
        self.records: list[ReadRecord] = []
        self.preferences = Preferences()
        self.errors = 0
        self.failure = ""
        stream = Stream(data)
        try:
            if version == 3:
                self._read_file(stream, fish, now)
            else:
                self._read_handed_over(version, stream, fish, now)
        except Failure as failure:
            self.failure = failure.text

    def _read_file(self, stream: Stream, fish: Blowfish, now: int):
        self._expect(stream, b"Fish", "expected blowfish reference buffer")
        self.reference = stream.chunk()
        self._expect(stream, b"Pref", "expected document preferences")
        self._read_preferences(stream)
        self._expect(stream, b"Dele", "expected deletion list")
        stream.chunk()  # not taken over, whatever is in it
        while not stream.at_end():
            if stream.peek_u32() != int.from_bytes(b"Pdat", "big"):
                raise Failure("expected password record data", "ReadVersion3FileContentsCompletion")
            stream.u32()
            block = stream.chunk()
            self._keep(lambda record: record.read(block, fish, now))

    def _read_handed_over(self, version: int, stream: Stream, fish: Blowfish, now: int):
        self.reference = stream.chunk()
        preferences = stream.chunk()
        if preferences:
            self._read_preferences(Stream(chunk(preferences)))
        while not stream.at_end():
            block = stream.chunk()
            if version == 1:
                self._keep(lambda record: record.read_version_1(block, fish))
            else:
                self._keep(lambda record: record.read(block, fish, now))

    def _keep(self, read):
        """A damaged record stays, with the fields read before the damage."""
        record = ReadRecord()
        try:
            read(record)
        except Failure:
            self.errors += 1
        self.records.append(record)
