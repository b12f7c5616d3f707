#!/usr/bin/env python3
"""What scripts/fetch-zig tells of each way in which npm fails, with a program in npm's place."""

import os
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Answers the first question, and packs what isn't the compiler, unless it is told to fail.
NPM = """#!/bin/sh
for argument; do
  case "$argument" in
    view | pack) what="$argument" ;;
  esac
done
echo "$what" >>"$NPM_CALLS"
if [ "$what" = "$NPM_FAILS" ]; then
  [ -z "$NPM_CODE" ] || echo "npm $NPM_MARK code $NPM_CODE" >&2
  exit 1
fi
[ "$what" = view ] || echo "not the compiler" >some.tgz
"""


class FetchZigTest(unittest.TestCase):
    def setUp(self):
        self.place = tempfile.TemporaryDirectory()
        self.folder = pathlib.Path(self.place.name)
        (self.folder / "bin").mkdir()
        (self.folder / "bin/npm").write_text(NPM, encoding="utf-8")
        (self.folder / "bin/npm").chmod(0o755)

    def tearDown(self):
        self.place.cleanup()

    def fetch(self, fails="", code="", mark="error"):
        environment = dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}", NPM_FAILS=fails, NPM_CODE=code,
                           NPM_MARK=mark, NPM_CALLS=f"{self.folder}/calls")
        return subprocess.run([ROOT / "scripts/fetch-zig", self.folder / "zig"], env=environment, text=True,
                              capture_output=True, timeout=100, check=False)

    def calls(self):
        return (self.folder / "calls").read_text(encoding="utf-8").split()

    def test_a_registry_that_cant_be_reached_has_a_status_of_its_own(self):
        for code in ("ECONNREFUSED", "ENOTFOUND", "EAI_AGAIN", "ETIMEDOUT", "FETCH_ERROR", "E503"):
            with self.subTest(code=code):
                done = self.fetch("view", code)
                self.assertEqual(done.returncode, 69)
                self.assertIn(f"the npm registry can't be reached ({code})", done.stderr)
        self.assertEqual(set(self.calls()), {"view"})

    def test_the_older_npms_form_of_a_failure_is_read_too(self):
        self.assertEqual(self.fetch("view", "ENOTFOUND", "ERR!").returncode, 69)

    def test_a_registry_that_goes_away_in_between_is_one_that_cant_be_reached(self):
        done = self.fetch("pack", "ECONNRESET")
        self.assertEqual(done.returncode, 69)
        self.assertEqual(self.calls(), ["view", "pack"])

    def test_a_registry_without_the_package_is_a_fault(self):
        done = self.fetch("view", "E404")
        self.assertEqual(done.returncode, 1)
        self.assertIn("the npm registry doesn't have", done.stderr)

    def test_any_other_failure_is_a_fault(self):
        for code in ("ENOSPC", ""):
            with self.subTest(code=code):
                done = self.fetch("pack", code)
                self.assertEqual(done.returncode, 1)
                self.assertIn("npm couldn't fetch", done.stderr)

    def test_a_package_of_another_sum_is_refused_and_nothing_of_it_stays(self):
        done = self.fetch()
        self.assertEqual(done.returncode, 1)
        self.assertIn("and not the pinned", done.stderr)
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["bin", "calls"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
