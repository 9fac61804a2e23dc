#!/usr/bin/env python3
"""Programs that describe themselves, made and changed by compilers, linkers and what strips them,
and searched by tesker-apps.

  self_describing_programs.py PROGRAMS COMPILER YAML2OBJ OBJCOPY STRIP LLVM_OBJCOPY LLVM_STRIP

PROGRAMS holds tesker-apps and ToolFinder.
"""

import json
import os
import pathlib
import platform
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = pathlib.Path(sys.argv[1]).resolve()
COMPILER, YAML2OBJ, OBJCOPY, STRIP, LLVM_OBJCOPY, LLVM_STRIP = sys.argv[2:8]
HEADER = "F\tDraw\tDraw\tdraw\nS\tpng\tDraw\tpicture\n"
FOUND = [("app", "Draw"), ("extension", "png")]

NOTE = r"""
.pushsection .note.tesker, "a", %%note
.balign 4
.long 7, 2f - 1f, %d
.asciz "Tesker"
.balign 4
1: .ascii "%s"
2: .balign 4
.popsection
"""

FOREIGN = f"""--- !ELF
FileHeader: {{ Class: ELFCLASS64, Data: ELFDATA2LSB, Type: ET_DYN, Machine: EM_%s }}
ProgramHeaders:
  - {{ Type: PT_NOTE, FirstSec: .note.tesker, LastSec: .note.tesker }}
Sections:
  - Name: .note.tesker
    Type: SHT_NOTE
    Flags: [ SHF_ALLOC ]
    AddressAlign: 4
    Notes:
      - {{ Name: Tesker, Desc: '{HEADER.encode().hex()}', Type: 0x1 }}
"""


class SelfDescribingPrograms(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.made = pathlib.Path(tempfile.mkdtemp())
        escaped = HEADER.replace("\t", r"\t").replace("\n", r"\n")
        notes = NOTE % (1, escaped) + NOTE % (2, "") + NOTE % (3, "")
        for name, assembly in (("noted", notes), ("mute", "")):
            source = cls.made / f"{name}.cpp"
            source.write_text(f'__asm__(R"({assembly})");\nint main() {{ return 0; }}\n')
            cls.run_tool(COMPILER, "-Wl,--gc-sections", "-o", cls.made / name, source)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.made)

    def setUp(self):
        self.top = pathlib.Path(tempfile.mkdtemp())
        self.searched = self.top / "Apps"
        self.searched.mkdir()
        self.program = self.searched / "program"

    def tearDown(self):
        shutil.rmtree(self.top)

    @staticmethod
    def run_tool(*words):
        subprocess.run([str(word) for word in words], check=True, stdin=subprocess.DEVNULL)

    def records(self, *options):
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.top), "XDG_RUNTIME_DIR": str(self.top)}
        environment |= {name: os.environ[name] for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS")
                        if name in os.environ}
        done = subprocess.run([PROGRAMS / "tesker-apps", "list", "--format", "json", *options, self.searched],
                              env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        return [record["pairs"] for record in json.loads(done.stdout)["results"][0]["records"]]

    def found(self, *options):
        """The type and name of each record, and what it says of being suitable."""
        return sorted(tuple(record[key] for key in ("type", "name", "suitable") if key in record)
                      for record in self.records(*options))

    # ---- notes ----

    def test_a_program_with_notes_is_found_with_its_types(self):
        shutil.copy(self.made / "noted", self.program)
        self.assertEqual(self.found(), [*FOUND, ("services",)])

    def test_notes_outlive_what_strips_a_program(self):
        for words in ([STRIP], [LLVM_STRIP], [LLVM_OBJCOPY, "--strip-sections"]):
            with self.subTest(" ".join(words)):
                shutil.copy(self.made / "noted", self.program)
                self.run_tool(*words, self.program)
                self.run_tool(self.program)
                self.assertEqual(self.found(), [*FOUND, ("services",)])

    def test_a_program_without_them_is_not_found(self):
        shutil.copy(self.made / "mute", self.program)
        self.assertEqual(self.found(), [])

    # ---- sections ----

    def test_sections_that_objcopy_adds_outlive_strip(self):
        (self.top / "header").write_text(HEADER)
        (self.top / "services").write_text("yes")
        for objcopy in (OBJCOPY, LLVM_OBJCOPY):
            with self.subTest(objcopy):
                shutil.copy(self.made / "mute", self.program)
                for name in ("header", "services"):
                    self.run_tool(objcopy, "--add-section", f"__ICON.__{name}={self.top / name}", self.program)
                self.run_tool(STRIP, self.program)
                self.run_tool(self.program)
                self.assertEqual(self.found(), [*FOUND, ("services",)])

    # ---- machines ----

    def test_a_program_for_another_machine_is_suitable_there(self):
        there = "x86_64" if platform.machine() == "aarch64" else "aarch64"
        (self.top / "yaml").write_text(FOREIGN % there.upper())
        self.run_tool(YAML2OBJ, self.top / "yaml", "-o", self.program)
        self.program.chmod(0o755)
        unsuitable = [(*record, "no") for record in FOUND]
        for options, expected in (((), unsuitable), (("--cpu", there), FOUND), (("--cpu", "riscv64"), unsuitable)):
            self.assertEqual(self.found(*options), expected, options)

    def test_a_pair_takes_every_machine_of_its_family(self):
        (self.top / "yaml").write_text(FOREIGN % "AARCH64")
        self.run_tool(YAML2OBJ, self.top / "yaml", "-o", self.program)
        self.program.chmod(0o755)
        self.assertEqual(self.found("--cpu", "12/0"), FOUND)
        self.assertEqual(self.found("--cpu", "7/3"), [(*record, "no") for record in FOUND])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
