#!/usr/bin/env python3
"""Looks at the line that tesker-apps shows on a terminal while a search lasts.

  progress_line.py PROGRAMS

PROGRAMS holds tesker-apps and tesker-fake-tool, which tells of its progress once and hangs.
"""

import fcntl
import os
import pathlib
import pty
import signal
import struct
import subprocess
import sys
import tempfile
import termios

PROGRAMS = pathlib.Path(sys.argv[1]).resolve()
ERASE = b"\r\x1b[K"
TIMEOUT = "10"  # seconds: enough for the tool to come to where it hangs, and for the line to be shown
COUNTS = b"searching: 12 directories, 4294967641 entries, 6 records: "


class Search:
    """One search, with a terminal as standard error, or as standard output only."""

    def __init__(self, home, *options, columns=100, term="xterm", way="progress-and-hang", error=True):
        self.ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        environment = {"PATH": "/usr/bin:/bin", "HOME": home, "XDG_RUNTIME_DIR": home, "FAKE_TOOL": way}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TESKER_READ_AHEAD"):
            if name in os.environ:
                environment[name] = os.environ[name]
        if term is not None:
            environment["TERM"] = term
        self.process = subprocess.Popen(
            [PROGRAMS / "tesker-apps", "list", "/tmp", "--tool", PROGRAMS / "tesker-fake-tool", "--timeout", TIMEOUT,
             *options],
            stdin=subprocess.DEVNULL, env=environment,
            stdout=subprocess.DEVNULL if error else theirs, stderr=theirs if error else subprocess.PIPE)
        os.close(theirs)
        self.output = b""

    def read(self):
        """A piece of what the terminal gets; nothing at its end."""
        try:
            piece = os.read(self.ours, 65536)
        except OSError:  # the terminal has no user any more
            piece = b""
        self.output += piece
        return piece

    def end(self):
        """All that the terminal got, and the exit status."""
        while self.read():
            pass
        os.close(self.ours)
        return self.output.replace(b"\r\n", b"\n"), self.process.wait()


def check(holds, what, output):
    if not holds:
        raise SystemExit(f"{what}: {output!r}")


def shows_where_a_search_is(search, columns):
    output, status = search.end()
    check(status == 5, "the exit status is not that of a time-out", output)
    before, *shown, last = output.split(ERASE)
    check(before == b"" and shown, "nothing is shown", output)
    for line in shown:
        check(line.startswith(COUNTS[:columns - 1]), "another text is shown", output)
        check(len(line) < columns, "a line is too long", output)
        check(b"\x1b" not in line and b"\n" not in line, "a name drives the terminal", output)
    if columns >= 90:
        check(shown[0] == COUNTS + rb"/tmp/\x1b[31mred\n/below", "the place is missing", output)
    check(last == b"tesker-apps: /tmp: timed out during the search, after 10 s, while searching "
          rb"/tmp/\x1b[31mred\n/below" + b"\n", "the error is not alone on its line", output)


def shows_nothing(search, what):
    output, _ = search.end()
    check(ERASE not in output and COUNTS not in output and b"\r" not in output, what, output)
    return output


def goes_away_on_an_interrupt(search):
    while COUNTS not in search.output:
        check(search.read() != b"", "nothing is shown", search.output)
    search.process.send_signal(signal.SIGINT)
    output, status = search.end()
    check(status == -signal.SIGINT, "the interrupt does not end the command", output)
    check(ERASE in output and COUNTS not in output[output.rfind(ERASE):], "the line stays", output)


def main():
    with tempfile.TemporaryDirectory() as home:
        # All at a time: each lasts until its time-out.
        wide, narrow = Search(home), Search(home, columns=40)
        quiet, dumb, unknown = Search(home, "-q"), Search(home, term="dumb"), Search(home, term=None)
        piped = Search(home, error=False)
        sizeless = Search(home, columns=0)
        interrupted = Search(home)
        fast = Search(home, way="empty-answer")
        goes_away_on_an_interrupt(interrupted)
        shows_nothing(fast, "a search that is over is shown")
        shows_where_a_search_is(wide, 100)
        shows_where_a_search_is(narrow, 40)
        for search, what in ((quiet, "-q shows it"), (dumb, "a dumb terminal shows it"),
                             (unknown, "an unknown terminal shows it"),
                             (sizeless, "a terminal of unknown width shows it")):
            check(b"timed out" in shows_nothing(search, what), "the error is missing", search.output)
        errors = piped.process.stderr.read()
        check(shows_nothing(piped, "standard output shows it") == b"", "standard output has something", piped.output)
        check(errors.startswith(b"tesker-apps: /tmp: timed out") and errors.count(b"\n") == 1, "a pipe gets it", errors)


main()
