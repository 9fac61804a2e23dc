#!/usr/bin/python3
"""Makes the Debian packages of a build and looks into them, without installing them.

usage: debian_package.py CPACK BUILD VERSION MAKE_SAMPLE SOURCE LIBDIR
"""
import filecmp
import fnmatch
import gzip
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

CPACK, BUILD, VERSION, MAKE_SAMPLE, SOURCE, LIBDIR = sys.argv[1:7]
DEBIAN = pathlib.Path(SOURCE, "debian")
NAMES = ["tesker", "libtesker-dev"]
if pathlib.Path(BUILD, "bin/tesker-desktop").exists():
    NAMES.append("tesker-desktop")
DEFAULTS = "etc/xdg/tesker/defaults/Tesker.plist"


def run(*words, **more):
    done = subprocess.run([str(word) for word in words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **more)
    if done.returncode != 0:
        raise AssertionError(f"exit status {done.returncode}: {' '.join(map(str, words))}\n{done.stdout}")
    return done.stdout


def control():
    """The fields of debian/control, by package; lists are sets of what is listed."""
    packages = {}
    for paragraph in re.split(r"\n\n", (DEBIAN / "control").read_text()):
        fields = dict(re.findall(r"^([\w-]+): *((?:.*\n?)(?:^ .*\n?)*)", paragraph, re.M))
        if "Package" in fields:
            packages[fields["Package"].strip()] = {name: text.strip() for name, text in fields.items()}
    return packages


def listed(field):
    return {item.strip() for item in field.split(",") if item.strip() and not item.strip().startswith("${")}


class DebianPackages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory(prefix="tesker-package-")
        cls.addClassCleanup(temporary.cleanup)
        cls.tmp = pathlib.Path(temporary.name)
        run(CPACK, "-G", "DEB", "--config", f"{BUILD}/CPackConfig.cmake", "-B", cls.tmp / "made", umask=0o027)
        cls.packages = {package.name.split("_")[0]: package for package in (cls.tmp / "made").glob("*.deb")}
        cls.roots = {name: cls.tmp / "roots" / name for name in NAMES}
        for name, root in cls.roots.items():
            root.mkdir(parents=True)
            run("dpkg-deb", "--extract", cls.packages[name], root)
        cls.root = cls.roots["tesker"]

    def field(self, package, name):
        return run("dpkg-deb", "--field", self.packages[package], name).strip()

    def files(self, package):
        root = self.roots[package]
        return {str(path.relative_to(root)) for path in root.rglob("*") if not path.is_dir()}

    def test_the_packages_say_what_they_are_and_need(self):
        self.assertEqual(set(self.packages), set(NAMES))
        for name in NAMES:
            self.assertTrue(self.packages[name].name.startswith(f"{name}_{VERSION}_"))
            self.assertEqual(self.field(name, "Package"), name)
            self.assertEqual(self.field(name, "Version"), VERSION)
        needed = {word.split()[0] for word in self.field("tesker", "Depends").split(", ")}
        self.assertLessEqual({"libc6", "libstdc++6", "libsystemd0"}, needed)

    def test_they_say_the_same_as_the_source_package(self):
        self.assertLessEqual(set(NAMES), set(control()))
        for name, fields in [(name, fields) for name, fields in control().items() if name in NAMES]:
            for field in ("Recommends", "Breaks", "Replaces"):
                self.assertEqual(listed(self.field(name, field)), listed(fields.get(field, "")), (name, field))
            own = {item.replace(f"(= {VERSION})", "(= ${binary:Version})") for item in listed(self.field(name, "Depends"))}
            self.assertLessEqual(listed(fields["Depends"]), own)
            lines = fields["Description"].splitlines()
            said = self.field(name, "Description").splitlines()
            self.assertEqual([line.strip() for line in said], [line.strip() for line in lines])
        self.assertIn(f"tesker ({VERSION}) ", (DEBIAN / "changelog").read_text().splitlines()[0])

    def test_each_has_what_the_source_package_gives_it(self):
        for name in NAMES:
            patterns = (DEBIAN / f"{name}.install").read_text().split()
            by_debhelper = {f"usr/share/doc/{name}/copyright", f"usr/share/doc/{name}/changelog.gz",
                            f"usr/share/lintian/overrides/{name}"}
            for file in self.files(name) - by_debhelper:
                file = file.removesuffix(".gz") if file.startswith("usr/share/man/") else file
                self.assertEqual(len([one for one in patterns if fnmatch.fnmatch(file, one) or fnmatch.fnmatch(file, f"{one}/*")]), 1,
                                 (name, file))

    def test_no_two_have_the_same_file(self):
        files = [file for name in NAMES for file in self.files(name)]
        self.assertEqual(len(files), len(set(files)))

    @unittest.skipUnless("tesker-desktop" in NAMES, "it is not built")
    def test_nothing_enables_the_unit_of_the_desktop(self):
        files = self.files("tesker-desktop")
        self.assertLessEqual({"usr/bin/tesker-desktop", "usr/lib/systemd/user/tesker-desktop.service",
                              "usr/share/man/man1/tesker-desktop.1.gz"}, files)
        self.assertEqual([file for file in files if ".wants/" in file], [])
        self.assertNotIn("postinst", run("dpkg-deb", "--info", self.packages["tesker-desktop"]))
        unit = (self.roots["tesker-desktop"] / "usr/lib/systemd/user/tesker-desktop.service").read_text()
        self.assertIn("ExecStart=/usr/bin/tesker-desktop --watch\n", unit)

    def test_everything_is_in_usr_but_the_defaults(self):
        files = self.files("tesker")
        self.assertEqual({name for name in files if not name.startswith("usr/")}, {DEFAULTS})
        self.assertLessEqual({"usr/bin/tesker-apps", "usr/bin/tesker-fileop", "usr/libexec/tesker/ToolFinder",
                              "usr/libexec/tesker/tesker-read-ahead",
                              "usr/share/zsh/vendor-completions/_tesker-apps"}, files)

    def test_the_linters_word_on_them_is_explained(self):
        overrides = self.root / "usr/share/lintian/overrides/tesker"
        self.assertTrue(filecmp.cmp(overrides, DEBIAN / "tesker.lintian-overrides", shallow=False))

    def test_the_library_is_where_others_of_its_machine_are(self):
        machine = run("dpkg-architecture", "-qDEB_HOST_MULTIARCH").strip()
        self.assertEqual(LIBDIR, f"lib/{machine}")
        self.assertLessEqual({f"usr/{LIBDIR}/libtesker.a", f"usr/{LIBDIR}/pkgconfig/tesker.pc",
                              f"usr/{LIBDIR}/cmake/tesker/tesker-config.cmake", "usr/include/tesker/master/FinderMaster.h",
                              "usr/share/doc/libtesker-dev/examples/main.cpp"}, self.files("libtesker-dev"))

    def test_each_has_its_license_and_its_changes(self):
        for name in NAMES:
            documents = self.roots[name] / "usr/share/doc" / name
            self.assertTrue(filecmp.cmp(documents / "copyright", DEBIAN / "copyright", shallow=False))
            with gzip.open(documents / "changelog.gz", "rb") as changes:
                self.assertEqual(changes.read(), (DEBIAN / "changelog").read_bytes())

    def test_changed_defaults_are_kept_when_the_package_is_renewed(self):
        self.assertEqual(run("dpkg-deb", "--info", self.packages["tesker"], "conffiles").split(), [f"/{DEFAULTS}"])

    def test_everything_belongs_to_root_and_may_be_read(self):
        contents = "".join(run("dpkg-deb", "--contents", package) for package in self.packages.values())
        for line in contents.splitlines():
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


unittest.main(argv=sys.argv[:1] + sys.argv[7:], verbosity=2)
