"""Completion, in the shells themselves: each is started on a terminal, and keys are pressed."""

import os
import pathlib
import pty
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

import support
from support import PROGRAMS, SOURCE, options, run, subcommands

COMPLETION = SOURCE / "packaging/completion"
PROMPT = "READY>"


class Shell:
    """A shell on a terminal of its own. Each wait is bounded, and a shell that hangs is killed."""

    def __init__(self, command, environment, folder):
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)
        self.text = ""
        self.patience = 120
        self.read_until(PROMPT)

    def read_until(self, mark):
        """What came up to `mark`, without the terminal's control sequences; the rest is kept."""
        end = time.monotonic() + self.patience
        while time.monotonic() < end:
            plain = re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]|\x1b[=>]", "", self.text)
            if mark in plain:
                before, _, self.text = plain.partition(mark)
                return before + mark
            ready, _, _ = select.select([self.terminal], [], [], 0.2)
            if ready:
                try:
                    data = os.read(self.terminal, 65536)
                except OSError:
                    break
                self.text += data.decode(errors="replace")
        # The tests that come behind aren't to wait for the same silence each.
        self.patience = 1
        raise AssertionError(f"{mark!r} didn't come; what came was {self.text!r}")

    def line(self, keys):
        """Presses `keys`, makes the line the argument of a command that prints it, and gives it back."""
        os.write(self.terminal, keys.encode())
        # Home, a command in front, and the end of the line behind a mark.
        os.write(self.terminal, b"\x01print_words \x05 END\r")
        text = self.read_until("<END>")
        self.read_until(PROMPT)
        words = re.findall(r"<([^<>]*)>", text)
        return words[:words.index("END")]

    def close(self):
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        os.close(self.terminal)


class CompletionCase:
    """The tests; a class a shell says how candidates are got."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="completion"))
        (cls.folder / "documents").mkdir()
        for name in ("one.xml", "two.xml", "other.txt", "old.zip", "old.zip.gpg", "password"):
            (cls.folder / name).write_text("x", encoding="utf-8")
        cls.environment = {"PATH": f"{cls.folder / 'bin'}:{os.environ['PATH']}", "HOME": str(cls.folder / "home"),
                           "USER": "tester", "TERM": "xterm", "LANG": "C.UTF-8", "COLUMNS": "200",
                           "XDG_CONFIG_HOME": str(cls.folder / "home")}
        (cls.folder / "home").mkdir()
        (cls.folder / "bin").mkdir()
        # The program, with its plan taken from the samples: the machine needs no installed documents.
        wrapper = cls.folder / "bin/tmtolm"
        wrapper.write_text(f"""#!/bin/sh
if [ "$1" = plan ] && [ "$2" = --json ]; then
  exec {PROGRAMS}/tmtolm plan --config {SOURCE}/samples --json
fi
exec {PROGRAMS}/tmtolm "$@"
""", encoding="utf-8")
        wrapper.chmod(0o755)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def files(self, line):
        """Candidates that are files, as names."""
        return {pathlib.PurePath(word).name for word in self.candidates(line)}

    def test_subcommands(self):
        self.assertEqual(self.candidates("tmtolm "), set(subcommands()))
        self.assertEqual(self.candidates("tmtolm cl"), {"clear"})

    def test_options_of_the_program(self):
        self.assertEqual(self.candidates("tmtolm --"), {o for o in options() if o.startswith("--")})

    def test_options_of_every_subcommand(self):
        for subcommand in subcommands():
            with self.subTest(subcommand):
                self.assertEqual(self.candidates(f"tmtolm {subcommand} --"),
                                 {o for o in options(subcommand) if o.startswith("--")})

    def test_a_request_is_a_document(self):
        self.assertLessEqual({"one.xml", "two.xml"}, self.files("tmtolm collect --request "))
        self.assertNotIn("old.zip", self.files("tmtolm collect --request ./o"))

    def test_a_value_behind_an_equals_sign(self):
        found = {word.rpartition("=")[2] for word in self.candidates("tmtolm plan --request=tw")}
        self.assertEqual(found, {"two.xml"})

    def test_a_bundle_is_one_that_can_be_read(self):
        self.assertEqual(self.files("tmtolm show ./ol"), {"old.zip"})

    def test_any_file_may_hold_a_password(self):
        self.assertIn("password", self.files("tmtolm collect --password-file pass"))

    def test_a_folder_is_asked_for(self):
        self.assertEqual(self.files("tmtolm plan --config do"), {"documents"})
        self.assertEqual(self.candidates("tmtolm plan --config pass"), set())

    def test_every_positional_of_check_is_a_document(self):
        self.assertEqual(self.files("tmtolm check one.xml two.xml on"), {"one.xml"})

    def test_item_ids_of_the_installed_documents(self):
        plan = run([support.TMTOLM, "plan", "--config", SOURCE / "samples", "--json"]).stdout
        ids = set(re.findall(r'"id": "([^"\\]*)"', plan))
        self.assertGreater(len(ids), 5)
        wanted = [(s, o) for s in subcommands() for o, value in options(s).items() if value == "ID"]
        for subcommand, option in wanted:
            with self.subTest(f"{subcommand} {option}"):
                self.assertEqual(self.candidates(f"tmtolm {subcommand} {option} "), ids)

    def test_a_program_that_is_missing_completes_nothing(self):
        self.assertEqual(self.candidates("/nonexistent/tmtolm coll"), set())


class BashCompletionTest(CompletionCase, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        startup = cls.folder / "bashrc"
        startup.write_text(f"""PS1='{PROMPT}'
source /usr/share/bash-completion/bash_completion
source {COMPLETION}/tmtolm
print_words() {{ printf '\\n'; printf '<%s>' "$@"; printf '\\n'; }}
bind 'set bell-style none'
bind 'set enable-bracketed-paste off'
""", encoding="utf-8")
        cls.shell = Shell(["bash", "--noprofile", "--rcfile", str(startup), "-i"], cls.environment, cls.folder)

    @classmethod
    def tearDownClass(cls):
        cls.shell.close()
        super().tearDownClass()

    def candidates(self, line):
        # Escape and an asterisk insert all completions of the word.
        words = self.shell.line(line + "\x1b*")
        typed = line.split(" ")
        rest = words[len(typed) - 1:]
        return set() if rest == typed[-1:] or rest == [] else set(rest)

    def test_a_key_completes_the_line(self):
        self.assertEqual(self.shell.line("tmtolm coll\t--req\ttw\t"),
                         ["tmtolm", "collect", "--request", "two.xml"])


class ZshCompletionTest(CompletionCase, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        (cls.folder / "home/.zshrc").write_text(f"""PS1='{PROMPT}'
unsetopt zle_bracketed_paste 2>/dev/null
unset zle_bracketed_paste
fpath=({COMPLETION} $fpath)
autoload -Uz compinit
compinit -u -D
bindkey -e
print_words() {{ printf '\\n'; printf '<%s>' "$@"; printf '\\n'; }}
zle -C all complete-word _generic
bindkey '^Xa' all
zstyle ':completion:all::::' completer _all_matches _complete
zstyle ':completion:all:*' old-matches false
zstyle ':completion:all:*' insert yes
zstyle ':completion:*' format ''
""", encoding="utf-8")
        environment = dict(cls.environment, ZDOTDIR=str(cls.folder / "home"))
        cls.shell = Shell(["zsh", "-d", "-i"], environment, cls.folder)

    @classmethod
    def tearDownClass(cls):
        cls.shell.close()
        super().tearDownClass()

    def candidates(self, line):
        words = self.shell.line(line + "\x18a")
        typed = line.split(" ")
        rest = words[len(typed) - 1:]
        return set() if rest == typed[-1:] or rest == [] else set(rest)

    def test_a_key_completes_the_line(self):
        self.assertEqual(self.shell.line("tmtolm coll\t--req\ttw\t"),
                         ["tmtolm", "collect", "--request", "two.xml"])


class FishCompletionTest(CompletionCase, unittest.TestCase):
    def candidates(self, line):
        script = f"source {COMPLETION}/tmtolm.fish; complete -C {line!r}"
        text = run(["fish", "--no-config", "-c", script], env=self.environment, cwd=self.folder,
                   stderr=subprocess.PIPE).stdout
        return {row.split("\t")[0].rstrip("/") for row in text.splitlines()}

    def test_what_an_option_does_stands_beside_it(self):
        script = f"source {COMPLETION}/tmtolm.fish; complete -C 'tmtolm clear --'"
        text = run(["fish", "--no-config", "-c", script], env=self.environment, cwd=self.folder).stdout
        self.assertIn("--quiet\tPrint nothing unless the run fails", text.splitlines())


if __name__ == "__main__":
    support.main()
