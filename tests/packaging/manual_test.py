"""The manual pages: their form, and that they tell the options that the programs have."""

import os
import re
import signal
import subprocess
import unittest

import support
from support import PROGRAMS, SOURCE, help_text, options, run, subcommands

PAGES = SOURCE / "packaging/man"
WIZARD = PROGRAMS / "tmtolmui"


def told():
    """What tmtolm.1 tells: a set of options for each subcommand, "" for the program's own."""
    found, current, inside = {"": set()}, "", False
    for line in (PAGES / "tmtolm.1").read_text(encoding="utf-8").splitlines():
        if line.startswith(".Sh "):
            inside, current = line == ".Sh DESCRIPTION", ""
        elif inside and line.startswith(".Ss "):
            current = line.split()[1]
            found[current] = set()
        elif inside and line.startswith(".It Fl "):
            # ".It Fl o , Fl -output Ar FILE": every flag of the line.
            found[current] |= {"-" + flag for flag in re.findall(r"\bFl (\S+)", line)}
    return found


class ManualTest(unittest.TestCase):
    maxDiff = None

    def test_every_page_is_clean(self):
        pages = sorted(PAGES.glob("*.[0-9]"))
        self.assertEqual([page.name for page in pages],
                         ["tmtolm.1", "tmtolmui.1", "tolm-document.5", "tolm-request.5"])
        for page in pages:
            with self.subTest(page.name):
                result = run(["mandoc", "-T", "lint", page.name], check=False, cwd=PAGES)
                self.assertEqual((result.stdout, result.returncode), ("", 0))

    def test_lint_sees_a_fault(self):
        broken = (PAGES / "tmtolm.1").read_text(encoding="utf-8").replace(".It Fl -version", ".Xx Fl -version")
        result = run(["mandoc", "-T", "lint"], check=False, input=broken, cwd=PAGES)
        self.assertNotEqual(result.returncode, 0)

    def test_the_page_tells_every_subcommand(self):
        self.assertEqual(set(told()) - {""}, set(subcommands()))

    def test_the_page_tells_the_options_of_every_subcommand(self):
        page = told()
        self.assertGreater(len(subcommands()), 3)
        # The help of a subcommand is told once, for all of them.
        self.assertEqual(page[""], set(options()))
        for subcommand in subcommands():
            with self.subTest(subcommand):
                self.assertEqual(page.get(subcommand, set()), set(options(subcommand)) - {"-h", "--help"})

    def test_the_page_tells_the_type_of_every_value(self):
        text = (PAGES / "tmtolm.1").read_text(encoding="utf-8")
        for subcommand in subcommands():
            part = text.split(f"\n.Ss {subcommand}\n", 1)[-1]
            part = re.split(r"\n\.S[sh] ", part)[0]
            for option, value in options(subcommand).items():
                if value:
                    with self.subTest(f"{subcommand} {option}"):
                        self.assertRegex(part, rf"\n\.It (.* )?Fl {re.escape(option[1:])}( .*)? Ar {value}\b")

    def test_the_page_tells_every_exit_status(self):
        text = (PAGES / "tmtolm.1").read_text(encoding="utf-8")
        part = text.split("\n.Sh EXIT STATUS\n")[1].split("\n.Sh ")[0]
        paged = set(re.findall(r"\n\.It (\d+)", part))
        helped = set(re.findall(r"(?:Exit status: |; )(\d) ", help_text().replace("\n", " ")))
        self.assertLessEqual({"0", "1", "2"}, helped)
        self.assertEqual(paged, helped)

    def test_the_documents_of_the_examples_have_no_faults(self):
        for page in ("tolm-document.5", "tolm-request.5"):
            with self.subTest(page):
                text = (PAGES / page).read_text(encoding="utf-8")
                example = text.split(".Bd -literal -offset indent\n")[1].split(".Ed")[0]
                file = support.WORK / (page + ".xml")
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(example, encoding="utf-8")
                run([support.TMTOLM, "check", file])


class WizardManualTest(unittest.TestCase):
    """The page of the wizard, held against the program and its entry in the menu."""

    def setUp(self):
        self.text = (PAGES / "tmtolmui.1").read_text(encoding="utf-8")

    def part(self, name):
        return self.text.split(f"\n.Sh {name}\n")[1].split("\n.Sh ")[0]

    @staticmethod
    def environment():
        shown = ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")
        return {name: value for name, value in os.environ.items() if name not in shown}

    def opened(self, *arguments):
        """The exit status of a wizard that has opened its window and then was told to end."""
        with subprocess.Popen([WIZARD, "-platform", "offscreen", *arguments], env=self.environment(),
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as child:
            try:
                # It takes the signal once the window is there.
                for _ in range(1200):
                    with open(f"/proc/{child.pid}/status", encoding="utf-8") as file:
                        caught = int(re.search("^SigCgt:\t(.*)$", file.read(), re.M)[1], 16)
                    if caught & 1 << signal.SIGTERM - 1 or child.poll() is not None:
                        break
                    signal.sigtimedwait([signal.SIGUSR1], 0.05)
                child.terminate()
                return child.wait(timeout=120)
            finally:
                child.kill()

    def test_the_page_tells_the_exit_status(self):
        self.assertEqual(self.part("EXIT STATUS").split("\n")[0],
                         "Always 0, unless the window cannot be opened.")
        self.assertEqual(self.opened(), 0)
        result = run([WIZARD], check=False, timeout=120, env=self.environment())
        self.assertNotEqual(result.returncode, 0)

    def test_the_page_tells_the_options(self):
        self.assertEqual(set(re.findall(r"\.Fl (\S+)", self.text)), {"platform"})
        self.assertIn("The wizard has no options of its own.", self.text)
        # That of the toolkit is read, and what would be an option of its own is none.
        result = run([WIZARD, "-platform", "nowhere"], check=False, timeout=120, env=self.environment())
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("nowhere", result.stdout)
        for option in ("--help", "--version", "--bundle", "--request"):
            with self.subTest(option):
                self.assertEqual(self.opened(option), 0)

    def test_the_page_tells_the_entry_of_the_menu(self):
        entry = (SOURCE / "packaging/com.halvo.tessarmont.tolm.desktop.in").read_text(encoding="utf-8")
        name = re.search("^Name=(.*)$", entry, re.M)[1]
        self.assertIn(f".Dq {name} .\n", self.text)
        program = re.search("^Exec=(.*)$", entry, re.M)[1].replace("@CMAKE_INSTALL_PREFIX@", "/opt/halvo/tessarmont")
        self.assertEqual(self.part("SYNOPSIS").strip(), f".Nm {program}")

    def test_the_page_names_places_and_variables_that_the_program_has(self):
        data = WIZARD.read_bytes()
        variables = re.findall(r"\w+", " ".join(re.findall(r"\.It Ev (.*)", self.part("ENVIRONMENT"))))
        self.assertEqual(variables, ["HOME", "LC_ALL", "LC_MESSAGES", "LANG"])
        for variable in variables:
            self.assertRegex(data, rb"[\0$]" + variable.encode() + rb"[\0/]", variable)
        folders = re.findall(r"\.Pa (/opt/\S+/)\n", self.text)
        self.assertEqual(folders, ["/opt/halvo/tessarmont/tolm/xml/config/"])
        for text in (b"/opt/halvo/tessarmont/", b"xml/config/", b"$HOME/Desktop/", b"TOLMBundle", b"l10n", b"LC_MESSAGES",
                     b"Tessarmont"):
            self.assertIn(text, data)


if __name__ == "__main__":
    support.main()
