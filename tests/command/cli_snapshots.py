#!/usr/bin/env python3
"""Runs tesker-apps with the real tool and with tools that misbehave, and compares all that it
prints with the transcripts in snapshots/.

  cli_snapshots.py --programs DIR [--update] [NAME...]

DIR holds tesker-apps, ToolFinder, tesker-fake-tool and tesker-make-sample. --update writes new
transcripts; look at the difference before it is committed. Each transcript has a temporary
directory of its own, which appears as @TMP@, and leaves its runtime directory empty.
"""

import argparse
import difflib
import fcntl
import os
import pathlib
import pty
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time

HERE = pathlib.Path(__file__).resolve().parent
SNAPSHOTS = HERE / "snapshots"
HANGS = 600  # seconds: no program needs so long, on whatever machine


class Session:
    """One transcript: a directory, an environment and the commands run in it."""

    def __init__(self, programs, directory):
        self.programs = programs
        self.tmp = directory
        self.lines = []
        (self.tmp / "run").mkdir(mode=0o700)
        (self.tmp / "home").mkdir()
        self.environment = {
            "PATH": "/usr/bin:/bin",
            "HOME": str(self.tmp / "home"),
            "XDG_RUNTIME_DIR": str(self.tmp / "run"),
            "XDG_CONFIG_DIRS": str(self.tmp / "no-config"),
        }
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TESKER_READ_AHEAD"):
            if name in os.environ:
                self.environment[name] = os.environ[name]

    # ---- what the commands work on ----

    def write(self, name, data="", mode=0o644):
        path = self.tmp / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data if isinstance(data, bytes) else data.encode())
        path.chmod(mode)
        return path

    def wrapper(self, name, description):
        """An application that is described by a property list only: one way to read it."""
        self.write(f"{name}/Resources/Info-quorvale.plist", description)

    def sample(self, name="sample"):
        subprocess.run([self.programs / "tesker-make-sample", self.tmp / name], check=True,
                       stdout=subprocess.DEVNULL)

    def program(self, name):
        """An application's program that tells in the file `told` what it has been given."""
        return self.write(name, '#!/bin/sh\nprintf "%s\\n" "$0" "$@" >told.part\nmv told.part told\n', 0o755)

    def show_tree(self, name):
        paths = sorted((self.tmp / name).rglob("*"))
        self.record(name, "".join(f"{path.stat().st_mode & 0o777:o} {path.relative_to(self.tmp)}\n" for path in paths))

    # ---- the transcript ----

    def shown(self, data):
        tmp = os.fsencode(self.tmp)
        data = data.replace(tmp, b"@TMP@").replace(tmp.hex().encode(), b"@TMP in hex@")
        # How far the tool can be confined is for the kernel to say.
        data = re.sub(rb'(Tool: confinement: |"confinement":")[^"\n]*', rb"\1@LEVELS@", data)
        data = re.sub(rb'("process":)\d+', rb"\1@PROCESS@", data)
        text = data.decode("utf-8", "backslashreplace")
        return "".join(c if c == "\n" or c.isprintable() else f"\\x{ord(c):02x}" for c in text)

    def record(self, title, text):
        if text:
            ending = "" if text.endswith("\n") else "\n[no line feed]\n"
            self.lines.append(f"--- {title}\n{text}{ending}")

    def note(self, text):
        self.lines.append(f"# {text}\n")

    def command(self, arguments, program="tesker-apps"):
        return [self.programs / program, *arguments]

    def begin(self, arguments, program="tesker-apps", **settings):
        words = " ".join([f"{k}={v}" for k, v in settings.items()] + [program] +
                         [self.shown(os.fsencode(a)) or "''" for a in arguments])
        self.lines.append(f"$ {words}\n")

    def end(self, code):
        self.lines.append(f"--- signal {-code}\n\n" if code < 0 else f"--- exit {code}\n\n")

    def run(self, *arguments, program="tesker-apps", stdin=b"", cwd=None, quiet_stdout=False,
            **settings):
        arguments = [a.replace("@TMP@", str(self.tmp)) for a in arguments]
        self.begin(arguments, program, **settings)
        done = subprocess.run(self.command(arguments, program), input=stdin, cwd=cwd or self.tmp,
                              env=self.environment | settings, capture_output=True, timeout=HANGS,
                              check=False)
        if not quiet_stdout:
            self.record("stdout", self.shown(done.stdout))
        self.record("stderr", self.shown(done.stderr))
        self.end(done.returncode)
        return done.stdout

    def await_told(self):
        """What a program that was opened has told."""
        told = self.tmp / "told"
        while not told.exists():
            time.sleep(0.01)
        self.record("the program was given", self.shown(told.read_bytes()))
        self.lines.append("\n")
        told.unlink()

    def fake(self, way, *arguments):
        """A search with the tool that misbehaves so."""
        self.run("list", "--tool", str(self.programs / "tesker-fake-tool"), "@TMP@", *arguments,
                 FAKE_TOOL=way)

    def run_into(self, descriptor, *arguments, ignored=None):
        """With standard output in the descriptor, or closed where that is negative. A signal may be
        ignored, as nohup and some shells have it."""
        def prepare():
            if descriptor < 0:
                os.close(1)
            if ignored is not None:
                signal.signal(ignored, signal.SIG_IGN)

        arguments = [a.replace("@TMP@", str(self.tmp)) for a in arguments]
        self.begin(arguments)
        done = subprocess.run(self.command(arguments), stdin=subprocess.DEVNULL, cwd=self.tmp,
                              stdout=None if descriptor < 0 else descriptor,
                              stderr=subprocess.PIPE, env=self.environment, timeout=HANGS,
                              preexec_fn=prepare, check=False)
        self.record("stderr", self.shown(done.stderr))
        self.end(done.returncode)

    def run_in_terminal(self, columns, *arguments, **settings):
        """In a terminal with so many columns; with 0 it does not say how many."""
        arguments = [a.replace("@TMP@", str(self.tmp)) for a in arguments]
        self.begin(arguments, **settings)
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        with subprocess.Popen(self.command(arguments), stdin=subprocess.DEVNULL, stdout=theirs,
                              stderr=subprocess.DEVNULL, cwd=self.tmp,
                              env=self.environment | settings) as process:
            os.close(theirs)
            output = b""
            while True:
                try:
                    piece = os.read(ours, 65536)
                except OSError:  # the terminal has no user any more
                    break
                output += piece
        os.close(ours)
        self.record(f"terminal of {columns} columns", self.shown(output.replace(b"\r\n", b"\n")))
        self.end(process.returncode)

    def run_and_interrupt(self, number, closed=None):
        """Interrupts a search that would never end, once it has begun. A descriptor that the
        command is started without is looked at before."""
        arguments = ["list", str(self.tmp), "--tool", str(self.programs / "tesker-fake-tool")]
        self.begin([], FAKE_TOOL="never-connect")
        with subprocess.Popen(self.command(arguments), stderr=subprocess.PIPE, cwd=self.tmp,
                              env=self.environment | {"FAKE_TOOL": "never-connect"},
                              stdout=subprocess.DEVNULL,
                              preexec_fn=None if closed is None else lambda: os.close(closed),
                              ) as process:
            children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children")
            while not children.read_text().strip():
                time.sleep(0.01)
            child = int(children.read_text().split()[0])
            if closed is not None:
                self.note(f"descriptor {closed} is {self.describe(process.pid, closed)}")
            process.send_signal(number)
            errors = process.communicate(timeout=HANGS)[1]
        self.record("stderr", self.shown(errors))
        self.end(process.returncode)
        if pathlib.Path(f"/proc/{child}").exists():
            self.note("the tool was left running")

    def interrupt_reading(self, name, number):
        """Interrupts the reading of the last answer from a FIFO that nobody writes."""
        arguments = ["list", str(self.tmp), "--previous", name]
        self.begin([self.shown(os.fsencode(a)) for a in arguments])
        with subprocess.Popen(self.command(arguments), stderr=subprocess.PIPE, cwd=self.tmp,
                              env=self.environment, stdout=subprocess.DEVNULL) as process:
            while True:
                try:
                    writing = os.open(self.tmp / name, os.O_WRONLY | os.O_NONBLOCK)
                    break
                except OSError:  # nobody reads yet
                    time.sleep(0.01)
            process.send_signal(number)
            errors = process.communicate(timeout=HANGS)[1]
            os.close(writing)
        self.record("stderr", self.shown(errors))
        self.end(process.returncode)

    @staticmethod
    def describe(process, descriptor):
        where = pathlib.Path(f"/proc/{process}")
        info = dict(line.split(":", 1)
                    for line in (where / f"fdinfo/{descriptor}").read_text().splitlines())
        mode = int(info["flags"], 8) & os.O_ACCMODE
        return f"{(where / f'fd/{descriptor}').readlink()}, " + (
            "only to be read" if mode == os.O_RDONLY else "to be written, too")

    def transcript(self):
        left = sorted(p.name for p in (self.tmp / "run").iterdir())
        if left:
            self.note(f"left in the runtime directory: {left}")
        return "".join(self.lines)


EDIT = """{
  NSExecutable = Edit; NSIcon = edit; NSServices = ({});
  NSTypes = ({NSExtensions = (txt, rtf); NSIcon = page; });
}
"""
DRAW = "{ NSExecutable = Draw; NSExtensions = { draw = {}; eps = {}; }; }\n"


def usage(s):
    s.run()
    s.run("--version")
    s.run("find")
    s.run("-v", "--colour", "find")
    s.run("list", "--colour")
    s.run("list", "--format", "xml")
    s.run("list", "--timeout", "0")
    s.run("list", "--cpu", "abacus")
    s.run("list", "-v", "-q")
    s.run("dock")
    s.run("dock", "/a", "--paths0-from", "-")
    s.run("decode")
    s.note("what takes one PATH")
    s.run("list", "--format", "raw", "/a", "/b")
    s.run("list", "--save", "s", "/a", "/b")
    s.run("list", "--previous", "p", "/a", "/b")


def mistyped(s):
    s.run("lits", "Apps")
    s.run("Types")
    s.run("-q", "w\x1bhy")
    s.run("list", "--formt", "json")
    s.run("list", "--previuos=answer")
    s.run("types", "--form", "answer")
    s.run("show", "--verbsoe", "Edit")
    s.run("show", "-x", "Edit")
    s.run("--format", "json", "list")
    s.run("check", "-f", "jsno", "file")
    s.run("decode", "a", "b")
    s.run("help", "lits")
    s.run("help", "list", "dock")
    s.note("of the file operations")
    for arguments in ([], ["untra", "a", "b"], ["shred", "a"], ["tar", "a"], ["tar", "a", "b", "c"],
                      ["tar", "--force", "a", "b"], ["--program", "gzip=/bin/gzip", "destroy", "a"]):
        s.run(*arguments, program="tesker-fileop")


def help_texts(s):
    """What each command of both programs says of itself, in 80 columns."""
    for program in ("tesker-apps", "tesker-fileop"):
        help_text = s.run("--help", program=program).decode()
        commands = re.findall(r"^  ([a-z]+)", help_text.split("Subcommands:\n")[1].split("\n\n")[0], re.M)
        texts = [help_text] + [s.run(c, "--help", program=program).decode() for c in commands]
        for line in "".join(texts).splitlines():
            if len(line) > 80:
                s.note(f"wider than 80 columns: {line}")
        if program == "tesker-apps":
            again = [s.run("help", *c, quiet_stdout=True).decode() for c in [[]] + [[c] for c in commands]]
            if again != texts:
                s.note("help COMMAND differs from COMMAND --help")


def formats(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.run("list", "Apps")
    s.run("list", "Apps", "--format", "json")
    s.run("list", "Apps", "--format", "jsonl")
    raw = s.run("list", "Apps", "--format", "raw")
    if s.run("list", "Apps", "--format", "raw", quiet_stdout=True) != raw:
        s.note("the second raw answer differs from the first")
    s.note("an empty result")
    s.write("none/plain", "")
    for form in ("table", "json", "jsonl", "raw"):
        s.run("list", "none", "--format", form)
    s.note("several requests")
    s.wrapper("Other/Draw.app", DRAW)
    s.run("list", "Apps", "Other", "none")
    s.run("list", "Apps", "Other", "none", "--format", "json")
    s.run("list", "Apps", "Other", "none", "--format", "jsonl")
    s.note("in a terminal")
    names = [f"ext{i}" for i in range(10, 20)]
    pool = ["path", "/Apps/Edit", "type", "extension", "name", *names]
    indexes = "".join(f",3,0,1,2,3,4,{5 + i:x}" for i in range(len(names)))
    s.write("many", "\0".join([*pool, f"({len(names):x}{indexes})"]))
    s.run_in_terminal(60, "decode", "many")
    s.run_in_terminal(200, "decode", "many")


def sample(s):
    s.sample()
    s.run("list", "sample")
    s.run("list", "sample", "--cpu", "m68k", "-q")
    s.run("list", "sample", "--cpu", "7/3", "-q")
    s.run("dock", "sample/Applications/Edit.app", "sample/Tools/define", "-q")


def previous(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.run("list", "Apps", "--save", "answer", quiet_stdout=True)
    s.run("list", "Apps", "--format", "raw", "--save", "raw-answer", quiet_stdout=True)
    s.run("list", "Apps", "--previous", "answer")
    s.run("list", "Apps", "--previous", "answer", "--format", "json")
    s.run("list", "Apps", "--previous", "answer", "--format", "jsonl")
    s.run("list", "Apps", "--previous", "answer", "--format", "raw")
    s.run("list", "Apps", "--previous", "answer", "--format", "raw", "-q")
    s.note("an unchanged answer is saved too")
    s.run("list", "Apps", "--previous", "answer", "--save", "again")
    answer = (s.tmp / "answer").read_bytes()
    if not (tmp_bytes(s, "raw-answer") == tmp_bytes(s, "again") == answer):
        s.note("the saved answers differ")
    s.note("a changed tree")
    s.wrapper("Apps/Edit.app", EDIT.replace("rtf", "html"))
    s.run("list", "Apps", "--previous", "answer", "--save", "answer")
    s.run("list", "Apps", "--previous", "answer")
    s.note("of the dock")
    s.run("dock", "Apps/Edit.app", "--save", "dock", quiet_stdout=True)
    s.run("dock", "Apps/Edit.app", "--previous", "dock")
    s.note("files that are not there, or are no files")
    s.run("list", "Apps", "--previous", "missing")
    s.run("list", "Apps", "--save", "missing/answer")
    s.run("list", "Apps", "--save", "/dev/null")


def previous_of_a_fifo(s):
    s.wrapper("Apps/Edit.app", EDIT)
    os.mkfifo(s.tmp / "fifo")
    s.run("list", "Apps", "--previous", "fifo", "--timeout", "0.2")
    s.interrupt_reading("fifo", signal.SIGINT)
    s.interrupt_reading("fifo", signal.SIGTERM)


def many_programs(s, name):
    """An answer with all that a table has to find room for."""
    wide = "\u65e5\u672c\u8a9e"
    saved(s, name, app("/home/ann/Library/Applications/Edit.app/Edit"),
          *(claim("/home/ann/Library/Applications/Edit.app/Edit", f"ext{i}") for i in range(10)),
          {"path": "/home/ann/Library/Applications/Edit.app/Edit", "type": "services"},
          app("/usr/local/Applications/Museum.app/Museum", suitable="no"),
          app(f"/opt/{wide}/{wide * 4}.app/{wide}"),
          app("/opt/e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301/e\u0301e\u0301e\u0301/Cafe\u0301"),
          app("/evil/\x1b[31m\n/\u202e/some/more/directories/x"),
          {"path": "/opt/Long", "type": "bundle", "name": "A name of many words that says a lot"})


def tables(s):
    many_programs(s, "answer")
    s.run("decode", "answer")
    for columns in (80, 60, 40, 10, 1):
        s.run_in_terminal(columns, "decode", "answer", "--color", "never")
    s.note("a terminal that does not say how wide it is")
    s.run_in_terminal(0, "decode", "answer", "--color", "never", COLUMNS="60")
    s.run("decode", "answer", COLUMNS="60")
    s.note("other tables")
    for question in (["handlers", "ext1"], ["types"], ["services"], ["show", "Edit"]):
        s.run_in_terminal(40, *question, "--from", "answer", "--color", "never")
    saved(s, "later", app("/home/ann/Library/Applications/Edit.app/Edit", icon="another-picture"))
    s.run_in_terminal(60, "diff", "answer", "later", "--color", "never")


def sorted_tables(s):
    many_programs(s, "answer")
    for key in ("name", "type", "extensions", "note", "path"):
        s.run("decode", "answer", "--no-header", "--sort", key)
    s.run("types", "--from", "answer", "--sort", "applications")
    s.run("handlers", "ext1", "--from", "answer", "--sort", "path")
    s.run("services", "--from", "answer", "--no-header")
    s.run("show", "Edit", "--from", "answer", "--sort", "name", "--no-header")
    s.run("handlers", "none", "--from", "answer", "--no-header")
    s.wrapper("Apps/Edit.app", EDIT)
    s.wrapper("Other/Draw.app", DRAW)
    s.run("list", "Apps", "Other", "none", "--no-header")
    s.run("prefer", "--no-header")
    s.note("mistakes")
    s.run("decode", "answer", "--sort", "size")
    s.run("handlers", "txt", "--from", "answer", "--sort", "extension")
    s.run("decode", "answer", "--sort", "name", "--format", "json")
    s.run("dock", "Apps/Edit.app", "--no-header", "--format", "raw")


def colours(s):
    many_programs(s, "answer")
    s.write("header", "F\tEdit\tEdit\nS\ttxt\tEdit\ttext\n{ type = app }\nF Edit Edit edit\n")
    s.run("decode", "answer", "--color", "always", "--no-header")
    s.run("decode", "answer", "--color", "auto", "--no-header")
    s.run("check", "header", "--color", "always")
    s.run("--color", "always", "check", "header", NO_COLOR="1")
    s.note("in a terminal")
    s.run_in_terminal(80, "handlers", "ext1", "--from", "answer")
    s.run_in_terminal(80, "handlers", "ext1", "--from", "answer", "--color", "never")
    s.run_in_terminal(80, "handlers", "ext1", "--from", "answer", NO_COLOR="1")
    s.run_in_terminal(80, "handlers", "ext1", "--from", "answer", NO_COLOR="")
    s.run_in_terminal(80, "handlers", "ext1", "--from", "answer", TERM="dumb")
    s.run_in_terminal(80, "check", "header")
    s.note("never for programs")
    s.run_in_terminal(80, "check", "header", "--format", "json", "--color", "always")
    s.run("decode", "answer", "--format", "jsonl", "--color", "always")
    s.run("decode", "answer", "--color", "sometimes")


def same_files(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.wrapper("Apps/Copy/Edit.app", EDIT)
    (s.tmp / "Apps/Links").mkdir()
    (s.tmp / "Apps/Links/Edit.app").symlink_to("../Edit.app")
    (s.tmp / "Apps/Links/Other.app").symlink_to("../Edit.app")
    (s.tmp / "Apps/Links/all").symlink_to("../Copy")
    s.run("list", "Apps")
    s.run("list", "Apps", "--sort", "path", "--no-header")
    s.run_in_terminal(400, "list", "Apps", "--color", "never")
    s.run_in_terminal(400, "services", "--in", "Apps", "--color", "never")
    s.run_in_terminal(400, "handlers", "txt", "--in", "Apps", "--color", "never")
    s.run("handlers", "txt", "--in", "Apps")
    s.run("services", "--in", "Apps")
    s.note("programs see what there is")
    s.run("services", "--in", "Apps", "--format", "json")
    s.note("nor is anything looked at that may lie elsewhere")
    s.run("list", "Apps", "--save", "answer", quiet_stdout=True)
    s.run("decode", "answer")
    s.run("services", "--from", "answer")


def problems(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.write("Apps/Bad.app/Resources/Info-quorvale.plist", "{ broken")
    s.write("none/plain")
    for form in ("json", "jsonl"):
        s.run("list", "Apps", "missing", "none", "--format", form, "-q")
    evil = os.fsdecode(b"evil\xff\x1b")
    s.run("dock", "Apps/Edit.app", "Apps/Bad.app", evil, "--format", "json", "-q")
    s.run("list", evil, "--format", "jsonl", "-q")
    s.note("searches without an answer")
    for form in ("json", "jsonl"):
        s.run("list", "Apps", "--tool", "missing/tool", "--format", form)
        s.run("types", "--in", "Apps", "--tool", "missing/tool", "--format", form)
    s.note("questions")
    for form in ("json", "jsonl"):
        s.run("types", "--in", "missing", "--in", "Apps", "--format", form, "-q")
    s.run("show", "Nothing", "--in", "Apps", "--format", "json", "-q")
    s.run("handlers", "none", "--in", "Apps", "--format", "json", "-q")
    s.run("handlers", "./plain", "--in", "Apps", "--format", "json", "-q")
    s.write("a.doc")
    s.run("open", "missing.txt", "none", "a.doc", "--in", "Apps", "--format", "json", "-q")
    s.run("prefer", "txt", "Nobody", "--in", "Apps", "--format", "json", "-q")
    s.run("diff", "missing", "--in", "Apps", "--format", "json")
    s.run("check", "missing", "Apps/Bad.app", "--format", "jsonl")
    s.run("why", "missing/above", "--in", "missing", "--format", "json")
    s.note("decoding, and back")
    s.run("decode", "missing", "--format", "json")
    s.run("decode", "-", "--format", "jsonl", stdin=b"(1")
    s.run("list", "Apps", "-q", "--save", "answer", quiet_stdout=True)
    document = s.run("list", "Apps", "-q", "--format", "json", quiet_stdout=True)
    if s.run("encode", "-", stdin=document, quiet_stdout=True) == tmp_bytes(s, "answer"):
        s.note("encoding gives the answer again, whatever went wrong")
    s.note("usage errors are no answer")
    s.run("list", "Apps", "none", "--save", "answer", "--format", "json")


def tmp_bytes(s, name):
    return (s.tmp / name).read_bytes()


def paths(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.run("list", ".", cwd=s.tmp / "Apps")
    s.run("list", "..", cwd=s.tmp / "Apps/Edit.app")
    s.run("list", "Apps/../Apps/.")
    s.run("list", "@TMP@//Apps/./Edit.app/")
    (s.tmp / "link").symlink_to("Apps/Edit.app")
    s.note("the parent of what a link leads to")
    s.run("list", "link/..")
    s.note("names that look special")
    s.wrapper("[a,b]/Edit.app", EDIT)
    s.wrapper("-x/Edit.app", EDIT)
    s.run("list", "[a,b]")
    s.run("list", "Apps", "--", "-x")
    s.note("names that are no text")
    evil = os.fsdecode(b"evil/\xff\x1b[2J\n.app")
    s.wrapper(evil, EDIT)
    s.run("list", "evil")
    s.run("list", "evil", "--format", "json")
    s.run("list", evil, "--format", "jsonl")


def unsearchable(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.run("list", "Apps", "missing", "@TMP@/Apps/../Apps", "")
    s.run("list", "missing/../Apps")
    s.run("list", "/")
    s.write("plain", "")
    s.run("list", "plain")
    (s.tmp / "shut").mkdir()
    (s.tmp / "shut").chmod(0o600)
    s.run("list", "shut", "--format", "json")
    s.run("list", "missing", "--format", "raw")
    s.run("dock", "Apps/Edit.app", "missing")


def dock_lists(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.wrapper("Other/Draw.app", DRAW)
    a, b = os.fsencode(s.tmp / "Apps/Edit.app"), os.fsencode(s.tmp / "Other/Draw.app")
    s.run("dock", "Apps/Edit.app", "Other/Draw.app")
    s.run("dock", "--paths0-from", "-", stdin=a + b"\0" + b)
    s.note("as find -print0 writes them: a NUL behind each")
    s.run("dock", "--paths0-from", "-", "-v", stdin=a + b"\0" + b + b"\0")
    s.note("sent as they are")
    s.write("list", b"Apps/Edit.app\0" + a + b"\0\0" + b)
    s.run("dock", "--paths0-from", "list")
    s.run("dock", "--paths0-from", "-", stdin=a + b"\0\0")
    s.run("dock", "--paths0-from", "-", stdin=b"\0")
    s.run("dock", "Apps/Edit.app", "")
    s.note("nothing was found")
    s.run("dock", "--paths0-from", "-", stdin=b"")
    s.run("dock", "--paths0-from", "missing")
    s.note("more than a message can hold")
    deep = s.tmp.joinpath(*["d" * 250] * 3)
    deep.mkdir(parents=True)
    s.write("huge", b"\0".join([bytes(deep)] * (70_000_000 // len(bytes(deep)))))
    s.run("dock", "--paths0-from", "huge")


def defaults(s):
    home = "home/Applications"
    s.wrapper(f"{home}/Edit.app", EDIT)
    s.note("/Applications and /usr/local/Applications are the machine's own affair")
    if not any(os.path.exists(p) for p in ("/Applications", "/usr/local/Applications")):
        s.run("list")
        (s.tmp / "home").rename(s.tmp / "elsewhere")
        s.run("list")
        (s.tmp / "elsewhere").rename(s.tmp / "home")
    s.wrapper("Other/Draw.app", DRAW)
    setting = "home/.config/tesker/defaults/Tesker.plist"
    s.write(setting, '{ ApplicationPaths = ("~/Applications", "%s"); }' % (s.tmp / "Other"))
    s.run("list")
    s.write(setting, '{ ApplicationPaths = "~/Applications"; }')
    s.run("list", "--format", "raw")
    s.write(setting, "{ ApplicationPaths = (); }")
    s.run("list")


def broken_settings(s):
    s.wrapper("home/Applications/Edit.app", EDIT)
    s.wrapper("Other/Draw.app", DRAW)
    s.write("a.txt")
    own, site = (f"{where}/tesker/defaults/Tesker.plist" for where in ("home/.config", "no-config"))
    s.write(own, '{\n  ApplicationPaths = ("~/Applications" Other);\n}\n')
    s.run("list")
    s.run("list", "-q")
    s.run("types", "-f", "jsonl")
    s.run("open", "--print", "a.txt")
    s.run("why", "home/Applications/Edit.app")
    s.note("where it does not matter")
    s.run("list", "home/Applications")
    s.run("types", "--in", "home/Applications")
    s.run("why", "home/Applications/Edit.app", "--in", "home/Applications")
    s.note("values of another kind")
    s.write(own, '{\n  ApplicationPaths = { a = b; };\n}\n')
    s.run("list")
    s.write(own, '{\n  ApplicationPaths = ("~/Applications", (a),\n    <00>);\n}\n')
    s.run("list")
    s.note("no file of settings")
    s.write(own, "(a, b)\n")
    s.run("services")
    s.write(own, " " * ((16 << 20) + 1))
    s.run("services")
    (s.tmp / own).unlink()
    (s.tmp / own).mkdir()
    s.run("services")
    (s.tmp / own).rmdir()
    (s.tmp / own).symlink_to("Tesker.plist")
    s.run("services")
    (s.tmp / own).unlink()
    s.note("those of the site, whose file counts where the user's does not have the setting")
    s.write(site, "{ ApplicationPaths = /Other }")
    s.run("services")
    s.write(own, "{ Other = setting; }")
    s.run("services")
    s.write(own, '{ ApplicationPaths = "~/Applications"; }')
    s.run("services")
    s.note("and nowhere else to search")
    s.write(own, "{ ApplicationPaths = ")
    (s.tmp / "home/Applications").rename(s.tmp / "moved")
    if not any(os.path.exists(p) for p in ("/Applications", "/usr/local/Applications")):
        s.run("list")
    s.note("preferences")
    saved(s, "answer", claim("/Apps/Edit", "txt"), claim("/Apps/View", "txt"))
    own, site = (name.replace("Tesker.", "TeskerPreferredApplications.") for name in (own, site))
    s.write(own, "{ txt = View;\n  rtf = (Edit);\n  doc = {}; }")
    s.write(site, "{ txt = Edit; txt = }")
    s.run("handlers", "txt", "--from", "answer")
    s.run("open", "--print", "a.txt", "--from", "answer")
    s.run("prefer", "rtf")
    s.run("prefer", "txt", "Edit", "--from", "answer")
    s.run("prefer", "--forget", "txt")
    s.write(own, "(txt)")
    s.run("prefer", "txt", "Edit", "--from", "answer")
    s.run("list", "Other", quiet_stdout=True)


def closed_pipe(s):
    """Nobody reads what is printed: the end is that of other programs, without a word."""
    s.wrapper("Apps/Edit.app", EDIT)
    s.write("a.txt")
    s.write("lines", "no command\n" * 5000)
    s.run("list", "Apps", "--save", "answer", quiet_stdout=True)
    place, answer = ("--in", "Apps"), ("--from", "answer")
    reading, writing = os.pipe()
    os.close(reading)
    for arguments in (["--help"], ["--version"], ["help", "list"], ["list", "Apps", "--save", "again"],
                      ["list", "Apps", "home", "-f", "json"], ["dock", "Apps/Edit.app", "-f", "raw"],
                      ["handlers", "txt", *answer], ["types", *place], ["services", *answer, "-f", "jsonl"],
                      ["show", "Edit", *place], ["open", "--print", "a.txt", *answer], ["prefer"],
                      ["why", "Apps/Edit.app", *place], ["why", "Apps", "--all", "-f", "jsonl"],
                      ["check", "answer"], ["check", "--kind", "header", "lines"],
                      ["diff", "answer", *place], ["decode", "answer"]):
        s.run_into(writing, *arguments)
    if tmp_bytes(s, "again") != tmp_bytes(s, "answer"):
        s.note("the answer was not saved")
    s.note("where the signal is ignored")
    s.run_into(writing, "list", "Apps", ignored=signal.SIGPIPE)
    os.close(writing)


def mistakes(s):
    """Each as a person meets it: what list says, what why says, and that its advice helps."""
    s.sample()
    sample, apps = s.tmp / "sample", s.tmp / "Apps"

    def try_again(advice):
        s.note(f"so: {advice}")
        s.run("list", "Apps")
        shutil.rmtree(apps)

    s.note("1. a wrong suffix")
    shutil.copytree(sample / "Applications/Edit.app", apps / "Edit.apps")
    s.run("list", "Apps")
    s.run("why", "Apps")
    (apps / "Edit.apps").rename(apps / "Edit.app")
    try_again("mv Apps/Edit.apps Apps/Edit.app")

    s.note("2. a file without permission")
    apps.mkdir()
    shutil.copyfile(sample / "Tools/define", apps / "define")
    s.write("Apps/notes", "not a program")
    s.run("list", "Apps")
    s.run("why", "Apps")
    (apps / "define").chmod(0o755)
    try_again("chmod +x Apps/define")

    s.note("3. the wrong processor")
    shutil.copytree(sample / "Applications/Museum.app", apps / "Museum.app")
    s.run("list", "Apps")
    s.run("why", "Apps")
    shutil.copy(sample / "Applications/Paint.app/Paint", apps / "Museum.app/Museum")
    try_again("another Apps/Museum.app/Museum")

    s.note("4. a property list with a slip")
    s.wrapper("Apps/Draw.app", "{\n  NSExecutable = Draw\n  NSIcon = draw;\n}\n")
    s.run("list", "Apps")
    s.run("why", "Apps")
    s.wrapper("Apps/Draw.app", "{\n  NSExecutable = Draw;\n  NSIcon = draw;\n}\n")
    try_again("a semicolon at the end of line 2")

    s.note("5. no description")
    shutil.copytree(sample / "Applications/Mail.app", apps / "Mail.app")
    (apps / "Mail.app/registry.table").unlink()
    s.run("list", "Apps")
    s.run("why", "Apps")
    s.wrapper("Apps/Mail.app", "{ NSExecutable = Mail; }\n")
    try_again("a description in Apps/Mail.app/Resources/Info-quorvale.plist")


def logs(s):
    s.write("Apps/Bad.app/Resources/Info-quorvale.plist", "{ broken")
    s.wrapper("Apps/Edit.app", EDIT)
    s.run("list", "Apps")
    s.run("list", "Apps", "-q")
    s.run("-v", "list", "Apps")
    s.note("a name that would be a line of its own")
    s.write("evil/Bad\nTool: forged\x1b[2J.app/Resources/Info-quorvale.plist", "{ broken")
    s.run("-v", "list", "evil")


def codec(s):
    hostile = b"type|app|path|/a\xff\x1b|name|\xc3\xa4\"\\|b\xfe|(2,3,0,1,2,3,4,5,2,6,1,2,6)"
    hostile = hostile.replace(b"|", b"\0")
    s.write("text", hostile)
    s.run("decode", "text")
    s.run("decode", "text", "--format", "jsonl")
    document = s.run("decode", "-", "--format", "json", stdin=hostile)
    if s.run("encode", "-", stdin=document, quiet_stdout=True) == hostile:
        s.note("encoding gives the same text again")
    s.note("lists without records")
    s.run("decode", "-", stdin=b"")
    s.run("decode", "-", stdin=b"(0)", )
    s.run("encode", "-", stdin=b'{"schema":1,"results":[{"records":[]}]}')
    s.note("malformed")
    s.run("decode", "-", stdin=b"(1")
    s.run("decode", "-", stdin=b"a\0(1,1,0,1)")
    s.run("encode", "-", stdin=b"{")
    s.run("encode", "-", stdin=b'{"schema":2,"results":[]}')
    s.run("encode", "-", stdin=b'{"schema":1,"results":[{"records":[{"pairs":{"a":"\\u0000"}}]}]}')
    s.run("decode", "missing")
    s.run("encode", "@TMP@")


def output_errors(s):
    s.wrapper("Apps/Edit.app", EDIT)
    full = os.open("/dev/full", os.O_WRONLY)
    for arguments in (["list", "Apps"], ["list", "Apps", "--format", "raw"], ["--help"],
                      ["decode", "/dev/null"]):
        s.run_into(full, *arguments)
    os.close(full)
    s.note("nobody reads")
    reading, writing = os.pipe()
    os.close(reading)
    s.run_into(writing, "list", "Apps", "--format", "json")
    os.close(writing)
    s.note("no standard output")
    s.run_into(-1, "list", "Apps")


def failing_tools(s):
    s.run("list", "@TMP@", "--tool", "missing/tool")
    s.write("plain", "")
    s.run("list", "@TMP@", "@TMP@/home", "--tool", "plain")
    s.write("script", "#!/bin/sh\necho it went wrong >&2\nexit 3\n", 0o755)
    s.run("list", "@TMP@", "--tool", "./script")
    s.run("list", "@TMP@", "--tool", "./script", "-v")
    s.run("list", "@TMP@", "--tool", "./script", "-q", "--format", "json")
    for way in ("exit-0", "kill-itself", "connect-and-close", "send-31-bytes",
                "send-no-descriptor", "send-two-descriptors", "send-number-80", "garbage-bus",
                "no-answer", "crash-in-search", "garbage-answer", "wrong-key", "always-unchanged",
                "answer-twice", "exit-9-after-answer", "log-much"):
        s.fake(way)
    s.note("the next request is tried all the same")
    s.fake("exit-3", "@TMP@/home")


def incomplete_answers(s):
    for arguments in ([], ["-q"], ["-v"], ["--format", "json"], ["--format", "jsonl"], ["--format", "raw"]):
        s.fake("incomplete", *arguments)
    s.note("nor is one that has not changed")
    s.write("last", "(0)")
    s.fake("incomplete-and-unchanged", "--previous", "@TMP@/last")
    s.fake("incomplete-and-unchanged", "--previous", "@TMP@/last", "--format", "jsonl")


def hanging_tools(s):
    s.write("sleeper", "#!/bin/sh\nsleep 1000\n", 0o755)
    s.run("list", "@TMP@", "--tool", "./sleeper", "--timeout", "0.2")
    s.fake("never-connect", "--timeout", "0.2")
    for way in ("hang-after-hand-over", "hang-in-search", "hang-after-answer"):
        s.fake(way, "--timeout", "3")


def interrupted(s):
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        s.run_and_interrupt(number)


def closed_descriptors(s):
    s.note("nothing that is opened takes the place of a descriptor that is missing")
    for descriptor in (0, 1, 2):
        s.run_and_interrupt(signal.SIGTERM, closed=descriptor)


def saved(s, name, *records):
    """An answer of these records, each a dictionary."""
    s.write(name, encoded([list(record.items()) for record in records]))


def encoded(records):
    pool = list(dict.fromkeys(text for record in records for pair in record for text in pair))
    numbers = "".join(f",{len(record):x}" + "".join(f",{pool.index(text):x}" for pair in record for text in pair)
                      for record in records)
    return "\0".join([*pool, f"({len(records):x}{numbers})"])


def claim(program, extension, **more):
    return {"path": program, "type": "extension", "name": extension, **more}


def app(program, **more):
    return {"path": program, "type": "app", "name": program.rsplit("/", 1)[1], **more}


def questions(s):
    evil = "/Apps/\x1b[2J\nevil"
    saved(s, "answer", app("/Apps/View"), claim("/Apps/View", "txt"), app("/Apps/Old", suitable="no"),
          claim("/Apps/Old", "txt", priority="NSPrimary"), app("/Apps/Edit", icon="edit"),
          claim("/Apps/Edit", "txt", priority="NSPrimary", icon="page"), claim("/Apps/Edit", "rtf"),
          {"path": "/Apps/Edit", "type": "services"}, claim(evil, "C"), claim("/Apps/Lower", "c"))
    asked = ("--from", "answer")
    for form in ("table", "json", "jsonl"):
        s.run("handlers", "txt", *asked, "--format", form)
    s.run("handlers", "/any/where/letter.TXT", *asked)
    s.run("handlers", ".c", *asked)
    s.run("handlers", "C", *asked)
    s.note("what nothing opens")
    s.write("README")
    s.write("dir.txt/file")
    for subject in ("doc", "README", "./README", "missing", "./missing", "dir.txt", "run", "x.\x1b"):
        s.run("handlers", subject, *asked)
    s.run("handlers", "doc", *asked, "--format", "json")
    s.run("handlers", "./README", *asked, "--format", "json")
    s.note("types and services")
    s.run("types", *asked)
    s.run("types", *asked, "--format", "json")
    s.run("services", *asked)
    s.run("services", *asked, "--format", "jsonl")
    saved(s, "none")
    for command in ("types", "services"):
        s.run(command, "--from", "none")
        s.run(command, "--from", "none", "--format", "json")
    s.note("programs")
    s.run("show", "edit", *asked)
    s.run("show", "/Apps/Old", *asked)
    s.run("show", evil, *asked)
    s.run("show", "Edit", *asked, "--format", "json")
    s.run("show", "Nothing", *asked, "--format", "jsonl")
    s.run("show", "/Apps", *asked)


def questions_to_the_tool(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.wrapper("Other/Draw.app", DRAW)
    s.wrapper("Other2/Edit.app", EDIT)
    s.note("the order of the search paths")
    s.run("handlers", "txt", "--in", "Other2", "--in", "Apps", "--in", "Other")
    s.run("handlers", "txt", "--in", "Apps", "--in", "Other2")
    s.run("show", "Other/Draw.app", "--in", "Other")
    s.note("the usual places")
    s.write("home/.config/tesker/defaults/Tesker.plist", '{ ApplicationPaths = "%s"; }' % (s.tmp / "Apps"))
    s.run("types")
    s.note("what cannot be searched or read")
    s.run("types", "--in", "missing", "--in", "Other")
    s.run("types", "--in", "Other", "--tool", "missing")
    s.run("services", "--from", "missing")
    s.run("services", "--from", "-", stdin=b"(1")
    os.mkfifo(s.tmp / "fifo")
    s.run("services", "--from", "fifo", "--timeout", "0.2")
    s.run("handlers", "txt", "--tool", str(s.programs / "tesker-fake-tool"), "--format", "json", FAKE_TOOL="incomplete")


def opening(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.program("Apps/Edit.app/Edit")
    s.wrapper("Apps2/Draw.app", DRAW)
    s.write("a.txt")
    s.write("b c.TXT")
    s.write("-d.rtf")
    asked = ("--in", "Apps")
    s.run("open", "a.txt", "b c.TXT", *asked, "--", "-d.rtf")
    s.await_told()
    s.run("open", "a.txt", *asked, "--format", "json")
    s.await_told()
    s.note("with another one than the best")
    saved(s, "answer", claim("/nowhere/Best", "txt", priority="NSPrimary"), app(f"{s.tmp}/Apps/Edit.app/Edit"),
          app("/nowhere/Old", suitable="no"), claim("/nowhere/Old", "old"),
          {"path": "/nowhere/Code", "type": "bundle", "name": "Code"}, claim("relative", "rel"))
    s.write("README")
    s.run("open", "--with", "edit", "README", "dir", "--from", "answer")
    s.await_told()
    s.run("open", "--with", "Apps/Edit.app", "README", "home", "--from", "answer")
    s.await_told()
    s.run("open", "--with", "Nobody", "a.txt", "--from", "answer")
    s.run("open", "--with", "Code", "a.txt", "--from", "answer")
    s.note("nothing is started")
    s.run("open", "--print", "a.txt", "b c.TXT", *asked)
    s.run("open", "--print", "a.txt", *asked, "--format", "jsonl")
    s.write("it's\x1b[2J.txt")
    s.run("open", "--print", "it's\x1b[2J.txt", *asked)
    s.note("what does not open")
    s.write("a.doc")
    for name in ("missing.txt", "README", "home", "a.doc", ""):
        s.run("open", name, *asked)
    s.write("a.eps")
    s.run("open", "a.eps", "--in", "Apps2")
    s.write("Apps2/Draw.app/Draw", "not a program", 0o755)
    s.run("open", "a.eps", "--in", "Apps2", "--format", "json")
    s.write("a.old")
    s.write("a.rel")
    s.run("open", "a.old", "a.rel", "a.txt", "--from", "answer")
    s.note("the others are opened all the same")
    s.run("open", "README", "a.txt", "a.doc", *asked)
    s.await_told()


def preferring(s):
    saved(s, "answer", claim("/Apps/Edit.app/Edit", "txt", priority="NSPrimary"), claim("/Apps/View", "txt"),
          claim("/Apps/View", "TXT"), app("/Apps/Draw"))
    asked = ("--from", "answer")
    s.run("prefer")
    s.run("prefer", "txt")
    s.run("prefer", "txt", "view", *asked)
    s.run("handlers", "txt", *asked)
    s.run("types", *asked)
    s.run("prefer", ".TXT", "/Apps/View", *asked, "--format", "json")
    for form in ("table", "json", "jsonl"):
        s.run("prefer", "--format", form)
    s.run("prefer", "Txt")
    s.record("the settings", (s.tmp / "home/.config/tesker/defaults/TeskerPreferredApplications.plist").read_text())
    s.write("a.txt")
    s.run("open", "--print", "a.txt", *asked)
    s.run("prefer", "--forget", "txt")
    s.run("prefer", "--forget", "rtf")
    s.run("prefer", "--format", "jsonl")
    s.note("what cannot be preferred")
    s.run("prefer", "txt", "Draw", *asked)
    s.run("prefer", "txt", "Nobody", *asked)
    s.run("prefer", "doc", "Draw", *asked)
    s.run("prefer", "a/b", "Draw", *asked)
    s.run("prefer", ".")
    s.note("settings of the site, and broken ones")
    s.write("no-config/tesker/defaults/TeskerPreferredApplications.plist", "{ rtf = Write; }")
    s.run("prefer")
    s.run("prefer", "--forget", "rtf")
    s.write("home/.config/tesker/defaults/TeskerPreferredApplications.plist", "{ txt = View }")
    s.run("prefer")
    s.run("handlers", "txt", *asked)
    s.run("prefer", "txt", "View", *asked)


def reasons(s):
    s.write("Apps/NoBit.app/NoBit", "#!/bin/sh\n")
    s.write("Apps/Elf.app/Elf", b"\x7fELF", 0o755)
    s.wrapper("Apps/Edit.app", EDIT)
    s.write("Apps/Broken.app/Resources/Info-quorvale.plist", "{\n  NSExecutable Broken;\n}\n")
    s.write("Apps/Slip.app/Resources/Info-quorvale.plist", "{\n  NSExecutble = Slip;\n  NSExtensions = txt;\n}\n")
    s.write("Apps/Types.app/Resources/Info-quorvale.plist",
            "{ NSExecutable = Types;\n  NSTypes = ( { NSExtensions = (a); }, b ); }\n")
    s.write("Apps/Plain.app/Resources/Info.plist", "{ NSExecutable = Plain; }")
    s.wrapper("Apps/Hello.apps", EDIT)
    s.wrapper("Apps/.hidden/Edit.app", EDIT)
    s.write("Apps/program", b"\x7fELF", 0o755)
    s.write("Apps/evil\x1b\n", "", 0o755)
    place = ("--in", "Apps")
    for name in ("NoBit", "Elf", "Edit", "Broken", "Slip", "Types", "Plain"):
        s.run("why", f"Apps/{name}.app", *place)
    for name in ("Hello.apps", ".hidden/Edit.app", "program", "evil\x1b\n", "missing", "Edit.app/Resources"):
        s.run("why", f"Apps/{name}", *place)
    s.note("a directory")
    s.run("why", "Apps", *place)
    s.run("why", "Apps/", *place, "--format", "json")
    s.run("why", "Apps", *place, "--code", "near-suffix")
    s.run("why", "Apps", "--all", "--format", "jsonl")
    s.note("another processor, a path of its own, what a code means")
    s.run("why", "Apps/Edit.app", "--cpu", "m68k")
    s.run("why", "--explain", "not-executable")
    s.note("mistakes")
    s.run("why")
    s.run("why", "Apps", "--code", "nonsense")
    s.run("why", "missing", "-q")


def differences(s):
    saved(s, "old", app("/Apps/Edit"), claim("/Apps/Edit", "txt", icon="page"), claim("/Apps/Edit", "rtf"))
    saved(s, "new", claim("/Apps/Edit", "txt", icon="sheet\x1b", priority="NSPrimary"), app("/Apps/Edit"),
          app("/Apps/\nDraw"))
    s.run("diff", "old", "old")
    s.run("diff", "old", "old", "--exit-code", "--format", "json")
    s.run("diff", "old", "new")
    s.run("diff", "old", "new", "--exit-code", "--format", "json")
    s.run("diff", "old", "-", "--exit-code", "--format", "jsonl", stdin=tmp_bytes(s, "new"))
    s.note("with a search")
    s.wrapper("Apps/Edit.app", EDIT)
    s.run("list", "Apps", "--save", "answer", quiet_stdout=True)
    s.run("diff", "answer", "--in", "Apps", "--exit-code")
    s.wrapper("Apps/Edit.app", EDIT.replace("rtf", "html"))
    s.run("diff", "answer", "--in", "Apps")
    s.run("diff", "answer", "--in", "Apps", "--in", "missing", "--exit-code", "-q")
    s.note("what cannot be compared")
    s.run("diff", "missing", "new")
    s.run("diff", "old", "missing")
    s.run("diff", "-", "new", stdin=b"(1")
    s.run("diff", "old", "--in", "Apps", "--tool", "missing")


def checking(s):
    s.wrapper("Edit.app", """{
  NSExecutble = Edit;
  NSIcon = edit;
  NSTypes = (
    { NSExtensions = (.txt, RTF, txt, txt); NSIcon = (page); },
    html,
    { NSExtensions = (htm); }
  );
}
""")
    s.write("header", "F\tEdit\tEdit\nS\ttxt\tEdit\ttext\n{ type = app }\nF Edit Edit edit\n")
    s.write("Torn.app/Resources/Info-quorvale.plist", "{\n  NSExecutable = Torn\n}\n")
    s.write("Mail.app/registry.table", "{ NSDocumentTypes = { mbox = { }; }; }\n")
    s.write("Mail.app/Mail", "#!/bin/sh\n", 0o755)
    s.run("check", "Edit.app")
    s.run("check", "Edit.app/Resources/Info-quorvale.plist", "header", "Torn.app/")
    s.run("check", "header", "--format", "json")
    s.run("check", "header", "Torn.app", "--format", "jsonl")
    s.note("nothing to say, and warnings alone")
    s.run("check", "Mail.app", "--strict")
    (s.tmp / "Mail.app/Mail").unlink()
    s.run("check", "Mail.app")
    s.run("check", "Mail.app", "--strict")
    s.note("taken for something else")
    s.run("check", "--kind", "list", "header")
    s.note("what cannot be read")
    s.run("check", "missing", "Torn.app")
    s.run("check", "missing", "--format", "json")
    s.run("check")
    s.run("check", "--kind", "song", "header")


def making(s):
    s.program("edit.sh")
    s.write("text.png", "icon")
    s.write("icons/Edit.tiff", "icon")
    (s.tmp / "Apps").mkdir()
    make = ("make", "wrapper", "--name", "Edit", "--executable", "edit.sh")
    s.run(*make, "--icon", "icons/Edit.tiff", "--types", "txt,md:text.png", "--types", "log", "--services", "Apps/")
    s.show_tree("Apps")
    s.run("check", "Apps", "--strict")
    s.run("show", "Edit", "--in", "Apps")
    s.note("what is there stays")
    s.run(*make, "Apps")
    s.note("what check would complain of is not made")
    s.run(*make[:-3], "Edit2", *make[-2:], "--types", "txt,.md,TXT", "--types", "txt", "Apps")
    s.run("make", "wrapper", "--name", "Tesker Edit", "--executable", "edit.sh", "Apps")
    s.run("make", "header", "--name", "two\nlines", "--icon", "e")
    s.note("nor what cannot be")
    s.write("plain", "text")
    s.run("make", "wrapper", "--name", "Plain", "--executable", "plain", "Apps")
    s.run("make", "wrapper", "--name", "Device", "--executable", "/dev/null", "Apps")
    s.run("make", "wrapper", "--name", "Missing", "--executable", "missing", "Apps")
    s.run("make", "wrapper", "--name", "New", "--executable", "edit.sh", "missing")
    s.run("make", "wrapper", "--name", "New", "--executable", "edit.sh", "--icon", "missing.png", "Apps")
    s.run("make", "wrapper", "--name", "New", "--executable", "edit.sh", "--icon", "text.png", "--types", "a:icons/text.png", "Apps")
    s.run("make", "wrapper", "--name", "New", "--executable", "edit.sh", "--timeout", "0.000001", "Apps")
    s.show_tree("Apps")
    s.note("headers")
    header = ("make", "header", "--name", "Edit", "--icon", "icons/Edit.tiff")
    s.run(*header, "--types", "txt,md:text.tiff", "--types", "log")
    s.run(*header, "--services", "--executable", "an editor", "edit.header")
    s.run("check", "edit.header", "--strict")
    s.run(*header, "edit.header")
    s.run(*header, "--types", "tiff:picture", "other.header")
    s.run(*header, "--types", "txt,,md")
    s.run(*header, "--types", "txt:two\nlines")
    s.run(*header, "--types", "txt:icons/")
    s.note("wrong words")
    s.run("make")
    s.run("make", "song", "--name", "Edit")
    s.run("make", "wrapper", "--name", "Edit", "Apps")
    s.run("make", "wrapper", "--name", "Edit", "--executable", "edit.sh")
    s.run("make", "header", "--name", "Edit")


def shadows(s):
    s.wrapper("Apps/Edit.app", EDIT)
    s.wrapper("Apps/Draw.app", DRAW)
    s.wrapper("More/Edit.app", EDIT.replace("rtf", "rtf, md"))
    s.wrapper("Other/Write.app", "{ NSExecutable = Write; NSTypes = ({ NSExtensions = (txt, doc); }); }")
    places = ("--in", "Apps", "--in", "More", "--in", "Other")
    s.run("why", "Apps/Edit.app", *places)
    s.run("why", "More/Edit.app", *places)
    s.run("why", "More/Edit.app", *places, "--all", "--format", "jsonl")
    s.run("why", "More", *places)
    s.run("why", str(s.tmp), "--in", str(s.tmp / "Apps"), "--in", str(s.tmp), "--code", "shadowed")
    s.note("in the other order, where the user prefers one, and in no place that is searched")
    s.run("why", "Apps/Edit.app", "--in", "More", "--in", "Apps")
    s.run("prefer", "txt", "Write", *places)
    s.run("why", "Other/Write.app", *places)
    s.run("why", "Apps/Edit.app", *places)
    s.run("why", "More/Edit.app", "--in", "Apps")
    s.run("why", "--explain", "shadowed")


def check_ends(s):
    s.wrapper("Edit.app", EDIT)
    s.run("check", "Edit.app", "--timeout", "0.000001")
    s.run("check", "Edit.app", "--timeout", "0.000001", "--format", "json")
    s.run("check", "Edit.app", "--timeout", "0")


def link_cycles(s):
    s.wrapper("Apps/Edit.app", "{ NSExecutable = Edit; }")
    (s.tmp / "Apps/tools").mkdir()
    (s.tmp / "Apps/tools/up").symlink_to("..")
    s.run("list", "Apps")
    (s.tmp / "Apps/again").symlink_to(".")
    s.run("list", "Apps", "--format", "jsonl")
    s.run("list", "Apps", "-v", "--format", "jsonl")
    s.run("list", "Apps", "-q", "--format", "jsonl")
    s.run("types", "--in", "Apps")
    s.run("why", "Apps")
    s.run("why", "Apps/again", "--in", "Apps")
    s.run("why", "Apps/tools/up", "--in", "Apps", "--format", "json")
    s.run("why", "--explain", "skipped-link")
    s.note("as described: until the system refuses the path")
    (s.tmp / "round").mkdir()
    (s.tmp / "round/again").symlink_to(".")
    s.run("list", "round", "--link-cycles", "follow")
    s.run("why", "round", "--link-cycles", "follow")
    s.run("why", "round", "--link-cycles", "skip")
    s.run("list", "round", "--link-cycles", "cut")


SESSIONS = [usage, mistyped, help_texts, broken_settings, closed_pipe, mistakes, formats, sample, previous, previous_of_a_fifo, paths, unsearchable, dock_lists, defaults, logs, codec,
            output_errors, failing_tools, incomplete_answers, hanging_tools, interrupted,
            closed_descriptors, questions, questions_to_the_tool, opening, preferring, reasons,
            checking, making, shadows, check_ends, differences, tables, sorted_tables, colours, same_files, problems,
            link_cycles]


def transcript_of(session, programs):
    with tempfile.TemporaryDirectory(prefix="tesker-cli-") as directory:
        made = Session(programs, pathlib.Path(directory).resolve())
        try:
            session(made)
        finally:
            for path in made.tmp.rglob("*"):
                if path.is_dir() and not path.is_symlink():
                    path.chmod(0o700)
        return made.transcript()


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", required=True, type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    os.umask(0o022)
    # What a background job's shell has them ignore, the commands would ignore as well.
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        if signal.getsignal(number) == signal.SIG_IGN:
            signal.signal(number, signal.SIG_DFL)
    failed = 0
    for session in SESSIONS:
        name = session.__name__.replace("_", "-")
        if options.names and name not in options.names:
            continue
        actual = transcript_of(session, options.programs.resolve())
        actual = actual.replace(str(options.programs.resolve()), "@BIN@")
        snapshot = SNAPSHOTS / f"{name}.txt"
        if options.update:
            snapshot.write_text(actual)
            continue
        expected = snapshot.read_text() if snapshot.exists() else ""
        if actual != expected:
            failed += 1
            sys.stdout.writelines(difflib.unified_diff(
                expected.splitlines(True), actual.splitlines(True), str(snapshot), "now"))
    if not options.update:
        print(f"{failed} transcripts differ" if failed else "all transcripts are as they were")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
