#!/usr/bin/python3
"""tesker-desktop import, through the real programs: made-up entries in a desktop of their own, and
what GLib makes of the same desktop.

usage: import_test.py PROGRAMS
"""
import os
import sys

from world import World, expect

EXTENSIONS = ("txt", "md", "c", "C", "py", "html", "png", "svg", "pdf", "ogg", "mp3", "zip", "xml",
              "json", "sh", "csv", "gif", "desktop", "tex", "diff", "jpg", "epub", "log", "h")


def fill(w):
    for program in ("edit", "ide", "view", "play", "web", "hid", "old"):
        w.fake_program(f"fake-{program}")
    w.entry("org.example.Edit.desktop",
            "Name=Edit\nName[de]=Bearbeiten\nIcon=edit\nExec=fake-edit --new %U\n"
            "MimeType=text/plain;application/json;\n")
    w.entry("ide/main.desktop", "Name=Workshop\nExec=fake-ide --file=%f\n"
            "MimeType=text/x-c++src;text/x-csrc;text/x-chdr;text/x-python;text/plain;\n")
    w.entry("view.desktop", "Name=View\nExec=\"fake-view\" \"\\\\$HOME\" %f\n"
            "MimeType=image/png;image/jpeg;image/gif;image/svg+xml;application/pdf;application/x-pdf;\n")
    w.entry("play.desktop", "Name=Play\nExec=fake-play %F\nTerminal=true\n"
            "MimeType=audio/mpeg;audio/x-vorbis+ogg;audio/ogg;application/ogg;\n")
    w.entry("web.desktop", "Name=Files\nExec=fake-web %u\nNoDisplay=true\nMimeType=text/html;image/svg+xml;\n")
    w.entry("zip.desktop", "Name=Files\nExec=fake-web %U\nOnlyShowIn=NOWHERE;\nMimeType=application/zip;\n")
    w.entry("menu.desktop", "Name=Only in the menu\nExec=fake-edit\n")
    # None of these comes in.
    w.entry("hidden-menu.desktop", "Name=Not even in the menu\nExec=fake-hid\nNoDisplay=true\n")
    w.entry("old.desktop", "Name=Old\nExec=fake-old %f\nMimeType=text/plain;image/png;\n")
    w.entry("old.desktop", "Name=Old\nHidden=true\n", folder="home/.local/share")
    w.entry("missing.desktop", "Name=Missing\nExec=fake-missing %f\nMimeType=text/plain;\n")
    w.entry("tried.desktop", "Name=Tried\nTryExec=fake-missing\nExec=fake-old %f\nMimeType=text/plain;\n")
    w.entry("link.desktop", "Type=Link\nName=Link\nURL=http://example.org/\n")
    # The user's own entry of an id counts.
    w.entry("view.desktop", "Name=Shadowed view\nExec=fake-view --own %f\n"
            "MimeType=image/png;application/pdf;\n", folder="home/.local/share")
    w.write("home/.config/mimeapps.list",
            "[Default Applications]\ntext/plain=ide-main.desktop;\nimage/svg+xml=web.desktop;\n"
            "[Added Associations]\ntext/csv=view.desktop;\n"
            "[Removed Associations]\ntext/html=org.example.Edit.desktop;\napplication/json=org.example.Edit.desktop;\n")
    w.write("system/icons/hicolor/48x48/apps/edit.png", "a picture")
    w.update_cache()
    w.update_cache("home/.local/share")


def types_by_weight():
    """The type of the highest-weight glob for each extension, the first of several."""
    best = {}
    with open("/usr/share/mime/globs2") as lines:
        for line in lines:
            fields = line.rstrip("\n").split(":")
            if len(fields) < 3 or not fields[2].startswith("*."):
                continue
            extension = fields[2][2:]
            if extension in EXTENSIONS and int(fields[0]) > best.get(extension, (-1,))[0]:
                best[extension] = (int(fields[0]), fields[1])
    return {extension: kind for extension, (_, kind) in best.items()}


def ids_of(w):
    """The entry's id by the path of the wrapper's program."""
    return {str(wrapper / wrapper.stem): (wrapper / "Resources/desktop-entry").read_text()[:-1]
            for wrapper in w.applications.iterdir()}


def agrees_with_glib(w):
    types = types_by_weight()
    expect("all extensions are known", len(types) == len(EXTENSIONS), types)
    claimed = {one["extension"]: one["handlers"] for one in w.json("types")[0]["types"]}
    ids = ids_of(w)
    several = 0
    for extension, (registered, default) in w.glib(types).items():
        handlers = [ids[handler["path"]] for handler in claimed.get(extension, [])]
        expect(f"the same open {extension}", sorted(handlers) == sorted(registered), handlers, registered)
        expect(f"the default opens {extension}", handlers[:1] == ([default] if default else []), handlers, default)
        several += len(handlers) > 1
    expect("some have several handlers", several > 5, several)


def lists_each_once(w):
    applications = [record["pairs"] for result in w.json("list") for record in result["records"]
                    if record["pairs"]["type"] == "app"]
    names = sorted(os.path.basename(application["path"]) for application in applications)
    expect("each entry is listed once",
           names == ["Edit", "Files (web)", "Files (zip)", "Only in the menu", "Play", "Shadowed view", "Workshop"], names)
    icons = {application.get("icon") for application in applications}
    expect("one has an icon", icons == {None, "icon.png"}, icons)


def opens(w):
    a, b = w.write("a b.txt", ""), w.write("c.txt", "")
    w.run("tesker-apps", "open", a, b)
    expect("one process opens each file", w.lines_told(2) == sorted([f"fake-ide --file={a}", f"fake-ide --file={b}"]))
    w.run("tesker-apps", "open", "--with", "Edit", a, b)
    expect("one process opens both files", w.lines_told(1) == [f"fake-edit --new {a} {b}"])
    image = w.write("x.png", "")
    w.run("tesker-apps", "open", image)
    expect("the user's own entry counts", w.lines_told(1) == [f"fake-view --own {image}"])
    sound = w.write("x.ogg", "")
    w.fake_program("xdg-terminal-exec")
    w.run("tesker-apps", "open", sound)
    expect("it opens in a terminal", w.lines_told(1) == [f"xdg-terminal-exec fake-play {sound}"])


def prefers_what_the_person_prefers(w):
    w.run("tesker-apps", "prefer", "txt", "Edit")
    first = w.json("handlers", "txt")[0]["handlers"][0]
    expect("the person's choice goes first", first["name"] == "Edit" and first["preferred"], first)
    w.run("tesker-apps", "prefer", "--forget", "txt")
    first = w.json("handlers", "txt")[0]["handlers"][0]
    expect("the desktop's goes next", first["name"] == "Workshop" and first["preferred"], first)


def changes_what_changed(w):
    before = w.tree(w.data / "tesker")
    expect("nothing is new", "0 new, 0 changed, 0 removed, 7 as before; the desktop's defaults as before"
           in w.run("tesker-desktop", "import"))
    expect("nothing is written", w.tree(w.data / "tesker") == before)
    (w.system / "applications/menu.desktop").unlink()
    w.entry("new.desktop", "Name=New\nExec=fake-old %f\n")
    dry = w.run("tesker-desktop", "import", "--dry-run")
    expect("it says what it would do", "new      New.app  new.desktop" in dry and "removed  Only in the menu.app" in dry, dry)
    expect("and does not", w.tree(w.data / "tesker") == before)
    expect("and then does", w.run("tesker-desktop", "import").splitlines()[:2] == dry.splitlines()[:2])
    mine = w.write(w.applications / "Mine.app/Mine", "")
    w.run("tesker-desktop", "import", "--remove")
    expect("only what it has made is removed",
           sorted(w.tree(w.data / "tesker")) == ["Applications.lock", "Applications/Mine.app/Mine"], w.tree(w.data / "tesker"))
    mine.unlink()


def removes_nothing_where_reading_fails(w):
    w.run("tesker-desktop", "import")
    (w.system / "applications/play.desktop").unlink()
    deep = w.system / "applications" / "/".join("abcdefghijklmnopqrst")
    deep.mkdir(parents=True)
    output = w.run("tesker-desktop", "import", status=4)
    expect("what is not looked at is said", "too deep" in w.errors, w.errors)
    expect("nothing is removed", " 0 removed" in output, output)


def passes_over_what_is_hostile(w):
    (w.system / "applications/a").rename(w.tmp / "deep")
    (w.system / "applications/loop").symlink_to(".")
    (w.system / "applications/none.desktop").symlink_to("none.desktop")
    (w.system / "applications/folder.desktop").mkdir()
    (w.system / "applications/big.desktop").write_bytes(b"\n" * (2 << 20))
    (w.system / "applications/nul.desktop").write_bytes(b"[Desktop Entry]\nType=Application\nName=a\0b\n")
    (w.system / "applications/bytes.desktop").write_bytes(b"[Desktop Entry]\nType=Application\nName=\xff\nExec=sh\n")
    w.entry("line\nfeed.desktop", "Name=../../Line\\nfeed\nExec=fake-old \"a\\nb\" %f\n")
    output = w.run("tesker-desktop", "import", "-v")
    expect("only what is an entry comes in", "new      -..-Line feed.app  line\\nfeed.desktop" in output
           and "1 new, 0 changed, 1 removed" in output, output, w.errors)
    for what in ("loop: ", "none.desktop: ", "folder.desktop: ", "big.desktop: ", "nul.desktop: ", "bytes.desktop: "):
        expect(f"it says why not {what}", what in w.errors, w.errors)


def says_where_it_is_searched_only_to_who_names_the_places():
    with World(sys.argv[1]) as w:
        w.run("tesker-desktop", "import")
        expect("without entries nothing is wrong", w.errors == "", w.errors)
        w.write("home/.config/tesker/defaults/Tesker.plist", "{ ApplicationPaths = (/opt); }")
        w.run("tesker-desktop", "import")
        expect("the place is not among those named", "ApplicationPaths in " in w.errors
               and f"does not name {w.applications}" in w.errors, w.errors)


def main():
    says_where_it_is_searched_only_to_who_names_the_places()
    with World(sys.argv[1]) as w:
        fill(w)
        w.run("tesker-desktop", "import")
        lists_each_once(w)
        agrees_with_glib(w)
        opens(w)
        prefers_what_the_person_prefers(w)
        changes_what_changed(w)
        removes_nothing_where_reading_fails(w)
        passes_over_what_is_hostile(w)


main()
