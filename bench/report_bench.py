#!/usr/bin/env python3
"""Measures `tmtolm report` against its bounds.

    bench/report_bench.py TMTOLM [--runs N] [--megabytes N]

TMTOLM is the release build's program. Works in a folder of its own below the system's temporary one: makes a bundle of
200 MB of log text in 200 files, and the page of it. Exits with 1 where a figure is beyond its bound, on a machine with
nothing else to do.

  time    the median of the runs: at most 3 s
  memory  the largest peak of the runs: at most 64 MiB
  page    its size: at most 25 MiB
"""

import argparse
import os
import statistics
import sys
import tempfile

from redact_bench import Judge, make_bundle, measured

SECONDS = 3
MEMORY_MIB = 64
PAGE_MIB = 25


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--megabytes", type=int, default=200)
    arguments = parser.parse_args()
    judge = Judge()
    with tempfile.TemporaryDirectory() as folder:
        bundle, page = f"{folder}/in.zip", f"{folder}/out.html"
        make_bundle(bundle, arguments.megabytes, 1000000)
        runs = [measured([os.path.abspath(arguments.program), "report", bundle, "-o", page]) for _ in range(arguments.runs)]
        what = f"{arguments.megabytes} MB of text"
        judge.at_most(f"time: {what}", statistics.median(run[0] for run in runs), SECONDS, "s")
        judge.at_most(f"memory: {what}", max(run[2] for run in runs), MEMORY_MIB, "MiB")
        judge.at_most(f"page: {what}", os.path.getsize(page) / 2**20, PAGE_MIB, "MiB")
        print(f"        (processor time {statistics.median(run[1] for run in runs):.2f} s)")
    sys.exit(1 if judge.failed else 0)


if __name__ == "__main__":
    main()
