#!/usr/bin/env python3
"""Searches of tesker-apps that are read ahead of from their start: what they answer, and their end.

  reading_ahead.py PROGRAMS

PROGRAMS holds tesker-apps, ToolFinder, tesker-read-ahead and tesker-make-sample.
"""

import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
LEVELS = 900  # so deep that the path is longer than the system takes


def make_hostile_tree(top):
    """What neither the tool nor who reads ahead of it may wait for, go round in or grow with."""
    subprocess.run([PROGRAMS / "tesker-make-sample", top / "sample"], check=True, stdout=subprocess.DEVNULL)
    wrapper = top / "Trap.app"
    wrapper.mkdir()
    for fifo in (top / "fifo", wrapper / "Trap", wrapper / "registry.table"):
        os.mkfifo(fifo, 0o777)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(top / "socket"))
    (top / "terminal").symlink_to("/dev/tty")
    (top / "zero").symlink_to("/dev/zero")
    (top / "itself").symlink_to("itself")
    (top / "closed").mkdir(0o000)
    for name in ("up", "sample/up", "Trap.app/again.bundle"):
        (top / name).symlink_to(top)
    (top / ("n" * 255)).mkdir()
    (top / "many").mkdir()
    for number in range(600):
        (top / "many" / str(number)).touch(0o755)
    inside = os.open(top, os.O_RDONLY)
    for _ in range(LEVELS):
        os.mkdir("deep", dir_fd=inside)
        below = os.open("deep", os.O_RDONLY, dir_fd=inside)
        os.close(inside)
        inside = below
    os.close(inside)


def processes():
    """The state and the parent of each process, by its number and its name."""
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            words = (entry / "stat").read_text()
        except OSError:
            continue  # it has ended
        name = words[words.index("(") + 1:words.rindex(")")]
        state, parent = words[words.rindex(")") + 2:].split()[:2]
        if state != "Z":
            yield int(entry.name), name, int(parent)


class ReadingAhead(unittest.TestCase):
    def setUp(self):
        # Where it can be, in memory: a disk takes seconds to remove what is so deep.
        self.top = pathlib.Path(tempfile.mkdtemp(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None))
        # Two links to the directory that they are in have it searched without end.
        (self.top / "endless").mkdir()
        for name in ("again", "once-more"):
            (self.top / "endless" / name).symlink_to(".")

    def tearDown(self):
        subprocess.run(["rm", "-rf", self.top], check=True)  # paths are too long for others

    def start(self, wish, *words):
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.top), "XDG_RUNTIME_DIR": str(self.top),
                       "TESKER_READ_AHEAD": wish}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                environment[name] = os.environ[name]
        return subprocess.Popen([PROGRAMS / "tesker-apps", "list", *words], env=environment, cwd=self.top,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def wait_until(self, condition):
        end = time.monotonic() + 60
        while not (found := condition()):
            self.assertLess(time.monotonic(), end, "it does not come to it")
            time.sleep(0.01)
        return found

    def children(self, command, name):
        # The system keeps the first 15 bytes of a program's name.
        return [number for number, own, parent in processes() if parent == command.pid and own == name[:15]]

    def start_endless_search(self):
        command = self.start("always", "endless", "--link-cycles", "follow")
        tool = self.wait_until(lambda: self.children(command, "ToolFinder"))
        ahead = self.wait_until(lambda: self.children(command, "tesker-read-ahead"))
        return command, tool[0], ahead[0]

    def is_gone(self, process):
        return process not in (number for number, _, _ in processes())

    def test_of_a_hostile_tree_changes_nothing(self):
        make_hostile_tree(self.top / "tree")
        answers = []
        for wish in ("never", "always"):
            command = self.start(wish, "tree", "--format", "raw")
            answers.append((*command.communicate(), command.returncode))
        self.assertEqual(*answers)
        self.assertIn(b"sample", answers[0][0])

    def test_ends_with_a_master_that_is_killed(self):
        command, tool, ahead = self.start_endless_search()
        command.kill()
        command.communicate()
        self.wait_until(lambda: self.is_gone(ahead))
        self.wait_until(lambda: self.is_gone(tool))

    def test_ends_with_a_tool_that_is_killed(self):
        command, tool, ahead = self.start_endless_search()
        os.kill(tool, signal.SIGKILL)
        _, errors = command.communicate()
        self.assertEqual(command.returncode, 5, errors)
        self.assertTrue(self.is_gone(ahead))

    def test_may_be_killed_itself(self):
        command, _, ahead = self.start_endless_search()
        os.kill(ahead, signal.SIGKILL)
        self.wait_until(lambda: self.is_gone(ahead))
        self.assertIsNone(command.poll())
        command.send_signal(signal.SIGINT)
        command.communicate()
        self.assertEqual(command.returncode, -signal.SIGINT)


if __name__ == "__main__":
    unittest.main()
