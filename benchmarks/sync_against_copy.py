#!/usr/bin/env python3
"""Times vellorin-sync on pairs of several sizes against a plain copy of the same two files: read, write, sync, rename.

Usage: sync_against_copy.py BIN [RECORDS...]. The two take turns; each figure is the median of the rounds."""

import math
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 5


def copy(paths):
    for path in paths:
        content = path.read_bytes()
        new = path.with_suffix(".new")
        with new.open("wb") as file:
            file.write(content)
            file.flush()
            os.fsync(file.fileno())
        new.rename(path)


def in_child(work):
    """Wall time, processor time and peak memory in KiB of `work` in a process of its own."""
    begin = time.perf_counter()
    pid = os.fork()
    if pid == 0:
        work()
        os._exit(0)
    _, status, usage = os.wait4(pid, 0)
    if status != 0:
        sys.exit(f"a measured process failed: {status}")
    return time.perf_counter() - begin, usage.ru_utime + usage.ru_stime, usage.ru_maxrss


def exec_sync(bin_folder, paths, environment):
    null = os.open(os.devnull, os.O_WRONLY)
    os.dup2(null, 1)
    os.execve(bin_folder / "vellorin-sync", ["vellorin-sync", *map(str, paths)], environment)


def measure(bin_folder, records, scratch):
    subprocess.run([bin_folder / "vellorin-sample", "--records", str(records), scratch / "pair"], check=True)
    environment = {"HOME": str(scratch), "XDG_RUNTIME_DIR": str(scratch)}
    copies, syncs = [], []
    for _ in range(ROUNDS):
        for results, work in ((copies, copy), (syncs, lambda paths: exec_sync(bin_folder, paths, environment))):
            turn = scratch / "turn"
            shutil.copytree(scratch / "pair", turn)
            paths = [turn / "laptop.vlr", turn / "stick.vlr"]
            size = sum(p.stat().st_size for p in paths)
            os.sync()
            results.append(in_child(lambda: work(paths)))
            shutil.rmtree(turn)
    median = [[statistics.median(r[i] for r in results) for i in range(3)] for results in (copies, syncs)]
    return size, median[0], median[1]


def main():
    bin_folder = pathlib.Path(sys.argv[1]).resolve()
    sizes = [int(n) for n in sys.argv[2:]] or [1000, 10000, 100000]
    print(f"{'records a side':>14} {'bytes':>10} {'copy s':>8} {'sync s':>8} {'wall':>6} {'cpu':>6} "
          f"{'memory/bytes':>12} {'exponent':>8}")
    before = None
    for records in sizes:
        scratch = pathlib.Path(tempfile.mkdtemp(prefix="vellorin-bench."))
        try:
            size, plain, sync = measure(bin_folder, records, scratch)
        finally:
            shutil.rmtree(scratch)
        exponent = ""
        if before:
            exponent = f"{math.log(sync[1] / before[1]) / math.log(records / before[0]):.2f}"
        print(f"{records:>14} {size:>10} {plain[0]:>8.3f} {sync[0]:>8.3f} {sync[0] / plain[0]:>6.2f} "
              f"{sync[1] / max(plain[1], 1e-4):>6.2f} {sync[2] * 1024 / size:>12.2f} {exponent:>8}", flush=True)
        before = (records, sync[1])


if __name__ == "__main__":
    main()
