#!/usr/bin/python3
"""tesker-desktop --watch, through the real programs: it follows what is installed and made.

usage: watch_test.py PROGRAMS
"""
import signal
import subprocess
import sys
import time

from world import TIME_LIMIT, World, expect


def eventually(what, is_so):
    end = time.monotonic() + TIME_LIMIT
    while not is_so():
        expect(f"in the end {what}", time.monotonic() < end)
        time.sleep(0.02)


def wrapper(w, name):
    """In ~/Applications, whole at once."""
    w.fake_program(name)
    made = w.tmp / f"{name}.app"
    made.mkdir()
    (w.tmp / "bin" / name).rename(made / name)
    w.write(made / "Resources/Info-quorvale.plist",
            f'{{ NSExecutable = "{name}"; NSTypes = ({{ NSExtensions = (paint); }}); }}')
    (w.tmp / "home/Applications").mkdir(exist_ok=True)
    made.rename(w.tmp / f"home/Applications/{name}.app")


def follows(w, watching):
    eventually("what was there comes in", (w.applications / "Edit.app").exists)
    # A directory that is made for it, a program that comes after its entry, another place to search.
    w.entry("tools/draw.desktop", "Name=Draw\nExec=fake-draw %f\n")
    w.fake_program("fake-draw")
    wrapper(w, "Paint")
    exported = w.data / "applications/tesker-Paint.desktop"
    eventually("what is installed comes in", (w.applications / "Draw.app").exists)
    eventually("what is made goes out", exported.exists)
    types = w.data / "mime/globs2"
    eventually("the new type is known", lambda: types.exists() and "x-tesker-paint" in types.read_text())
    (w.system / "applications/edit.desktop").unlink()
    (w.tmp / "home/Applications/Paint.app").rename(w.tmp / "gone")
    eventually("what is taken away goes", lambda: not (w.applications / "Edit.app").exists() and not exported.exists())
    expect("it goes on", watching.poll() is None)


def main():
    with World(sys.argv[1]) as w:
        w.fake_program("fake-edit")
        w.entry("edit.desktop", "Name=Edit\nExec=fake-edit %F\nMimeType=text/plain;\n")
        expect("nothing is done twice", "--watch" in w.run("tesker-desktop", "import", "--watch", "-n", status=2) + w.errors)
        watching = subprocess.Popen([w.programs / "tesker-desktop", "--watch"], env=w.environment, cwd=w.tmp,
                                    text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            follows(w, watching)
            watching.send_signal(signal.SIGTERM)
            said, errors = watching.communicate(timeout=TIME_LIMIT)
            expect("it ends as it should", watching.returncode == -signal.SIGTERM, watching.returncode, said, errors)
            lines = said.splitlines()
            expect("it says what changes", "new      Draw.app  tools-draw.desktop" in lines
                   and "removed  applications/tesker-Paint.desktop" in lines, said)
            expect("and not what does not", not any(line.startswith("0 new, 0 changed, 0 removed") for line in lines), said)
        finally:
            watching.kill()


main()
