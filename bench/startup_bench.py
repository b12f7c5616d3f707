#!/usr/bin/env python3
"""Measures the start of two builds of the console program against each other.

    bench/startup_bench.py OLD NEW [--runs N] [--journal] [--instructions]

OLD and NEW are release builds' programs. What is run is `collect` on an empty config folder, which ends as soon as it
has seen that there is nothing to gather. Everything happens in a mount namespace of its own, with empty folders over
/opt, /tmp, /run and the home folder (as root, or with unprivileged user namespaces). The programs take turns; printed
are the medians of processor time, and of the ratio within each pair: bare milliseconds say little.

  --journal       with somebody who listens where a journal does, as on most machines; otherwise there is none, as in
                  most containers
  --instructions  also counts the instructions of one run of each (package valgrind): no other load on the machine
                  changes them
"""

import argparse
import os
import re
import resource  # noqa: F401: wait4() imports it, and by then its folder may be hidden
import socket
import statistics
import subprocess
import sys
import threading

CONFIG_FOLDER = "/opt/halvo/tessarmont/tolm/xml/config"
JOURNAL = "/run/systemd/journal/socket"
ARGUMENTS = ["collect", "--quiet", "--bundle", "/tmp/startup_bench.zip"]
NOTHING_TO_GATHER = 1
WARM_UP = 5


def enter_private_root():
    """Starts this script again inside a mount namespace, and lays empty folders over the fixed places."""
    if os.environ.get("TOLM_BENCH_INSIDE") != "1":
        flags = ["--mount"] if os.geteuid() == 0 else ["--user", "--map-root-user", "--mount"]
        command = ["unshare", *flags, sys.executable, os.path.abspath(__file__), *sys.argv[1:]]
        os.execvpe("unshare", command, dict(os.environ, TOLM_BENCH_INSIDE="1"))


def hide_folders(programs):
    """Mounts empty folders; returns descriptors of the programs, whose places may be hidden then."""
    opened = [os.open(program, os.O_RDONLY) for program in programs]
    for folder in ("/opt", "/run", "/tmp", os.environ.get("HOME", "/root")):
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder], check=True)
    os.makedirs(CONFIG_FOLDER)
    os.chdir("/")
    # Copies side by side: the same file system for both.
    kept = []
    for name, descriptor in zip(("old", "new"), opened):
        path = f"/opt/{name}"
        with open(path, "wb") as copy:
            while block := os.read(descriptor, 1 << 20):
                copy.write(block)
        os.chmod(path, 0o755)
        os.close(descriptor)
        kept.append(path)
    # The folders above the documents are nobody else's to write to.
    os.chmod("/opt", 0o755)
    return kept


def listen_as_journal():
    os.makedirs(os.path.dirname(JOURNAL))
    listener = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    listener.bind(JOURNAL)

    def drain():
        while True:
            listener.recv(1 << 16)

    threading.Thread(target=drain, daemon=True).start()


def processor_time(program):
    """Seconds of one run, its descendants' not counted."""
    with open(os.devnull, "wb") as nowhere:
        process = subprocess.Popen([program, *ARGUMENTS], stdout=nowhere, stderr=nowhere)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != NOTHING_TO_GATHER:
        sys.exit(f"{program} ended with {process.returncode}, not as a run without documents does")
    return usage.ru_utime + usage.ru_stime


def instructions(program):
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", program, *ARGUMENTS]
    said = subprocess.run(command, capture_output=True, text=True, check=False).stderr
    found = re.search(r"Collected : (\d+)", said)
    return int(found.group(1)) if found else sys.exit(f"valgrind counted nothing: {said[-300:]}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("old")
    parser.add_argument("new")
    parser.add_argument("--runs", type=int, default=200)
    parser.add_argument("--journal", action="store_true")
    parser.add_argument("--instructions", action="store_true")
    arguments = parser.parse_args()
    enter_private_root()
    old, new = hide_folders([arguments.old, arguments.new])
    if arguments.journal:
        listen_as_journal()
    pairs = []
    for turn in range(WARM_UP + arguments.runs):
        if turn % 2 == 0:
            pair = (processor_time(old), processor_time(new))
        else:
            second = processor_time(new)
            pair = (processor_time(old), second)
        if turn >= WARM_UP:
            pairs.append(pair)
    medians = [statistics.median(pair[side] for pair in pairs) * 1000 for side in (0, 1)]
    ratio = statistics.median(new_time / old_time for old_time, new_time in pairs)
    where = "with a journal" if arguments.journal else "without a journal"
    print(
        f"start {where}: new / old {ratio:.3f} (median of {len(pairs)} pairs); processor time of all "
        f"{sum(pair[1] for pair in pairs) / sum(pair[0] for pair in pairs):.3f}; "
        f"medians {medians[0]:.2f} ms and {medians[1]:.2f} ms"
    )
    if arguments.instructions:
        counts = (instructions(old), instructions(new))
        print(f"instructions: new / old {counts[1] / counts[0]:.3f} ({counts[0]:,} and {counts[1]:,})")


if __name__ == "__main__":
    main()
