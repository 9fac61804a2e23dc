#!/usr/bin/python3
"""Whether tesker-apps check says of every text that the tests of property lists hold to be malformed
what the parser says, and where.

usage: malformed.py PROGRAMS SOURCE      the folder of tesker-apps; the top of the repository
"""
import ast
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAMS, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
TESTS = SOURCE / "tests/foundation/PropertyListMalformedTests.cpp"
LITERAL = r'"(?:[^"\\]|\\.)*"'


def malformed():
    """Pairs of a text (bytes) and what is said of it: a reason, a line and a column."""
    claims = re.findall(rf"problem\(({LITERAL}(?:\s*{LITERAL})*)(?:sv)?\),\s*({LITERAL}(?:\s*{LITERAL})*)", TESTS.read_text())
    for text, said in claims:
        place = re.fullmatch(r"(.*) at line (\d+), column (\d+)", ast.literal_eval(f"({said})"))
        if place:
            # In bytes, C++ and Python write these alike.
            yield b"".join(ast.literal_eval("b" + part) for part in re.findall(LITERAL, text)), place.groups()


class Malformed(unittest.TestCase):
    def test_check_says_what_the_parser_says(self):
        texts = list(malformed())
        self.assertGreater(len(texts), 40)
        with tempfile.TemporaryDirectory(prefix="tesker-malformed-") as folder:
            for number, (text, _) in enumerate(texts):
                pathlib.Path(folder, f"{number:03}").write_bytes(text)
            names = [f"{number:03}" for number in range(len(texts))]
            for kind in ("list", "registry"):
                done = subprocess.run([PROGRAMS / "tesker-apps", "check", "--kind", kind, *names], cwd=folder, text=True,
                                      capture_output=True, check=False)
                self.assertEqual((done.returncode, done.stderr), (1, ""))
                told = [f"{name}:{line}:{column}: error: {reason} [malformed-list]"
                        for name, (_, (reason, line, column)) in zip(names, texts)]
                self.assertEqual(done.stdout.splitlines(), told)


unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
