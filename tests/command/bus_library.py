#!/usr/bin/env python3
"""The bus library takes longer to load than many a search: only a search does, and only once both
processes are on their way.

  bus_library.py PROGRAMS

PROGRAMS holds tesker-apps, ToolFinder and tesker-make-sample.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
NAMES = ("libsystemd.so.0", "libelogind.so.0")


class BusLibrary(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.top = pathlib.Path(directory.name)
        (self.top / "empty").mkdir()
        (self.top / "run").mkdir(mode=0o700)
        self.environment = {**os.environ, "HOME": str(self.top), "XDG_RUNTIME_DIR": str(self.top / "run"),
                            "LC_ALL": "C"}

    def apps(self, *words, **variables):
        return subprocess.run([PROGRAMS / "tesker-apps", *words], cwd=self.top, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, env={**self.environment, **variables})

    def loaded(self, *words):
        """What the dynamic loader says of the bus library, the lines of each process. A confined tool
        could not write them."""
        done = self.apps(*words, LD_DEBUG="files", LD_DEBUG_OUTPUT=str(self.top / "loader"), TESKER_SANDBOX="off")
        self.assertEqual(done.returncode, 0, done.stderr)
        said = []
        for file in self.top.glob("loader.*"):
            lines = file.read_text(errors="replace").splitlines()
            self.assertIn("libc.so", "".join(lines))  # that it says something
            said.append([line for line in lines if any(f"file={name} " in line for name in NAMES)])
        return said

    def without_library(self):
        folder = self.top / "lib"
        folder.mkdir()
        for name in NAMES:
            (folder / name).touch()
        return str(folder)

    def test_what_does_not_search_does_not_load_it(self):
        self.assertEqual(self.loaded("help", "list"), [[]])

    def test_a_search_loads_it_in_both_processes_but_neither_needs_it_to_start(self):
        said = [lines for lines in self.loaded("list", "empty") if lines]  # what reads ahead has none
        self.assertEqual(len(said), 2)
        for lines in said:
            self.assertIn("dynamically loaded by", lines[0])
            self.assertEqual([line for line in lines if "needed by" in line], [])

    def test_without_it_a_search_says_so_and_leaves_nothing(self):
        done = self.apps("list", "empty", LD_LIBRARY_PATH=self.without_library())
        self.assertEqual((done.returncode, done.stdout), (4, ""))
        self.assertRegex(done.stderr, r"the bus library cannot be loaded: .*/lib\w+\.so\.0: ")
        self.assertEqual(list((self.top / "run").iterdir()), [])

    def test_a_tool_without_it_says_so_in_its_log(self):
        tool = self.top / "tool"
        tool.write_text(f"#!/bin/sh\nLD_LIBRARY_PATH='{self.without_library()}' exec '{PROGRAMS}/ToolFinder'\n")
        tool.chmod(0o755)
        done = self.apps("-v", "list", "--tool", str(tool), "empty")
        self.assertEqual((done.returncode, done.stdout), (5, ""))
        self.assertRegex(done.stderr, r"TeskerTool: Cannot load the bus library : .*/lib\w+\.so\.0: ")


if __name__ == "__main__":
    unittest.main()
