#!/usr/bin/python3
"""tesker-desktop import of the entries that small packages of Debian bring: htop, joe and
vim-common (tests/desktop/real_packages.sh has large ones).

usage: real_entries_test.py PROGRAMS
"""
import os
import sys

from world import World, expect

ENTRIES = ("htop.desktop", "jmacs.desktop", "joe.desktop", "jpico.desktop", "jstar.desktop", "vim.desktop")
# Twenty extensions, of which the MIME database knows these types.
TYPES = {"txt": "text/plain", "log": "text/x-log", "c": "text/x-csrc", "cc": "text/x-c++src", "h": "text/x-chdr",
         "hh": "text/x-c++hdr", "java": "text/x-java", "tex": "text/x-tex", "tcl": "text/x-tcl", "pas": "text/x-pascal",
         "sh": "application/x-shellscript", "py": "text/x-python3", "html": "text/html", "htm": "text/html",
         "xhtml": "application/xhtml+xml", "xml": "application/xml", "css": "text/css", "csv": "text/csv",
         "diff": "text/x-patch", "pdf": "application/pdf"}


def main():
    missing = [name for name in ENTRIES if not os.path.exists(f"/usr/share/applications/{name}")]
    if missing:
        print("not installed:", *missing)
        sys.exit(77)
    with World(sys.argv[1]) as w:
        for name in ENTRIES:
            with open(f"/usr/share/applications/{name}") as entry:
                w.write(f"system/applications/{name}", entry.read())
        for program in ("vim", "xdg-terminal-exec"): # vim-common is without vim
            w.fake_program(program)
        w.update_cache()
        w.run("tesker-desktop", "import")
        ids = {str(wrapper / wrapper.stem): (wrapper / "Resources/desktop-entry").read_text()[:-1]
               for wrapper in w.applications.iterdir()}
        listed = [record["pairs"]["path"] for result in w.json("list") for record in result["records"]
                  if record["pairs"]["type"] == "app"]
        expect("each is listed once", sorted(ids.get(path) for path in listed) == sorted(ENTRIES), listed, ids)
        claimed = {one["extension"]: one["handlers"] for one in w.json("types")[0]["types"]}
        for extension, (registered, default) in w.glib(TYPES).items():
            handlers = [ids[handler["path"]] for handler in claimed.get(extension, [])]
            expect(f"the same open {extension}", sorted(handlers) == sorted(registered), handlers, registered)
            expect(f"the default opens {extension}", handlers[:1] == ([default] if default else []), handlers, default)
        expect("most are opened by several", len([one for one in TYPES if len(claimed.get(one, [])) > 4]) > 10, claimed)
        source = w.write("a b.c", "")
        for name, program in (("vim", "vim"), ("joe", "/usr/bin/joe")):
            entry = next(path for path, one in ids.items() if one == f"{name}.desktop")
            w.run("tesker-apps", "open", "--with", entry, source)
            expect("it opens in a terminal", w.lines_told(1) == [f"xdg-terminal-exec {program} {source}"])


main()
