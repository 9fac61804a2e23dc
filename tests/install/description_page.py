#!/usr/bin/python3
"""Whether what tesker-description(5) gives for examples is what the programs take: check has nothing
to say of them, and list finds what they describe.

usage: description_page.py PROGRAMS SOURCE      the folder of the built programs; the top of the repository
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAMS, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
sys.path.insert(0, str(SOURCE / "tests/support"))
from images import describing  # noqa: E402

PAGE = SOURCE / "docs/man/tesker-description.5"


def examples():
    """From the name in the comment before an example to its text."""
    blocks = re.findall(r'^\.\\" example: (\S+)\n\.in \+4n\n\.EX\n(.*?)\.EE\n', PAGE.read_text(), re.M | re.S)
    return {name: text.replace("\\-", "-") for name, text in blocks}


class Examples(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory(prefix="tesker-description-")
        cls.addClassCleanup(temporary.cleanup)
        cls.tmp = pathlib.Path(temporary.name)
        (cls.tmp / "run").mkdir(mode=0o700)
        cls.texts = examples()
        for name in cls.texts["files"].split():
            cls.write(name)
        for name, text in cls.texts.items():
            if "/" in name:
                cls.write(name, text)
                wrapper = pathlib.Path(name).parts[0]
                cls.write(f"{wrapper}/{pathlib.Path(wrapper).stem}")
        for icon in ("View.app/photo", "Mail.app/mailbox"):
            cls.write(icon + ".tiff")
        cls.write("Draw", describing(cls.texts["header"]), 0o755)
        cls.write("header", cls.texts["header"])

    @classmethod
    def write(cls, name, data="", mode=None):
        path = cls.tmp / "Apps" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data if isinstance(data, bytes) else data.encode())
        path.chmod(mode or (0o755 if path.name == path.parent.stem else 0o644))

    def run_command(self, *words):
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.tmp), "XDG_RUNTIME_DIR": str(self.tmp / "run"),
                       "TESKER_HOST_CPU": "i386"}
        environment |= {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        return subprocess.run([PROGRAMS / "tesker-apps", *words], cwd=self.tmp / "Apps", env=environment,
                              capture_output=True, text=True, check=False)

    def test_both_forms_and_the_older_one_are_there(self):
        self.assertEqual(set(self.texts), {"files", "header", "Edit.app/Resources/Info-quorvale.plist",
                                           "View.app/Resources/Info-quorvale.plist", "Mail.app/registry.table"})

    def test_check_has_nothing_to_say(self):
        for name in ("Edit.app", "View.app", "Mail.app", "Draw", "header", *(name for name in self.texts if "/" in name)):
            done = self.run_command("check", name, "--strict")
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""), name)

    def test_why_has_nothing_to_say(self):
        for name in ("Edit.app", "View.app", "Mail.app", "Draw"):
            done = self.run_command("why", name, "--in", ".")
            self.assertEqual(done.returncode, 0, done.stdout)

    def test_list_finds_what_they_describe(self):
        done = self.run_command("list", "--format", "jsonl", ".")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        records = [json.loads(line)["record"]["pairs"] for line in done.stdout.splitlines()]
        named = {(record["type"], record["name"]) for record in records if "name" in record}
        applications = {name for kind, name in named if kind == "app"}
        self.assertEqual(applications, {"Edit", "View", "Mail", "Draw", "Draw Help"})
        extensions = {name for kind, name in named if kind == "extension"}
        self.assertEqual(extensions, {"txt", "text", "rtf", "jpg", "png", "mbox", "eml", "drawing", "sketch"})
        self.assertIn(("InspectorCommand", "Mail inspector"), named)
        self.assertEqual([record["path"] for record in records if record["type"] == "services"],
                         [str(self.tmp / "Apps/Edit.app/Edit")])

    def test_every_key_is_described(self):
        read = re.findall(r'"(NS[A-Z]\w+)"', (SOURCE / "parsing/WrapperDescriptions.cpp").read_text())
        self.assertEqual(set(re.findall(r"^\.B (NS\w+)$", PAGE.read_text(), re.M)) - {"NSPrimary"}, set(read))


unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
