#!/usr/bin/python3
"""Whole runs of tmtolm on a machine that refuses, and among users that mean harm.

Prints a table of what was done and how often something happened that may not; exits with 1 where anything
did. Each part can be run alone; --short makes a sample of each that takes seconds.
"""

import argparse
import errno
import importlib
import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

PARTS = ("calls", "memory", "signals", "disk", "limits", "parallel", "races")


class Table:
    """Counts runs and faults by row; keeps the first examples of each fault."""

    EXAMPLES = 6

    def __init__(self):
        self.rows = {}
        self.examples = {}

    def add(self, row, faults, what):
        counts = self.rows.setdefault(row, {"runs": 0})
        counts["runs"] += 1
        for fault in faults:
            counts[fault] = counts.get(fault, 0) + 1
            kept = self.examples.setdefault((row, fault), [])
            if len(kept) < self.EXAMPLES or VERBOSE:
                kept.append(what)

    def faults(self):
        return sum(count for counts in self.rows.values() for name, count in counts.items() if name != "runs")

    def print(self, names):
        head = ["part", "runs", *names]
        lines = [head]
        for row, counts in self.rows.items():
            lines.append([row, str(counts["runs"]), *(str(counts.get(name, 0)) for name in names)])
        totals = [sum(int(line[i]) for line in lines[1:]) for i in range(1, len(head))]
        lines.append(["all", *map(str, totals)])
        widths = [max(len(line[i]) for line in lines) for i in range(len(head))]
        for line in lines:
            print("  ".join(cell.ljust(width) if i == 0 else cell.rjust(width) for i, (cell, width) in
                            enumerate(zip(line, widths))))
        for (row, fault), whats in self.examples.items():
            print(f"\n{row}: {fault}:")
            for what in whats:
                print(f"  {what}")


VERBOSE = False


def main():
    global VERBOSE
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--build", required=True, help="the build folder, such as build/dev")
    arguments.add_argument("--short", action="store_true", help="a sample of each part")
    arguments.add_argument("--seed", type=int, default=None, help="of what is drawn; noted in the output")
    arguments.add_argument("--all-examples", action="store_true", help="list every fault and not the first few")
    arguments.add_argument("--only", default="", help="rows whose name holds this text")
    arguments.add_argument("parts", nargs="*", metavar="PART", help=f"of {', '.join(PARTS)}; all without one")
    given = arguments.parse_args()
    VERBOSE = given.all_examples
    unknown = set(given.parts) - set(PARTS)
    if unknown:
        arguments.error(f"no such part: {', '.join(sorted(unknown))}")
    seed = given.seed if given.seed is not None else time.time_ns() % 1000000
    print(f"seed {seed}", flush=True)

    # The modules first: they may lie in a folder that the private root hides.
    import privateroot
    import runs
    parts = {part: importlib.import_module(f"part_{part}") for part in given.parts or PARTS}
    build = os.path.abspath(given.build)
    privateroot.enter([f"{build}/bin/tmtolm", f"{build}/tests/callInjector", f"{build}/tests/failingMalloc.so"])
    runs.prepare()
    table = Table()
    for part, module in parts.items():
        began = time.monotonic()
        module.go(table, given.short, seed, given.only)
        print(f"{part}: {time.monotonic() - began:.0f} s", flush=True)
    table.print(runs.FAULTS)
    sys.exit(1 if table.faults() else 0)


if __name__ == "__main__":
    main()
