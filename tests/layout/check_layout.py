#!/usr/bin/python3
"""Checks the shape of the source tree.

  includes   every include stays in its own folder or in one that the folder's tesker_layer() USES,
             directly or through another; no layer stands on one that it may not know; headers
             include each other without a circle, and installed ones only what is installed
  map        the first comment of every header, and of every source without one, says what the file
             is for: "// Name.h - what it is for."
  words      nothing is left of ways of writing that the project has given up, and no file is long

usage: check_layout.py includes|map|words REPOSITORY
       check_layout.py print-map REPOSITORY         prints every source file with what it is for
"""
import pathlib
import re
import sys

TESTING = ("tests", "benchmarks", "fuzz", "examples")
LONGEST_FILE = 400  # lines

# What each layer may stand on, at most, whatever its tesker_layer() says.
PLATFORM = {"foundation", "ports", "images"}
STANDS_ON = {
    "foundation": set(),
    "ports": {"foundation"},
    "images": {"foundation", "ports"},
    "protocol": PLATFORM,
    "paths": PLATFORM,
    "filesystem": PLATFORM | {"paths"},
    "caching": PLATFORM | {"paths", "filesystem"},
    "parsing": PLATFORM | {"paths", "filesystem", "caching"},
    "finding": PLATFORM | {"paths", "filesystem", "caching", "parsing"},
    "fileops": PLATFORM | {"paths", "filesystem"},
    "tool": PLATFORM | {"paths", "filesystem", "caching", "parsing", "finding", "protocol"},
    "master": PLATFORM | {"paths", "filesystem", "caching", "parsing", "protocol"},
    "command": PLATFORM | {"paths", "filesystem", "caching", "parsing", "finding", "protocol", "master"},
}

# Each way of writing, and what to write instead.
IN_COMMENTS = [
    # "There is no such file" and "no more than" are fine.
    (r"(?<!\bthere )\b(?:is|are) no (?!more\b|less\b|longer\b)[a-z]", 'say "is not a"'),
    (r"\banew\b", 'say "again"'),
    (r"\bwhoever\b", 'say "anyone who" or name them'),
]
ANYWHERE = [
    (r"\bRef(?:Ptr)?<(?:const )?NSString>", "strings are values: NSString"),
    (r"\bconst NSString \*", "strings are passed as const NSString &"),
]
IN_TESTS = [(r"\*NSString::create", 'strings are values: write "..."_ns')]


def sources(top):
    for path in sorted(top.rglob("*")):
        relative = path.relative_to(top)
        if path.suffix in (".h", ".cpp") and relative.parts[0] not in ("build", ".git"):
            yield relative


def text_of(path):
    return path.read_text(errors="replace")


class Layer:
    """What the tesker_layer() of one folder says."""

    def __init__(self, folder, name, arguments):
        self.folder, self.name = folder, name
        self.uses, self.public = [], []
        taking = None
        for word in arguments:
            if word in ("USES", "PROGRAM", "PUBLIC", "SOURCES"):
                taking = {"USES": self.uses, "PUBLIC": self.public}.get(word)
            elif taking is not None:
                taking.append(word)

    def headers(self):
        return [f"{self.folder}/{header}" for header in self.public]


def layers(top):
    found = {}
    for listing in sorted(top.rglob("CMakeLists.txt")):
        folder = listing.parent.relative_to(top)
        call = re.search(r"^tesker_layer\(([^)]*)\)", text_of(listing), re.M)
        if call and folder.parts[:1] != ("build",):
            name, *arguments = call.group(1).split()
            found[name] = Layer(str(folder), name, arguments)
    return found


def reachable(name, graph):
    seen, left = set(), [name]
    while left:
        current = left.pop()
        if current not in seen:
            seen.add(current)
            left.extend(graph.get(current, []))
    return seen


def layer_of(path, found):
    best = None
    for layer in found.values():
        if str(path).startswith(layer.folder + "/") and (best is None or len(layer.folder) > len(found[best].folder)):
            best = layer.name
    return best


def layer_problems(found, uses):
    for name, layer in found.items():
        for used in layer.uses:
            if used not in found:
                yield f"layer {name} uses {used}, which is not a layer"
            elif name in reachable(used, uses):
                yield f"layers {name} and {used} use each other"
        if name not in STANDS_ON:
            yield f"layer {name} is not among those of STANDS_ON"
        for below in sorted(reachable(name, uses) - {name} - STANDS_ON.get(name, set())):
            yield f"layer {name} may not stand on {below}"


def check_includes(top):
    found = layers(top)
    uses = {name: layer.uses for name, layer in found.items()}
    problems = list(layer_problems(found, uses))
    graph = {}
    for path in sources(top):
        graph[str(path)] = included = re.findall(r'^#include "([^"]+)"', text_of(top / path), re.M)
        own = layer_of(path, found)
        for header in included:
            if not (top / header).is_file():
                problems.append(f"{path}: {header} does not exist")
            elif own is not None and layer_of(header, found) not in reachable(own, uses):
                problems.append(f"{path}: layer {own} may not include {header}")
            elif own is None and path.parts[0] not in TESTING:
                problems.append(f"{path}: belongs to no layer")
    for path, included in graph.items():
        if path.endswith(".h") and any(path in reachable(header, graph) for header in included):
            problems.append(f"{path}: includes itself through other headers")
    installed = {header for layer in found.values() for header in layer.headers()}
    for header in sorted(installed):
        if header not in graph:
            problems.append(f"{header}: is to be installed and does not exist")
        problems += [f"{header}: is installed and includes {other}, which is not"
                     for other in graph.get(header, []) if other not in installed]
    return len(graph), problems


def opening(path):
    """What the file's first comment says behind the file's name, up to the end of the sentence; None
    when the file does not begin with such a comment."""
    comment = []
    for line in text_of(path).splitlines():
        if not line.startswith("//") or (comment and line == "//"):
            break
        comment.append(line[2:].strip())
    text = " ".join(comment)
    start = f"{path.name} - "
    if not text.startswith(start):
        return None
    return re.match(r"(.*?)(?:[.](?:\s|$)|$)", text[len(start):]).group(1) or None


def described(top):
    """The files that have to say what they are for: a header speaks for the source beside it, and a
    file of tests by the names of its tests."""
    for path in sources(top):
        is_test = path.parts[0] == "tests" and path.suffix == ".cpp"
        if not is_test and not (path.suffix == ".cpp" and (top / path.with_suffix(".h")).is_file()):
            yield path


def check_map(top):
    paths = list(described(top))
    return len(paths), [f"{path}: does not begin with \"// {path.name} - what it is for.\""
                        for path in paths if opening(top / path) is None]


def print_map(top):
    folder = None
    for path in sorted(described(top), key=lambda path: (str(path.parent), path.name)):
        if path.parent != folder:
            print(f"\n{path.parent}/" if folder else f"{path.parent}/")
            folder = path.parent
        print(f"  {path.name:30} {opening(top / path)}")


def matches(patterns, line):
    return [advice for pattern, advice in patterns if re.search(pattern, line, re.I)]


def check_words(top):
    count, problems = 0, []
    for count, path in enumerate(sources(top), 1):
        lines = text_of(top / path).splitlines()
        is_test = path.parts[0] in TESTING
        for number, line in enumerate(lines, 1):
            found = matches(ANYWHERE + (IN_TESTS if is_test else []), line)
            if not is_test:
                found += matches(IN_COMMENTS, line.partition("//")[2])
            problems += [f"{path}:{number}: {advice}: {line.strip()}" for advice in found]
        if len(lines) > LONGEST_FILE:
            problems.append(f"{path}: has {len(lines)} lines; more than {LONGEST_FILE} are a missing concept")
    return count, problems


def main():
    mode, top = sys.argv[1:] if len(sys.argv) == 3 else ("", "")
    if mode == "print-map":
        return print_map(pathlib.Path(top).resolve())
    check = {"includes": check_includes, "map": check_map, "words": check_words}.get(mode)
    if check is None:
        sys.exit(__doc__)
    count, problems = check(pathlib.Path(top).resolve())
    print("\n".join(problems) or f"{count} files looked at, nothing to complain of")
    sys.exit(1 if problems or count == 0 else 0)


main()
