"""Vaults made by hand, and the program run on them in a folder of its own."""

import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import tempfile
import traceback

SCHEMA = pathlib.Path(__file__).parents[3] / "resources/vellorin.schema.json"


def golden_bytes(path):
    return bytes.fromhex("".join(re.sub(r"#[^\n]*", "", path.read_text()).split()))


def chunk(content):
    return struct.pack(">I", len(content)) + content


def record(uuid, category="", body=b"12345678", flags=b"\0\0"):
    block = (struct.pack(">I", 4) + chunk(uuid.encode()) + flags + chunk(category.encode()) + chunk(b"") + bytes(4)
             + chunk(body))
    return b"Pdat" + chunk(block)


def vault(records=(), deletions=(), identity="I", partner="", master=b"m", opened=1000):
    preferences = struct.pack(">III", 4, opened, 0x4FB13A5B) + b"\0" + struct.pack(">I", 1) + bytes(17)
    entries = b"".join(chunk(uuid.encode()) + b"\0\0" for uuid in deletions)
    return (b"VL_4Fish" + chunk(master * 256) + b"Pref" + chunk(preferences) + b"Dele" + chunk(entries) + b"SyIn"
            + chunk(identity.encode()) + chunk(partner.encode())
            + b"".join(record(*r) if isinstance(r, tuple) else record(r) for r in records))


def take(data):
    count = struct.unpack(">I", data[:4])[0]
    return data[4:4 + count], data[4 + count:]


def contents(data):
    """Records as (UUID, category, body), and UUIDs of deletions, of a vault that is whole."""
    _, rest = take(data[8:])
    _, rest = take(rest[4:])
    entries, rest = take(rest[4:])
    deletions = []
    while entries:
        uuid, entries = take(entries)
        deletions.append(uuid.decode())
        entries = entries[2:]
    _, rest = take(rest[4:])
    _, rest = take(rest)
    records = []
    while rest:
        assert rest[:4] == b"Pdat", rest[:20]
        block, rest = take(rest[4:])
        uuid, block = take(block[4:])
        category, block = take(block[2:])
        _, block = take(block)
        body, block = take(block[4:])
        assert block == b""
        records.append((uuid.decode(), category.decode(), body))
    return sorted(records), sorted(deletions)


class Skip(Exception):
    """Raised by a test that can't be had here, with the reason."""


class Scratch:
    """A folder that is the program's home and current folder, and what is started in it."""

    def __init__(self, program):
        self.program = program
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vellorin-test."))
        self.environment = {"HOME": str(self.folder), "PATH": os.environ["PATH"], "TZ": "UTC",
                            "XDG_STATE_HOME": str(self.folder / "state")}
        self.started = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.started:
            process.kill()
            process.wait()
        shutil.rmtree(self.folder)

    def write(self, name, data):
        (self.folder / name).write_bytes(data)

    def read(self, name):
        return (self.folder / name).read_bytes()

    def names(self):
        return sorted(p.name for p in self.folder.iterdir())

    def run(self, *words, **options):
        options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "stdin": subprocess.DEVNULL,
                   "cwd": self.folder, "timeout": 120, "env": self.environment, **options}
        return subprocess.run([self.program, *words], **options)

    def start(self, *command, **options):
        options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "cwd": self.folder, "env": self.environment,
                   **options}
        self.started.append(subprocess.Popen(list(map(str, command)), **options))
        return self.started[-1]

    def json(self, *words, status=0, **options):
        done = self.run(*words, "--json", **options)
        assert done.returncode == status, (words, done)
        return checked(done.stdout)


def checked(text):
    """What the program tells as JSON, held against its schema."""
    import jsonschema  # by the tests that need it alone

    told = json.loads(text)
    jsonschema.validate(told, json.loads(SCHEMA.read_text()))
    return told


def tests_of(module):
    return [test for name, test in module.items() if name.startswith("test_")]


def run_tests(tests, program, scratch=Scratch):
    """Runs each function in a scratch folder of its own; the exit status."""
    failed = skipped = 0
    for test in tests:
        with scratch(program) as folder:
            try:
                test(folder)
            except Skip as reason:
                print(f"skip {test.__name__}: {reason}")
                skipped += 1
            except Exception:  # every failure is told, and the next test runs
                print(test.__name__)
                traceback.print_exc()
                failed += 1
    print(f"{len(tests) - failed - skipped} passed, {failed} failed, {skipped} skipped")
    return 1 if failed else 0
