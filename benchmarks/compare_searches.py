#!/usr/bin/env python3
"""Measures searches beside the system calls that they need, and beside what people use instead.

  compare_searches.py --programs DIR --output FILE [OPTION...]

DIR holds the project's programs and those of benchmarks/. Programs take turns, one run of each in a
round, every round beginning with another one, so that what else the machine does meets all of them
alike; search_report.py makes ratios of each round's figures, and tables, plots and docs of FILE.

A program that is not installed is left out and said so; --quick uses small trees and few rounds, to
show that everything runs. --cold drops the kernel's caches before each run: everybody on the machine
feels it.
"""

import argparse
import json
import os
import pathlib
import platform
import shutil
import subprocess
import sys
import tempfile

from measure_search import CALLGRIND, FIND_ARGUMENTS, STRACE, Bench, calls_by_name, number_after

DROP_CACHES = pathlib.Path("/proc/sys/vm/drop_caches")
# What both the tool and the floor do for files, as strace names it.
FILE_CALLS = ("newfstatat", "getdents64", "openat", "close", "pread64")
THREADS = (1, 2, 4, 8, 16)
# Statuses of a search that found nothing, or could not read everything.
GOOD_STATUSES = (0, 1)


def searches(build, tree):
    """By name, how each program searches the tree."""
    return {
        "floor": [build / "tesker-search-floor", tree],
        "tool": [build / "tesker-ask-tool", build / "ToolFinder", tree],
        "command": [build / "tesker-apps", "list", tree],
        "find": ["find", tree, *FIND_ARGUMENTS],
        "bfs": ["bfs", tree, *FIND_ARGUMENTS],
        "fdfind": ["fdfind", "-u", "-tx", ".", tree],
        "file": ["find", tree, *FIND_ARGUMENTS, "-exec", "file", "{}", "+"],
    }


def cold_searches(build, tree):
    """With the command as it is without its helper, where it has one, and the floor in several threads."""
    words = searches(build, tree)
    if reads_ahead(build):
        words["command-alone"] = [build / "tesker-apps", "list", "--no-read-ahead", tree]
    for threads in THREADS[1:]:
        words[f"floor-{threads}"] = [build / "tesker-search-floor", "--threads", threads, tree]
    return words


def starts(build, empty):
    return {"empty-program": [build / "tesker-empty-program"],
            **{name: words for name, words in searches(build, empty).items() if name in ("tool", "command", "find")}}


def reads_ahead(build):
    text = subprocess.run([build / "tesker-apps", "list", "--help"], capture_output=True, text=True, check=True).stdout
    return "--no-read-ahead" in text


class Comparison:
    """Runs programs in turn, and keeps what that took as FILE has it."""

    def __init__(self, bench, build):
        self.bench = bench
        self.build = build
        self.missing = set()
        self.trees = []

    def is_there(self, words):
        needed = [words[0]] + (["file"] if "-exec" in words else [])
        missing = {str(program) for program in needed if not shutil.which(program)}
        self.missing |= missing
        return not missing

    def once(self, words):
        words = [str(word) for word in words]
        if not words[0].endswith("/tesker-ask-tool"):  # which measures by itself
            words.insert(0, str(self.build / "tesker-run-timed"))
        done = subprocess.run(words, cwd=self.bench.tmp, env=self.bench.environment, capture_output=True, text=True,
                              check=False)
        figures = json.loads(done.stdout) if done.returncode == 0 else {"status": None}
        if figures["status"] not in GOOD_STATUSES:
            raise SystemExit(f"{words}: status {figures['status']}\n{done.stderr}")
        return figures

    def run_in_turn(self, tree, cache, programs, rounds):
        """tree: what FILE says of the tree, beside the runs."""
        programs = {name: words for name, words in programs.items() if self.is_there(words)}
        print(f"{tree['name']}, {cache}: {rounds} rounds of {', '.join(programs)}", file=sys.stderr, flush=True)
        if cache == "warm":
            for words in programs.values():
                self.once(words)  # the kernel has met all entries, and the programs themselves
        runs = {name: [] for name in programs}
        names = list(programs)
        for number in range(rounds):
            for turn in range(len(names)):
                name = names[(number + turn) % len(names)]
                if cache == "cold":
                    drop_caches()
                runs[name].append(self.once(programs[name]))
        self.trees.append({**tree, "cache": cache, "rounds": rounds,
                           "programs": {name: in_columns(figures) for name, figures in runs.items()}})


def in_columns(figures):
    return {key: [run[key] for run in figures] for key in figures[0] if key != "status"}


def drop_caches():
    os.sync()
    DROP_CACHES.write_text("3")


def made_tree(bench, build, files, keep):
    """A tree in the bench's own directory, or one that is kept for the next time."""
    if keep is None:
        return bench.tree(build, files)
    tree = keep / f"tree{files}"
    if not tree.exists():
        unfinished = keep / f"tree{files}.unfinished"
        shutil.rmtree(unfinished, ignore_errors=True)
        bench.run([build / "tesker-make-search-tree", unfinished, files])
        unfinished.rename(tree)
    return tree


def described(tree, name, files=None):
    directories = entries = 0
    for _, inner, plain in os.walk(tree):
        directories += 1
        entries += len(inner) + len(plain)
    return {"name": name, "files": files, "entries": entries, "directories": directories,
            "file_system": file_system_of(tree)}


def file_system_of(path):
    mounts = [line.split() for line in pathlib.Path("/proc/self/mounts").read_text().splitlines()]
    above = [(len(place), kind) for _, place, kind, *_ in mounts
             if pathlib.Path(path).is_relative_to(place.replace("\\040", " "))]
    return max(above)[1]


def watched_tool(bench, watcher, build, tree):
    """What the watcher writes about the tool, which tells nobody how far it has come."""
    return bench.log_of([build / "tesker-ask-tool", bench.tool_under(watcher, build), tree])


def compared_calls(bench, build, tree, empty):
    """The calls for files, without those of the start: the tool's and the floor's."""
    def tool(path):
        return calls_by_name(watched_tool(bench, STRACE, build, path))

    def floor(path):
        return calls_by_name(bench.log_of([*STRACE, build / "tesker-search-floor", path]))

    counts = {}
    for name, program in (("tool", tool), ("floor", floor)):
        full, start = program(tree), program(empty)
        counts[name] = {call: full.get(call, 0) - start.get(call, 0) for call in FILE_CALLS}
    return counts


def instructions(bench, build, tree, empty):
    """In user space, for the tree, and the tool's for an empty directory, too."""
    def number(log):
        return number_after("Collected :", log)

    def program(words):
        return number(bench.log_of([*CALLGRIND, *words]))

    return {"tool": number(watched_tool(bench, CALLGRIND, build, tree)),
            "tool-start": number(watched_tool(bench, CALLGRIND, build, empty)),
            "floor": program([build / "tesker-search-floor", tree]),
            "find": program(["find", tree, *FIND_ARGUMENTS])}


def machine():
    processor = [line.split(":", 1)[1].strip() for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                 if line.startswith(("model name", "Processor"))]
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    return {"processor": processor[0] if processor else platform.machine(), "cores": os.cpu_count(),
            "memory_mib": memory >> 20, "kernel": platform.release(), "load": os.getloadavg()[0]}


def commit(build):
    """Of the tree that has been built; nothing where the programs lie elsewhere."""
    def git(*words):
        return subprocess.run(["git", *words], cwd=build, capture_output=True, text=True, check=False).stdout.strip()

    return {"commit": git("rev-parse", "--short=12", "HEAD"), "changed": bool(git("status", "--porcelain"))}


def compare(bench, build, options):
    comparison = Comparison(bench, build)
    empty = bench.tmp / "empty"
    empty.mkdir()
    result = {"machine": machine(), **commit(build)}
    comparison.run_in_turn({"name": "empty directory", "entries": 0}, "warm", starts(build, empty),
                           10 * options.rounds)
    trees = {files: made_tree(bench, build, files, options.keep) for files in options.files}
    for files, tree in trees.items():
        rounds = options.rounds if files < 500_000 else (options.rounds + 1) // 2
        comparison.run_in_turn(described(tree, f"{files:,} files", files), "warm", searches(build, tree), rounds)
    if options.usr:
        tree = pathlib.Path("/usr")
        comparison.run_in_turn(described(tree, "/usr"), "warm", searches(build, tree), (options.rounds + 1) // 2)
    small = trees[min(trees)]
    if shutil.which("strace"):
        result["calls"] = {"files": min(trees), **compared_calls(bench, build, small, empty)}
    else:
        comparison.missing.add("strace")
    if shutil.which("valgrind"):
        result["instructions"] = {"files": min(trees), **instructions(bench, build, small, empty)}
    else:
        comparison.missing.add("valgrind")
    if options.cold:
        files = max((files for files in trees if files <= 100_000), default=min(trees))
        comparison.run_in_turn(described(trees[files], f"{files:,} files", files), "cold",
                               cold_searches(build, trees[files]), (options.rounds + 1) // 2)
    return {**result, "reads_ahead": reads_ahead(build), "missing": sorted(comparison.missing),
            "load_at_end": os.getloadavg()[0], "trees": comparison.trees}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", type=pathlib.Path, required=True, metavar="DIR")
    parser.add_argument("--output", type=pathlib.Path, required=True, metavar="FILE")
    parser.add_argument("--files", type=lambda text: [int(number) for number in text.split(",")], metavar="N,...",
                        help="sizes of the trees (10000,100000,1000000)")
    parser.add_argument("--rounds", type=int, metavar="N",
                        help="of the small trees (11); the large ones, /usr and cold searches have half as many")
    parser.add_argument("--keep", type=pathlib.Path, metavar="DIR", help="where trees are kept, and are taken from")
    parser.add_argument("--usr", action=argparse.BooleanOptionalAction, help="search /usr, too (yes, unless --quick)")
    parser.add_argument("--cold", action="store_true", help="measure cold searches, too; needs root")
    parser.add_argument("--quick", action="store_true")
    options = parser.parse_args()
    usual = ([1000, 2000], 2) if options.quick else ([10_000, 100_000, 1_000_000], 11)
    options.files = options.files or usual[0]
    options.rounds = options.rounds or usual[1]
    options.usr = not options.quick if options.usr is None else options.usr
    if options.cold and not os.access(DROP_CACHES, os.W_OK):
        parser.error(f"--cold: {DROP_CACHES} cannot be written")
    if options.keep:
        options.keep = options.keep.resolve()
        options.keep.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="tesker-compare-") as directory:
        bench = Bench(pathlib.Path(directory).resolve())
        result = compare(bench, options.programs.resolve(), options)
    options.output.parent.mkdir(parents=True, exist_ok=True)
    options.output.write_text(json.dumps(result, indent=1) + "\n")


if __name__ == "__main__":
    main()
