#!/usr/bin/env python3
"""Searches by the real programs where descriptors or memory run out: the whole answer, or none and
the reason, but never an answer that lacks something with exit status 0.

  exhaustion.py PROGRAMS        the folder of tesker-apps and ToolFinder
"""

import json
import os
import pathlib
import resource
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = pathlib.Path(sys.argv[1]).resolve()
MEBIBYTE = 1 << 20

# What tesker-apps answers where it lacks something itself, and where its tool does.
OURS, TOOLS = 4, 5


def make_tree(top):
    """Applications whose records need some tens of megabytes."""
    for name, count in (("Small", 3), ("Large", 20_000), ("Larger", 60_000)):
        resources = top / f"{name}.app" / "Resources"
        resources.mkdir(parents=True)
        extensions = ", ".join(f"x{number}{name}" for number in range(count))
        (resources / "Info-quorvale.plist").write_text(
            f"{{ NSExecutable = {name}; NSTypes = ( {{ NSExtensions = ({extensions}); }} ); }}")


class Exhaustion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory(prefix="tesker-exhaustion-")
        cls.top = pathlib.Path(cls.temporary.name)
        (cls.top / "run").mkdir(mode=0o700)
        make_tree(cls.top / "Apps")
        cls.whole = cls.search().stdout

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    @classmethod
    def search(cls, *options, prepare=None):
        environment = {"PATH": "/usr/bin:/bin", "XDG_RUNTIME_DIR": str(cls.top / "run")}
        return subprocess.run(
            [PROGRAMS / "tesker-apps", "list", cls.top / "Apps", "--format", "jsonl", *options],
            capture_output=True, text=True, env=environment, preexec_fn=prepare, check=False)

    def search_limited(self, limit, most):
        """With both processes under the limit."""
        return self.search(prepare=lambda: resource.setrlimit(limit, (most, most)))

    def search_with_limited_tool(self, limit):
        """With the tool alone under the limit, in the words of the shell."""
        wrapper = self.top / "limited-tool"
        wrapper.write_text(f"#!/bin/sh\nulimit {limit} && exec '{PROGRAMS}/ToolFinder'\n")
        wrapper.chmod(0o755)
        return self.search("--tool", wrapper)

    def assert_right_or_said(self, done, statuses):
        """The exit status, which is 0 for the whole answer only."""
        if done.returncode == 0:
            self.assertEqual(done.stdout, self.whole)
            return 0
        self.assertIn(done.returncode, statuses, done.stderr)
        for line in done.stdout.splitlines():  # of what went wrong alone
            self.assertTrue({"error", "log"} & json.loads(line).keys(), line)
        self.assertRegex(done.stderr, r"^tesker-apps: .*/Apps: \S+")
        self.assertEqual(list((self.top / "run").iterdir()), [], "a private directory is left")
        return done.returncode

    def test_the_tree_has_applications(self):
        records = [json.loads(line)["record"]["pairs"] for line in self.whole.splitlines()]
        self.assertEqual(len([r for r in records if r["type"] == "app"]), 3)
        self.assertGreater(len(records), 80_000)

    def test_a_tool_with_six_descriptors_says_so(self):
        done = self.search_with_limited_tool("-n 6")
        self.assertEqual(self.assert_right_or_said(done, [TOOLS]), TOOLS)
        self.assertIn("the tool says: TeskerTool: Cannot start connection : 24", done.stderr)

    def test_a_tool_with_few_descriptors_is_right_or_says_so(self):
        ends = {self.assert_right_or_said(self.search_with_limited_tool(f"-n {most}"), [TOOLS])
                for most in range(4, 13)}
        self.assertEqual(ends, {0, TOOLS})

    def test_a_tool_with_little_memory_is_right_or_says_so(self):
        for mebibytes in (20, 30, 40, 60):
            with self.subTest(mebibytes):
                done = self.search_with_limited_tool(f"-v {mebibytes * 1024}")
                if self.assert_right_or_said(done, [TOOLS]) == TOOLS:
                    self.assertRegex(done.stderr, r"the tool says: TeskerTool \[\d+\] exception")
        done = self.search_with_limited_tool(f"-v {20 * 1024}")
        self.assertEqual(done.returncode, TOOLS, "20 MiB were meant to be too few")

    def test_a_command_with_six_descriptors_says_so(self):
        done = self.search_limited(resource.RLIMIT_NOFILE, 6)
        self.assertEqual(self.assert_right_or_said(done, [OURS]), OURS)
        self.assertIn(os.strerror(24), done.stderr)

    def test_a_command_with_few_descriptors_is_right_or_says_so(self):
        ends = {self.assert_right_or_said(self.search_limited(resource.RLIMIT_NOFILE, most), [OURS, TOOLS])
                for most in range(4, 20)}
        self.assertLessEqual({0, OURS}, ends)

    def test_a_command_with_little_memory_is_right_or_says_so(self):
        ends = {self.assert_right_or_said(
            self.search_limited(resource.RLIMIT_AS, mebibytes * MEBIBYTE), [OURS, TOOLS])
                for mebibytes in (20, 30, 40, 42, 44, 46, 48, 50, 52, 54, 60, 100)}
        self.assertIn(0, ends)
        self.assertNotEqual(ends, {0})

    def test_decoding_holds_no_more_than_the_text(self):
        count = 1_000_000
        text = f"({count:x}{',0' * count})"
        limit = 40 * MEBIBYTE
        for text_format in ("jsonl", "json", "table"):
            with self.subTest(text_format):
                done = subprocess.run(
                    [PROGRAMS / "tesker-apps", "decode", "-", "--format", text_format], input=text,
                    stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False,
                    preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)))
                self.assertEqual((done.returncode, done.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
