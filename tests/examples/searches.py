#!/usr/bin/env python3
"""Runs the examples of embedded searches.

  searches.py PROGRAMS

PROGRAMS holds the examples, tesker-apps, ToolFinder and tesker-make-sample.
"""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
TOOL = PROGRAMS / "ToolFinder"
EXAMPLES = ["tesker-search-in-poll", "tesker-search-in-thread", "tesker-search-in-glib"]


def start(example, *words):
    """An example that nobody ends by a line on its standard input."""
    return subprocess.Popen([PROGRAMS / example, *words], text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE)


def run(example, *words):
    with start(example, *words) as process:
        output, errors = process.stdout.read(), process.stderr.read()
        process.stdin.close()
        return process.wait(), output.splitlines(), errors


class Searches(unittest.TestCase):
    def setUp(self):
        self.top = pathlib.Path(tempfile.mkdtemp())
        self.sample = self.top / "sample"
        subprocess.run([PROGRAMS / "tesker-make-sample", self.sample], check=True)

    def tearDown(self):
        shutil.rmtree(self.top)

    def applications(self, directory):
        answer = subprocess.run([PROGRAMS / "tesker-apps", "list", "--format", "json", directory], check=True,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        return [record["pairs"]["path"] for record in json.loads(answer)["results"][0]["records"]
                if record["pairs"]["type"] == "app"]

    def test_each_finds_what_the_command_finds(self):
        expected = self.applications(self.sample)
        self.assertGreater(len(expected), 5)
        for example in EXAMPLES:
            status, output, _ = run(example, TOOL, self.sample)
            self.assertEqual((status, output), (0, expected), example)

    def test_each_says_why_there_is_no_answer(self):
        for example in EXAMPLES:
            status, output, errors = run(example, "/missing/tool", self.sample)
            self.assertEqual((status, output), (1, []), example)
            self.assertIn("the tool /missing/tool cannot be executed", errors, example)

    def test_a_line_gives_up_those_that_take_one(self):
        slow = self.top / "tool"
        slow.write_text("#!/bin/sh\nexec sleep 1000\n")
        slow.chmod(0o755)
        for example in EXAMPLES[:2]:
            with start(example, slow, self.sample) as process:
                _, errors = process.communicate("enough\n")
            self.assertEqual(process.returncode, 1)
            self.assertIn("the search was given up", errors, example)

    def test_several_are_searched_in_one_loop(self):
        below = [self.sample / name for name in ("Applications", "Tools")]
        _, output, _ = run("tesker-search-in-poll", TOOL, *below)
        self.assertCountEqual(output, [path for directory in below for path in self.applications(directory)])

    def test_the_loop_that_counts_its_pieces_has_many(self):
        """Many applications arrive in many pieces, so that none of them holds the loop."""
        apps = self.top / "apps"
        apps.mkdir()
        program = (self.sample / "Tools/define").read_bytes()
        for number in range(2000):
            (apps / f"define-{number}").write_bytes(program)
            (apps / f"define-{number}").chmod(0o755)
        status, output, errors = run("tesker-search-in-glib", TOOL, apps)
        self.assertEqual((status, len(output)), (0, 2000))
        pieces = int(re.fullmatch(r"(\d+) pieces, the loop was held for [0-9.]+ ms at most\n", errors).group(1))
        self.assertGreater(pieces, 5)


if __name__ == "__main__":
    unittest.main()
