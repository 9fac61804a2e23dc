#!/usr/bin/python3
"""tesker-desktop export, through the real programs: the sample tree and wrappers of all kinds on a
desktop of their own, as its own tools see them.

usage: export_test.py PROGRAMS
"""
import sys

from world import World, expect


def wrapper(w, folder, name, extensions, icon=""):
    """A wrapper whose program is a fake one."""
    w.fake_program(name)
    (w.tmp / folder / f"{name}.app").mkdir(parents=True)
    (w.tmp / "bin" / name).rename(w.tmp / folder / f"{name}.app" / name)
    w.write(f"{folder}/{name}.app/Resources/Info-quorvale.plist",
            f'{{ NSExecutable = "{name}"; NSIcon = "{icon}"; NSTypes = ({{ NSExtensions = ({extensions}); }}); }}')


def is_valid(w):
    for entry in (w.data / "applications").glob("*.desktop"):
        said = w.run("desktop-file-validate", entry)
        expect(f"{entry.name} is valid", said == "" and w.errors == "", said, w.errors)


def gio_lists(w, kind):
    """The ids that gio has under Registered."""
    text = w.run("gio", "mime", kind)
    part = text.partition("Registered applications:")[2].partition("Recommended")[0]
    return sorted(part.split())


def exports_the_sample(w):
    w.run("tesker-make-sample", w.tmp / "sample")
    w.run("tesker-desktop", "export", "sample")
    is_valid(w)
    names = sorted(entry.name for entry in (w.data / "applications").glob("*.desktop"))
    expect("each application has one entry", "tesker-Edit.desktop" in names and "tesker-Draw.desktop" in names, names)
    expect("gio finds it for a known type", "tesker-Edit.desktop" in gio_lists(w, "text/plain"))
    expect("gio finds it for a new type", gio_lists(w, "application/x-tesker-draw") == ["tesker-Draw.desktop"])
    expect("and the type for a file", "application/x-tesker-draw" in
           w.run("gio", "info", "-a", "standard::content-type", w.write("a.draw", "x")))
    before = w.tree(w.data)
    expect("the second one changes nothing", "0 new, 0 changed, 0 removed" in w.run("tesker-desktop", "export", "sample"))
    expect("and writes nothing", w.tree(w.data) == before)
    expect("import passes it over", "0 new, 0 changed, 0 removed, 0 as before; the desktop's defaults as before"
           in w.run("tesker-desktop", "import"))
    w.run("tesker-desktop", "export", "--remove")
    left = [name for name in w.tree(w.data) if not name.startswith("mime/") and name not in
            ("applications/mimeinfo.cache", "tesker/Applications.lock", "tesker/exported.lock")]
    expect("remove leaves nothing", left == [], left)
    globs = w.data / "mime/globs2"
    expect("not even the types", not globs.exists() or "x-tesker" not in globs.read_text())


def starts_what_was_exported(w):
    odd = "It's 50% $HOME \"odd\""
    wrapper(w, "home/Applications", "Paint", "paint, \"a&b\"")
    wrapper(w, "home/Applications", odd.replace('"', ""), "odd")
    w.run("tesker-desktop", "export")
    is_valid(w)
    picture = w.write("my picture.paint", "x")
    w.run("gio", "launch", w.data / "applications/tesker-Paint.desktop", picture)
    expect("it is started with the file", w.lines_told(1) == [f"Paint {picture}"])
    w.run("gio", "launch", w.data / "applications/tesker-Paint.desktop")
    expect("it is started without a file", w.lines_told(1) == ["Paint"])
    [entry] = (w.data / "applications").glob("tesker-It*")
    w.run("gio", "launch", entry, picture)
    expect("whatever its name", w.lines_told(1) == [f"{odd.replace(chr(34), '')} {picture}"])


def goes_with_import(w):
    w.fake_program("fake-edit")
    w.entry("edit.desktop", "Name=Edit\nExec=fake-edit %F\nMimeType=text/plain;\n")
    w.update_cache()
    w.run("tesker-desktop", "import")
    imported = w.tree(w.data / "tesker/Applications")
    expect("export passes import's over", "0 new, 0 changed, 0 removed" in w.run("tesker-desktop", "export"))
    w.run("tesker-desktop", "import")
    expect("import passes export's over", w.tree(w.data / "tesker/Applications") == imported)
    expect("the desktop's own opens text", w.json("handlers", "txt")[0]["handlers"][0]["name"] == "Edit")
    # What the person chooses on the desktop counts for tesker-apps as well.
    w.write("home/.config/mimeapps.list", "[Default Applications]\napplication/x-tesker-paint=tesker-Paint.desktop\n")
    w.run("tesker-desktop", "import")
    first = w.json("handlers", "paint")[0]["handlers"][0]
    expect("a choice among exported ones counts", first["name"] == "Paint" and first["preferred"], first)


def removes_nothing_where_searching_fails(w):
    output = w.run("tesker-desktop", "export", "missing", status=4)
    expect("it says so", "missing" in w.errors, w.errors)
    expect("nothing is removed", (w.data / "applications/tesker-Paint.desktop").exists(), output)


def main():
    with World(sys.argv[1]) as w:
        exports_the_sample(w)
        starts_what_was_exported(w)
        goes_with_import(w)
        removes_nothing_where_searching_fails(w)


main()
