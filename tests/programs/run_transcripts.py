#!/usr/bin/env python3
"""Runs transcripts of the programs: input files, arguments, expected output and exit status in one file.

    file NAME = GOLDEN.hex      a golden vault of tests/data (commented hex)
    file NAME : TEXT            a small file
    folder NAME
    link NAME -> TARGET
    mode NAME OCTAL             skipped as a whole for root, whom modes don't stop
    stdout full|unread|closed   where the program's output goes instead: a full device, a pipe without a reader, nowhere
    run PROGRAM ARGUMENT...     the words of a shell; $DIR is the scratch folder, the current one too
    status N                    of the run above; signals as -N
    out TEXT / err TEXT         the lines of standard output and error, all of them, in order; ~TEXT is a pattern;
                                `err ...` accepts any further lines
    json                        standard output is one object as resources/vellorin.schema.json has it; instead of `out`
    unchanged NAME              byte for byte as it was made
    same NAME NAME              the same records in both: everything behind the identities is compared sorted
    gone NAME / is NAME         does not exist / exists

Lines that begin with # say what the transcript shows. Usage: run_transcripts.py BIN DATA TRANSCRIPT...
"""

import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile


def golden_bytes(path):
    text = re.sub(r"#[^\n]*", "", path.read_text())
    return bytes.fromhex("".join(text.split()))


class Failure(Exception):
    pass


class Transcript:
    def __init__(self, bin_folder, data_folder, folder):
        self.bin, self.data, self.folder = bin_folder, data_folder, folder
        self.made = {}
        self.result = None
        self.stdout_to = "pipe"
        self.expected = {"out": [], "err": []}

    def path(self, name):
        return self.folder / name

    def do_file(self, rest):
        name, kind, content = re.match(r"(\S+) ([=:]) ?(.*)", rest).groups()
        data = golden_bytes(self.data / content) if kind == "=" else content.encode()
        self.path(name).write_bytes(data)
        self.made[name] = data

    def do_folder(self, rest):
        self.path(rest).mkdir()

    def do_link(self, rest):
        name, target = rest.split(" -> ")
        self.path(name).symlink_to(target)

    def do_mode(self, rest):
        name, mode = rest.split()
        self.path(name).chmod(int(mode, 8))

    def do_stdout(self, rest):
        self.stdout_to = rest

    def do_run(self, rest):
        self.check_output()
        words = [w.replace("$DIR", str(self.folder)) for w in shlex.split(rest)]
        command = [str(self.bin / words[0])] + words[1:]
        environment = {"HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder), "PATH": os.environ["PATH"]}
        stdout = subprocess.PIPE
        if self.stdout_to == "full":
            stdout = open("/dev/full", "wb")
        elif self.stdout_to == "unread":
            reader, stdout = os.pipe()
            os.close(reader)
        close = (lambda: os.close(1)) if self.stdout_to == "closed" else None
        done = subprocess.run(command, cwd=self.folder, env=environment, stdin=subprocess.DEVNULL, stdout=stdout,
                              stderr=subprocess.PIPE, timeout=120, preexec_fn=close)
        self.result = (done.returncode, (done.stdout or b"").decode(), done.stderr.decode())
        self.expected = {"out": [], "err": []}

    def do_status(self, rest):
        if self.result[0] != int(rest):
            raise Failure(f"status {self.result[0]}, expected {rest}; out {self.result[1]!r}; err {self.result[2]!r}")

    def do_out(self, rest):
        self.expected["out"].append(rest)

    def do_err(self, rest):
        self.expected["err"].append(rest)

    def do_json(self, rest):
        import jsonschema  # by the transcripts that need it alone

        schema = json.loads((pathlib.Path(__file__).parents[2] / "resources/vellorin.schema.json").read_text())
        try:
            jsonschema.validate(json.loads(self.result[1]), schema)
        except (ValueError, jsonschema.ValidationError) as error:
            raise Failure(f"{self.result[1]!r}: {error}")
        self.result = (self.result[0], "", self.result[2])

    def do_unchanged(self, rest):
        if self.path(rest).read_bytes() != self.made[rest]:
            raise Failure(f"{rest} has changed")

    def do_same(self, rest):
        first, second = (self.records(name) for name in rest.split())
        if first != second:
            raise Failure(f"{rest} hold different records")

    def records(self, name):
        return sorted(self.path(name).read_bytes().split(b"Pdat")[1:])

    def do_gone(self, rest):
        if os.path.lexists(self.path(rest)):
            raise Failure(f"{rest} is there")

    def do_is(self, rest):
        if not os.path.lexists(self.path(rest)):
            raise Failure(f"{rest} is not there")

    def check_output(self):
        if self.result is None:
            return
        for stream, text in (("out", self.result[1]), ("err", self.result[2])):
            expected = [line.replace("$DIR", str(self.folder)) for line in self.expected[stream]]
            if expected and expected[-1] == "...":
                expected.pop()
                lines = text.splitlines()[:len(expected)]
            else:
                lines = text.splitlines()
            if len(lines) != len(expected) or not all(map(self.line_fits, lines, expected)):
                raise Failure(f"std{stream} {text!r}, expected {expected!r}")
        self.result = (self.result[0], "", "")
        self.expected = {"out": [], "err": []}

    @staticmethod
    def line_fits(line, expected):
        if expected.startswith("~"):
            return re.fullmatch(expected[1:], line) is not None
        return line == expected

    def play(self, text):
        for line in text.splitlines():
            word, _, rest = line.strip().partition(" ")
            if word and not word.startswith("#"):
                getattr(self, "do_" + word)(rest)
        self.check_output()
        left = [p.name for p in self.folder.iterdir() if p.name.startswith(".")]
        if left:
            raise Failure(f"left over: {left}")


def main():
    bin_folder, data_folder = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    passed = failed = skipped = 0
    for transcript in map(pathlib.Path, sys.argv[3:]):
        text = transcript.read_text()
        if os.geteuid() == 0 and re.search(r"^mode ", text, re.M):
            skipped += 1
            continue
        folder = pathlib.Path(tempfile.mkdtemp(prefix="vellorin-transcript."))
        try:
            Transcript(bin_folder, data_folder, folder).play(text)
            passed += 1
        except Failure as failure:
            print(f"{transcript.name}: {failure}")
            failed += 1
        finally:
            shutil.rmtree(folder)
    print(f"{passed} passed, {failed} failed, {skipped} skipped")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
