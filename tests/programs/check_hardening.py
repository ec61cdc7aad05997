#!/usr/bin/env python3
"""Checks that finished programs carry the protections that they are built with, and that the checks can fail.

Usage: check_hardening.py [--optimised] COMPILER PROGRAM...; ends with "N passed, N failed". What the compiler puts into
functions is looked for in those of the core, since a program may hold parts of libraries, which have protections of their
own. COMPILER builds a little program without any protection, in which every check has to find its fault. With --optimised, calls whose lengths are
compared at run time have to be there too: the compiler makes them only when it optimises."""

import pathlib
import re
import subprocess
import sys
import tempfile

LANDING_PLACES = {  # what a function that is called by address begins with, by machine
    "X86-64": [b"\xf3\x0f\x1e\xfa"],  # endbr64
    "AArch64": [b"\x3f\x23\x03\xd5", b"\x5f\x24\x03\xd5"],  # paciasp, bti c
}

UNPROTECTED_SOURCE = """
#include <cstdio>
int main(int count, char** arguments)
{
    char text[64];
    std::sprintf(text, "%s", arguments[count - 1]);
    return std::puts(text) < 0;
}
"""
UNPROTECTED_OPTIONS = ["-O0", "-U_FORTIFY_SOURCE", "-fno-stack-protector", "-fno-pie", "-no-pie", "-Wl,-z,norelro",
                       "-Wl,-z,lazy", "-Wl,-z,execstack"]
WITHOUT_LANDING_PLACES = {"X86-64": ["-fcf-protection=none"], "AArch64": ["-mbranch-protection=none"]}


OWN_FUNCTION = re.compile(r"^[0-9a-f]+ <(.*VLR_.*|main)>:$")
FUNCTION = re.compile(r"^[0-9a-f]+ <.*>:$")
CALL = re.compile(r"\t(?:call|jmp|bl|b)\s.*<([^@>+]+)(?:@plt)?>$")


class Program:
    def __init__(self, path):
        self.bytes = pathlib.Path(path).read_bytes()
        self.header = self.readelf("-h", path)
        self.segments = self.readelf("-l", path)
        self.dynamic = self.readelf("-d", path)
        self.symbols = self.readelf("-s", path)
        self.sections = self.readelf("-S", path)
        self.machine = next((m for m in LANDING_PLACES if m in self.header), None)
        self.called = self.called_by_own_functions(path)

    @staticmethod
    def output_of(*command):
        return subprocess.run(command, check=True, capture_output=True, text=True,
                              env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"}).stdout

    @staticmethod
    def readelf(what, path):
        return Program.output_of("readelf", "-W", what, path)

    @staticmethod
    def called_by_own_functions(path):
        called = set()
        within_own = False
        for line in Program.output_of("objdump", "-d", "-w", "--no-show-raw-insn", path).splitlines():
            if FUNCTION.match(line):
                within_own = OWN_FUNCTION.match(line) is not None
            elif within_own and (call := CALL.search(line)):
                called.add(call.group(1))
        return called

    def calls(self, pattern):
        return any(re.fullmatch(pattern, name) for name in self.called)

    def first_bytes_of_main(self):
        address = int(re.search(r": ([0-9a-f]+) .* main$", self.symbols, re.M).group(1), 16)
        for start, offset, size in re.findall(r" PROGBITS +([0-9a-f]+) ([0-9a-f]+) ([0-9a-f]+) ", self.sections):
            place = address - int(start, 16)
            if 0 <= place < int(size, 16):
                return self.bytes[int(offset, 16) + place:][:4]
        raise ValueError("main is in no section")


def lies_at_addresses_of_chance(program):
    return "DYN" in program.header and re.search(r"\(FLAGS_1\).* PIE", program.dynamic) is not None


def has_read_only_address_tables(program):
    return "GNU_RELRO" in program.segments and re.search(r"\(FLAGS_1\).* NOW", program.dynamic) is not None


def has_a_stack_without_code(program):
    flags = re.search(r"GNU_STACK(?: +0x[0-9a-f]+){5} +([RWE ]+) ", program.segments)
    return flags is not None and "E" not in flags.group(1)


def watches_return_addresses(program):
    return program.calls("__stack_chk_fail")


def has_landing_places(program):
    return program.machine is None or program.first_bytes_of_main() in LANDING_PLACES[program.machine]


def checks_indices(program):
    return program.calls(r"_ZSt21__glibcxx_assert_fail\w*")


def wipes_by_a_call_that_stays(program):
    return program.calls("(explicit_bzero|__explicit_bzero_chk)")


def compares_lengths(program):
    return program.calls(r"__(?!stack_)\w+_chk")


CHECKS = [lies_at_addresses_of_chance, has_read_only_address_tables, has_a_stack_without_code, watches_return_addresses,
          has_landing_places, checks_indices, wipes_by_a_call_that_stays]
CHECKS_WHERE_OPTIMISED = [compares_lengths]


def unprotected_program(compiler, folder, machine):
    source, path = folder / "unprotected.cpp", folder / "unprotected"
    source.write_text(UNPROTECTED_SOURCE)
    options = UNPROTECTED_OPTIONS + WITHOUT_LANDING_PLACES.get(machine, [])
    subprocess.run([compiler, *options, "-w", "-o", path, source], check=True)
    return Program(path)


def main():
    arguments = [a for a in sys.argv[1:] if a != "--optimised"]
    checks = CHECKS + (CHECKS_WHERE_OPTIMISED if "--optimised" in sys.argv else [])
    compiler, paths = arguments[0], arguments[1:]
    programs = [(pathlib.Path(path).name, Program(path)) for path in paths]
    results = [(f"{name} {check.__name__}", check(program)) for name, program in programs for check in checks]
    with tempfile.TemporaryDirectory() as folder:
        unprotected = unprotected_program(compiler, pathlib.Path(folder), programs[0][1].machine)
    for check in CHECKS + CHECKS_WHERE_OPTIMISED:
        if check is has_landing_places and unprotected.machine is None:
            continue  # nothing is known to look for
        results.append((f"an unprotected program fails {check.__name__}", not check(unprotected)))
    failed = [what for what, holds in results if not holds]
    for what in failed:
        print(f"FAIL {what}")
    print(f"{len(results) - len(failed)} passed, {len(failed)} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
