"""The examples of systemd units: their form, and how much they let a run touch."""

import re
import shutil
import tempfile
import unittest

import support
from support import SOURCE, WORK, options, run

UNITS = SOURCE / "packaging/systemd"

# The figures that docs/administration.md tells, from 0 (touches nothing) to 10.
EXPOSURE = {"tolm-collect.service": 1.4, "user/tolm-collect.service": 2.4}


class UnitsTest(unittest.TestCase):
    def test_the_units_are_well_formed(self):
        WORK.mkdir(parents=True, exist_ok=True)
        for name in ("", "user"):
            folder = tempfile.mkdtemp(prefix="units", dir=WORK)
            self.addCleanup(shutil.rmtree, folder)
            for unit in (UNITS / name).glob("tolm-collect.*"):
                # The program and the pages aren't installed on the machine of the test.
                text = unit.read_text(encoding="utf-8")
                text = text.replace("ExecStart=/usr/bin/tmtolm", "ExecStart=/bin/true")
                text = re.sub("Documentation=.*", "", text)
                with open(f"{folder}/{unit.name}", "w", encoding="utf-8") as file:
                    file.write(text)
            # Only the calendar and the settings are looked at: nothing is started.
            result = run(["systemd-analyze", "verify", "--man=no", "--recursive-errors=one",
                          f"{folder}/tolm-collect.service", f"{folder}/tolm-collect.timer"], check=False)
            told = [line for line in result.stdout.splitlines() if "tolm-collect" in line]
            self.assertEqual((told, result.returncode), ([], 0), result.stdout)

    def test_the_exposure_is_what_the_guide_tells(self):
        guide = (SOURCE / "docs/administration.md").read_text(encoding="utf-8")
        for name, figure in EXPOSURE.items():
            text = run(["systemd-analyze", "security", "--offline=true", "--no-pager", UNITS / name]).stdout
            found = float(re.search(r"exposure level for \S+: ([\d.]+)", text)[1])
            self.assertLessEqual(found, figure, name)
            self.assertIn(f"| `{name}` | {figure} |", guide)

    def test_a_unit_calls_collect_with_options_that_it_has(self):
        for name in EXPOSURE:
            for line in (UNITS / name).read_text(encoding="utf-8").splitlines():
                if "ExecStart=" in line:
                    used = set(re.findall(r" (--[a-z-]+)", line))
                    self.assertGreater(len(used), 2)
                    self.assertLessEqual(used, set(options("collect")))


if __name__ == "__main__":
    support.main()
