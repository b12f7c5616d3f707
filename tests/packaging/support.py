"""What the tests of packages, pages and completions share.

Each *_test.py is a program for ctest, which hands it places in its environment: the source tree, the
programs of the build, the folder with the built packages, and a folder to work in.
"""

import os
import pathlib
import re
import subprocess
import sys
import unittest

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAMS = pathlib.Path(os.environ.get("TOLM_PROGRAMS", SOURCE / "build/dev/bin"))
PACKAGES = pathlib.Path(os.environ.get("TOLM_PACKAGES", SOURCE / "build/packages"))
WORK = pathlib.Path(os.environ.get("TOLM_WORK", SOURCE / "build/dev/packaging"))

TMTOLM = str(PROGRAMS / "tmtolm")


def run(command, timeout=120, check=True, **options):
    """Runs a program to its end; its output is text, both streams in one where `err` isn't asked for."""
    options.setdefault("stdout", subprocess.PIPE)
    options.setdefault("stderr", subprocess.STDOUT)
    options.setdefault("stdin", subprocess.DEVNULL if "input" not in options else None)
    if options["stdin"] is None:
        del options["stdin"]
    result = subprocess.run([str(word) for word in command], timeout=timeout, text=True, errors="replace",
                            check=False, **options)
    if check and result.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))} ended with {result.returncode}:\n{result.stdout}")
    return result


def help_text(*subcommand):
    """`tmtolm [SUBCOMMAND] --help`."""
    return run([TMTOLM, *subcommand, "--help"], stderr=subprocess.DEVNULL).stdout


def section(text, name):
    """The lines of a section of a help text that begin a row."""
    rows, inside = [], False
    for line in text.splitlines():
        if re.fullmatch(r"[A-Z][a-z]*:", line):
            inside = line == name + ":"
        elif inside and re.match(r"  \S", line):
            rows.append(line.strip())
    return rows


def subcommands():
    return [row.split()[0] for row in section(help_text(), "Subcommands")]


def options(*subcommand):
    """The options of a subcommand, or of the program, with the types of their values ("" for none)."""
    found = {}
    for row in section(help_text(*subcommand), "Options"):
        words = re.split(r"\s\s+", row)[0].split()
        # "SECONDS:UINT in [1 - 86400]" says what else is looked at.
        value = words[1].split(":")[0] if len(words) > 1 and re.fullmatch("[A-Z]+(:.*)?", words[1]) else ""
        for name in words[0].split(","):
            found[name] = "" if value == "REQUIRED" else value
    return found


def need_program():
    if not os.access(TMTOLM, os.X_OK):
        sys.exit(f"{TMTOLM} isn't there: build first")


def main():
    need_program()
    unittest.main(verbosity=2)
