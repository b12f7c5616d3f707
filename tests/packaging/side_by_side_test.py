"""The runner of tests side by side, with programs of tests that pass, fail, hang and vanish."""

import os
import pathlib
import shutil
import sys
import tempfile
import unittest

import support
from support import WORK, run

PROGRAM = """import os, sys, time, unittest
sys.path.insert(0, {folder!r})
import side_by_side

class SampleTest(unittest.TestCase):
{tests}

if __name__ == "__main__":
    side_by_side.main({longest!r}, at_a_time=2, seconds={seconds})
"""

PASSES = """    def test_passes(self):
        pass
"""
FAILS = """    def test_fails(self):
        print("before it")
        self.assertEqual("this", "that")
"""
HANGS = """    def test_hangs(self):
        print("so far", flush=True)
        time.sleep(3600)
"""
VANISHES = """    def test_vanishes(self):
        os._exit(0)
"""
MEETS = """    def test_meets_{this}(self):
        open({folder!r} + "/{this}", "w").close()
        open({folder!r} + "/slot" + os.environ["TOLM_SLOT"], "x").close()
        end = time.monotonic() + 60
        while not os.path.exists({folder!r} + "/{other}"):
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)
"""


class SideBySideTest(unittest.TestCase):
    def setUp(self):
        WORK.mkdir(parents=True, exist_ok=True)
        self.folder = tempfile.mkdtemp(prefix="side-by-side", dir=WORK)
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def run_tests(self, *tests, names=(), longest=(), seconds=90):
        program = pathlib.Path(self.folder) / "sample_test.py"
        program.write_text(PROGRAM.format(folder=os.path.dirname(support.__file__), tests="\n".join(tests), longest=longest,
                                          seconds=seconds),
                           encoding="utf-8")
        return run([sys.executable, program, *names], check=False, timeout=100)

    def test_tests_that_pass_are_counted(self):
        result = self.run_tests(PASSES, PASSES.replace("passes", "passes_too"))
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertRegex(result.stdout, r"Ran 2 tests in \S+ s, 2 at a time\n\nOK\n$")
        self.assertRegex(result.stdout, r"Seconds of each test:\n +\d+\.\d  SampleTest\.test_passes")

    def test_a_failure_is_shown_whole_and_ends_the_run_with_one(self):
        result = self.run_tests(PASSES, FAILS)
        self.assertEqual(result.returncode, 1)
        for text in ("before it\n", "Traceback", "'this' != 'that'", "FAILED (1 of 2): SampleTest.test_fails\n"):
            self.assertIn(text, result.stdout)

    def test_a_test_that_hangs_is_ended_and_what_it_has_said_is_shown(self):
        # The test that passes has the same limit, which is raised until Python has begun and ended within it.
        for seconds in (4, 16, 64):
            result = self.run_tests(PASSES, HANGS, seconds=seconds)
            if "so far\n" in result.stdout and "test_passes ... ok\n" in result.stdout:
                break
        self.assertEqual(result.returncode, 1)
        for text in ("so far\n", f"(SampleTest.test_hangs did not end within {seconds} seconds)", "FAILED (1 of 2)"):
            self.assertIn(text, result.stdout)

    def test_a_test_that_ends_without_a_word_has_failed(self):
        result = self.run_tests(PASSES, VANISHES)
        self.assertEqual(result.returncode, 1)
        self.assertIn("FAILED (1 of 2): SampleTest.test_vanishes\n", result.stdout)

    def test_a_program_without_tests_has_failed(self):
        result = self.run_tests("    pass")
        self.assertEqual(result.returncode, 1)
        self.assertIn("FAILED (0 of 0)", result.stdout)

    def test_tests_run_at_the_same_time_and_have_different_numbers(self):
        result = self.run_tests(*(MEETS.format(folder=self.folder, this=this, other=other)
                                  for this, other in (("one", "two"), ("two", "one"))))
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertLessEqual({"slot0", "slot1"}, set(os.listdir(self.folder)))

    def test_only_the_tests_that_are_named_run(self):
        result = self.run_tests(PASSES, FAILS, names=["SampleTest.test_passes"])
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertIn("Ran 1 tests", result.stdout)

    def test_a_name_that_no_test_has_is_refused(self):
        for options in ({"names": ["SampleTest.test_none"]}, {"longest": ("SampleTest.test_none",)}):
            result = self.run_tests(PASSES, **options)
            self.assertEqual(result.returncode, 1)
            self.assertIn("There are no such tests: SampleTest.test_none", result.stdout)


if __name__ == "__main__":
    support.main()
