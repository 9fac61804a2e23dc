#!/usr/bin/env python3
"""Ends searches of tesker-apps before they are done: by their time-out, and by signals.

  partial_answers.py PROGRAMS

PROGRAMS holds tesker-apps, ToolFinder, tesker-fake-tool and tesker-make-sample.
"""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
CUT = "; the answer has what was found until then"


class PartialAnswers(unittest.TestCase):
    def setUp(self):
        self.top = pathlib.Path(tempfile.mkdtemp())
        subprocess.run([PROGRAMS / "tesker-make-sample", self.top / "sample"], check=True, stdout=subprocess.DEVNULL)
        (self.top / "apps").mkdir()
        shutil.copy(self.top / "sample/Tools/define", self.top / "apps/define")
        # Two links to the directory that they are in have it searched without end.
        (self.top / "endless").mkdir()
        for name in ("again", "once-more"):
            (self.top / "endless" / name).symlink_to(".")

    def tearDown(self):
        shutil.rmtree(self.top)

    def start(self, *words, **variables):
        """A command that is to be ended; its searches go through links that lead back."""
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.top), "XDG_RUNTIME_DIR": str(self.top), **variables}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TESKER_READ_AHEAD"):
            if name in os.environ:
                environment[name] = os.environ[name]
        return subprocess.Popen([PROGRAMS / "tesker-apps", *words, "--link-cycles", "follow"], env=environment,
                                cwd=self.top, text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, preexec_fn=restore_signals)

    def paths_in(self, output):
        return [record["pairs"]["path"] for result in json.loads(output)["results"] for record in result["records"]]

    def wait_for_tool(self, command):
        """Until a tool is there that has heard of its task."""
        while not list(tools_of(command)):
            time.sleep(0.01)
        time.sleep(0.2)

    def wait_for_search(self, command):
        """Until a tool has worked for so long that it is in the endless directory, and others have ended."""
        while not any(ticks >= 50 for ticks in tools_of(command)):
            self.assertIsNone(command.poll())
            time.sleep(0.01)

    def test_a_time_out_leaves_what_was_found(self):
        command = self.start("list", "apps", "endless", "--timeout", "1", "--format", "json")
        output, errors = command.communicate()
        self.assertEqual(command.returncode, 5)
        self.assertIn(str(self.top / "apps/define"), self.paths_in(output))
        self.assertIn("timed out during the search, after 1 s", errors)
        self.assertIn(CUT, errors)
        results = json.loads(output)["results"]
        self.assertEqual([result.get("incomplete") for result in results], [None, True])

    def test_a_signal_leaves_what_was_found(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            command = self.start("list", "apps", "endless", "--jobs", "2", "--format", "json")
            self.wait_for_search(command)
            command.send_signal(number)
            output, errors = command.communicate()
            self.assertEqual(command.returncode, -number)
            self.assertIn(str(self.top / "apps/define"), self.paths_in(output))
            self.assertIn("the search was given up" + CUT, errors)
            self.assertNotIn("logged", errors)
            self.assertEqual(list(self.top.glob("tesker-master-*")), [])

    def test_searches_that_have_not_begun_stay_so(self):
        command = self.start("list", "endless", "apps", "--jobs", "1", "--format", "jsonl")
        self.wait_for_search(command)
        command.send_signal(signal.SIGTERM)
        output, _ = command.communicate()
        self.assertEqual(command.returncode, -signal.SIGTERM)
        self.assertNotIn("define", output)

    def test_a_second_signal_ends_the_searches_at_once(self):
        command = self.start("list", "apps", "--tool", str(PROGRAMS / "tesker-fake-tool"), "--timeout", "1000",
                             FAKE_TOOL="ignore-the-stop")
        self.wait_for_tool(command)
        command.send_signal(signal.SIGINT)
        time.sleep(0.2)
        command.send_signal(signal.SIGTERM)
        _, errors = command.communicate()
        self.assertEqual(command.returncode, -signal.SIGINT)
        self.assertIn("the search was given up\n", errors)

    def test_a_part_does_not_take_the_place_of_a_saved_answer(self):
        (self.top / "answer").write_text("(0)")
        command = self.start("list", "endless", "--timeout", "1", "--save", "answer")
        _, errors = command.communicate()
        self.assertEqual(command.returncode, 5)
        self.assertIn(CUT, errors)
        self.assertEqual((self.top / "answer").read_text(), "(0)")

    def test_answers_come_in_the_order_of_the_paths(self):
        for jobs in ("1", "2", "9"):
            command = self.start("list", "sample/Applications", "apps", "sample/Tools", "--jobs", jobs, "--format", "json")
            output, _ = command.communicate()
            self.assertEqual([result["key"] for result in json.loads(output)["results"]],
                             [str(self.top / path) for path in ("sample/Applications", "apps", "sample/Tools")])

    def test_each_search_has_its_own_time(self):
        command = self.start("list", "endless", "endless", "apps", "--jobs", "1", "--timeout", "1", "--format", "json")
        output, errors = command.communicate()
        self.assertEqual(command.returncode, 5)
        self.assertEqual(errors.count("timed out"), 2)
        self.assertIn(str(self.top / "apps/define"), self.paths_in(output))


def tools_of(command):
    """The processor time, in hundredths of a second, of each tool that the command has started."""
    for child in pathlib.Path(f"/proc/{command.pid}/task/{command.pid}/children").read_text().split():
        try:
            fields = pathlib.Path(f"/proc/{child}/stat").read_text().rpartition(")")[2].split()
        except OSError:
            continue  # it has ended
        yield int(fields[11]) + int(fields[12])


def restore_signals():
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.SIG_DFL)


if __name__ == "__main__":
    unittest.main()
