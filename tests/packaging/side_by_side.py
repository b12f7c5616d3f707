"""Runs the tests of a program side by side, since they wait more than they work.

Each test has a process of its own, and in TOLM_SLOT a number that no other one has at that time, for a place
of its own. The tests are those that unittest finds in the program: what isn't found to have run and
passed has failed. It ends with the seconds of each test, and one count over all of them.

    usage: X_test.py [CLASS.TEST]...
    TOLM_SIDE_BY_SIDE   tests at a time
"""

import concurrent.futures
import contextlib
import os
import queue
import re
import signal
import subprocess
import sys
import time
import unittest

import support

ALONE = "--alone"
# Where this program is killed its tests are too.
BOUND_TO_THIS = ["setpriv", "--pdeathsig", "KILL"]


def names_of(tests):
    """CLASS.TEST of every test in a suite; a test that can't be loaded is one that can't be run."""
    for test in tests:
        if isinstance(test, unittest.TestSuite):
            yield from names_of(test)
        else:
            yield test.id().removeprefix("__main__.")


def run_alone(name, slots, seconds):
    """One test in a process of its own: its name, whether it has passed, its seconds, and what it says."""
    slot = slots.get()
    begin = time.monotonic()
    process = subprocess.Popen([*BOUND_TO_THIS, sys.executable, sys.argv[0], ALONE, name], start_new_session=True,
                               env=dict(os.environ, TOLM_SLOT=str(slot)), stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
    try:
        output, _ = process.communicate(timeout=seconds)
        passed = process.returncode == 0 and re.search(r"^Ran 1 test in \S+\n\nOK$", output, re.M) is not None
        if not passed:
            output += f"\n(the test's process ended with {process.returncode})\n"
    except subprocess.TimeoutExpired:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        passed, output = False, ""
        # What it has started may hold its output open.
        with contextlib.suppress(subprocess.TimeoutExpired):
            output, _ = process.communicate(timeout=10)
        output += f"\n({name} did not end within {seconds} seconds)\n"
    finally:
        slots.put(slot)
    return name, passed, time.monotonic() - begin, output


def run_all(names, at_a_time, seconds):
    """Runs tests in this order, says of each how it went, and returns whether all have passed."""
    slots = queue.SimpleQueue()
    for slot in range(at_a_time):
        slots.put(slot)
    begin, results = time.monotonic(), []
    with concurrent.futures.ThreadPoolExecutor(at_a_time) as pool:
        started = [pool.submit(run_alone, name, slots, seconds) for name in names]
        for ended in concurrent.futures.as_completed(started):
            name, passed, took, output = ended.result()
            results.append((took, name, passed))
            print(f"{name} ... {'ok' if passed else 'FAILED'}", flush=True)
            if not passed:
                print("=" * 70 + f"\n{output}" + "=" * 70, flush=True)
    print("\nSeconds of each test:")
    for took, name, _ in sorted(results, reverse=True):
        print(f"{took:7.1f}  {name}")
    failed = sorted(set(names) - {name for _, name, passed in results if passed})
    print(f"\nRan {len(results)} tests in {time.monotonic() - begin:.1f} s, {at_a_time} at a time\n")
    print(f"FAILED ({len(failed)} of {len(names)}): {', '.join(failed)}" if failed or not names else "OK", flush=True)
    return bool(names) and not failed


def main(longest=(), at_a_time=3, seconds=600, before=lambda: None):
    """The tests that are named, or all: first the longest, so that none of them ends long behind the others.
    Each gets so many seconds; `before` is called once, ahead of all of them."""
    if sys.argv[1:2] == [ALONE]:
        unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
    support.need_program()
    loader = unittest.defaultTestLoader
    every = list(names_of(loader.loadTestsFromModule(sys.modules["__main__"])))
    unknown = [name for name in [*longest, *sys.argv[1:]] if name not in every]
    if unknown:
        sys.exit(f"There are no such tests: {', '.join(unknown)}")
    names = sys.argv[1:] or [*longest, *(name for name in every if name not in longest)]
    before()
    at_a_time = int(os.environ.get("TOLM_SIDE_BY_SIDE", at_a_time))
    sys.exit(0 if run_all(names, at_a_time, seconds) else 1)
