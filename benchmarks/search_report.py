#!/usr/bin/env python3
"""Prints what compare_searches.py has measured, and puts it into the documents.

  search_report.py FILE [--plots DIR] [--docs PAGE]

Ratios are made of the figures of one round; of those of all rounds the median stands first, then in
brackets the lowest, the quartiles and the highest. --plots draws them, too (search_plots.py), and
needs matplotlib. --docs replaces what stands in PAGE between the two lines that say "figures".
"""

import argparse
import json
import pathlib
import statistics

NAMES = {
    "empty-program": "an empty C++ program",
    "floor": "the system calls alone",
    "tool": "the tool",
    "command": "tesker-apps list",
    "command-alone": "tesker-apps list --no-read-ahead",
    "find": "find T -type f -perm /111",
    "bfs": "bfs T -type f -perm /111",
    "fdfind": "fdfind -u -tx . T",
    "file": "find ... -exec file {} +",
    **{f"floor-{threads}": f"the system calls alone, {threads} threads" for threads in (2, 4, 8, 16)},
}
# Tree, caches, program, what it is held against, and how many times that it may take at most.
GOALS = [
    ("100,000 files", "warm", "tool", "floor", 1.25),
    ("100,000 files", "warm", "command", "floor", 1.25),
    ("100,000 files", "warm", "tool", "find", 1.05),
    ("100,000 files", "warm", "command", "find", 1.05),
    ("10,000 files", "warm", "tool", "floor", 1.4),
    ("10,000 files", "warm", "command", "floor", 1.4),
    ("1,000,000 files", "warm", "tool", "floor", 1.3),
    ("1,000,000 files", "warm", "command", "floor", 1.3),
    ("100,000 files", "cold", "command", "find", 0.4),
    ("100,000 files", "cold", "command", "fdfind", 0.8),
    ("100,000 files", "warm", "command", "file", 0.2),
    ("empty directory", "warm", "command", "empty-program", 2.5),
]
MOST_INSTRUCTIONS = 0.7  # of the tool, beside find
MOST_GROWTH = 1.15  # of the tool's ratio to the floor, from 100,000 files to 1,000,000
MOST_BYTES = 400  # of memory for each record
CLOSE = 0.02  # as far apart the calls of the tool and of the floor may be
BEGIN, END = "<!-- figures: begin -->", "<!-- figures: end -->"


class Spread:
    """Of the figures of some rounds."""

    def __init__(self, figures):
        self.middle = statistics.median(figures)
        self.lowest, self.highest = min(figures), max(figures)
        quartiles = statistics.quantiles(figures, n=4, method="inclusive") if len(figures) > 1 else [self.middle] * 3
        self.low, self.high = quartiles[0], quartiles[2]

    def __str__(self):
        return f"{self.middle:.2f} ({self.lowest:.2f} {self.low:.2f}-{self.high:.2f} {self.highest:.2f})"


class Report:
    def __init__(self, result):
        self.result = result

    def tree(self, name, cache):
        return next((tree for tree in self.result["trees"] if (tree["name"], tree["cache"]) == (name, cache)), None)

    def ratio(self, tree, program, against):
        """Nothing where one of the two was not measured."""
        if tree is None or not {program, against} <= tree["programs"].keys():
            return None
        return Spread([a / b for a, b in zip(tree["programs"][program]["wall"], tree["programs"][against]["wall"])])

    @staticmethod
    def processor_ratio(tree, program, against):
        """Of the processor time of all rounds together."""
        sums = [sum(sum(tree["programs"][name][key]) for key in ("user", "system")) for name in (program, against)]
        return f"{sums[0] / sums[1]:.2f}" if sums[1] > 0 else "-"

    def per_record(self):
        """The largest tree, and how many bytes of the tool's memory each of its records takes."""
        full, empty = self.result["trees"][0], self.tree("empty directory", "warm")
        for tree in self.result["trees"]:
            if tree.get("files") and tree["cache"] == "warm":
                full = tree
        if empty in (None, full):
            return None
        peaks = [statistics.median(tree["programs"]["tool"]["peak_kib"]) for tree in (full, empty)]
        return full["name"], 1024 * (peaks[0] - peaks[1]) / full["programs"]["tool"]["records"][0]

    def growth(self):
        small, large = (self.ratio(self.tree(f"{files} files", "warm"), "tool", "floor")
                        for files in ("100,000", "1,000,000"))
        return large.middle / small.middle if small and large else None

    def instructions(self):
        """Of the tool, beside find's."""
        counts = self.result.get("instructions")
        return counts["tool"] / counts["find"] if counts else None

    # ---- tables: a title, the columns' names, rows of texts ----

    def tables(self):
        yield self.goals()
        for tree in self.result["trees"]:
            yield self.times(tree)
        if "calls" in self.result:
            yield self.calls()
        if "instructions" in self.result:
            yield self.instruction_counts()

    def goals(self):
        rows = []

        def add(what, against, figure, most):
            rows.append([what, against, str(figure), f"{most:g}",
                         "yes" if getattr(figure, "middle", figure) <= most else "no"])

        for name, cache, program, against, most in GOALS:
            ratio = self.ratio(self.tree(name, cache), program, against)
            if ratio:
                add(f"{name}, {cache}: {NAMES[program]}", NAMES[against], ratio, most)
        if self.instructions():
            add(f"{self.result['instructions']['files']:,} files: instructions of the tool", NAMES["find"],
                round(self.instructions(), 3), MOST_INSTRUCTIONS)
        if self.growth():
            add("1,000,000 files, warm: the tool / the system calls", "the same of 100,000 files",
                round(self.growth(), 3), MOST_GROWTH)
        if self.per_record():
            name, size = self.per_record()
            add(f"{name}: bytes of the tool's memory for each record", "-", round(size), MOST_BYTES)
        return "What is aimed at", ["what", "against", "times", "at most", "reached"], rows

    def times(self, tree):
        against = "empty-program" if "empty-program" in tree["programs"] else "floor"
        if against not in tree["programs"]:
            against = "find"
        columns = ["program", "ms", "user ms", "system ms", "peak MiB", f"times {NAMES[against]}", "times find",
                   f"processor time, times {NAMES[against]}"]
        rows = []
        for name, figures in tree["programs"].items():
            milliseconds = [f"{1000 * statistics.median(figures[key]):.1f}" for key in ("wall", "user", "system")]
            ratios = [self.ratio(tree, name, other) for other in (against, "find")]
            rows.append([NAMES[name], *milliseconds, f"{statistics.median(figures['peak_kib']) / 1024:.1f}",
                         *[str(ratio or "-") for ratio in ratios], self.processor_ratio(tree, name, against)])
        size = f" ({tree['entries']:,} entries in {tree['directories']:,} directories)" if tree["entries"] else ""
        return f"{tree['name']}{size}, {tree['cache']}, {tree['rounds']} rounds", columns, rows

    def calls(self):
        calls = self.result["calls"]
        rows = [[name, f"{calls['tool'][name]:,}", f"{calls['floor'][name]:,}",
                 "yes" if is_close(calls["tool"][name], calls["floor"][name]) else "NO"] for name in calls["tool"]]
        return f"System calls for {calls['files']:,} files", ["call", "the tool", "the system calls alone", "alike"], rows

    def instruction_counts(self):
        counts = self.result["instructions"]
        rows = [[NAMES.get(name, "the tool in an empty directory"), f"{count / 1e6:.2f}"]
                for name, count in counts.items() if name != "files"]
        return f"Million instructions in user space, {counts['files']:,} files", ["program", "million"], rows

    def about(self):
        machine, result = self.result["machine"], self.result
        kinds = sorted({tree["file_system"] for tree in result["trees"] if "file_system" in tree})
        text = (f"{machine['cores']} cores, {machine['processor']}, {machine['memory_mib'] / 1024:.0f} GiB, "
                f"Linux {machine['kernel']}, {', '.join(kinds)}; commit {result['commit'] or 'unknown'}"
                + (" with changes" if result["changed"] else "")
                + f"; load before and after {machine['load']:.1f}, {result['load_at_end']:.1f}.")
        if not result["reads_ahead"]:
            text += " The command cannot read ahead."
        if result["missing"]:
            text += f" Not installed: {', '.join(result['missing'])}."
        return text

    # ---- the same as text and as Markdown ----

    def text(self):
        parts = [self.about()]
        for title, columns, rows in self.tables():
            widths = [max(map(len, column)) for column in zip(columns, *rows)]
            lines = ["  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip()
                     for row in (columns, *rows)]
            parts.append("\n".join([title, *lines]))
        return "\n\n".join(parts)

    def markdown(self):
        parts = [self.about()]
        for title, columns, rows in self.tables():
            lines = [f"| {' | '.join(row)} |" for row in (columns, ["---"] * len(columns), *rows)]
            parts.append("\n".join([f"**{title}**", "", *lines]))
        return "\n\n".join(parts)


def is_close(one, other):
    return abs(one - other) <= CLOSE * max(one, other)


def put_into(page, text):
    before, rest = page.read_text().split(BEGIN)
    page.write_text(f"{before}{BEGIN}\n{text}\n{END}{rest.split(END)[1]}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("file", type=pathlib.Path)
    parser.add_argument("--plots", type=pathlib.Path, metavar="DIR")
    parser.add_argument("--docs", type=pathlib.Path, metavar="PAGE")
    options = parser.parse_args()
    report = Report(json.loads(options.file.read_text()))
    print(report.text())
    if options.plots:
        import search_plots  # here, since only it needs matplotlib
        search_plots.draw(report, options.plots)
    if options.docs:
        put_into(options.docs, report.markdown())


if __name__ == "__main__":
    main()
