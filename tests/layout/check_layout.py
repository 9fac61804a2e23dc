#!/usr/bin/python3
"""Checks the shape of the source tree.

  includes   every include stays in its own folder or in one that the folder's tesker_layer() USES,
             directly or through another; headers include each other without a circle
  map        the source map of docs/architecture.md has one line for every source file: what its
             opening comment says first (a header speaks for the source beside it)

usage: check_layout.py includes|map|update-map REPOSITORY      update-map writes the source map anew
"""
import pathlib
import re
import sys

TESTING = ("tests", "benchmarks", "fuzz", "examples")


def sources(top):
    for path in sorted(top.rglob("*")):
        relative = path.relative_to(top)
        if path.suffix in (".h", ".cpp") and relative.parts[0] not in ("build", ".git"):
            yield relative


def layers(top):
    """Folder of each layer, and the names of the layers that it may use itself."""
    folders, uses = {}, {}
    for listing in sorted(top.rglob("CMakeLists.txt")):
        folder = listing.parent.relative_to(top)
        if folder.parts[:1] == ("build",):
            continue
        found = re.search(r"^tesker_layer\((\w+)\s*(?:USES([\w\s]*?))?\s*(?:PROGRAM\s*)?SOURCES", listing.read_text(), re.M)
        if found:
            folders[found.group(1)] = str(folder)
            uses[found.group(1)] = (found.group(2) or "").split()
    return folders, uses


def reachable(name, graph):
    seen, left = set(), [name]
    while left:
        current = left.pop()
        if current not in seen:
            seen.add(current)
            left.extend(graph.get(current, []))
    return seen


def layer_of(path, folders):
    best = None
    for name, folder in folders.items():
        if str(path).startswith(folder + "/") and (best is None or len(folder) > len(folders[best])):
            best = name
    return best


def check_includes(top):
    folders, uses = layers(top)
    problems = [f"layer {name} uses {used}, which is no layer" for name in uses for used in uses[name] if used not in folders]
    problems += [f"layers {name} and {used} use each other" for name in uses for used in uses[name] if name in reachable(used, uses)]
    graph = {}
    for path in sources(top):
        included = re.findall(r'^#include "([^"]+)"', (top / path).read_text(errors="replace"), re.M)
        graph[str(path)] = included
        own = layer_of(path, folders)
        for header in included:
            if not (top / header).is_file():
                problems.append(f"{path}: {header} does not exist")
            elif own is not None and layer_of(header, folders) not in reachable(own, uses):
                problems.append(f"{path}: layer {own} may not include {header}")
            elif own is None and path.parts[0] not in TESTING:
                problems.append(f"{path}: belongs to no layer")
    for path, included in graph.items():
        if path.endswith(".h") and any(path in reachable(header, graph) for header in included):
            problems.append(f"{path}: includes itself through other headers")
    return len(graph), problems


def opening(path):
    """What the file's first comment says, up to the end of the sentence; None when it has none."""
    comment = []
    for line in path.read_text(errors="replace").splitlines():
        if not line.startswith("//") or (comment and line == "//"):
            break
        comment.append(line[2:].strip())
    text = re.sub(rf"^(?:{re.escape(path.name)}|{re.escape(path.stem)}) - ", "", " ".join(comment))
    sentence = re.match(r"(.*?)\.(?:\s|$)", text)
    return (sentence.group(1) if sentence else text) or None


def source_map(top):
    lines, problems, folder = [], [], None
    paths = [path for path in sources(top) if path.parts[0] not in ("tests", "fuzz", "benchmarks")]
    for path in sorted(paths, key=lambda path: (str(path.parent), path.name)):
        if path.suffix == ".cpp" and path.with_suffix(".h") in paths:
            continue
        if path.parent != folder:
            folder = path.parent
            lines += ["", f"**{folder}/**", "", "| file | |", "|---|---|"]
        text = opening(top / path)
        if text is None:
            problems.append(f"{path}: begins with no comment that says what it is for")
        lines.append(f"| `{path.name}` | {text} |")
    return "\n".join(lines).strip() + "\n", problems


MAP = re.compile(r"(?<=<!-- source map -->\n).*(?=<!-- end of source map -->)", re.S)


def check_map(top):
    wanted, problems = source_map(top)
    found = MAP.search((top / "docs/architecture.md").read_text())
    if found is None or found.group(0) != wanted:
        problems.append("the source map of docs/architecture.md is out of date: run tests/layout/check_layout.py update-map .")
    return wanted.count("| `"), problems


def update_map(top):
    wanted, problems = source_map(top)
    document = top / "docs/architecture.md"
    document.write_text(MAP.sub(lambda _: wanted, document.read_text()))
    return wanted.count("| `"), problems


def main():
    check = {"includes": check_includes, "map": check_map, "update-map": update_map}.get(sys.argv[1] if len(sys.argv) == 3 else "")
    if check is None:
        sys.exit(__doc__)
    count, problems = check(pathlib.Path(sys.argv[2]).resolve())
    print("\n".join(problems) or f"{count} files looked at, nothing to complain of")
    sys.exit(1 if problems or count == 0 else 0)


main()
