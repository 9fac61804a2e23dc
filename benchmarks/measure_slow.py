#!/usr/bin/env python3
"""Measures whole searches of a file system that answers late, with and without reading ahead.

  measure_slow.py --programs DIR [--files NUMBER] [--microseconds NUMBER] [--rounds NUMBER]

DIR holds ToolFinder, tesker-read-ahead, tesker-apps, tesker-make-search-tree and tesker-slow-mount,
through which each run sees the tree for the first time. All run in turn; the ratios are medians of
those in one round.
"""

import argparse
import contextlib
import os
import pathlib
import shutil
import statistics
import subprocess
import tempfile
import time

from measure_search import FIND_ARGUMENTS, Bench

TIME_TO_MOUNT = 10  # seconds


class CannotMount(Exception):
    """As in a container that may not, though it has all that is needed."""


@contextlib.contextmanager
def slow_mount(options, tree, place):
    server = subprocess.Popen([options.programs / "tesker-slow-mount", tree, place, str(options.microseconds)])
    try:
        end = time.monotonic() + TIME_TO_MOUNT
        while not os.path.ismount(place):
            if server.poll() is not None or time.monotonic() > end:
                raise CannotMount
            time.sleep(0.01)
        yield
    finally:
        subprocess.run(["fusermount3", "-u", "-z", place], stderr=subprocess.DEVNULL, check=False)
        server.terminate()
        server.wait()


def seconds(words, environment):
    start = time.monotonic()
    subprocess.run(words, env=environment, stdout=subprocess.DEVNULL, check=True)
    return time.monotonic() - start


def competitors(options, place):
    search = [options.programs / "tesker-apps", "list", "--format", "raw", "--timeout", "3600"]
    tests = " ".join(FIND_ARGUMENTS)
    words = {"tesker-apps list": [*search, place],
             "tesker-apps list --no-read-ahead": [*search, "--no-read-ahead", place],
             f"find {tests}": ["find", place, *FIND_ARGUMENTS]}
    if shutil.which("bfs"):
        words[f"bfs {tests}"] = ["bfs", place, *FIND_ARGUMENTS]
    if shutil.which("fdfind"):
        words["fdfind -u -tx ."] = ["fdfind", "-u", "-tx", ".", place]
    return words


def measure(options, directory):
    bench = Bench(directory)
    tree = bench.tree(options.programs, options.files)
    place = directory / "slow"
    place.mkdir()
    words = competitors(options, place)
    times = {title: [] for title in words}
    for _ in range(options.rounds):
        for title, command in words.items():
            with slow_mount(options, tree, place):
                times[title].append(seconds(command, bench.environment))
    print(f"{options.files} files, {options.microseconds} microseconds for each answer:")
    own = times["tesker-apps list"]
    for title, values in times.items():
        ratio = statistics.median(mine / other for mine, other in zip(own, values))
        print(f"  {title:<40}{statistics.median(values):>10.3f} s   with reading ahead {ratio:.2f} of it")


def main():
    parser = argparse.ArgumentParser(description="Measures searches of a file system that answers late.")
    parser.add_argument("--programs", type=pathlib.Path, required=True)
    parser.add_argument("--files", type=int, default=10000)
    parser.add_argument("--microseconds", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--quick", action="store_true", help="a small tree, once")
    options = parser.parse_args()
    options.programs = options.programs.resolve()
    if options.quick:
        options.files, options.rounds = 300, 1
    lacking = [name for name, there in (
        ("tesker-slow-mount", (options.programs / "tesker-slow-mount").exists()), ("/dev/fuse", os.access("/dev/fuse", os.W_OK)),
        ("fusermount3", shutil.which("fusermount3"))) if not there]
    if lacking:
        print("a slow file system is not measured: there is no " + ", no ".join(lacking))
        return
    with tempfile.TemporaryDirectory() as directory:
        try:
            measure(options, pathlib.Path(directory))
        except CannotMount:
            print("a slow file system is not measured: it cannot be mounted")


if __name__ == "__main__":
    main()
