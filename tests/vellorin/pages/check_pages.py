#!/usr/bin/env python3
"""Holds --help, the manual page and the completions of vellorin together, as a user meets them.

What --help of the program and of each command lists is looked up in the manual page as mandoc renders it, asked of bash's
completion in a real bash, and looked up in the files for zsh and fish. Where one of these two is installed, it reads its
file too. Usage: check_pages.py BIN PAGES MANDOC
"""

import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time

BIN, PAGES, MANDOC = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve(), sys.argv[3]
PROGRAM = str(BIN / "vellorin")
failures = []


def check(condition, what):
    if not condition:
        failures.append(what)


def output_of(*words, **options):
    return subprocess.run(words, capture_output=True, text=True, timeout=60, check=True, **options).stdout


class Help:
    """What one --help lists: names of operands, option letters and names with the word for their value."""

    def __init__(self, text):
        self.text = text
        self.usage = re.match(r"usage: ((?:.+\n)+)", text).group(1)
        self.terms = re.findall(r"^  (\S(?:\S| (?! ))*)(?:  .*|)$", text.split("\nexample: ")[0], re.M)
        self.operands = [t for t in self.terms if not t.startswith("-")]
        self.options = {}
        for term in self.terms:
            if term.startswith("-"):
                *letter, name = term.split(", ")
                name, _, value = name.partition(" ")
                self.options[name] = (letter[0] if letter else None, value)

    def words(self):
        return sorted(w for name, (letter, _) in self.options.items() for w in (name, letter) if w)


def section_of(page, command):
    """The lines of a command in the rendered page."""
    commands = page[page.index("\nCOMMANDS\n"):page.index("\nENVIRONMENT\n")]
    parts = re.split(r"^   (\S+)$", commands, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))[command]


def check_manual_page(program, commands):
    rendered = re.sub(".\b", "", output_of(MANDOC, "-T", "utf8", "-O", "width=500", str(PAGES / "vellorin.1")))
    for heading in ("EXIT STATUS", "ENVIRONMENT", "FILES", "SIGNALS"):
        check(f"\n{heading}\n" in rendered, f"the manual page has no {heading}")
    common = rendered[rendered.index("Options of every command"):rendered.index("\nCOMMANDS\n")]
    for name, helped in commands.items():
        section = section_of(rendered, name)
        for operand in helped.operands:
            check(re.search(rf"^     {re.escape(operand)}( |$)", section, re.M), f"manual page: {name} {operand}")
        for option, (letter, value) in helped.options.items():
            form = (f"{letter}, " if letter else "") + option + (f" {value}" if value else "")
            place = common if option in ("--help", "--quiet", "--verbose") else section
            check(re.search(rf"^     {re.escape(form)}( |$)", place, re.M), f"manual page: {name} {form}")
        example = re.search(r"^example: (.*)$", helped.text, re.M).group(1)
        check(f"$ {example}\n" in section, f"manual page: example of {name}")
    listed = re.findall(r"^   (\S+)$", rendered[rendered.index("\nCOMMANDS\n"):rendered.index("\nENVIRONMENT\n")], re.M)
    check(listed == program.operands, f"manual page lists {listed}")


def ask_bash(words, folder):
    """What bash offers for the last word, without a terminal."""
    script = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _vellorin; printf "%s\\n" "${COMPREPLY[@]}"'
    out = output_of("bash", "--norc", "--noprofile", "-uc", script, "bash", str(PAGES / "vellorin.bash"), *words, cwd=folder)
    return sorted(line for line in out.split("\n") if line)


def type_into_bash(keys, folder):
    """The line that an interactive bash holds after the keys."""
    with tempfile.NamedTemporaryFile("w") as start:
        start.write(f"source {PAGES}/vellorin.bash\nbind 'set bell-style none'\nPS1='ready> '\n"
                    'bind -x \'"\\C-xp": printf "[%s]\\n" "$READLINE_LINE"\'\n')
        start.flush()
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(folder)
            environment = {"PATH": os.environ["PATH"], "TERM": "dumb", "HOME": str(folder), "INPUTRC": "/dev/null"}
            os.execvpe("bash", ["bash", "--noprofile", "--rcfile", start.name, "-i"], environment)
        read_until(terminal, rb"ready> $")
    os.write(terminal, keys.encode() + b"\x18p")
    shown = read_until(terminal, rb"\[[^\]]*\]\r?\n")
    os.close(terminal)  # hangs it up
    os.waitpid(child, 0)
    return shown[shown.rindex("[") + 1:shown.rindex("]")] if "[" in shown else shown


def read_until(terminal, pattern, seconds=30):
    shown = b""
    end = time.monotonic() + seconds
    while not re.search(pattern, shown) and time.monotonic() < end:
        if select.select([terminal], [], [], 0.1)[0]:
            shown += os.read(terminal, 4096)
    return shown.decode()


def check_bash(program, commands, folder):
    for name in ("a.vlr", "b c.vlr", "-odd"):
        (folder / name).write_text("")
    (folder / "sub").mkdir()
    files, folders = ["-odd", "a.vlr", "b c.vlr", "sub"], ["sub"]
    check(ask_bash(["vellorin", ""], folder) == sorted(program.operands + list(program.options)), "bash: commands")
    check(ask_bash(["vellorin", "nonsense", ""], folder) == [], "bash: no command")
    for name, helped in commands.items():
        offered = ask_bash(["vellorin", name, "-"], folder)
        check(offered == helped.words(), f"bash: options of {name}: {offered}")
        for option, (letter, value) in helped.options.items():
            if value:
                direct = ask_bash(["vellorin", name, option, ""], folder)
                check(direct in ([], files, folders), f"bash: value of {name} {option}: {direct}")
                check(ask_bash(["vellorin", name, option, "=", ""], folder) == direct, f"bash: {name} {option}=")
                check(ask_bash(["vellorin", name, option, "="], folder) == direct, f"bash: {name} {option}=")
                if letter:
                    check(ask_bash(["vellorin", name, letter, ""], folder) == direct, f"bash: {name} {letter}")
        if helped.operands:
            first = ask_bash(["vellorin", name, ""], folder)
            check(first in ([], files, folders), f"bash: operands of {name}: {first}")
            check(ask_bash(["vellorin", name, "--quiet", ""], folder) == first, f"bash: {name} behind an option")
            check(ask_bash(["vellorin", name, "--", ""], folder) == first, f"bash: {name} behind --")
            if first == files:
                check(ask_bash(["vellorin", name, "--", "-"], folder) == ["-odd"], f"bash: {name} -- -")
            if "..." not in helped.usage:
                words = ["x"] * len(helped.operands)
                check(ask_bash(["vellorin", name, *words, ""], folder) == [], f"bash: {name} has all its operands")


def check_typing(folder):
    for keys, expected in (("vellorin unl\t", "vellorin unlock "),
                           ("vellorin unlock --fo\t", "vellorin unlock --force "),
                           ("vellorin unlock a\t", "vellorin unlock a.vlr "),
                           ("vellorin unlock b\t", "vellorin unlock b\\ c.vlr "),
                           ("vellorin unlock su\t", "vellorin unlock sub/"),
                           ("vellorin sy\t", "vellorin sync ")):
        if "sy\t" in keys and "sync" not in output_of(PROGRAM, "--help").split("example")[0].split():
            continue
        line = type_into_bash(keys, folder)
        check(expected == line, f"bash: {keys!r} became {line!r}")


def check_other_shells(program, commands):
    zsh, fish = (PAGES / "_vellorin").read_text(), (PAGES / "vellorin.fish").read_text()
    for name, helped in commands.items():
        body = re.search(rf"^        {re.escape(name)}\)\n(.*?);;", zsh, re.M | re.S).group(1)
        check(f"'{name}:" in zsh, f"zsh: {name}")
        check(f"-n __vellorin_no_command -a {name} " in fish, f"fish: {name}")
        for option, (letter, value) in helped.options.items():
            check(f"){option}{'=' if value else ''}[" in body or f"*{option}=[" in body, f"zsh: {name} {option}")
            check(not letter or f"){letter}{'+' if value else ''}[" in body or f"*{letter}+[" in body, f"zsh: {letter}")
            form = (f" -s {letter[1:]}" if letter else "") + f" -l {option[2:]} "
            check(f"'__vellorin_command {name}'{form}" in fish, f"fish: {name} {option}")
        for operand in helped.operands:
            check(f":{operand}:" in body, f"zsh: {name} {operand}")
    for shell, file in (("zsh", "_vellorin"), ("fish", "vellorin.fish")):
        if shutil.which(shell):
            done = subprocess.run([shell, "-n", str(PAGES / file)], capture_output=True, text=True, timeout=60)
            check(done.returncode == 0 and not done.stderr, f"{shell}: {done.stderr}")


def main():
    program = Help(output_of(PROGRAM, "--help"))
    commands = {name: Help(output_of(PROGRAM, name, "--help")) for name in program.operands}
    check(commands, "there are no commands")
    with tempfile.TemporaryDirectory() as folder:
        check_bash(program, commands, pathlib.Path(folder))
        check_typing(pathlib.Path(folder))
    check_manual_page(program, commands)
    check_other_shells(program, commands)
    for failure in failures:
        print(failure)
    print(f"{len(commands)} commands, {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
