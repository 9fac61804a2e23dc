#!/usr/bin/python3
"""Installs the build below a temporary prefix and uses it as others do: the commands, the library
through CMake and through pkg-config, and the headers. Nothing outside the temporary directory is
written."""
import argparse
import json
import os
import pathlib
import shlex
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]


def options():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("cmake", "source", "build", "config", "compiler", "make-sample", "libdir", "libexecdir"):
        parser.add_argument(f"--{name}", required=True)
    return parser.parse_known_args()


OPTIONS, OTHER_ARGUMENTS = options()
TOOL = f"{OPTIONS.libexecdir}/tesker/ToolFinder"
READ_AHEAD = f"{OPTIONS.libexecdir}/tesker/tesker-read-ahead"
PKGCONFIG = f"{OPTIONS.libdir}/pkgconfig"

# All but the headers and the CMake package's file for the kind of build.
EXPECTED = {
    "bin/tesker-apps",
    "bin/tesker-fileop",
    TOOL,
    READ_AHEAD,
    f"{OPTIONS.libdir}/libtesker.a",
    f"{OPTIONS.libdir}/cmake/tesker/tesker-config.cmake",
    f"{OPTIONS.libdir}/cmake/tesker/tesker-config-version.cmake",
    f"{OPTIONS.libdir}/cmake/tesker/tesker-targets.cmake",
    f"{OPTIONS.libdir}/cmake/tesker/TeskerDescribe.cmake",
    f"{PKGCONFIG}/tesker.pc",
    "share/bash-completion/completions/tesker-apps",
    "share/bash-completion/completions/tesker-fileop",
    "share/fish/vendor_completions.d/tesker-apps.fish",
    "share/fish/vendor_completions.d/tesker-fileop.fish",
    "share/zsh/site-functions/_tesker-apps",
    "share/zsh/site-functions/_tesker-fileop",
    "share/man/man1/tesker-apps.1",
    "share/man/man1/tesker-fileop.1",
    "share/man/man5/tesker-description.5",
    "share/man/man8/ToolFinder.8",
    "share/tesker/Tesker.ToolFinder.xml",
    "share/doc/tesker/README.md",
    "share/doc/tesker/CHANGELOG.md",
    "share/doc/tesker/SECURITY.md",
    "share/doc/libtesker-dev/examples/CMakeLists.txt",
    "share/doc/libtesker-dev/examples/main.cpp",
} | {f"share/doc/tesker/{path.name}" for path in pathlib.Path(OPTIONS.source, "docs").glob("*.md")
     if path.name != "performance.md"}
if pathlib.Path(OPTIONS.build, "bin/tesker-desktop").exists():
    EXPECTED |= {
        "bin/tesker-desktop",
        "lib/systemd/user/tesker-desktop.service",
        "share/bash-completion/completions/tesker-desktop",
        "share/fish/vendor_completions.d/tesker-desktop.fish",
        "share/zsh/site-functions/_tesker-desktop",
        "share/man/man1/tesker-desktop.1",
    }
DEFAULTS = "etc/xdg/tesker/defaults/Tesker.plist"  # only with TESKER_DEBIAN_DEFAULTS


def run(*words, **more):
    """What the command prints; what it has to say goes into the test's own log when it fails."""
    done = subprocess.run([str(word) for word in words], stdout=subprocess.PIPE, text=True, **more)
    if done.returncode != 0:
        raise AssertionError(f"exit status {done.returncode}: {' '.join(map(str, words))}\n{done.stdout}")
    return done.stdout


def install(prefix):
    """In the environment of somebody who keeps to the usual umask."""
    run(OPTIONS.cmake, "--install", OPTIONS.build, "--config", OPTIONS.config, "--prefix", prefix, umask=0o022)


def files_below(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()}


class InstalledTree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory(prefix="tesker-install-")
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.tmp = pathlib.Path(cls.temporary.name)
        cls.sample = cls.tmp / "sample"
        run(OPTIONS.make_sample, cls.sample)
        # Everything below is done with a tree that was moved after it was installed.
        install(cls.tmp / "first prefix")
        cls.prefix = cls.tmp / "moved" / "second prefix"
        cls.prefix.parent.mkdir()
        (cls.tmp / "first prefix").rename(cls.prefix)
        (cls.tmp / "run").mkdir(mode=0o700)
        cls.environment = {
            "PATH": "/usr/bin:/bin",
            "HOME": str(cls.tmp),
            "XDG_RUNTIME_DIR": str(cls.tmp / "run"),
            "PKG_CONFIG_PATH": str(cls.prefix / PKGCONFIG),
        }

    def applications(self, program, **more):
        """The names of the applications in the sample tree, as the installed command lists them."""
        lines = run(program, "list", "--format", "jsonl", self.sample, cwd="/", env=self.environment, **more)
        records = [json.loads(line)["record"]["pairs"] for line in lines.splitlines()]
        return {record["name"] for record in records if record.get("type") == "app"}

    def answer(self):
        path = self.tmp / "answer"
        run(self.prefix / "bin/tesker-apps", "-q", "list", "--save", path, self.sample, env=self.environment)
        return path

    def check_consumer(self, program):
        (self.tmp / "listed").mkdir(exist_ok=True)
        for name in ("one", "two words"):
            (self.tmp / "listed" / name).touch()
        lines = run(program, self.tmp / "listed", self.answer()).splitlines()
        self.assertIn("name one", lines)
        self.assertIn("name two words", lines)
        self.assertIn(f"program {self.sample}/Applications/Edit.app/Edit", lines)

    def test_everything_is_installed_and_nothing_else(self):
        files = files_below(self.prefix)
        others = {name for name in files if not name.startswith("include/")} - {DEFAULTS}
        targets = {name for name in others if "/tesker-targets-" in name}
        self.assertEqual(len(targets), 1)
        self.assertEqual(others - targets, EXPECTED)

    def test_everybody_may_read_what_is_installed(self):
        programs = {"bin/tesker-apps", "bin/tesker-desktop", "bin/tesker-fileop", TOOL, READ_AHEAD}
        for name in files_below(self.prefix):
            mode = (self.prefix / name).stat().st_mode & 0o7777
            self.assertEqual(mode, 0o755 if name in programs else 0o644, name)

    def test_the_headers_of_the_library_are_installed_and_internal_ones_are_not(self):
        include = self.prefix / "include/tesker"
        headers = files_below(include)
        for header in ("platform/foundation/NSString.h", "caching/CachingFileManager.h", "fileops/FileOperations.h",
                       "parsing/RecordEncoding.h", "master/FinderMaster.h"):
            self.assertIn(header, headers)
        for header in ("caching/FilerFileCache.h", "fileops/ChildSteps.h"):
            self.assertTrue(pathlib.Path(OPTIONS.source, header).is_file())
            self.assertNotIn(header, headers)
        self.assertEqual([header for header in headers if header.startswith(("tool/", "command/", "tests/"))], [])

    def test_the_headers_need_nothing_that_is_not_installed(self):
        include = self.prefix / "include/tesker"
        source = self.tmp / "all.cpp"
        source.write_text("".join(f'#include "{header}"\n' for header in sorted(files_below(include))))
        run(OPTIONS.compiler, "-std=c++20", "-fsyntax-only", *WARNINGS, "-I", include, source)

    def test_the_command_finds_the_tool_where_it_was_installed(self):
        prefix = self.tmp / "unmoved"
        install(prefix)
        self.assertIn("Edit", self.applications(prefix / "bin/tesker-apps"))

    def test_the_command_finds_the_tool_after_the_tree_was_moved(self):
        self.assertIn("Edit", self.applications(self.prefix / "bin/tesker-apps"))

    def test_the_command_finds_the_tool_when_it_is_called_through_a_link(self):
        link = self.tmp / "link"
        link.symlink_to(self.prefix / "bin/tesker-apps")
        self.assertIn("Edit", self.applications(link))

    def test_the_command_says_where_the_tool_should_be(self):
        tool = self.prefix / TOOL
        tool.rename(self.tmp / "ToolFinder")
        try:
            done = subprocess.run([self.prefix / "bin/tesker-apps", "list", self.sample], env=self.environment,
                                  capture_output=True, text=True)
        finally:
            (self.tmp / "ToolFinder").rename(tool)
        self.assertEqual(done.returncode, 4)
        self.assertIn("ToolFinder", done.stderr)

    def test_a_program_can_be_built_through_the_cmake_package(self):
        build = self.tmp / "consumer-cmake"
        run(OPTIONS.cmake, "-S", HERE / "consumer", "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={OPTIONS.compiler}")
        run(OPTIONS.cmake, "--build", build)
        self.check_consumer(build / "consumer")
        self.assertIn(f"tool {self.prefix / TOOL}", run(OPTIONS.cmake, "--build", build, "--target", "tool"))

    def test_a_program_can_be_built_through_pkg_config(self):
        flags = shlex.split(run("pkg-config", "--cflags", "--libs", "--static", "tesker", env=self.environment))
        program = self.tmp / "consumer-pkg-config"
        run(OPTIONS.compiler, "-std=c++20", HERE / "consumer/main.cpp", "-o", program, *flags)
        self.check_consumer(program)
        (tool,) = shlex.split(run("pkg-config", "--variable=tool", "tesker", env=self.environment))
        self.assertTrue(os.path.samefile(tool, self.prefix / TOOL))

    def defaults_installed(self, prefix):
        stage = self.tmp / "stage" / pathlib.Path(prefix).name
        run(OPTIONS.cmake, f"-DCMAKE_INSTALL_PREFIX={prefix}", f"-DSOURCE={OPTIONS.source}", "-DFOLDER=etc", "-P",
            pathlib.Path(OPTIONS.source, "cmake/InstallDefaults.cmake"), env={"PATH": "/usr/bin:/bin", "DESTDIR": str(stage)})
        return files_below(stage)

    def test_defaults_of_a_package_are_where_they_are_looked_for(self):
        self.assertEqual(self.defaults_installed("/usr"), {DEFAULTS})

    def test_defaults_of_another_prefix_stay_below_it(self):
        self.assertEqual(self.defaults_installed("/opt/somewhere"), {f"opt/somewhere/{DEFAULTS}"})


unittest.main(argv=sys.argv[:1] + OTHER_ARGUMENTS, verbosity=2)
