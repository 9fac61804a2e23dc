#!/usr/bin/env python3
"""Measures whole searches against find, which has to look at the same entries.

  measure_search.py --programs DIR [--baseline DIR] [--quick]

DIR holds ToolFinder, tesker-apps and, below --programs, tesker-make-search-tree. The programs of
another build (--baseline) search the same trees beside them, in a column of their own. --quick uses
small trees and few rounds: it shows that everything runs, its figures mean little.

Instructions (those in user space), heap allocations and system calls are ToolFinder's alone, and
hardly differ from run to run. CPU time is user and system time of tesker-apps and its tool together;
both it and find are run in turn, so that on a busy machine their ratio still says something. Entries
are the files and directories below the searched one.
"""

import argparse
import os
import pathlib
import re
import shlex
import shutil
import statistics
import subprocess
import tempfile

FIND_ARGUMENTS = ("-type", "f", "-perm", "/111")
# Programs that watch another one; all write to the file "log" in the directory where they run.
# What valgrind itself needs would be refused to a tool that confines itself.
VALGRIND = ("env", "TESKER_SANDBOX=off", "valgrind", "--log-file=log")
CALLGRIND = (*VALGRIND, "--tool=callgrind", "--callgrind-out-file=/dev/null")
MEMCHECK = (*VALGRIND, "--tool=memcheck", "--leak-check=no", "--undef-value-errors=no")
STRACE = ("strace", "-o", "log", "-f", "-c", "-U", "calls,name")


class Bench:
    """A temporary directory, and programs run in an environment that says nothing about the user."""

    def __init__(self, directory):
        self.tmp = directory
        (self.tmp / "run").mkdir(mode=0o700)
        self.environment = {"PATH": os.environ["PATH"], "HOME": str(self.tmp), "LC_ALL": "C",
                            "XDG_RUNTIME_DIR": str(self.tmp / "run"), "XDG_CONFIG_DIRS": str(self.tmp / "no-config")}

    def tree(self, build, files):
        top = self.tmp / f"tree{files}"
        self.run([build / "tesker-make-search-tree", top, files])
        return top

    def run(self, words):
        words = [str(word) for word in words]
        done = subprocess.run(words, cwd=self.tmp, env=self.environment, capture_output=True, check=False)
        if done.returncode != 0:
            raise SystemExit(f"exit status {done.returncode}: {shlex.join(words)}\n" + done.stderr.decode(errors="replace"))

    def cpu_milliseconds(self, words):
        """User and system time of a program and of the children that it waits for."""
        words = [str(word) for word in words]
        pid = os.posix_spawnp(words[0], words, self.environment,
                              file_actions=[(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)])
        _, status, usage = os.wait4(pid, 0)
        if status != 0:
            raise SystemExit(f"wait status {status}: {shlex.join(words)}")
        return 1000 * (usage.ru_utime + usage.ru_stime)

    def log_of(self, words):
        log = self.tmp / "log"
        log.unlink(missing_ok=True)
        self.run(words)
        return log.read_text()

    def watched_find(self, watcher, tree):
        """What the watcher writes about find."""
        return self.log_of([*watcher, "find", tree, *FIND_ARGUMENTS])

    def watched_tool(self, watcher, build, tree):
        """What the watcher writes about the tool while it searches the tree."""
        return self.log_of(search_words(build, self.tool_under(watcher, build), tree))

    def tool_under(self, watcher, build):
        """A program that is the tool, watched."""
        script = self.tmp / "watched-tool"
        script.write_text(f"#!/bin/sh\nexec {shlex.join([*watcher, str(build / 'ToolFinder')])}\n")
        script.chmod(0o755)
        return script


def search_words(build, tool, tree):
    return [build / "tesker-apps", "list", "--format", "raw", "--timeout", "3600", "--tool", tool, tree]


def number_after(pattern, log):
    found = re.search(pattern + r"\s*([\d,]+)", log)
    if found is None:
        raise SystemExit(f"nothing like '{pattern}' in what the watching program says:\n{log}")
    return int(found.group(1).replace(",", ""))


def calls_by_name(log):
    """From the two columns of strace's summary; the sum has the name "total"."""
    return {name: int(calls) for calls, name in re.findall(r"^\s*(\d+)\s+(\w+)$", log, re.M)}


def row(title, values, decimals=0):
    print(f"{title:<58}" + "".join(f"{value:>14.{decimals}f}" for value in values), flush=True)


def heading(title, builds):
    print(f"\n{title:<58}" + "".join(f"{name:>14}" for name in ("this build", "baseline")[:len(builds)]), flush=True)


def measure_instructions(bench, builds, tree, empty):
    def millions(log):
        return number_after("Collected :", log) / 1e6

    full = [millions(bench.watched_tool(CALLGRIND, build, tree)) for build in builds]
    start = [millions(bench.watched_tool(CALLGRIND, build, empty)) for build in builds]
    find = millions(bench.watched_find(CALLGRIND, tree))
    row("ToolFinder: million instructions", full, 2)
    row("  in an empty directory", start, 2)
    row("  find " + " ".join(FIND_ARGUMENTS), [find] * len(builds), 2)
    row("  ToolFinder / find", [value / find for value in full], 2)


def measure_allocations(bench, builds, tree, empty, entries):
    def allocations(log):
        return number_after("total heap usage:", log)

    full = [allocations(bench.watched_tool(MEMCHECK, build, tree)) for build in builds]
    start = [allocations(bench.watched_tool(MEMCHECK, build, empty)) for build in builds]
    row("ToolFinder: heap allocations", full)
    row("  in an empty directory", start)
    row("  the difference for each entry", [(a - b) / entries for a, b in zip(full, start)], 2)


def measure_system_calls(bench, builds, tree, entries):
    if not shutil.which("strace"):
        print("ToolFinder: system calls are not counted, strace is missing")
        return
    counts = [calls_by_name(bench.watched_tool(STRACE, build, tree)) for build in builds]
    row("ToolFinder: system calls", [count["total"] for count in counts])
    row("  for each entry", [count["total"] / entries for count in counts], 2)
    names = {name for count in counts for name in count if name != "total"}
    for name in sorted(names, key=lambda name: (-counts[0].get(name, 0), name)):
        if any(count.get(name, 0) > entries / 20 for count in counts):
            row("  " + name, [count.get(name, 0) for count in counts])


def measure_time(bench, builds, tree, rounds):
    commands = [search_words(build, build / "ToolFinder", tree) for build in builds] + [["find", tree, *FIND_ARGUMENTS]]
    for command in commands:
        bench.cpu_milliseconds(command)  # the kernel has met all entries before the first round
    times = [[] for _ in commands]
    for number in range(rounds):
        for turn in range(len(commands)):
            which = (number + turn) % len(commands)
            times[which].append(bench.cpu_milliseconds(commands[which]))
    *searches, find = times
    ratios = [[a / b for a, b in zip(search, find)] for search in searches]
    row("tesker-apps list: milliseconds of CPU time, median", map(statistics.median, searches), 1)
    row("  find " + " ".join(FIND_ARGUMENTS), [statistics.median(find)] * len(builds), 1)
    row("  tesker-apps / find, median of the rounds", map(statistics.median, ratios), 2)
    row("  lowest", map(min, ratios), 2)
    row("  highest", map(max, ratios), 2)


def number_of_entries(tree):
    return sum(len(directories) + len(files) for _, directories, files in os.walk(tree))


def measure(bench, builds, counted_files, timed_files, rounds):
    empty = bench.tmp / "empty"
    empty.mkdir()
    tree = bench.tree(builds[0], counted_files)
    entries = number_of_entries(tree)
    heading(f"{counted_files} files, {entries} entries", builds)
    measure_instructions(bench, builds, tree, empty)
    measure_allocations(bench, builds, tree, empty, entries)
    measure_system_calls(bench, builds, tree, entries)
    tree = bench.tree(builds[0], timed_files)
    heading(f"{timed_files} files, {number_of_entries(tree)} entries, {rounds} rounds in turn", builds)
    measure_time(bench, builds, tree, rounds)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", type=pathlib.Path, required=True, metavar="DIR")
    parser.add_argument("--baseline", type=pathlib.Path, metavar="DIR")
    parser.add_argument("--quick", action="store_true")
    options = parser.parse_args()
    builds = [directory.resolve() for directory in (options.programs, options.baseline) if directory]
    needed = [build / name for build in builds for name in ("ToolFinder", "tesker-apps")]
    for program in [*needed, builds[0] / "tesker-make-search-tree"]:
        if not program.exists():
            parser.error(f"{program} is missing")
    with tempfile.TemporaryDirectory(prefix="tesker-measure-") as directory:
        bench = Bench(pathlib.Path(directory).resolve())
        if options.quick:
            measure(bench, builds, counted_files=1000, timed_files=2000, rounds=2)
        else:
            measure(bench, builds, counted_files=10000, timed_files=100000, rounds=11)


if __name__ == "__main__":
    main()
