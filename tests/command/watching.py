#!/usr/bin/env python3
"""tesker-apps watch: what it tells while applications come and go, and how it ends.

  watching.py PROGRAMS

PROGRAMS holds tesker-apps and ToolFinder.
"""

import json
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
HANGS = 120  # seconds: nothing takes so long, on whatever machine


class Watch:
    """A running command, of which lines are read as they come."""

    def __init__(self, top, *words, output=subprocess.PIPE):
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(top), "XDG_RUNTIME_DIR": str(top),
                       "XDG_CACHE_HOME": str(top / "cache")}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TESKER_READ_AHEAD"):
            if name in os.environ:
                environment[name] = os.environ[name]
        self.process = subprocess.Popen([PROGRAMS / "tesker-apps", *words], cwd=top, env=environment, text=True,
                                        stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.PIPE,
                                        preexec_fn=restore_signals)
        self.output, self.errors = queue.Queue(), queue.Queue()
        self.threads = []
        for stream, lines in ((self.process.stdout, self.output), (self.process.stderr, self.errors)):
            if stream is not None:
                self.threads.append(threading.Thread(target=read_lines, args=(stream, lines), daemon=True))
                self.threads[-1].start()

    def line(self):
        return self.output.get(timeout=HANGS)

    def error(self):
        return self.errors.get(timeout=HANGS)

    def batch(self):
        """The lines of the next one, and its number."""
        lines = []
        while "batch" not in (lines[-1] if lines else {}):
            lines.append(json.loads(self.line()))
        return lines[:-1], lines[-1]["batch"]

    def changes(self):
        """What has been added and removed by name, in one batch."""
        return sorted((line["change"]["kind"], line["change"]["record"]["pairs"]["name"]) for line in self.batch()[0])

    def end(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        return self.process.wait(HANGS)


def read_lines(stream, lines):
    for line in stream:
        lines.put(line)


def restore_signals():
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE):
        signal.signal(number, signal.SIG_DFL)


class Watching(unittest.TestCase):
    def setUp(self):
        self.top = pathlib.Path(tempfile.mkdtemp())
        self.watches = []
        self.application("Apps/Edit", "txt")

    def tearDown(self):
        for watch in self.watches:
            watch.process.kill()
            watch.process.wait()
            for thread in watch.threads:
                thread.join()
            for stream in (watch.process.stdout, watch.process.stderr):
                if stream is not None:
                    stream.close()
        shutil.rmtree(self.top)

    def watch(self, *words, **streams):
        self.watches.append(Watch(self.top, "watch", *words, **streams))
        return self.watches[-1]

    def application(self, name, extension):
        """All at once, as an installer should."""
        new = self.top / ".new"
        (new / "Resources").mkdir(parents=True)
        (new / "Resources/Info-quorvale.plist").write_text(self.description(name, extension))
        (self.top / name).parent.mkdir(exist_ok=True)
        new.rename(self.top / f"{name}.app")

    @staticmethod
    def description(name, extension):
        return f"{{ NSExecutable = {pathlib.Path(name).name}; NSTypes = ({{ NSExtensions = ({extension}); }}); }}"

    def run_apps(self, *words):
        command = Watch(self.top, *words)
        self.watches.append(command)
        command.process.wait(HANGS)
        return command

    def expect_nothing_left(self):
        self.assertEqual(list(self.top.glob("tesker-master-*")), [])

    def test_lines_tell_of_the_applications_and_then_of_what_changes(self):
        watch = self.watch("Apps", "--format", "jsonl")
        lines, number = watch.batch()
        self.assertEqual(number, 1)
        self.assertEqual([line["record"]["pairs"]["name"] for line in lines], ["txt", "Edit"])
        self.assertEqual({line["key"] for line in lines}, {str(self.top / "Apps")})
        self.application("Apps/Mail", "mbox")
        self.assertEqual(watch.changes(), [("added", "Mail"), ("added", "mbox")])
        (self.top / "Apps/Mail.app").rename(self.top / "Apps/Post.app")
        self.assertEqual({kind for kind, _ in watch.changes()}, {"added", "removed"})
        shutil.rmtree(self.top / "Apps/Post.app")
        self.assertEqual(watch.changes(), [("removed", "Mail"), ("removed", "mbox")])

    def test_a_table_tells_the_same_to_people(self):
        watch = self.watch("Apps")
        self.assertIn("1 application found in", watch.line())
        while "Edit.app/Edit" not in watch.line():
            pass
        self.application("Apps/Mail", "mbox")
        self.assertEqual(watch.line(), "\n")
        self.assertEqual(watch.line(), "2 added\n")
        self.assertEqual(watch.line(), "\n")
        self.assertTrue(watch.line().startswith("CHANGE"))

    def test_a_signal_ends_it_and_the_next_run_knows_what_it_found(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            self.application(f"Apps/App{number}", f"x{number}")
            watch = self.watch("Apps", "--format", "jsonl")
            watch.batch()
            self.assertEqual(watch.end(number), -number)
            self.expect_nothing_left()
            command = self.run_apps("handlers", f"x{number}", "--in", "Apps", "--cached")
            self.assertEqual(command.process.returncode, 0)

    def test_a_signal_ends_a_search_that_is_under_way(self):
        (self.top / "endless").mkdir()
        for name in ("again", "once-more"):
            (self.top / "endless" / name).symlink_to(".")
        watch = self.watch("endless", "--link-cycles", "follow")
        while not list(self.top.glob("tesker-master-*/bootstrap/*")):
            self.assertIsNone(watch.process.poll())
        self.assertEqual(watch.end(), -signal.SIGTERM)
        self.expect_nothing_left()

    def test_it_ends_when_nobody_reads_any_longer(self):
        reading, writing = os.pipe()
        watch = self.watch("Apps", output=writing)
        os.close(writing)
        self.assertTrue(os.read(reading, 100))
        os.close(reading)
        self.assertEqual(watch.process.wait(HANGS), -signal.SIGPIPE)
        self.expect_nothing_left()

    def test_cached_knows_of_a_running_watch(self):
        watch = self.watch("Apps", "--format", "jsonl")
        watch.batch()
        command = self.run_apps("types", "--in", "Apps", "--cached")
        self.assertEqual(command.error(), "tesker-apps: from what a running watch keeps current\n")
        self.application("Apps/Mail", "mbox")
        watch.batch()
        command = self.run_apps("handlers", "mbox", "--in", "Apps", "--cached")
        self.assertEqual(command.process.returncode, 0)
        watch.end()
        command = self.run_apps("types", "--in", "Apps", "--cached")
        self.assertEqual(command.error(), "tesker-apps: from what was found less than a minute ago\n")

    def test_a_path_that_goes_away_keeps_its_applications_until_it_is_back(self):
        watch = self.watch("Apps", "--format", "jsonl")
        watch.batch()
        (self.top / "Apps").rename(self.top / "Away")
        self.assertIn("is not there; what was found there before is kept", watch.error())
        (self.top / "Away").rename(self.top / "Apps")
        self.application("Apps/Mail", "mbox")
        self.assertEqual(watch.changes(), [("added", "Mail"), ("added", "mbox")])

    def test_poll_finds_what_cannot_be_seen(self):
        description = self.top / "Apps/Edit.app/Resources/Info-quorvale.plist"
        os.link(description, self.top / "elsewhere")
        watch = self.watch("Apps", "--format", "jsonl", "--poll", "0.1")
        watch.batch()
        (self.top / "elsewhere").write_text(self.description("Edit", "rtf"))
        self.assertEqual(watch.changes(), [("added", "rtf"), ("removed", "txt")])

    def test_without_a_tool_there_is_nothing_to_watch(self):
        watch = self.watch("Apps", "--tool", "missing")
        self.assertEqual(watch.process.wait(HANGS), 4)
        self.assertIn("missing", watch.error())


if __name__ == "__main__":
    unittest.main()
