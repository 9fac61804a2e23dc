#!/usr/bin/python3
"""Holds the system calls that searches are measured against against the tool's, and runs the whole
comparison over small trees.

usage: search_comparison.py PROGRAMS
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

BENCHMARKS = pathlib.Path(__file__).resolve().parents[2] / "benchmarks"
sys.path.insert(0, str(BENCHMARKS))

from compare_searches import compared_calls
from measure_search import STRACE, Bench, calls_by_name
from search_report import BEGIN, END, Report, put_into

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()


class InATemporaryDirectory(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="tesker-comparison-")
        self.addCleanup(temporary.cleanup)
        self.tmp = pathlib.Path(temporary.name).resolve()


def may_trace():
    """Whether there is a strace, and it is allowed here what it does."""
    words = ["strace", "-o", os.devnull, "true"]
    return shutil.which("strace") and subprocess.run(words, capture_output=True, check=False).returncode == 0


@unittest.skipUnless(may_trace(), "needs strace")
class TheFloor(InATemporaryDirectory):
    def setUp(self):
        super().setUp()
        self.bench = Bench(self.tmp)
        self.empty = self.tmp / "empty"
        self.empty.mkdir()

    def assert_calls_are_the_tools(self, tree):
        counts = compared_calls(self.bench, PROGRAMS, tree, self.empty)
        self.assertGreater(counts["tool"]["newfstatat"], 20)
        self.assertEqual(counts["floor"], counts["tool"])

    def test_makes_the_calls_of_the_tool_over_a_seeded_tree(self):
        self.assert_calls_are_the_tools(self.bench.tree(PROGRAMS, 600))

    def tree_with_links(self):
        tree = self.tmp / "links"
        (tree / "inner" / "deep").mkdir(parents=True)
        (tree / "inner" / "gone").symlink_to("nowhere")
        (tree / "again").symlink_to("inner")
        for name in (".hidden", "old~", "plain", "script", "Nested.app/Inner.bundle", "Nested.app/services"):
            file = tree / "inner" / name
            file.parent.mkdir(exist_ok=True)
            file.write_text("#!/bin/sh\n")
            file.chmod(0o644 if name == "plain" else 0o755)
        (tree / "inner" / "program").symlink_to(pathlib.Path("/bin/true").resolve())
        for number in range(10):
            (tree / f"file{number}").touch()
        return tree

    def test_makes_the_calls_of_the_tool_where_there_are_links_and_names_that_are_left_out(self):
        self.assert_calls_are_the_tools(self.tree_with_links())

    def test_lists_and_reads_what_the_tool_does_where_links_lead_back(self):
        tree = self.tree_with_links()
        (tree / "inner" / "deep" / "up").symlink_to("../..")
        counts = compared_calls(self.bench, PROGRAMS, tree, self.empty)
        for name in ("getdents64", "pread64"):  # the tool's log lines take some of the others
            self.assertGreater(counts["tool"][name], 2)
            self.assertEqual(counts["floor"][name], counts["tool"][name])

    def test_in_several_threads_makes_as_many(self):
        tree = self.bench.tree(PROGRAMS, 600)
        counts = [calls_by_name(self.bench.log_of([*STRACE, "-e", "newfstatat,getdents64,pread64",
                                                   PROGRAMS / "tesker-search-floor", *threads, tree]))
                  for threads in ([], ["--threads", "3"])]
        self.assertEqual(*counts)
        self.assertGreater(counts[0]["total"], 600)


class TheComparison(InATemporaryDirectory):
    def test_measures_every_program_that_is_there_and_names_the_others(self):
        programs = self.tmp / "programs"
        programs.mkdir()
        for name in ("find", "git"):
            if shutil.which(name):
                (programs / name).symlink_to(shutil.which(name))
        output = self.tmp / "folder" / "search.json"
        subprocess.run([sys.executable, BENCHMARKS / "compare_searches.py", "--programs", PROGRAMS, "--output", output,
                        "--quick", "--files", "300,200", "--keep", self.tmp / "kept"],
                       env={**os.environ, "PATH": str(programs)}, stderr=subprocess.DEVNULL, check=True)
        result = json.loads(output.read_text())
        self.assertEqual(result["missing"], ["bfs", "fdfind", "file", "strace", "valgrind"])
        self.assertEqual([tree["name"] for tree in result["trees"]], ["empty directory", "300 files", "200 files"])
        self.assertEqual(list(result["trees"][0]["programs"]), ["empty-program", "tool", "command", "find"])
        for tree in result["trees"][1:]:
            self.assertEqual(list(tree["programs"]), ["floor", "tool", "command", "find"])
            for figures in tree["programs"].values():
                self.assertEqual([len(figures[key]) for key in ("wall", "user", "system", "peak_kib")], [2] * 4)
        self.assertGreater(result["trees"][1]["programs"]["tool"]["records"][0], 0)
        self.assertTrue((self.tmp / "kept" / "tree300").is_dir())
        self.assertIn("\ntesker-apps list", Report(result).text())


def measured(**walls):
    programs = {name: {"wall": wall, "user": wall, "system": wall, "peak_kib": [1024] * len(wall)}
                for name, wall in walls.items()}
    return {"machine": {"processor": "any", "cores": 2, "memory_mib": 1024, "kernel": "6", "load": 0.0},
            "commit": "c", "changed": False, "reads_ahead": True, "missing": [], "load_at_end": 0.0,
            "trees": [{"name": "100,000 files", "files": 100000, "entries": 1, "directories": 1, "cache": "cold",
                       "rounds": len(walls["find"]), "programs": programs}]}


class TheReport(InATemporaryDirectory):
    def test_makes_ratios_within_each_round(self):
        report = Report(measured(command=[1.0, 8.0, 3.0], find=[10.0, 10.0, 20.0]))
        ratio = report.ratio(report.tree("100,000 files", "cold"), "command", "find")
        self.assertEqual((ratio.lowest, ratio.middle, ratio.highest), (0.1, 0.15, 0.8))

    def test_says_which_goals_are_reached(self):
        for command, reached in (([3.9], "yes"), ([4.1], "no")):
            rows = Report(measured(command=command, find=[10.0])).goals()[2]
            self.assertEqual([row[-1] for row in rows], [reached])

    def test_replaces_the_figures_of_a_page_and_nothing_else(self):
        page = self.tmp / "page.md"
        page.write_text(f"before\n{BEGIN}\nold\n{END}\nafter\n")
        put_into(page, "new")
        self.assertEqual(page.read_text(), f"before\n{BEGIN}\nnew\n{END}\nafter\n")


unittest.main(verbosity=2)
