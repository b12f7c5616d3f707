"""The manual pages: their form, and that they tell the options that the programs have."""

import re
import unittest

import support
from support import SOURCE, help_text, options, run, subcommands

PAGES = SOURCE / "packaging/man"


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


if __name__ == "__main__":
    support.main()
