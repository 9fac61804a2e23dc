#!/usr/bin/python3
"""Installs the build below a temporary prefix, and builds programs that describe themselves with the
functions of its CMake package: what they carry is looked for in the files, and what they install is
given to tesker-apps.

usage: described.py CMAKE BUILD CONFIG COMPILER READELF LLVM_STRIP
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
CMAKE, BUILD, CONFIG, COMPILER, READELF, LLVM_STRIP = sys.argv[1:7]
FUNCTIONS = HERE.parent.parent / "cmake/TeskerDescribe.cmake"
HEADER = (HERE / "described/draw.header").read_bytes()


def run(*words, **more):
    done = subprocess.run([str(word) for word in words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **more)
    if done.returncode != 0:
        raise AssertionError(f"exit status {done.returncode}: {' '.join(map(str, words))}\n{done.stdout}")
    return done.stdout


def note(kind, text, order="little"):
    number = lambda value: value.to_bytes(4, order)
    return number(7) + number(len(text)) + number(kind) + b"Tesker\0\0" + text + bytes(-len(text) % 4)


class Described(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory(prefix="tesker-described-")
        cls.addClassCleanup(temporary.cleanup)
        cls.tmp = pathlib.Path(temporary.name)
        cls.source = shutil.copytree(HERE / "described", cls.tmp / "source")
        run(CMAKE, "--install", BUILD, "--config", CONFIG, "--prefix", cls.tmp / "prefix")
        run(CMAKE, "-S", cls.source, "-B", cls.tmp / "build", f"-DCMAKE_PREFIX_PATH={cls.tmp}/prefix",
            f"-DCMAKE_CXX_COMPILER={COMPILER}", f"-DCMAKE_INSTALL_PREFIX={cls.tmp}/installed")
        run(CMAKE, "--build", cls.tmp / "build", "--parallel")
        run(CMAKE, "--install", cls.tmp / "build")

    def tesker_apps(self, *words):
        (self.tmp / "run").mkdir(mode=0o700, exist_ok=True)
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.tmp), "XDG_RUNTIME_DIR": str(self.tmp / "run")}
        return run(self.tmp / "prefix/bin/tesker-apps", *words, env=environment)

    def test_the_notes_are_in_memory_and_found_by_the_program_headers(self):
        program = self.tmp / "build/draw"
        self.assertRegex(run(READELF, "-W", "-S", program), r"\.note\.tesker +NOTE .* A ")
        self.assertRegex(run(READELF, "-W", "-l", program), r"(?m)^ +\d+ .*\.note\.tesker")
        self.assertIn(note(1, HEADER), program.read_bytes())
        self.assertIn(note(2, b""), program.read_bytes())

    def test_a_program_is_found_with_its_types_whatever_strips_it(self):
        for words in (["true"], ["strip"], [LLVM_STRIP], [LLVM_STRIP.replace("strip", "objcopy"), "--strip-sections"]):
            program = self.tmp / "stripped/draw"
            program.parent.mkdir(exist_ok=True)
            shutil.copy(self.tmp / "build/draw", program)
            run(*words, program)
            self.assertIn(note(1, HEADER), program.read_bytes(), words)
            self.assertIn(str(program), self.tesker_apps("handlers", "drawing", "--in", program.parent), words)

    def test_a_changed_text_is_linked_again(self):
        longer = HEADER + b"S\tsketch\tDraw\n"
        self.addCleanup((self.source / "draw.header").write_bytes, HEADER)
        (self.source / "draw.header").write_bytes(longer)
        run(CMAKE, "--build", self.tmp / "build", "--target", "spell")
        self.assertIn(note(1, longer), (self.tmp / "build/Spell").read_bytes())

    def test_the_notes_are_in_the_order_and_the_format_of_the_machine_that_is_built_for(self):
        clang = shutil.which("clang++")
        if clang is None:
            self.skipTest("no compiler for other machines")
        for machine, order in (("aarch64", "little"), ("arm", "little"), ("powerpc64", "big"), ("s390x", "big")):
            made = self.tmp / f"{machine}.o"
            run(clang, f"--target={machine}-linux-gnu", "-c", self.tmp / "build/tesker-notes/draw-1.cpp", "-o", made)
            self.assertIn(note(1, HEADER, order), made.read_bytes(), machine)

    def test_a_wrapper_is_installed_with_what_is_inside(self):
        folder = self.tmp / "installed/Applications"
        self.assertEqual({str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()},
                         {"Edit.app/Edit", "Edit.app/Resources/Info-quorvale.plist", "Edit.app/Resources/text.png",
                          "Edit.app/Spell.tool/Spell", "Edit.app/rules.bundle/rules"})
        run(folder / "Edit.app/Edit")
        self.assertIn("Edit.app/Edit", self.tesker_apps("list", folder))

    def refused(self, way, why, *more):
        with self.assertRaisesRegex(AssertionError, why, msg=(way, *more)):
            run(CMAKE, "-S", HERE / "refused", "-B", self.tmp / "refused", f"-DFUNCTIONS={FUNCTIONS}", f"-DWAY={way}", *more)

    def test_names_and_descriptions_that_the_rules_make_ambiguous_are_refused(self):
        for name in ("a/b", ".hidden", "MyTesker", "Edit.app", "Edit.tool", "services", "Resources"):
            self.refused("name", "tesker_add_wrapper: the name", f"-DNAME={name}")
        self.refused("described twice", "exclude each other")

    def test_wrappers_where_nobody_looks_at_them_are_refused(self):
        self.refused("inside nothing", "does not have a wrapper")
        self.refused("application inside", "the suffix is \"app\" and not one of: tool;bundle")
        self.refused("tool outside", "the suffix is \"tool\" and not one of: app;debug;profile")


unittest.main(argv=sys.argv[:1] + sys.argv[7:], verbosity=2)
