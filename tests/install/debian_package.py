#!/usr/bin/python3
"""Makes the Debian package of a build and looks into it, without installing it.

usage: debian_package.py CPACK BUILD VERSION MAKE_SAMPLE
"""
import gzip
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

CPACK, BUILD, VERSION, MAKE_SAMPLE = sys.argv[1:5]
DEFAULTS = "etc/xdg/tesker/defaults/Tesker.plist"


def run(*words, **more):
    done = subprocess.run([str(word) for word in words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **more)
    if done.returncode != 0:
        raise AssertionError(f"exit status {done.returncode}: {' '.join(map(str, words))}\n{done.stdout}")
    return done.stdout


class DebianPackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory(prefix="tesker-package-")
        cls.addClassCleanup(temporary.cleanup)
        cls.tmp = pathlib.Path(temporary.name)
        run(CPACK, "-G", "DEB", "--config", f"{BUILD}/CPackConfig.cmake", "-B", cls.tmp / "made")
        (cls.package,) = (cls.tmp / "made").glob("*.deb")
        cls.root = cls.tmp / "root"
        run("dpkg-deb", "--extract", cls.package, cls.root)

    def field(self, name):
        return run("dpkg-deb", "--field", self.package, name).strip()

    def test_the_package_says_what_it_is_and_needs(self):
        self.assertTrue(self.package.name.startswith(f"tesker_{VERSION}_"))
        self.assertEqual(self.field("Package"), "tesker")
        self.assertEqual(self.field("Version"), VERSION)
        needed = {word.split()[0] for word in self.field("Depends").split(", ")}
        self.assertLessEqual({"libc6", "libstdc++6", "libsystemd0"}, needed)
        self.assertEqual(self.field("Recommends"), "tar, ncompress")

    def test_everything_is_in_usr_but_the_defaults(self):
        files = {str(path.relative_to(self.root)) for path in self.root.rglob("*") if not path.is_dir()}
        self.assertEqual({name for name in files if not name.startswith("usr/")}, {DEFAULTS})
        self.assertLessEqual({"usr/bin/tesker-apps", "usr/bin/tesker-fileop", "usr/libexec/tesker/ToolFinder",
                              "usr/share/zsh/vendor-completions/_tesker-apps"}, files)

    def test_changed_defaults_are_kept_when_the_package_is_renewed(self):
        self.assertEqual(run("dpkg-deb", "--info", self.package, "conffiles").split(), [f"/{DEFAULTS}"])

    def test_everything_belongs_to_root_and_may_be_read(self):
        for line in run("dpkg-deb", "--contents", self.package).splitlines():
            mode, owner = line.split()[:2]
            self.assertEqual(owner, "root/root", line)
            self.assertIn(mode, ("drwxr-xr-x", "-rwxr-xr-x", "-rw-r--r--"), line)

    def test_manual_pages_are_packed(self):
        for page in ("man1/tesker-apps.1", "man1/tesker-fileop.1", "man5/tesker-description.5", "man8/ToolFinder.8"):
            with gzip.open(self.root / f"usr/share/man/{page}.gz", "rt") as text:
                self.assertIn("NAME", text.read())

    def test_the_packed_command_finds_the_packed_tool(self):
        run(MAKE_SAMPLE, self.tmp / "sample")
        (self.tmp / "run").mkdir(mode=0o700)
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.tmp), "XDG_RUNTIME_DIR": str(self.tmp / "run")}
        listed = run(self.root / "usr/bin/tesker-apps", "list", self.tmp / "sample", env=environment)
        self.assertIn("Edit.app/Edit", listed)

    def test_the_packed_defaults_make_tar_work(self):
        folder = self.tmp / "letters"
        folder.mkdir()
        (folder / "letter").write_text("Dear reader")
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.tmp), "XDG_CONFIG_DIRS": str(self.root / "etc/xdg")}
        run(self.root / "usr/bin/tesker-fileop", "tar", folder, self.tmp / "letters.tar", env=environment)
        self.assertGreater(os.path.getsize(self.tmp / "letters.tar"), 0)


unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
