#!/usr/bin/python3
"""Whether the manual pages and the completions know the commands, options and words that the
programs themselves name in their help: all of them, and no others.

usage: options.py PROGRAMS SOURCE      the folder of the built programs; the top of the repository
"""
import pathlib
import re
import subprocess
import sys
import unittest

PROGRAMS, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
# Not every build has tesker-desktop.
NAMES = [name for name in ("tesker-apps", "tesker-desktop", "tesker-fileop") if (PROGRAMS / name).exists()]
OPTION = r"(?<![\w-])-(?:-[a-z][\w-]+|[a-z])(?![\w-])"
ALWAYS_ELSEWHERE = {"--version"}  # stands before the command only


# ---- what the programs say ----


def run(program, *words):
    """Exit status and all that is printed."""
    done = subprocess.run([PROGRAMS / program, *words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.returncode, done.stdout


def help_section(program, command, title):
    """The first words of the lines of one section of the help."""
    _, text = run(program, *([command] if command else []), "--help")
    section = re.search(rf"^{title}:\n((?:  .*\n)*)", text, re.M)
    return re.findall(r"^  (\S+)", section.group(1), re.M) if section else []


def options(program, command=None):
    """The options in the help of the command; without one, those that can stand everywhere."""
    return {option for words in help_section(program, command, "Options") for option in words.split(",")}


def commands(program):
    return set(help_section(program, None, "Subcommands"))


def all_options(program):
    return set().union(options(program), *(options(program, command) for command in commands(program)))


def processors():
    """Naming an unknown one makes the program list those it knows."""
    _, said = run("tesker-apps", "list", "--cpu", "none of them")
    return set(re.search(r"known are (.*), and TYPE/SUBTYPE", said).group(1).split(", "))


def codes():
    """Those of why; naming an unknown one makes the program list them."""
    _, said = run("tesker-apps", "why", "--code", "none of them")
    return set(re.search(r"CODE is one of (.*)", said).group(1).split(", "))


def sort_keys(command):
    """The help names them in a line of their own."""
    _, text = run("tesker-apps", command, "--help")
    return set(re.search(r"--sort KEY.*?answer:\n +(.*)", text, re.S).group(1).split("\n")[0].split(", "))


# ---- what the other files say ----


def page(program):
    return (SOURCE / "docs/man" / f"{program}.1").read_text().replace("\\-", "-")


def page_part(title, level):
    """A section (SH) or subsection (SS) of tesker-apps.1."""
    return re.search(rf'^\.{level} "?{title}"?\n(.*?)(?=^\.(?:SH|{level}) |\Z)', page("tesker-apps"), re.M | re.S).group(1)


def tags(title, level):
    return re.findall(r"^\.TP\n(.*)", page_part(title, level), re.M)


def tagged_options(title):
    return {option for tag in tags(title, "SS") for option in re.findall(OPTION, tag)}


def completion_file(program, shell):
    return SOURCE / "packaging/completions" / f"{program}.{shell}"


def bash(program, *words):
    """What bash offers for the last of the words; nothing where it leaves it to file names."""
    script = """source "$1"; function=$2; shift 2
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); $function; printf '%s\\n' "${COMPREPLY[@]}" """
    function = "_" + program.replace("-", "_")
    done = subprocess.run(["bash", "-c", script, "bash", completion_file(program, "bash"), function, program, *words],
                          stdout=subprocess.PIPE, text=True, check=True)
    return set(done.stdout.split())


class Help(unittest.TestCase):
    """That this test finds in the help what it looks for."""

    def test_the_help_is_understood(self):
        self.assertEqual(commands("tesker-apps"),
                         {"list", "dock", "handlers", "types", "services", "show", "open", "prefer", "why", "check", "make", "diff",
                          "watch", "decode", "encode", "help"})
        self.assertEqual(len(commands("tesker-fileop")), 7)
        self.assertLessEqual({"-h", "--help", "-v", "--verbose", "--version"}, options("tesker-apps"))
        self.assertLessEqual({"--help", "--paths0-from", "--timeout"}, options("tesker-apps", "dock"))
        self.assertLessEqual({"--program"}, options("tesker-fileop"))
        self.assertLessEqual({"i386", "sparc"}, processors())


    def test_no_line_is_wider_than_80_columns(self):
        for program in NAMES:
            for command in (None, *commands(program)):
                _, text = run(program, *([command] if command else []), "--help")
                self.assertEqual([line for line in text.splitlines() if len(line) > 80], [], (program, command))


class ManualPages(unittest.TestCase):
    def test_each_command_has_the_options_that_it_takes(self):
        self.assertEqual(tagged_options("Every command"), options("tesker-apps"))
        searching = tagged_options("list and dock")
        asking = tagged_options("Questions")
        tabular = tagged_options("Tables")
        described = {"list": searching | tabular, "dock": searching - {"--jobs", "--cached"} | tabular | tagged_options("dock"),
                     "handlers": asking | tabular, "types": asking | tabular, "services": asking | tabular,
                     "show": asking | tabular, "open": asking | tagged_options("open"),
                     "prefer": asking | tabular | tagged_options("prefer"),
                     "check": tagged_options("check"), "why": tagged_options("why"), "make": tagged_options("make"),
                     "diff": asking - {"--from", "--cached"} | tabular | tagged_options("diff"),
                     "watch": tagged_options("watch"),
                     "decode": tagged_options("decode") | tabular, "encode": set(), "help": set()}
        self.assertEqual(described.keys(), commands("tesker-apps"))
        for command, own in described.items():
            self.assertEqual(own | {"-h", "--help"}, options("tesker-apps", command), command)

    def test_the_file_operations_have_their_options(self):
        lines = re.findall(r"^\.It Fl (.*)", page("tesker-fileop"), re.M)
        names = {"-" + word for line in lines for word in re.findall(r"(?:^|, )(-?\w+)", line)}
        self.assertEqual(names, all_options("tesker-fileop"))

    @unittest.skipUnless("tesker-desktop" in NAMES, "it is not built")
    def test_the_desktops_program_has_its_options(self):
        lines = re.findall(r"^\.It Fl (.*)", page("tesker-desktop"), re.M)
        names = {"-" + word for line in lines for word in re.findall(r"(?:^|, )(-?[\w-]+)", line)}
        self.assertEqual(names, all_options("tesker-desktop"))
        self.assertEqual(set(re.findall(r"^\.It Cm (\w+)", page("tesker-desktop"), re.M)), commands("tesker-desktop"))

    def test_the_commands_are_described(self):
        self.assertEqual({tag.removeprefix(".B ") for tag in tags("Commands", "SS")}, commands("tesker-apps"))
        self.assertEqual(set(re.findall(r"^\.It Cm (\w+)", page("tesker-fileop"), re.M)), commands("tesker-fileop"))

    def test_the_exit_statuses_are_described(self):
        statuses = [word for word in help_section("tesker-apps", None, "Exit status") if word.isdigit()]
        self.assertEqual([tag.removeprefix(".B ") for tag in tags("EXIT STATUS", "SH")], statuses)

    def test_the_processors_are_named(self):
        words = re.findall(r"(?<!\.)\b[\w-]+", page_part("Processors", "SS"))
        self.assertEqual(set(words), processors())

    def test_the_codes_are_named(self):
        text = re.search(r"^The codes are\n\.nh\n(.*?)\.\n\.hy", page_part("why", "SS"), re.M | re.S).group(1)
        self.assertEqual(set(re.split(r",\s+", text)), codes())


class Bash(unittest.TestCase):
    def test_each_command_is_offered_the_options_that_it_takes(self):
        for program in NAMES:
            everywhere = options(program)
            self.assertEqual(bash(program, ""), everywhere | commands(program))
            for command in commands(program):
                self.assertEqual(bash(program, command, "-"), options(program, command) | everywhere - ALWAYS_ELSEWHERE, command)
                words = {"help": commands(program), "make": {"wrapper", "header"}}.get(command, set())
                self.assertEqual(bash(program, command, ""), words, command)

    def test_options_are_offered_the_words_that_they_take(self):
        self.assertEqual(bash("tesker-apps", "list", "--format", ""), {"table", "json", "jsonl", "raw"})
        self.assertEqual(bash("tesker-apps", "dock", "--format", "=", "js"), {"json", "jsonl"})
        self.assertEqual(bash("tesker-apps", "dock", "-f", "r"), {"raw"})
        self.assertEqual(bash("tesker-apps", "why", "-f", "js"), {"json", "jsonl"})
        for command in commands("tesker-apps") - {"list", "dock", "make", "watch", "encode", "help"}:
            self.assertEqual(bash("tesker-apps", command, "--format", "="), {"table", "json", "jsonl"}, command)
        self.assertEqual(bash("tesker-apps", "watch", "--format", "="), {"table", "jsonl"})
        self.assertEqual(bash("tesker-apps", "check", "--kind", ""), {"list", "registry", "header"})
        self.assertEqual(bash("tesker-apps", "types", "--in", ""), set())
        for before in (("types",), ("--color", "never", "types"), ("--color", "=", "never", "types"), ()):
            self.assertEqual(bash("tesker-apps", *before, "--color", "=", ""), {"auto", "always", "never"})
        self.assertEqual(bash("tesker-apps", "--color", "never", "types", "-"), bash("tesker-apps", "types", "-"))
        self.assertEqual(bash("tesker-apps", "-v", "list", "--cpu", ""), processors())
        self.assertEqual(bash("tesker-apps", "list", "--save", ""), set())
        self.assertEqual(bash("tesker-fileop", "--program", ""), {"rm=", "tar=", "compress=", "uncompress="})
        self.assertEqual(bash("tesker-fileop", "--program", "=", "t"), {"tar="})
        self.assertEqual(bash("tesker-fileop", "--program", "tar", "=", "/"), set())
        self.assertEqual(bash("tesker-fileop", "--program", "tar", "=", "/bin/tar", "unt"), {"untar"})

    def test_the_words_that_are_offered_are_taken(self):
        for word in bash("tesker-apps", "list", "--format", ""):
            status, _ = run("tesker-apps", "list", "--format", word, "--tool", "/dev/null/none", "/dev")
            self.assertEqual(status, 4, word)  # 2 would be a usage error
        for command in (("list", "--tool", "/dev/null/none", "/dev"), ("decode", "/dev/null/none"),
                        ("handlers", "x", "--from", "/dev/null/none"), ("types", "--from", "/dev/null/none"),
                        ("services", "--from", "/dev/null/none"), ("show", "x", "--from", "/dev/null/none"),
                        ("prefer", "x", "x", "--from", "/dev/null/none"), ("diff", "/dev/null/none")):
            keys = bash("tesker-apps", command[0], "--sort", "")
            self.assertEqual(keys, sort_keys(command[0]), command[0])
            for key in keys:
                self.assertEqual(run("tesker-apps", *command, "--sort", key)[0], 4, key)
        for command in (("decode", "/dev/null/none"), ("check", "/dev/null/none"), ("types", "--from", "/dev/null/none")):
            for word in bash("tesker-apps", command[0], "--format", ""):
                self.assertEqual(run("tesker-apps", *command, "--format", word)[0], 4, word)
            self.assertEqual(run("tesker-apps", *command, "--format", "raw")[0], 2)
        for key in bash("tesker-fileop", "--program", ""):
            programs = ("--program", "rm=/bin/true", "--program", f"{key}/bin/true")
            self.assertEqual(run("tesker-fileop", *programs, "destroy", "/dev/null/none")[0], 0, key)


class OtherShells(unittest.TestCase):
    def test_zsh_has_the_options_commands_and_processors(self):
        for program in NAMES:
            text = completion_file(program, "zsh").read_text()
            # {-h,--help}'[...]' and '--format=[...]...'
            self.assertEqual(set(re.findall(r"(--?[a-z][\w-]*)(?=,|\}|=?\[)", text)), all_options(program))
            self.assertEqual(set(re.findall(r"^    '([a-z]+):", text, re.M)), commands(program))
        words = re.search(r"processors=\((.*?)\)", completion_file("tesker-apps", "zsh").read_text(), re.S).group(1)
        self.assertEqual(set(words.split()), processors())
        words = re.search(r"  codes=\((.*?)\)", completion_file("tesker-apps", "zsh").read_text(), re.S).group(1)
        self.assertEqual(set(words.split()), codes())

    def test_fish_has_the_options_commands_and_processors(self):
        for program in NAMES:
            lines = completion_file(program, "fish").read_text().replace("\\\n", " ")
            own = "\n".join(re.findall(r"^complete .*", lines, re.M))
            named = {"-" + name for name in re.findall(r" -s (\w)", own)} | {"--" + name for name in re.findall(r" -l (\S+)", own)}
            self.assertEqual(named, all_options(program))
            self.assertEqual(set(re.findall(r" -f -a (\w+)", own)), commands(program))
            self.assertEqual(set(re.search(r"^set -l commands (.*)", lines, re.M).group(1).split()), commands(program))
        words = re.search(r"^set -l processors (.*)", completion_file("tesker-apps", "fish").read_text().replace("\\\n", " "), re.M).group(1)
        self.assertEqual(set(words.split()), processors())
        words = re.search(r"^set -l codes (.*)", completion_file("tesker-apps", "fish").read_text().replace("\\\n", " "), re.M).group(1)
        self.assertEqual(set(words.split()), codes())


unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
