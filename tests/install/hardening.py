#!/usr/bin/python3
"""Reads the programs and the library as they were built, and looks for what makes a fault in them
hard to make use of.

usage: hardening.py READELF LIBRARY PROGRAM..."""
import pathlib
import re
import subprocess
import sys
import unittest

READELF, LIBRARY, *PROGRAMS = sys.argv[1:]


def readelf(file, *options):
    return subprocess.run([READELF, *options, file], stdout=subprocess.PIPE, text=True, check=True).stdout


class Program:
    """What holds for each program; the classes made below name them."""

    def segments(self):
        """The kinds and rights of the segments."""
        lines = re.findall(r"^ +([A-Z_]+) +(?:0x\w+ +){5}([RWE ]+?) +0x", readelf(self.file, "-W", "-l"), re.MULTILINE)
        self.assertIn("LOAD", [kind for kind, _ in lines])
        return lines

    def calls(self, function):
        return function in readelf(self.file, "--symbols", "--dyn-syms")

    def test_no_address_is_known_beforehand(self):
        self.assertRegex(readelf(self.file, "-h"), r"Type: +DYN")
        self.assertRegex(readelf(self.file, "-d"), r"\(FLAGS_1\).*\bPIE\b")

    def test_what_points_to_code_is_bound_and_then_read_only(self):
        self.assertRegex(readelf(self.file, "-d"), r"\(FLAGS\).*\bBIND_NOW\b")
        self.assertIn("GNU_RELRO", [kind for kind, _ in self.segments()])

    def test_nothing_can_be_both_written_and_executed(self):
        self.assertIn("GNU_STACK", [kind for kind, _ in self.segments()])
        for kind, rights in self.segments():
            self.assertFalse("W" in rights and "E" in rights, kind)
        self.assertNotIn("TEXTREL", readelf(self.file, "-d"))

    def test_a_stack_that_was_written_over_is_noticed(self):
        self.assertTrue(self.calls("__stack_chk_fail"))

    def test_an_index_beyond_a_container_ends_the_program(self):
        self.assertTrue(self.calls("__glibcxx_assert_fail"))


class Library(unittest.TestCase):
    def test_return_addresses_can_be_kept_twice(self):
        """Said by each object, for x86; a program says it when the C library's objects do, too."""
        if "X86-64" not in readelf(LIBRARY, "-h"):
            self.skipTest("only x86 has it")
        _, *objects = readelf(LIBRARY, "-n").split("\nFile: ")
        self.assertGreater(len(objects), 10)
        for notes in objects:
            self.assertIn("SHSTK", notes, notes.partition("\n")[0])


for file in PROGRAMS:
    name = pathlib.Path(file).name
    globals()[name] = type(name, (Program, unittest.TestCase), {"file": file})

unittest.main(argv=sys.argv[:1], verbosity=2)
