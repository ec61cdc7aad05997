"""An independent writer and reader of vault files, for tests.

It shares nothing with the product but the file format (docs/file-format.md). The writer can also make what no sound
program writes: damage, garbage, older record formats. The reader follows the rules of the format step by step, and its
`Failure` carries the text and the operation that the product's report names.

All text is handled as bytes, since a vault may hold anything; `str` arguments are taken as UTF-8.
"""

from __future__ import annotations

import struct
from dataclasses import dataclass, field

EPOCH_2001 = 978307200  # 2001-01-01 in seconds since 1970
EPOCH_2001_FROM_1904 = 3061152000
PATTERN = bytes(range(256))  # what a reference buffer holds before it is enciphered
MAGIC = b"VL_4"
NO_CHUNK = 0xFFFFFFFF  # a chunk count that stands for an empty chunk


# --- primitives -------------------------------------------------------------------------------------------------------


def raw(text: str | bytes) -> bytes:
    return text.encode("utf-8") if isinstance(text, str) else bytes(text)


def u8(value: int) -> bytes:
    return struct.pack(">B", value & 0xFF)


def u16(value: int) -> bytes:
    return struct.pack(">H", value & 0xFFFF)


def u32(value: int) -> bytes:
    return struct.pack(">I", value & 0xFFFFFFFF)


def chunk(content: str | bytes) -> bytes:
    content = raw(content)
    return u32(len(content)) + content


def str255(text: str) -> bytes:
    encoded = text.encode("mac_roman")
    return u8(len(encoded)) + encoded


def color(value: tuple[int, int, int]) -> bytes:
    return b"".join(u16(part) for part in value)


def checksum(block: bytes) -> int:
    """The 16-bit words added with end-around carry; a last odd byte is left out."""
    words = len(block) // 2
    total = sum(struct.unpack(f">{words}H", block[: 2 * words])) & 0xFFFFFFFF
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return total


# --- cipher -----------------------------------------------------------------------------------------------------------


def _fraction_of_pi(bits: int) -> int:
    """The first `bits` binary digits of pi behind the point, by Machin's formula."""
    guard = 64
    one = 1 << (bits + guard)

    def arctan_of_inverse(x: int) -> int:
        power = total = one // x
        divisor, sign = 3, -1
        while power:
            power //= x * x
            total += sign * (power // divisor)
            divisor, sign = divisor + 2, -sign
        return total

    pi = 4 * (4 * arctan_of_inverse(5) - arctan_of_inverse(239))
    return (pi - 3 * one) >> guard


def _tables() -> tuple[list[int], list[list[int]]]:
    count = 18 + 4 * 256
    digits = _fraction_of_pi(32 * count)
    words = [(digits >> (32 * (count - 1 - i))) & 0xFFFFFFFF for i in range(count)]
    return words[:18], [words[18 + 256 * box : 18 + 256 * (box + 1)] for box in range(4)]


_P, _S = _tables()


def padded(password: str | bytes) -> bytes:
    """The key that files before version 4 are made with: the password's bytes, again and again, until 73 are there."""
    key = raw(password) or b"\0"
    return key if len(key) > 73 else (key * 73)[:73]


class Blowfish:
    """Blowfish, electronic codebook. The key is the password's bytes; an empty password is one zero byte."""

    def __init__(self, password: str | bytes):
        key = raw(password) or b"\0"
        cycled = (key * (72 // len(key) + 1))[:72]
        self.p = [word ^ int.from_bytes(cycled[4 * i : 4 * i + 4], "big") for i, word in enumerate(_P)]
        self.s = [list(box) for box in _S]
        left = right = 0
        for table in (self.p, *self.s):
            for i in range(0, len(table), 2):
                left, right = self.encipher(left, right)
                table[i], table[i + 1] = left, right

    def _walk(self, left: int, right: int, p: list[int]) -> tuple[int, int]:
        s0, s1, s2, s3 = self.s
        for i in range(16):
            left ^= p[i]
            f = (s0[left >> 24] + s1[(left >> 16) & 0xFF]) & 0xFFFFFFFF
            f = ((f ^ s2[(left >> 8) & 0xFF]) + s3[left & 0xFF]) & 0xFFFFFFFF
            left, right = right ^ f, left
        return right ^ p[17], left ^ p[16]

    def encipher(self, left: int, right: int) -> tuple[int, int]:
        return self._walk(left, right, self.p)

    def decipher(self, left: int, right: int) -> tuple[int, int]:
        return self._walk(left, right, self.p[::-1])

    def encrypt(self, plain: bytes) -> bytes:
        plain = plain + bytes(-len(plain) % 8)
        return b"".join(struct.pack(">II", *self.encipher(*pair)) for pair in struct.iter_unpack(">II", plain))

    def decrypt(self, cipher: bytes) -> bytes:
        return b"".join(struct.pack(">II", *self.decipher(*pair)) for pair in struct.iter_unpack(">II", cipher))

    def verify(self, reference: bytes) -> bool:
        """Whether this is the key of a stored reference buffer. Its last cipher block is left out of the test."""
        return len(reference) == 256 and self.decrypt(reference)[:248] == PATTERN[:248]


def reference_buffer(fish: Blowfish) -> bytes:
    return fish.encrypt(PATTERN)


# --- writing ----------------------------------------------------------------------------------------------------------

Layout = list[tuple[str, bytes]]  # what a piece is, and its bytes


@dataclass
class Preferences:
    version: int = 4
    date: int = 0
    stamp: int = 0x4FB13A5B
    flag_a: int = 0
    sort: int = 1
    rect: tuple[int, int, int, int] = (0, 0, 0, 0)
    flag_b: int = 0
    background: tuple[int, int, int] = (0xEF60, 0xF3DB, 0xFE47)
    overridable: int = 1
    flag_c: int = 0

    def layout(self) -> Layout:
        return [
            ("preferences version", u32(self.version)),
            ("date", u32(self.date)),
            ("document stamp", u32(self.stamp)),
            ("flag A", u8(self.flag_a)),
            ("sort order", u32(self.sort)),
            ("rectangle: top, left, bottom, right", b"".join(u16(edge) for edge in self.rect)),
            ("flag B", u8(self.flag_b)),
            ("background: red, green, blue", color(self.background)),
            ("overridable flag", u8(self.overridable)),
            ("flag C", u8(self.flag_c)),
        ]

    def encode(self) -> bytes:
        return joined(self.layout())


@dataclass
class Record:
    """One record with everything that a record block of any format version can hold."""

    uuid: str | bytes = b""
    title: str | bytes = b""
    category: str | bytes = b""
    url: str | bytes = b""
    username: str | bytes = b""
    password: str | bytes = b""
    username_label: str | bytes = b""
    password_label: str | bytes = b""
    notes: str | bytes = b""
    browser: str | bytes = b""
    browser_utf16: bool = False  # the browser item as older writers stored it
    growth: list[bytes] = field(default_factory=list)  # items behind the browser item
    collapsed: int = 0
    changed: int = 0
    clear_block: bytes = b""
    clear_value: int = 0
    hidden: int = 0
    color: tuple[int, int, int] = (0, 0, 0)
    modified: int = 0  # seconds since 2001, 0 is none
    last_used: int = 0
    version: int = 4
    old_identity: tuple[int, int] = (0, 0)  # UInt8 and UInt32 of the formats before 4
    body: bytes | None = None  # cipher text to take as it is
    behind: bytes = b""  # bytes behind the encrypted part, inside of the block

    def growth_area(self) -> bytes:
        items = []
        if self.browser:
            items.append(raw(self.browser).decode().encode("utf-16-be") if self.browser_utf16 else chunk(self.browser))
        return b"".join(chunk(item) for item in items + self.growth)

    def plain(self) -> bytes:
        return self._plain_before_4() if self.version < 4 else joined(self.plain_layout())

    def plain_layout(self) -> Layout:
        """The encrypted part of format 4 before it is enciphered, without the zero bytes at its end."""
        names = ("title", "url", "username", "password", "username_label", "password_label", "notes")
        stored = [date + EPOCH_2001 if date else 0 for date in (self.modified, self.last_used)]
        return [
            *((f"{name.replace('_', ' ')} {shown(getattr(self, name))}", chunk(getattr(self, name))) for name in names),
            ("date of change", u32(stored[0])),
            ("date of last use", u32(stored[1])),
            ("hidden value", u32(self.hidden)),
            ("color: red, green, blue", color(self.color)),
            ("growth area", chunk(self.growth_area())),
        ]

    def _plain_before_4(self) -> bytes:
        if self.version == 3:
            return self._plain_texts() + chunk(self.notes) + self._date_from_1904() + chunk(self.growth_area())
        return self._plain_texts() + str255(raw(self.notes).decode()) + self._date_from_1904()

    def _plain_texts(self) -> bytes:
        return b"".join(str255(raw(text).decode()) for text in (self.title, self.url, self.username, self.password))

    def _date_from_1904(self) -> bytes:
        return u32(self.modified + EPOCH_2001_FROM_1904 if self.modified else 0)

    def version_1_block(self, fish: Blowfish) -> bytes:
        """The record of a version 1 file: all of it is enciphered, and there is neither identity nor notes."""
        return fish.encrypt(self._plain_texts() + self._date_from_1904()) if self.body is None else self.body

    def layout(self, fish: Blowfish | None) -> Layout:
        """The record block."""
        pieces: Layout = [("record format version", u32(self.version))]
        if self.version == 3:
            pieces.append(("two bytes that a reader drops", b"\xAA\xBB"))
        if self.version < 4:
            pieces.append(("identity: a byte and a number", u8(self.old_identity[0]) + u32(self.old_identity[1])))
        else:
            pieces.append((f"UUID {shown(self.uuid)}", chunk(self.uuid)))
        pieces += [("collapsed", u8(self.collapsed)), ("changed since sync", u8(self.changed))]
        if self.version >= 3:
            category = str255(raw(self.category).decode()) if self.version == 3 else chunk(self.category)
            pieces += [
                (f"category {shown(self.category)}", category),
                ("clear block", chunk(self.clear_block)),
                ("clear value", u32(self.clear_value)),
            ]
        body = fish.encrypt(self.plain()) if self.body is None else self.body
        pieces.append((f"encrypted part, {len(body)} bytes", chunk(body)))
        if self.behind:
            pieces.append(("bytes behind the encrypted part", self.behind))
        return pieces

    def block(self, fish: Blowfish | None) -> bytes:
        return joined(self.layout(fish))


@dataclass
class Vault:
    """A vault to be written. `parts` holds records, and raw bytes wherever something else is to stand in the file."""

    fish: Blowfish
    parts: list[Record | bytes] = field(default_factory=list)
    deletions: list[tuple[str | bytes, int]] = field(default_factory=list)
    unique: str | bytes = b""
    partner: str | bytes = b""
    preferences: Preferences = field(default_factory=Preferences)
    magic: bytes = MAGIC
    reference: bytes | None = None
    preferences_length: int | None = None  # a false one
    deletions_chunk: bytes | None = None  # instead of the list

    def layout(self) -> Layout:
        pieces: Layout = [("magic", self.magic)] if self.magic else []
        pieces += self._layout_up_to_deletions()
        pieces += [
            ('tag "SyIn"', b"SyIn"),
            (f"identity of this file {shown(self.unique)}", chunk(self.unique)),
            (f"identity of its partner {shown(self.partner)}", chunk(self.partner)),
        ]
        return pieces + self._parts_layout()

    def _layout_up_to_deletions(self) -> Layout:
        reference = reference_buffer(self.fish) if self.reference is None else self.reference
        preferences = self.preferences.layout()
        length = len(joined(preferences)) if self.preferences_length is None else self.preferences_length
        return [
            ('tag "Fish"', b"Fish"),
            ("length of the reference buffer", u32(len(reference))),
            ("reference buffer", reference),
            ('tag "Pref"', b"Pref"),
            ("length of the preferences", u32(length)),
            *preferences,
            ('tag "Dele"', b"Dele"),
            *self._deletion_layout(),
        ]

    def _parts_layout(self) -> Layout:
        return [piece for part in self.parts for piece in self._part_layout(part)]

    def _deletion_layout(self) -> Layout:
        if self.deletions_chunk is not None:
            return [("deletion list", self.deletions_chunk)]
        entries = [
            (f"deleted {shown(uuid)}, checksum {value:04X}", chunk(uuid) + u16(value)) for uuid, value in self.deletions
        ]
        return [("length of the deletion list", u32(len(joined(entries)))), *entries]

    def _part_layout(self, part: Record | bytes) -> Layout:
        if isinstance(part, bytes):
            return [("bytes that are no record", part)]
        block = part.layout(self.fish)
        return [('tag "Pdat"', b"Pdat"), ("length of the record block", u32(len(joined(block)))), *block]

    def encode(self) -> bytes:
        return joined(self.layout())

    def header_length(self) -> int:
        return len(Vault(**{**self.__dict__, "parts": []}).encode())


def joined(pieces: Layout) -> bytes:
    return b"".join(content for _, content in pieces)


def shown(text: str | bytes) -> str:
    return '"' + raw(text).decode("utf-8", "backslashreplace") + '"'


def pdat(block: bytes, count: int | None = None) -> bytes:
    """A record section around any block, with a false count if one is given."""
    return b"Pdat" + u32(len(block) if count is None else count) + block


# --- reading ----------------------------------------------------------------------------------------------------------


class Failure(Exception):
    """A failure as the product reports it: its text goes to the log, the operation that raised it into the report."""

    def __init__(self, text: str, operation: str, code: int = 0, line: int | None = None):
        super().__init__(text)
        self.text, self.operation, self.code, self.line = text, operation, code, line


class Stream:
    def __init__(self, data: bytes):
        self.data, self.offset = data, 0
        self.counts_of_all_ones = 0

    def at_end(self) -> bool:
        return self.offset >= len(self.data)

    def take(self, count: int) -> bytes:
        if self.offset + count > len(self.data):
            raise Failure("GetBytes out of range.", "GetBytes")
        self.offset += count
        return self.data[self.offset - count : self.offset]

    def peek_u32(self) -> int | None:
        here = self.data[self.offset : self.offset + 4]
        return int.from_bytes(here, "big") if len(here) == 4 else None

    def u8(self) -> int:
        return self.take(1)[0]

    def s8(self) -> int:
        return int.from_bytes(self.take(1), "big", signed=True)

    def u16(self) -> int:
        return int.from_bytes(self.take(2), "big")

    def s16(self) -> int:
        return int.from_bytes(self.take(2), "big", signed=True)

    def u32(self) -> int:
        return int.from_bytes(self.take(4), "big")

    def s32(self) -> int:
        return int.from_bytes(self.take(4), "big", signed=True)

    def chunk(self) -> bytes:
        count = self.u32()
        if count == NO_CHUNK:
            self.counts_of_all_ones += 1
            count = 0
        if self.offset + count > len(self.data):
            raise Failure("ReadData out of range.", "ReadData")
        return self.take(count)

    def str255(self) -> bytes:
        return self.take(self.u8()).decode("mac_roman").encode("utf-8")

    def ascii(self) -> bytes:
        """What isn't ASCII becomes U+FFFD, byte by byte."""
        return self.chunk().decode("ascii", "replace").encode("utf-8")

    def color(self) -> tuple[int, int, int]:
        return self.u16(), self.u16(), self.u16()

    def scan_up_to_or_end(self, tag: bytes) -> bool:
        """Byte by byte, so that a tag is found at any alignment; on it, or at the end if there is none."""
        marker = int.from_bytes(tag, "big")
        while (value := self.peek_u32()) is not None:
            if value == marker:
                return True
            self.offset += 1
        self.offset = len(self.data)
        return False


class Deletion:
    def __init__(self, uuid: bytes, checksum: int):
        self.uuid, self.checksum = uuid, checksum


class ReadRecord:
    """A record as it was read: each field is there as soon as it has been read, whatever fails behind it."""

    def __init__(self):
        self.uuid = self.category = self.clear_block = self.body = b""
        self.collapsed = self.changed = self.clear_value = self.checksum = self.version = 0
        self.title = self.url = self.username = self.password = b""
        self.username_label = self.password_label = self.notes = self.browser = b""
        self.modified = self.last_used = self.hidden = 0
        self.color = (0, 0, 0)
        self.growth: list[bytes] = []

    def read(self, block: bytes, fish: Blowfish | None, now: int):
        """Without `fish` the encrypted part stays as it is."""
        self.checksum = checksum(block)
        stream = Stream(block)
        self._read_clear_part(stream)
        body = stream.chunk()
        if fish is None:
            self.body = body
            return
        if len(body) % 8:
            raise Failure("handle length not rounded to 64-bits", "DecryptMemoryBlock")
        self._read_plain(Stream(fish.decrypt(body)), now)

    def _read_clear_part(self, stream: Stream):
        self.version = stream.u32()
        if self.version == 3:
            stream.u8(), stream.u8()
        if self.version < 4:
            small, large = stream.u8(), stream.u32()
            self.uuid = b"00000000-0000-0000-%04X-%08X%04X" % (self.checksum, large, small)
        else:
            self.uuid = stream.chunk()
        self.collapsed = stream.s8()
        self.changed = stream.u8()
        if self.version >= 3:
            self.category = stream.str255() if self.version == 3 else stream.chunk()
            self.clear_block = stream.chunk()
            self.clear_value = stream.s32()

    def _read_plain(self, stream: Stream, now: int):
        text = stream.chunk if self.version >= 4 else stream.str255
        self.title = text()
        self.url = text()
        self.username = text()
        self.password = text()
        if self.version >= 4:
            self.username_label = text()
            self.password_label = text()
        self.notes = stream.ascii() if self.version == 3 else text()
        if self.version >= 4:
            date = stream.u32()
            self.modified = (date - EPOCH_2001) & 0xFFFFFFFF if date else 0
            self.last_used = self._last_used(stream.u32(), now)
            self.hidden = stream.u32()
            self.color = stream.color()
        else:
            self._read_date_from_1904(stream)
        if self.version >= 3:
            self._read_growth(Stream(stream.chunk()))

    def read_version_1(self, block: bytes, fish: Blowfish):
        """The record of a version 1 file. Its UUID is another one at each read, and stays empty here."""
        if len(block) % 8:
            raise Failure("handle length not rounded to 64-bits", "DecryptMemoryBlock")
        stream = Stream(fish.decrypt(block))
        self.title = stream.str255()
        self.url = stream.str255()
        self.username = stream.str255()
        self.password = stream.str255()
        self._read_date_from_1904(stream)

    def _read_date_from_1904(self, stream: Stream):
        date = stream.u32()
        self.modified = date - EPOCH_2001_FROM_1904 if date > EPOCH_2001_FROM_1904 else date

    @staticmethod
    def _last_used(stored: int, now: int) -> int:
        date = stored - EPOCH_2001 if stored > EPOCH_2001 else stored
        return 0 if now >= 220838401 and date > now + 31536000 else date

    def _read_growth(self, stream: Stream):
        while not stream.at_end():
            self.growth.append(stream.chunk())
        if not self.growth or len(self.growth[0]) < 4:
            return
        item = self.growth[0]
        if int.from_bytes(item[:4], "big") + 4 == len(item):
            self.browser = item[4:]
        else:
            self.browser = item[: len(item) // 2 * 2].decode("utf-16-be", "replace").encode("utf-8")


class Document:
    """A vault as it was read. `fresh` is the identity that a file without one gets."""

    def __init__(self, data: bytes, fish: Blowfish | None = None, fresh: bytes = b"", now: int = 0):
        self.deletions: list[Deletion] = []
        self.records: list[ReadRecord] = []
        self.preferences = Preferences()
        self.errors = 0
        self.log: list[str] = []
        stream = Stream(data)
        self._read_header(stream, fresh)
        self.records_begin = stream.offset
        self.plain_counts = stream.counts_of_all_ones == 0
        self._read_records(stream, fish, now)

    def _expect(self, stream: Stream, tag: bytes, text: str):
        if stream.u32() != int.from_bytes(tag, "big"):
            raise Failure(text, "ReadVersion4FileContents")

    def _read_header(self, stream: Stream, fresh: bytes):
        if stream.peek_u32() == int.from_bytes(MAGIC, "big"):
            stream.u32()
        self._expect(stream, b"Fish", "expected blowfish reference buffer")
        self.reference = stream.chunk()
        self._expect(stream, b"Pref", "expected document preferences")
        self._read_preferences(stream)
        self._expect(stream, b"Dele", "expected deletion list")
        entries = Stream(stream.chunk())
        while not entries.at_end():
            self.deletions.append(Deletion(entries.chunk(), entries.u16()))
        self._expect(stream, b"SyIn", "expected global sync information")
        self.unique = stream.chunk()
        self.partner = stream.chunk()
        self.had_identity = self.unique != b""
        self.unique = self.unique or fresh

    def _read_preferences(self, stream: Stream):
        expected = stream.u32()
        start = stream.offset
        self.preferences.version = stream.u32()
        if self.preferences.version not in (2, 3, 4):
            raise Failure("unknown document preferences version", "ReadDocumentPreferences")
        self.preferences.date = stream.u32()
        self.preferences.stamp = stream.u32()
        self.preferences.flag_a = stream.u8()
        self.preferences.sort = stream.u32() or 1
        self.preferences.rect = (stream.s16(), stream.s16(), stream.s16(), stream.s16())
        self.preferences.flag_b = stream.u8()
        self.preferences.background = stream.color()
        if not stream.at_end():
            self.preferences.overridable = stream.u8()
        if not stream.at_end():
            self.preferences.flag_c = stream.u8()
        if stream.offset - start != expected:
            raise Failure("corrupted data block", "Check")

    def _read_records(self, stream: Stream, fish: Blowfish | None, now: int):
        if stream.at_end():
            return
        while True:
            record = None
            try:
                if stream.peek_u32() != int.from_bytes(b"Pdat", "big") and not stream.scan_up_to_or_end(b"Pdat"):
                    text = "Looked for password record data, no more data found, skipping to end of file."
                    raise Failure(text, "ReadVersion4FileContentsCompletion")
                stream.u32()
                record = ReadRecord()
                record.read(stream.chunk(), fish, now)
            except Failure as failure:
                self.log += [failure.text, "Error thrown"]
                self.errors += 1
                if record is None:
                    break
                recovered = "Error reading entry.  Title and some data recovered in file. "
                self.log.append(recovered if record.title else "Error reading an entry, unable to recover any data.")
            self.records.append(record)
            if stream.at_end():
                break
        if not stream.at_end():
            self.log.append("stream not at end")
            self.errors += 1


def rewritten(document: Document, fish: Blowfish) -> Vault:
    """The vault that a sound writer makes of what was read. Records that weren't deciphered keep their bodies."""
    deletions = [(entry.uuid, entry.checksum) for entry in document.deletions]
    vault = Vault(fish, [], deletions, document.unique, document.partner, document.preferences, reference=document.reference)
    for read in document.records:
        values = {name: value for name, value in vars(read).items() if name not in ("checksum", "version", "body", "growth")}
        vault.parts.append(Record(**values, growth=read.growth[1 if read.browser else 0 :], body=read.body or None))
    return vault


def carried_whole(data: bytes, fish: Blowfish) -> bool:
    """Whether a sound writer that lacks the key writes everything behind the header again, to the byte, and the header
    with the counts that it has."""
    document = Document(data)
    vault = rewritten(document, fish)
    for record, read in zip(vault.parts, document.records):
        record.body = read.body  # an empty one too
    return document.plain_counts and document.errors == 0 and data[document.records_begin :] == vault.encode()[vault.header_length() :]
