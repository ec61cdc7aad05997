#!/usr/bin/env python3
"""Types the commands of a page in a real shell, in a scratch home folder, and compares what they say with the page.

A page's fenced blocks with the word `console` are one session of bash: a line "$ COMMAND" is typed, lines "> " behind it
go on with it, and whatever follows up to the next command is what it said, standard output and error together. A block
`console PROGRAM` is skipped, with a word, where that program isn't installed.

What changes from run to run is compared by what it stands for:
- the scratch folder is /home/ann, both ways; the programs' folder is /usr/bin, and this machine is called laptop
- dates with a time of day are all alike, and so are the numbers of processes
- the shell's own word of a job that was ended is left out, since an interactive shell says it in another way
Anything else must be the same: the samples' UUIDs, sizes and categories are, in each run.

Usage: make_tour.py --check|--write BIN PAGE...
"""

import argparse
import contextlib
import difflib
import os
import pathlib
import platform
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field

HOME = "/home/ann"
BIN = "/usr/bin"
MARK = "\x1e"  # in the shell's output, in front of what a command says
BEGIN = f"cd\nmark() {{ local status=$?; printf '{MARK}'; return $status; }}\n"
ALIKE = [
    (re.compile(r"\b20\d\d-\d\d-\d\d[ T]\d\d:\d\d:\d\d"), "<date>"),
    (re.compile(r"\bprocess \d+"), "process <number>"),
]
ENDED_JOB = re.compile(r"[\w./-]+/session: line \d+: +\d+ (Terminated|Killed) .*\n")


@dataclass
class Typed:
    """A command, where it stands in the page, and what it says there."""

    command: str
    line: int  # the first one of what it says
    said: list = field(default_factory=list)


@dataclass
class Block:
    needs: str  # a program, or nothing
    typed: list

    def can_run(self):
        return not self.needs or shutil.which(self.needs)


def blocks_of(page):
    """The sessions' blocks of a page, which is a list of lines."""
    blocks, inside = [], False
    for number, line in enumerate(page):
        fence = re.fullmatch(r"```(\w*) ?(\S*)", line)
        if fence:
            inside = not inside and fence[1] == "console"
            if inside:
                blocks.append(Block(fence[2], []))
        elif inside and line.startswith("$ "):
            blocks[-1].typed.append(Typed(line[2:], number + 1))
        elif inside and line.startswith("> ") and not blocks[-1].typed[-1].said:
            blocks[-1].typed[-1].command += "\n" + line[2:]
            blocks[-1].typed[-1].line = number + 1
        elif inside:
            blocks[-1].typed[-1].said.append(line)
    return blocks


def environment_of(home, programs):
    return {"HOME": str(home), "XDG_STATE_HOME": f"{home}/.local/state", "XDG_DATA_HOME": f"{home}/.local/share",
            "GIT_CONFIG_GLOBAL": f"{home}/.gitconfig", "GIT_CONFIG_NOSYSTEM": "1", "LC_ALL": "C.UTF-8", "TZ": "UTC",
            "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent", "PATH": f"{programs}:{os.environ['PATH']}",
            **({"ASAN_OPTIONS": os.environ["ASAN_OPTIONS"]} if "ASAN_OPTIONS" in os.environ else {})}


def typed_in_a_shell(script, home, programs):
    """All that a shell says to the script, also if it doesn't come to an end. Nothing that it started goes on."""
    output = home.parent / "output"
    with output.open("wb") as said:
        shell = subprocess.Popen(["bash", "--norc", script], cwd=home, env=environment_of(home, programs),
                                 stdin=subprocess.DEVNULL, stdout=said, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            shell.wait(timeout=200)
        except subprocess.TimeoutExpired:
            print("the shell is stopped after 200 seconds")
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(shell.pid, signal.SIGKILL)
            shell.wait()
    return output.read_text()


def answers_to(commands, programs, home):
    """What each of the commands says, one behind the other in one shell."""
    home.joinpath(".gitconfig").write_text("[user]\n\tname = Ann\n\temail = ann@example.org\n")
    script = home.parent / "session"
    script.write_text(BEGIN + "".join(f"mark\n{command.replace(HOME, str(home))}\n" for command in commands))
    said = typed_in_a_shell(script, home, programs)
    for here, page in [(str(home), HOME), (str(programs), BIN), (f" on {platform.node()},", " on laptop,")]:
        said = said.replace(here, page)
    said = ENDED_JOB.sub("", said)
    return [answer.splitlines() for answer in said.split(MARK)[1:]]


def comparable(lines):
    """What stands for the lines in each run."""
    for pattern, name in ALIKE:
        lines = [pattern.sub(name, line) for line in lines]
    return lines


def differences(runnable, answers):
    """The commands that say something else than the page, each with both, in comparable form."""
    for typed, answer in zip(runnable, answers):
        page, shell = comparable(typed.said), comparable(answer)
        if page != shell:
            yield typed, answer, "\n".join(difflib.unified_diff(page, shell, "page", "shell", lineterm="", n=1))


def play(path, programs, write):
    """Plays one page; true if it says what the shell says, or does by now."""
    page = path.read_text().splitlines()
    blocks = blocks_of(page)
    for block in blocks:
        if not block.can_run():
            print(f"{path.name}: {block.needs} is not installed: its part is skipped")
    runnable = [typed for block in blocks if block.can_run() for typed in block.typed]
    with tempfile.TemporaryDirectory(prefix="vellorin-tour.") as scratch:
        home = pathlib.Path(scratch).resolve() / "home"
        home.mkdir()
        answers = answers_to([typed.command for typed in runnable], programs, home)
    if not runnable or len(answers) != len(runnable):
        print(f"{path.name}: the shell came to command {len(answers)} of {len(runnable)}")
        for typed, answer in list(zip(runnable, answers))[-3:]:
            print("\n".join([f"$ {typed.command}", *answer]))
        return False
    different = list(differences(runnable, answers))
    if write:
        for typed, answer, _ in reversed(different):
            page[typed.line:typed.line + len(typed.said)] = answer
        path.write_text("\n".join(page) + "\n")
    else:
        for typed, _, difference in different:
            print(f"{path.name}:{typed.line}: $ {typed.command}\n{difference}\n")
    print(f"{path.name}: {len(runnable)} commands, {len(different)} " + ("rewritten" if write else "differ"))
    return write or not different


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    what = parser.add_mutually_exclusive_group(required=True)
    what.add_argument("--check", action="store_true", help="fail if a page says something else than the shell")
    what.add_argument("--write", action="store_true", help="correct the pages")
    parser.add_argument("bin", type=pathlib.Path, help="the folder with the programs")
    parser.add_argument("page", type=pathlib.Path, nargs="+")
    arguments = parser.parse_args()
    results = [play(page, arguments.bin.resolve(), arguments.write) for page in arguments.page]
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
