"""What the measuring scripts share: where things are, a scratch folder, and running a program with its cost told."""

from __future__ import annotations

import contextlib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
from collections.abc import Iterator
from dataclasses import dataclass
from typing import NoReturn

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "benchmark"
BIN = BUILD / "bin"
PAGE = ROOT / "docs" / "performance.md"


@contextlib.contextmanager
def scratch_folder() -> Iterator[pathlib.Path]:
    """A folder for measured files: in VELLORIN_BENCH_FOLDER if that is set, else on the disk that the build is on."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="scratch.", dir=os.environ.get("VELLORIN_BENCH_FOLDER", BUILD)))
    try:
        yield folder
    finally:
        shutil.rmtree(folder)


def environment(scratch: pathlib.Path) -> dict[str, str]:
    """For measured programs: nothing of the user's, no session bus, no display."""
    kept = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8"}
    return kept | {"HOME": str(scratch), "XDG_RUNTIME_DIR": str(scratch), "QT_QPA_PLATFORM": "offscreen"}


def run_quietly(arguments: list[str | pathlib.Path], scratch: pathlib.Path, entered: str = "") -> str:
    """What a program that isn't measured says on standard output; ends the script if it fails."""
    done = subprocess.run(arguments, env=environment(scratch), input=entered, capture_output=True, text=True)
    if done.returncode != 0:
        fail(arguments[0], done)
    return done.stdout


def fail(program: str | pathlib.Path, done: subprocess.CompletedProcess[str]) -> NoReturn:
    sys.exit(f"{pathlib.Path(program).name} failed:\n{done.stdout}{done.stderr}")


@dataclass(frozen=True)
class Cost:
    wall: float  # seconds
    processor: float  # seconds
    kernel: float  # seconds of the processor time that were spent in the kernel
    memory: int  # bytes, at the peak
    written: int  # bytes given to write calls


def measured(arguments: list[str | pathlib.Path], scratch: pathlib.Path, entered: str = "") -> Cost:
    """Ends the script if the program fails: half a run is no measurement."""
    report = scratch / "report"
    done = subprocess.run([BIN / "measured", report, *arguments], env=environment(scratch), input=entered,
                          capture_output=True, text=True)
    wall, processor, kernel, memory, written, status = report.read_text().split()
    if done.returncode != 0 or status != "0":
        fail(arguments[0], done)
    return Cost(float(wall), float(processor), float(kernel), int(memory), int(written))


def table(rows: list[list[str]], left: int = 1) -> str:
    """Columns aligned for a fixed-width font, the first `left` ones to the left. The last column isn't filled up."""
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    lines = []
    for row in rows:
        cells = [cell.ljust(w) if i < left else cell.rjust(w) for i, (cell, w) in enumerate(zip(row, widths))]
        lines.append("  ".join(cells).rstrip())
    return "\n".join(lines)


def replace_between_markers(name: str, text: str) -> None:
    """Puts `text` as a code block between the markers of that name in docs/performance.md."""
    begin, end = f"<!-- begin {name} -->\n", f"<!-- end {name} -->"
    page = PAGE.read_text(encoding="utf-8")
    head, found, rest = page.partition(begin)
    tail = rest.partition(end)[2]
    if not found or not tail:
        sys.exit(f"{PAGE.name} has no markers for {name}")
    PAGE.write_text(f"{head}{begin}```\n{text.rstrip()}\n```\n{end}{tail}", encoding="utf-8")
