"""A desktop of its own for a test: directories as the XDG variables name them, with the system's
MIME database and made-up entries, whose programs write down what they are given."""
import json
import os
import pathlib
import shlex
import subprocess
import sys
import tempfile
import time

TIME_LIMIT = 60  # seconds, for what has to happen at some time

# What GLib knows of each extension: the ids of those that open its type, and of the default.
ASK_GLIB = """
import json, sys
from gi.repository import Gio
answer = {}
for extension, kind in json.load(sys.stdin).items():
    default = Gio.AppInfo.get_default_for_type(kind, False)
    answer[extension] = [[app.get_id() for app in Gio.AppInfo.get_all_for_type(kind)],
                         default.get_id() if default else None]
json.dump(answer, sys.stdout)
"""


class World:
    def __init__(self, programs):
        self.programs = pathlib.Path(programs).resolve()
        self.directory = tempfile.TemporaryDirectory(prefix="tesker-desktop-")
        self.tmp = pathlib.Path(os.path.realpath(self.directory.name))
        self.data = self.tmp / "home/.local/share"
        self.system = self.tmp / "system"
        self.told = self.tmp / "told"
        self.applications = self.data / "tesker/Applications"
        for folder in (self.data / "applications", self.system / "applications", self.tmp / "bin"):
            folder.mkdir(parents=True)
        (self.system / "mime").symlink_to("/usr/share/mime")
        self.environment = {
            "HOME": str(self.tmp / "home"),
            "LC_ALL": "C",
            "PATH": f"{self.tmp}/bin:{self.programs}:/usr/bin:/bin",
            "PYTHONDONTWRITEBYTECODE": "1",
            "XDG_CONFIG_DIRS": str(self.tmp / "site"),
            "XDG_CONFIG_HOME": str(self.tmp / "home/.config"),
            "XDG_DATA_DIRS": str(self.system),
            "XDG_DATA_HOME": str(self.data),
        }

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.directory.cleanup()

    def write(self, path, text, mode=0o644):
        path = self.tmp / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        path.chmod(mode)
        return path

    def fake_program(self, name):
        """A program that writes down its own name and its arguments, one line in all."""
        self.write(f"bin/{name}", f"#!/bin/sh\nline={shlex.quote(name)}\nfor word do line=\"$line $word\"; done\n"
                                  f"echo \"$line\" >>'{self.told}'\n", 0o755)

    def entry(self, name, lines, folder="system"):
        """An entry in system/applications or another folder."""
        self.write(f"{folder}/applications/{name}", "[Desktop Entry]\nType=Application\n" + lines)

    def update_cache(self, folder="system"):
        self.run("update-desktop-database", str(self.tmp / folder / "applications"))

    def run(self, program, *arguments, status=0, **settings):
        path = self.programs / program
        result = subprocess.run([str(path) if path.exists() else program, *map(str, arguments)],
                                env={**self.environment, **settings}, cwd=self.tmp, text=True,
                                capture_output=True, stdin=subprocess.DEVNULL, timeout=600)
        if result.returncode != status:
            sys.exit(f"{program} {arguments} ended with {result.returncode}, not {status}:\n"
                     f"{result.stdout}{result.stderr}")
        self.errors = result.stderr
        return result.stdout

    def json(self, *arguments):
        return json.loads(self.run("tesker-apps", *arguments, "--format", "json"))["results"]

    def glib(self, types):
        answer = subprocess.run(["/usr/bin/python3", "-c", ASK_GLIB], input=json.dumps(types), text=True,
                                env=self.environment, capture_output=True, check=True, timeout=600)
        return json.loads(answer.stdout)

    def lines_told(self, count):
        """What the programs have written down, when so many have; the file is emptied."""
        end = time.monotonic() + TIME_LIMIT
        while True:
            lines = self.told.read_text().splitlines() if self.told.exists() else []
            if len(lines) >= count or time.monotonic() > end:
                self.told.unlink(missing_ok=True)
                return sorted(lines)
            time.sleep(0.01)

    def tree(self, folder):
        """Every file below the folder with what it holds."""
        return {str(path.relative_to(folder)): (path.read_bytes(), path.stat().st_mtime_ns)
                for path in sorted(folder.rglob("*")) if path.is_file()}


def expect(what, is_so, *shown):
    if not is_so:
        sys.exit("\n".join([f"not so: {what}", *map(repr, shown)]))
