#!/usr/bin/env python3
"""A tree with a trap for every code that why knows, and what tesker-apps why says of each: the cause.

  traps.py PROGRAMS SOURCE      the folder of tesker-apps; the top of the repository
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAMS, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
sys.path.insert(0, str(SOURCE / "tests/support"))
from images import M68K, describing  # noqa: E402

LIST = "Resources/Info-quorvale.plist"
DRAW = "F\tDraw\tDraw\tdraw\n"
ELF = b"\x7fELF\2\1\1"
HUGE = (16 << 20) + 1
NOBODY = 65534

# Entries of the tree: a path with the contents of a file, or something else to be made.
FILES = {
    f"Good.app/{LIST}": "{ NSExecutable = Good; NSTypes = ({ NSExtensions = (txt); }); }",
    "Folder/text": "",
    f"../large/Huge.app/{LIST}": HUGE,
    "Deep.app/Info-quorvale.plist": "{ NSExecutable = Deep; }",
    f"Torn.app/{LIST}": "{\n  NSExecutable Torn;\n}\n",
    f"List.app/{LIST}": "( NSExecutable, List )",
    f"Kind.app/{LIST}": "{ NSExecutable = Kind;\n  NSExtensions = txt; }",
    f"Types.app/{LIST}": "{ NSExecutable = Types;\n  NSTypes = ({ NSExtensions = (a); }, b, { NSExtensions = (c); }); }",
    f"Slip.app/{LIST}": "{ NSExecutble = Slip; }",
    f"Other.app/{LIST}": "{ NSExecutable = Good; NSTypes = ({ NSExtensions = (txt); }); }",
    "Plist.app/Resources/Info.plist": "{ NSExecutable = Plist; }",
    f"Hello.apps/{LIST}": "{ NSExecutable = Hello; }",
    f"Upper.APP/{LIST}": "{ NSExecutable = Upper; }",
    f".hidden/In.app/{LIST}": "{ NSExecutable = In; }",
    f"Old.app~/{LIST}": "{ NSExecutable = Old; }",
    f"closed/inner/In.app/{LIST}": "{ NSExecutable = In; }",
    "sealed/text": "",
}
PROGRAM_FILES = {
    "program": ELF,
    "script": "#!/bin/sh\n",
    "Elf.app/Elf": ELF,
    "private": describing(DRAW),
    "lines": describing("X\tx\n" + DRAW),
    "../large/many": describing("X\n" * 100_001),
    "foreign": describing(DRAW, M68K),
    "damaged": b"\xca\xfe\xba\xbe\0\0\1\0",
}
MODES = {"closed": 0o600, "sealed": 0o600, "private": 0o311}
LINKS = {"dangling": "nowhere", "round": "round", "Folder/up": "..", "Disk.app/Resources/Info-quorvale.plist": "/proc/self/mem"}

# What is asked about, and what is to be said of which entry. Where that is another entry, it is the
# one on the way that is in the way.
TRAPS = [
    ("found", "Good.app"),
    ("searched", "Folder"),
    ("wrapper-part", "Good.app/Resources"),
    ("not-there", "missing"),
    ("dangling-link", "dangling"),
    ("link-cycle", "round"),
    ("skipped-link", "Folder/up"),
    ("path-too-long", "x" * 300),
    ("no-permission", "closed/inner/In.app"),
    ("not-searchable", "sealed"),
    ("not-executable", "NoBit.app/NoBit"),
    ("not-executable", "NoBit.app"),
    ("not-readable", "private"),
    ("read-error", "Disk.app"),
    ("special-file", "fifo"),
    ("dot-name", ".hidden/In.app", ".hidden"),
    ("backup-name", "Old.app~"),
    ("no-description", "Elf.app"),
    ("no-description", "Plist.app"),
    ("description-too-large", "../large/Huge.app"),
    ("description-too-deep", "Deep.app", "Deep.app/Info-quorvale.plist"),
    ("malformed-list", "Torn.app"),
    ("wrong-kind", "List.app"),
    ("wrong-kind", "Kind.app", "Kind.app/Resources"),
    ("types-cut-short", "Types.app", "Types.app/Resources"),
    ("unknown-key", "Slip.app", "Slip.app/Resources"),
    ("missing-key", "Slip.app", "Slip.app/Resources"),
    ("no-self-description", "program"),
    ("no-self-description", "script"),
    ("malformed-header-line", "lines"),
    ("damaged-image", "damaged"),
    ("other-processor", "foreign"),
    ("near-suffix", "Hello.apps"),
    ("near-suffix", "Upper.APP"),
    ("limits-reached", "../large/many"),
]
# Searched by themselves: the search would not come to them from the tree.
PLACES = {"missing", "x" * 300, "closed/inner/In.app", "../large/Huge.app", "../large/many"}
# In test functions of their own below.
OTHERWISE = {"passed-over", "shadowed"}
# What only a fault or another process brings about, and the test that does.
FAULTS = {"vanished": "ADirectoryFromWhichANameVanishesSaysWhich",
          "failed": "WhatRaisesHasFailedAndNothingElseHas"}


class Traps(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory(prefix="tesker-traps-")
        cls.top = pathlib.Path(temporary.name)
        cls.addClassCleanup(temporary.cleanup)
        cls.addClassCleanup(cls.open_all)
        cls.top.chmod(0o755)
        cls.tree = cls.top / "tree"
        # Whoever runs the tests, somebody whom permissions stop has to reach the program.
        cls.program = pathlib.Path(shutil.copy(PROGRAMS / "tesker-apps", cls.top))
        os.umask(0o022)
        for name, data in FILES.items():
            cls.write(name, data)
        for name, data in PROGRAM_FILES.items():
            cls.write(name, data, 0o755)
        cls.write("NoBit.app/NoBit", describing(DRAW))
        for name, target in LINKS.items():
            (cls.tree / name).parent.mkdir(parents=True, exist_ok=True)
            (cls.tree / name).symlink_to(target)
        os.mkfifo(cls.tree / "fifo", 0o755)
        for name, mode in MODES.items():
            (cls.tree / name).chmod(mode)
        if os.geteuid() == 0:
            cls.give_away()

    @classmethod
    def write(cls, name, data, mode=0o644):
        path = cls.tree / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if isinstance(data, int):
            with path.open("wb") as file:
                file.truncate(data)
        else:
            path.write_bytes(data if isinstance(data, bytes) else data.encode())
        path.chmod(mode)

    @classmethod
    def give_away(cls):
        """All but what is not to be read, where nobody's own permissions would count."""
        for path in [cls.tree, *cls.top.rglob("*")]:
            if path.name != "private":
                os.chown(path, NOBODY, NOBODY, follow_symlinks=False)

    @classmethod
    def open_all(cls):
        for name in MODES:
            (cls.tree / name).chmod(0o700)

    def why(self, *words, **settings):
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.top), "TESKER_HOST_CPU": "i386"}
        environment |= {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        somebody = {"user": NOBODY, "group": NOBODY, "extra_groups": []} if os.geteuid() == 0 else {}
        done = subprocess.run([self.program, "why", *words], capture_output=True, cwd="/", check=False,
                              env=environment | settings, **somebody)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        return done.stdout.decode()

    def codes(self, *words, **settings):
        """The codes of each entry, the verdict first."""
        entries = [json.loads(line) for line in self.why(*words, "--all", "--format", "jsonl", **settings).splitlines()]
        return {entry["path"]: [entry["code"], *(remark["code"] for remark in entry.get("remarks", []))]
                for entry in entries}

    def test_each_cause_is_named(self):
        for code, name, *about in TRAPS:
            with self.subTest(code=code, path=name):
                path = os.path.normpath(f"{self.tree}/{name}")
                words = [path] if name in PLACES else [path, "--in", str(self.tree)]
                # The disk fails where a process reads its own memory at 0, which confined ones may not.
                settings = {"TESKER_SANDBOX": "off"} if code == "read-error" else {}
                entry = f"{self.tree}/{about[0]}" if about else path
                self.assertIn(code, self.codes(*words, **settings).get(entry, []))
                self.assertRegex(self.why(*words, **settings), rf"(\[{code}\]|  {code} )")

    def test_what_a_description_hides_is_passed_over(self):
        # In the order in which the directory lists its entries, which is anybody's guess.
        for number in range(20):
            name = f"Over{number}"
            parts = {f"{name}.app/{name}": ELF, f"{name}.app/{LIST}": f"{{ NSExecutable = {name}; }}"}
            for part in sorted(parts, reverse=number % 2 == 0):
                self.write(part, parts[part], 0o755)
        said = self.codes(str(self.tree), "--in", str(self.tree))
        over = {said[f"{self.tree}/Over{number}.app/Over{number}"][0] for number in range(20)}
        self.assertIn("passed-over", over)
        self.assertLessEqual(over, {"passed-over", "no-self-description"})

    def test_what_comes_second_is_shadowed(self):
        # As a search of both, which is listed first.
        places = ("--in", f"{self.tree}/Good.app", "--in", f"{self.tree}/Other.app")
        self.assertEqual(self.codes(f"{self.tree}/Other.app", *places)[f"{self.tree}/Other.app"],
                         ["found", "shadowed", "shadowed"])
        self.assertEqual(self.codes(f"{self.tree}/Good.app", *places)[f"{self.tree}/Good.app"], ["found"])
        self.assertIn("[shadowed]", self.why(f"{self.tree}/Other.app", *places))

    def test_every_code_has_its_trap(self):
        done = subprocess.run([self.program, "why", "--code", "none of them"], capture_output=True, text=True, check=False)
        known = set(re.search(r"CODE is one of (.*)", done.stderr).group(1).split(", "))
        self.assertEqual({trap[0] for trap in TRAPS} | OTHERWISE | set(FAULTS), known)
        tests = (SOURCE / "tests/finding/JudgementTests.cpp").read_text()
        for name in FAULTS.values():
            self.assertIn(name, tests)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
