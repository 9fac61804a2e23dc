#!/usr/bin/python3
"""Checks the shape of the source tree.

  includes   every include stays in its own folder or in one that the folder's tesker_layer() USES,
             directly or through another; no layer stands on one that it may not know; headers
             include each other without a circle, and installed ones only what is installed
  map        the first comment of every header, and of every source without one, says what the file
             is for: "// Name.h - what it is for."
  words      nothing is left of ways of writing that the project has given up, and no file is long
  calls      system calls are made in the sources of the OperatingSystem, and where PAST_THE_SYSTEM
             says why not

usage: check_layout.py includes|map|words|calls REPOSITORY
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
    "making": PLATFORM | {"paths", "filesystem", "parsing"},
    "finding": PLATFORM | {"paths", "filesystem", "caching", "parsing"},
    "fileops": PLATFORM | {"paths", "filesystem"},
    "tool": PLATFORM | {"paths", "filesystem", "caching", "parsing", "finding", "protocol"},
    "ahead": PLATFORM | {"paths", "filesystem", "caching", "parsing"},
    "master": PLATFORM | {"paths", "filesystem", "caching", "parsing", "protocol"},
    "catalog": PLATFORM | {"paths", "filesystem", "caching", "parsing", "protocol", "master"},
    "command": PLATFORM | {"paths", "filesystem", "caching", "parsing", "making", "finding", "protocol", "master", "catalog"},
    "desktop": PLATFORM | {"paths", "filesystem", "caching", "parsing", "making", "finding", "protocol", "master", "catalog", "command"},
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

# Where system calls are made.
THE_SYSTEM = {f"platform/foundation/{name}.{suffix}" for suffix in ("h", "cpp")
              for name in ("OperatingSystem", "FileCalls", "SocketCalls", "ProcessCalls", "EventCalls", "WatchCalls")}
# A file, or the whole of a folder, that may make them elsewhere: which ones, and why.
EVERY_CALL = r".*"
PAST_THE_SYSTEM = {
    "platform/foundation/SignalsHeld.h": (r"pthread_sigmask", "it runs in a child after the fork, too, and cannot fail"),
    "platform/foundation/NSLog.cpp": (r"syslog", "the log's library opens and writes its socket by itself"),
    "platform/foundation/ProgramStart.cpp": (EVERY_CALL, "it runs between fork and exec"),
    "protocol/BusLibrary.cpp": (r"dl\w+", "the dynamic loader opens and maps libraries by itself"),
    "fileops/ChildSteps.cpp": (EVERY_CALL, "it runs between fork and exec"),
    "fileops/tesker-fileop.cpp": (r"signal|raise|sigaction", "a program and its own signals"),
    "finding/Confinement.cpp": (EVERY_CALL, "it gives up what the process may do"),
    "finding/SystemCallFilter.cpp": (EVERY_CALL, "it gives up what the process may do"),
    "ahead/ReadAhead.cpp": (r"std::thread", "its calls wait for the disk, each in a thread of its own"),
    "tool/main.cpp": (r"std::signal", "a program and its own signals"),
    "command": (EVERY_CALL, "a program, its terminal and its signals"),
}
# Functions of the C library that are not system calls, which "::" names as well.
NOT_A_CALL = r"(?:mem|str)\w+|sig\w+set"
# System calls by a name that hardly anything else has, and what makes them without saying so.
PLAIN_CALL = re.compile(
    r"(?<![\w:.>])(?:fcntl|pipe2?|dup[23]?|v?fork|_Fork|exec[lv]p?e?|posix_spawnp?|waitpid|waitid|wait[34]|"
    r"pidfd_\w+|prctl|[gs]etpriority|[lf]?[gs]etxattr|[lf]?removexattr|utimensat|readlink(?:at)?|f?opendir|"
    r"readdir|getdents64|mkdtemp|mkstemp|mkostemp|flock|f?truncate|socketpair|accept4?|getsockopt|"
    r"setsockopt|sendto|sendmsg|recv|recvmsg|recvfrom|f?stat(?:at|x)?|lstat|f?chmod|l?f?chown|f?chdir|"
    r"get[ug]id|gete[ug]id|getpid|getppid|setpgid|setsid|getcwd|realpath|mmap|munmap|ioctl|syscall|"
    r"pread|pwrite|p?writev|readv|openat|unlinkat|rmdir|faccessat|epoll_\w+|inotify_\w+|signalfd|eventfd|timerfd_\w+|"
    r"clock_gettime|gettimeofday|usleep|nanosleep|getpw\w+|getgr\w+|fopen|popen|system)\s*\("
    r"|\bstd::(?:[io]?fstream|f?open|rename|remove|signal|raise|system|tmpfile|thread|this_thread)\b\s*[({ ]"
    r"|\bfilesystem::(?!path\b)\w+"
    r"|\b(?:steady|system)_clock::now")
GLOBAL_CALL = re.compile(r"(?<![\w>])::([a-z_]\w*)\s*\(")


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


def code_of(line):
    """The line without its strings and its comment."""
    return re.sub(r'"(?:[^"\\\\]|\\\\.)*"', '""', line).partition("//")[0]


def calls_in(line):
    code = code_of(line)
    names = [name for name in GLOBAL_CALL.findall(code) if not re.fullmatch(NOT_A_CALL, name)]
    return names or [found.group().strip(" ({") for found in PLAIN_CALL.finditer(code)]


def check_calls(top):
    count, problems = 0, []
    used = set()
    for path in sources(top):
        if path.parts[0] in TESTING or str(path) in THE_SYSTEM:
            continue
        count += 1
        exception = str(path) if str(path) in PAST_THE_SYSTEM else path.parts[0]
        allowed = PAST_THE_SYSTEM.get(exception, ("(?!)", ""))[0]
        for number, line in enumerate(text_of(top / path).splitlines(), 1):
            for call in calls_in(line):
                if re.fullmatch(allowed, call):
                    used.add(exception)
                else:
                    problems.append(f"{path}:{number}: {call} is called past the OperatingSystem: {line.strip()}")
    problems += [f"{exception}: makes none of the calls that it may make past the OperatingSystem"
                 for exception in sorted(PAST_THE_SYSTEM.keys() - used)]
    return count, problems


def main():
    mode, top = sys.argv[1:] if len(sys.argv) == 3 else ("", "")
    if mode == "print-map":
        return print_map(pathlib.Path(top).resolve())
    check = {"includes": check_includes, "map": check_map, "words": check_words, "calls": check_calls}.get(mode)
    if check is None:
        sys.exit(__doc__)
    count, problems = check(pathlib.Path(top).resolve())
    print("\n".join(problems) or f"{count} files looked at, nothing to complain of")
    sys.exit(1 if problems or count == 0 else 0)


main()
