#!/usr/bin/env python3
"""What tesker-apps knows from one run to the next: it is compared with, and with --cached it is the
answer.

  known_answers.py PROGRAMS

PROGRAMS holds tesker-apps, ToolFinder and tesker-make-sample.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()


class KnownAnswers(unittest.TestCase):
    def setUp(self):
        self.top = pathlib.Path(tempfile.mkdtemp())
        self.state = self.top / "cache/tesker"
        self.application("Apps/Edit", "txt")
        self.application("More/Draw", "eps")

    def tearDown(self):
        shutil.rmtree(self.top)

    def application(self, name, extension):
        resources = self.top / f"{name}.app/Resources"
        resources.mkdir(parents=True, exist_ok=True)
        program = pathlib.Path(name).name
        (resources / "Info-quorvale.plist").write_text(
            f"{{ NSExecutable = {program}; NSTypes = ({{ NSExtensions = ({extension}); }}); }}")

    def environment(self, **variables):
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.top), "XDG_RUNTIME_DIR": str(self.top),
                       "XDG_CACHE_HOME": str(self.top / "cache"), **variables}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TESKER_READ_AHEAD"):
            if name in os.environ:
                environment[name] = os.environ[name]
        return environment

    def start(self, *words, **variables):
        return subprocess.Popen([PROGRAMS / "tesker-apps", *words], cwd=self.top, text=True,
                                env=self.environment(**variables), stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def run_apps(self, *words, status=0, **variables):
        command = self.start(*words, **variables)
        output, errors = command.communicate()
        self.assertEqual(command.returncode, status, errors)
        return output, errors

    def types(self, *words, **variables):
        """The extensions that the answer has, and what was said."""
        output, errors = self.run_apps("types", *words, "--format", "json", **variables)
        return [item["extension"] for item in json.loads(output)["results"][0]["types"]], errors

    def saved(self):
        return sorted(path for path in self.state.glob("*") if not path.suffix)

    # ---- by itself ----

    def test_a_question_says_the_same_whether_an_answer_is_known_or_not(self):
        (self.top / "Apps/Bad.app/Resources").mkdir(parents=True)
        (self.top / "Apps/Bad.app/Resources/Info-quorvale.plist").write_text("{ ")
        for words in (("types",), ("handlers", "txt", "-v"), ("show", "Edit", "--format", "json"),
                      ("services", "--format", "jsonl"), ("open", "Apps/Edit.app", "--print")):
            shutil.rmtree(self.state, ignore_errors=True)
            said = []
            for _ in range(2):
                command = self.start(*words, "--in", "Apps", "--in", "More")
                said.append((*command.communicate(), command.returncode))
                self.assertEqual(len(self.saved()), 2)
            self.assertEqual(*said)

    def test_a_question_finds_what_has_changed(self):
        self.assertEqual(self.types("--in", "Apps")[0], ["txt"])
        self.application("Apps/Edit", "rtf")
        self.assertEqual(self.types("--in", "Apps")[0], ["rtf"])
        self.assertEqual(self.types("--in", "Apps", "--cached")[0], ["rtf"])

    def test_what_cannot_be_kept_is_only_told_with_v(self):
        (self.top / "cache").write_text("in the way")
        self.assertEqual(self.types("--in", "Apps"), (["txt"], ""))
        self.assertIn("the answer is not kept in", self.types("--in", "Apps", "-v")[1])

    def test_the_answer_of_another_tool_is_not_kept(self):
        self.types("--in", "Apps", "--tool", str(PROGRAMS / "ToolFinder"))
        self.assertEqual(self.saved(), [])

    def test_a_path_that_is_gone_does_not_empty_what_is_known(self):
        self.types("--in", "Apps")
        (self.top / "Apps").rename(self.top / "Away")
        self.run_apps("types", "--in", "Apps", status=4)
        self.assertEqual(self.types("--in", "Apps", "--cached")[0], ["txt"])

    def test_runs_at_the_same_time_leave_one_good_answer(self):
        commands = [self.start("types", "--in", "Apps") for _ in range(4)]
        for command in commands:
            self.assertIn("txt", command.communicate()[0])
        self.assertEqual(len(self.saved()), 1)
        self.assertEqual(self.types("--in", "Apps", "--cached")[0], ["txt"])

    # ---- --cached ----

    def test_cached_answers_without_a_search_and_says_how_old_that_is(self):
        self.types("--in", "Apps")
        self.application("Apps/Mail", "mbox")
        extensions, errors = self.types("--in", "Apps", "--cached")
        self.assertEqual(extensions, ["txt"])
        self.assertEqual(errors, "tesker-apps: from what was found less than a minute ago\n")
        self.assertEqual(self.types("--in", "Apps", "--cached", "-q")[1], "")

    def test_every_question_and_list_take_it(self):
        self.types("--in", "Apps")
        shutil.rmtree(self.top / "Apps/Edit.app/Resources")
        place = ("--in", "Apps", "--cached")
        (self.top / "a.txt").write_text("")
        self.assertIn("Edit", self.run_apps("handlers", "txt", *place)[0])
        self.assertIn("Edit", self.run_apps("show", "Edit", *place)[0])
        self.assertIn("Edit.app/Edit", self.run_apps("open", "a.txt", "--print", *place)[0])
        self.run_apps("services", *place)
        self.assertIn("Edit", self.run_apps("list", "Apps", "--cached")[0])
        self.assertIn("Edit", self.run_apps("list", "Apps", "--cached", "--format", "raw")[0])

    def test_what_is_not_known_is_searched_and_takes_its_place_in_the_order(self):
        self.types("--in", "More")
        output, errors = self.run_apps("list", "Apps", "More", "--cached", "--format", "json")
        self.assertEqual([result["key"] for result in json.loads(output)["results"]],
                         [str(self.top / "Apps"), str(self.top / "More")])
        self.assertIn("/Apps: nothing was found there before; it is searched now\n", errors)
        self.assertIn("from what was found less than a minute ago\n", errors)
        output, errors = self.run_apps("list", "Apps", "More", "--cached")
        self.assertNotIn("searched now", errors)

    def test_another_processor_or_rule_for_links_is_another_answer(self):
        self.types("--in", "Apps")
        for words in (("--cpu", "m68k"), ("--link-cycles", "follow")):
            self.assertIn("searched now", self.types("--in", "Apps", "--cached", *words)[1])

    def test_a_damaged_file_counts_as_none_and_is_replaced(self):
        self.types("--in", "Apps")
        for damage in (b"", b"Tesker answer 1\n", self.saved()[0].read_bytes().replace(b"txt", b"rtf"), b"\0" * 5000):
            self.saved()[0].write_bytes(damage)
            extensions, errors = self.types("--in", "Apps", "--cached")
            self.assertEqual(extensions, ["txt"])
            self.assertIn("searched now", errors)
            self.assertNotIn("searched now", self.types("--in", "Apps", "--cached")[1])

    def test_the_age_is_told_in_words(self):
        self.types("--in", "Apps")
        saved = self.saved()[0]
        now = saved.read_bytes()
        for seconds, words in ((61, "1 minute"), (200, "3 minutes"), (3601, "1 hour"), (90_000, "1 day"), (400_000, "4 days")):
            saved.write_bytes(now)
            rewrite_time(saved, seconds)
            self.assertEqual(self.types("--in", "Apps", "--cached")[1], f"tesker-apps: from what was found {words} ago\n")

    def test_a_search_that_finds_the_same_makes_an_old_answer_young(self):
        self.types("--in", "Apps")
        rewrite_time(self.saved()[0], 10_000)
        self.types("--in", "Apps")
        self.assertIn("less than a minute ago", self.types("--in", "Apps", "--cached")[1])


def rewrite_time(path, seconds):
    """Makes the saved answer older."""
    head, text = path.read_bytes().split(b"checksum ", 1)
    lines = head.split(b"\n")
    place = next(i for i, line in enumerate(lines) if line.startswith(b"time "))
    lines[place] = b"time %d" % (int(lines[place].split()[1]) - seconds)
    head = b"\n".join(lines)
    text = text[17:]
    checksum = 0xCBF29CE484222325
    for byte in head + text:
        checksum = (checksum ^ byte) * 0x100000001B3 & 0xFFFFFFFFFFFFFFFF
    path.write_bytes(head + b"checksum %016x\n" % checksum + text)


if __name__ == "__main__":
    unittest.main()
