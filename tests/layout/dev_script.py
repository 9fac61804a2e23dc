#!/usr/bin/python3
"""What ./dev makes of the paths that it is given, and where it says what: a copy of it, with programs
that tell how they were called instead of building.

usage: dev_script.py DEV
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

DEV = pathlib.Path(sys.argv[1]).resolve()

CMAKE = """#!/bin/sh
case $1 in
  --build)
    for step in 1 2 3 4 5 6 7 8 9 10; do echo "[$step/100] Building"; done
    echo "a warning"
    if [ -e "$(dirname "$0")/broken" ]; then exit 3; fi ;;
  --install) echo "$@" ;;
esac
"""
APPS = """#!/bin/sh
pwd
printf '%s\\n' "$@"
"""


class DevScript(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="tesker-dev-")
        self.addCleanup(temporary.cleanup)
        self.tmp = pathlib.Path(temporary.name).resolve()
        self.source = self.tmp / "the source"
        self.elsewhere = self.tmp / "somewhere else"
        self.elsewhere.mkdir()
        self.source.mkdir()
        shutil.copy(DEV, self.source)
        self.program("programs/cmake", CMAKE)
        self.program("programs/dpkg-query", "#!/bin/sh\necho ok installed\n")
        self.program("the source/build/run/bin/tesker-apps", APPS)
        self.program("the source/build/run/bin/tesker-make-sample", "#!/bin/sh\n")

    def program(self, name, text):
        path = self.tmp / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        path.chmod(0o755)

    def dev(self, *words, dev="../the source/dev"):
        done = subprocess.run(["bash", dev, *words], cwd=self.elsewhere, capture_output=True, text=True, check=False,
                              env={"PATH": f"{self.tmp}/programs:/usr/bin:/bin"})
        return done

    def test_paths_to_list_are_those_of_the_caller(self):
        done = self.dev("run", "Apps", "../More Apps", "/Apps")
        self.assertEqual(done.stdout.splitlines(), [str(self.elsewhere), "list", "Apps", "../More Apps", "/Apps"])
        self.assertEqual(done.returncode, 0)

    def test_the_sample_is_listed_where_no_path_is_given(self):
        self.assertEqual(self.dev("run").stdout.splitlines()[1:], ["list", str(self.source / "build/sample")])

    def test_the_place_to_install_is_the_callers(self):
        for given, prefix in (("here", self.elsewhere / "here"), ("/opt/x", "/opt/x")):
            self.assertEqual(self.dev("install", given).stdout, f"--install build/package --prefix {prefix}\n")
        self.assertEqual(self.dev("install").stdout, "--install build/package --prefix /usr/local\n")

    def test_a_build_says_on_standard_error_how_far_it_is(self):
        done = self.dev("run")
        self.assertNotIn("Building", done.stdout)
        self.assertEqual(done.stderr.splitlines(), ["Building (run)", "[5/100] Building", "[10/100] Building", "a warning"])

    def test_a_build_that_fails_ends_it(self):
        (self.tmp / "programs/broken").touch()
        done = self.dev("run")
        self.assertEqual((done.returncode, done.stdout), (3, ""))
        self.assertIn("a warning", done.stderr)


unittest.main(argv=sys.argv[:1] + sys.argv[2:], verbosity=2)
