"""Draws what compare_searches.py has measured: three plots, the same bytes for the same figures."""

import statistics

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.hashsalt": "tesker", "svg.fonttype": "none", "font.family": "sans-serif",
                            "axes.spines.top": False, "axes.spines.right": False, "axes.grid": True,
                            "grid.color": "#dddddd", "axes.axisbelow": True, "legend.frameon": False})

from matplotlib import pyplot

from search_report import NAMES

# From one palette that readers who confuse colours can tell apart.
COLOURS = {"floor": "#000000", "tool": "#0072b2", "command": "#d55e00", "command-alone": "#e69f00",
           "find": "#009e73", "bfs": "#56b4e9", "fdfind": "#cc79a7", "file": "#999999"}
SHARES = {"user": "#0072b2", "system": "#e69f00", "waiting": "#cccccc"}


def seconds(tree, program, key="wall"):
    return statistics.median(tree["programs"][program][key])


def of_kind(report, cache):
    """The seeded trees, by their sizes."""
    trees = [tree for tree in report.result["trees"] if tree["cache"] == cache and tree.get("files")]
    return sorted(trees, key=lambda tree: tree["files"])


def draw(report, folder):
    folder.mkdir(parents=True, exist_ok=True)
    machine = report.about().split("; commit")[0]
    for name, plot in (("time-against-files", plot_files), ("cold-against-threads", plot_threads),
                       ("where-the-time-goes", plot_shares)):
        figure = plot(report)
        if figure is None:
            continue
        figure.text(0.01, 0.01, machine, fontsize=7, color="#666666")
        figure.tight_layout(rect=(0, 0.03, 1, 1))
        figure.savefig(folder / f"{name}.svg", metadata={"Date": None, "Creator": None})
        pyplot.close(figure)


def plot_files(report):
    trees = of_kind(report, "warm")
    figure, axes = pyplot.subplots(figsize=(8, 5))
    for program in trees[-1]["programs"]:
        points = [(tree["files"], seconds(tree, program)) for tree in trees if program in tree["programs"]]
        axes.plot(*zip(*points), marker="o", markersize=4, color=COLOURS[program], label=NAMES[program])
    axes.set(xscale="log", yscale="log", xlabel="files", ylabel="seconds, median of the rounds",
             title="One search, everything in the kernel's caches")
    axes.set_xticks([tree["files"] for tree in trees], [f"{tree['files']:,}" for tree in trees])
    axes.minorticks_off()
    axes.legend(fontsize=8)
    return figure


def plot_threads(report):
    """Nothing where no search was cold."""
    trees = of_kind(report, "cold")
    if not trees:
        return None
    tree = trees[-1]
    figure, axes = pyplot.subplots(figsize=(8, 5))
    threads = {int((name + "-1").split("-")[1]): name for name in tree["programs"] if name.startswith("floor")}
    axes.plot(list(threads), [seconds(tree, name) for name in threads.values()], marker="o", color=COLOURS["floor"],
              label=NAMES["floor"] + ", in so many threads")
    for program in ("command", "command-alone", "find", "bfs", "fdfind"):
        if program in tree["programs"]:
            axes.axhline(seconds(tree, program), color=COLOURS[program], linestyle="--", label=NAMES[program])
    axes.set(xscale="log", xlabel="threads", ylabel="seconds, median of the rounds", ylim=(0, None),
             title=f"One search of {tree['name']}, nothing in the kernel's caches")
    axes.set_xticks(list(threads), [str(number) for number in threads])
    axes.minorticks_off()
    axes.legend(fontsize=8)
    return figure


def plot_shares(report):
    """Of programs that do several things at a time, the processor time alone can be more than the clock's."""
    trees = [trees[-1] if cache == "cold" else next((tree for tree in trees if tree["files"] == 100_000), trees[-1])
             for cache in ("warm", "cold") if (trees := of_kind(report, cache))]
    figure, all_axes = pyplot.subplots(1, len(trees), figsize=(6 * len(trees), 4), squeeze=False)
    for tree, axes in zip(trees, all_axes[0]):
        programs = [name for name in tree["programs"] if not name.startswith("floor-") and name != "file"][::-1]
        shares = {key: [1000 * seconds(tree, name, key) for name in programs] for key in ("user", "system")}
        shares["waiting"] = [max(0.0, 1000 * seconds(tree, name) - user - system)
                             for name, user, system in zip(programs, shares["user"], shares["system"])]
        left = [0.0] * len(programs)
        for key, lengths in shares.items():
            axes.barh([NAMES[name] for name in programs], lengths, left=left, color=SHARES[key], label=key)
            left = [before + length for before, length in zip(left, lengths)]
        axes.set(xlabel="milliseconds, median of the rounds", title=f"{tree['name']}, {tree['cache']}")
        axes.grid(axis="y", visible=False)
        axes.tick_params(axis="y", labelsize=8)
    figure.legend(*all_axes[0][-1].get_legend_handles_labels(), loc="lower right", ncol=3, fontsize=8)
    return figure
