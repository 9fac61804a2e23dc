#!/usr/bin/python3
"""A master and a tool over generated code, each with the real other side.

They have to say what the real two say to each other, and the documents have to show the code that
they are made of.

usage: generated.py PROGRAMS SOURCE
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = pathlib.Path(sys.argv[1])
SOURCE = pathlib.Path(sys.argv[2])
TOOL = PROGRAMS / "ToolFinder"
APPS = PROGRAMS / "tesker-apps"
GENERATED_MASTER = PROGRAMS / "tesker-generated-master"
GENERATED_TOOL = PROGRAMS / "tesker-generated-tool"
TIME_LIMIT = 120  # seconds, for a side that waits for ever
BEYOND_ONE_PIECE = (16 << 20) + 1000

ANSWER = b"type\0app\0path\0/\xff\xe9\0(1,2,0,1,2,3)"


class Sides(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="tesker-bindings-")
        self.addCleanup(temporary.cleanup)
        self.tmp = os.fsencode(temporary.name)
        self.apps = os.path.join(self.tmp, b"caf\xe9 \xff")
        os.mkdir(self.apps)

    def path(self, name):
        return os.path.join(self.tmp, name)

    def file(self, name, content):
        path = self.path(name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        pathlib.Path(os.fsdecode(path)).write_bytes(content)
        return path

    def content(self, name):
        return pathlib.Path(os.fsdecode(self.path(name))).read_bytes()

    def wrapper(self, name, called):
        """An application below self.apps, called something in its description."""
        wrapper = os.path.join(self.apps, name + b".app")
        program = self.file(os.path.join(wrapper, name), b"#!/bin/sh\n")
        os.chmod(program, 0o755)
        description = b'{ NSExecutable = "' + called + b'"; }'
        self.file(os.path.join(wrapper, b"Resources", b"Info-quorvale.plist"), description)
        return wrapper

    def run_program(self, *words, **environment):
        return subprocess.run(words, env=dict(os.environ, **environment), capture_output=True,
                              check=False, timeout=TIME_LIMIT)

    def output(self, *words, **environment):
        done = self.run_program(*words, **environment)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout


class GeneratedMaster(Sides):
    """Asks the real tool."""

    def ask(self, request, argument, *previous):
        files = [self.file(b"argument", argument)]
        files += [self.file(b"previous", text) for text in previous]
        return self.run_program(GENERATED_MASTER, TOOL, request, *files)

    def answer(self, request, argument, *previous):
        done = self.ask(request, argument, *previous)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def is_nil(self, request, argument, previous):
        done = self.ask(request, argument, previous)
        self.assertEqual((done.stdout, done.stderr), (b"", b""))
        return done.returncode == 1

    def test_takes_the_answer_that_the_real_master_takes(self):
        self.wrapper(b"\xc4dit", b"\xfe\x80")
        text = self.answer("search", self.apps)
        self.assertIn(b"\0" + self.apps + b"/\xc4dit.app/\xc4dit\0", text)
        self.assertIn(b"\0\xfe\x80\0", text)
        self.assertEqual(text, self.output(APPS, "list", "--format", "raw", self.apps))

    def test_sends_the_last_answer_with_all_its_bytes(self):
        self.wrapper(b"Edit", b"\xfe\x80")
        text = self.answer("search", self.apps)
        self.assertTrue(self.is_nil("search", self.apps, text))
        self.assertEqual(self.answer("search", self.apps, text.partition(b"\0")[0]), text)
        self.assertEqual(self.answer("search", self.apps, text[:-1] + b"]"), text)

    def test_asks_for_several_paths(self):
        wrappers = [self.wrapper(name, name) for name in (b"Edit", b"M\xe4il")]
        text = self.answer("dock", b"\0".join(wrappers))
        self.assertIn(wrappers[1], text)
        self.assertEqual(text, self.output(APPS, "dock", "--format", "raw", *wrappers))
        self.assertTrue(self.is_nil("dock", b"\0".join(wrappers), text))

    def test_takes_and_sends_texts_in_pieces(self):
        for letter in (b"x", b"y"):
            self.wrapper(letter, letter * (BEYOND_ONE_PIECE // 2))
        text = self.answer("search", self.apps)
        self.assertGreater(len(text), BEYOND_ONE_PIECE)
        self.assertTrue(self.is_nil("search", self.apps, text))


class GeneratedTool(Sides):
    """Is asked by the real master."""

    def setUp(self):
        super().setUp()
        os.mkdir(self.path(b"asked"))

    def list(self, answer, *words, command="list", form="raw"):
        return self.output(APPS, command, "-q", "--tool", GENERATED_TOOL, "--format", form, *words,
                           GENERATED_ANSWER=self.file(b"answer", answer),
                           GENERATED_ASKED=self.path(b"asked"))

    def test_gives_an_answer_with_all_its_bytes(self):
        self.assertEqual(self.list(ANSWER, self.apps), ANSWER)
        self.assertEqual(self.content(b"asked/argument"), self.apps)
        self.assertFalse(os.path.exists(self.path(b"asked/previous")))

    def test_gets_the_last_answer_with_all_its_bytes(self):
        previous = self.file(b"last", ANSWER)
        answer = self.list(b"(0)", "--previous", previous, self.apps)
        self.assertEqual((answer, self.content(b"asked/previous")), (b"(0)", ANSWER))

    def test_answers_with_nil(self):
        previous = self.file(b"last", ANSWER)
        answer = json.loads(self.list(ANSWER, "--previous", previous, self.apps, form="json"))
        self.assertTrue(answer["results"][0]["unchanged"])

    def test_is_asked_for_several_paths(self):
        paths = [self.wrapper(name, name) for name in (b"Edit", b"M\xe4il")]
        self.assertEqual(self.list(ANSWER, *paths, command="dock"), ANSWER)
        self.assertEqual(self.content(b"asked/argument"), b"\0".join(paths))

    def test_takes_and_sends_texts_in_pieces(self):
        long = b"path\0" + b"\xff" * BEYOND_ONE_PIECE + b"\0(1,1,0,1)"
        other = self.file(b"last", long.replace(b"path", b"name"))
        # Compared so, for nobody wants to see where they differ.
        self.assertTrue(self.list(long, "--previous", other, self.apps) == long)
        self.assertTrue(self.content(b"asked/previous") == self.content(b"last"))


class Recipe(unittest.TestCase):
    def test_the_document_shows_the_code_that_is_tested(self):
        document = (SOURCE / "docs/protocol.md").read_text()
        recipe = re.search(r"\n## A recipe for GLib\n(.*?)\n## ", document, re.DOTALL).group(1)
        code = "\n".join(path.read_text() for path in SOURCE.glob("tests/bindings/*.c"))
        shown = re.findall(r"```c\n(.*?)```", recipe, re.DOTALL)
        self.assertGreater(len(shown), 1)
        for block in shown:
            self.assertIn(block, code)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
