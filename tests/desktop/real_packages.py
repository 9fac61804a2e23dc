"""What real_packages.sh runs in its root."""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

from gi.repository import Gio

from world import TIME_LIMIT, expect

EXTENSIONS = ("txt md c py sh log pdf ps djvu png jpg gif tiff webp bmp svg xcf ico html xhtml xml csv json doc docx odt rtf "
              "mp4 mp3 ogg oga avi mkv webm flac wav m3u mov").split()
OPENED = ("txt pdf ps png jpg gif tiff webp svg xcf html doc docx odt mp4 mp3 ogg avi mkv csv").split()

# Of a person who is never content.
CHOICES = """[Default Applications]
text/plain=org.xfce.mousepad.desktop;
image/png=gimp.desktop;
video/mp4=missing.desktop;vlc.desktop;
[Added Associations]
application/zip=firefox-esr.desktop;
application/pdf=firefox-esr.desktop;vlc.desktop;
text/x-log=vlc.desktop;
[Removed Associations]
image/gif=firefox-esr.desktop;
text/plain=libreoffice-writer.desktop;
application/x-pdf=gimp.desktop;
"""


def run(*words, status=0, is_silent=True):
    result = subprocess.run([str(word) for word in words], text=True, capture_output=True,
                            stdin=subprocess.DEVNULL, timeout=600)
    expect(f"{words} ends with {status}", result.returncode == status, result.returncode, result.stdout, result.stderr)
    expect(f"{words} says nothing on standard error", not is_silent or result.stderr == "", result.stderr)
    return result.stdout


def apps(*words):
    return json.loads(run("tesker-apps", *words, "--format", "json"))["results"]


def types_by_weight():
    """The type of the highest-weight glob for each plain suffix, the first of several. Globs that
    tell letters' cases apart stand there a second time, without the flag."""
    best = {}
    with open("/usr/share/mime/globs2") as file:
        lines = [line.rstrip("\n").split(":") for line in file if not line.startswith("#")]
    flagged = {tuple(fields[:3]) for fields in lines if "cs" in fields[3:]}
    for fields in lines:
        is_exact = tuple(fields[:3]) in flagged
        if fields[2].startswith("*.") and not any(c in fields[2][2:] for c in "*?[."):
            weight, extension = int(fields[0]), fields[2][2:]
            extension = extension if is_exact else extension.lower()
            if weight > best.get(extension, (-1,))[0]:
                best[extension] = (weight, fields[1])
    return {extension: kind for extension, (_, kind) in best.items()}


class Imported:
    def __init__(self, data):
        self.data = data
        self.types = types_by_weight()
        self.ids = {str(wrapper / wrapper.stem): (wrapper / "Resources/desktop-entry").read_text()[:-1]
                    for wrapper in (data / "tesker/Applications").iterdir()}

    def lists_each_once(self):
        paths = [record["pairs"]["path"] for result in apps("list") for record in result["records"]
                 if record["pairs"]["type"] == "app"]
        listed = sorted(self.ids[path] for path in paths)
        claiming = {app.get_id() for kind in set(self.types.values()) for app in Gio.AppInfo.get_all_for_type(kind)}
        wanted = sorted(app.get_id() for app in Gio.AppInfo.get_all() if app.should_show() or app.get_id() in claiming)
        expect("each entry is listed once", listed == wanted, set(listed) ^ set(wanted), listed, wanted)
        print(f"{len(listed)} entries are listed, each once")

    def agrees_with_glib(self):
        claimed = {one["extension"]: one["handlers"] for one in apps("types")[0]["types"]}
        several = 0
        for extension, kind in self.types.items():
            handlers = [self.ids[handler["path"]] for handler in claimed.pop(extension, [])]
            registered = [app.get_id() for app in Gio.AppInfo.get_all_for_type(kind)]
            default = Gio.AppInfo.get_default_for_type(kind, False)
            expect(f"the same open {extension}, {kind}", sorted(handlers) == sorted(registered), handlers, registered)
            expect(f"the default opens {extension}", handlers[:1] == ([default.get_id()] if default else []),
                   handlers, default.get_id() if default else None)
            several += len(handlers) > 1
        expect("nothing else is claimed", not claimed, claimed)
        print(f"{len(self.types)} extensions agree, {several} of them with several handlers")

    def handlers_say_the_same(self):
        for extension in EXTENSIONS:
            handlers = [self.ids[handler["path"]] for handler in apps("handlers", extension)[0]["handlers"]]
            registered = [app.get_id() for app in Gio.AppInfo.get_all_for_type(self.types[extension])]
            expect(f"handlers says the same of {extension}", sorted(handlers) == sorted(registered), handlers, registered)
            print(f"  {extension:6}{self.types[extension]:40} {' '.join(handlers)}")

    def opens(self, tmp):
        """With a fake program in the place of each, which writes down what it is given."""
        told = tmp / "told"
        for extension in OPENED:
            app = Gio.AppInfo.get_default_for_type(self.types[extension], False)
            program = pathlib.Path(shutil.which(app.get_executable()))
            real = program.with_name(program.name + ".real")
            file = tmp / f"a 'file'.{extension}"
            file.touch()
            program.rename(real)
            try:
                program.write_text(f"#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\" >'{told}.new'\nmv '{told}.new' '{told}'\n")
                program.chmod(0o755)
                run("tesker-apps", "open", file)
                end = time.monotonic() + TIME_LIMIT
                while not told.exists() and time.monotonic() < end:
                    time.sleep(0.01)
                words = told.read_text().splitlines()
                # Firefox and others take a URI as well as a path.
                expect(f"{program} is started with {file}", words[-1] == str(file), words)
                told.unlink()
            finally:
                real.rename(program)
        print(f"{len(OPENED)} kinds of files are opened")


def exports(data, tmp):
    run("tesker-make-sample", tmp / "sample")
    before = run("tesker-desktop", "import")
    expect("a second import changes nothing", "0 new, 0 changed, 0 removed" in before, before)
    nothing = run("tesker-desktop", "export")
    expect("export of an import changes nothing", nothing == "0 new, 0 changed, 0 removed, 0 as before\n", nothing)
    print("export:", run("tesker-desktop", "export", tmp / "sample", is_silent=False).splitlines()[-1])
    entries = list((data / "applications").glob("*.desktop"))
    for entry in entries:
        said = run("desktop-file-validate", entry)
        expect(f"{entry} is valid", said == "", said)
    said = run("update-mime-database", data / "mime")
    expect("update-mime-database is silent", said == "", said)
    expect("gio finds it", "tesker-Edit.desktop" in run("gio", "mime", "text/plain"))
    expect("gio finds it by a new type", "tesker-Draw.desktop" in run("gio", "mime", "application/x-tesker-draw"))
    drawing = tmp / "a.draw"
    drawing.write_text("x")
    expect("a file has the new type", "application/x-tesker-draw" in
           run("gio", "info", "-a", "standard::content-type", drawing))
    again = run("tesker-desktop", "import")
    expect("import of an export changes nothing", "0 new, 0 changed, 0 removed" in again
           and "defaults as before" in again, again)
    again = run("tesker-desktop", "export", tmp / "sample", is_silent=False)
    expect("a second export changes nothing", "0 new, 0 changed, 0 removed" in again, again)
    run("tesker-desktop", "export", "--remove")
    run("tesker-desktop", "import", "--remove")
    expect("nothing is left", list((data / "applications").glob("*.desktop")) == []
           and list((data / "tesker/Applications").iterdir()) == [])


def main():
    tmp = pathlib.Path(tempfile.mkdtemp(prefix="tesker-real-"))
    data = pathlib.Path(os.environ["HOME"]) / ".local/share"
    shutil.rmtree(data, ignore_errors=True)
    print("import:", run("tesker-desktop", "import").splitlines()[-1])
    imported = Imported(data)
    imported.lists_each_once()
    imported.agrees_with_glib()
    imported.handlers_say_the_same()
    imported.opens(tmp)
    config = pathlib.Path(os.environ["HOME"]) / ".config/mimeapps.list"
    config.parent.mkdir(exist_ok=True)
    config.write_text(CHOICES)
    run("tesker-desktop", "import")
    Imported(data).agrees_with_glib()
    config.unlink()
    run("tesker-desktop", "import")
    exports(data, tmp)
    shutil.rmtree(tmp)
    print("all as it should be")


if __name__ == "__main__":
    sys.exit(main())
