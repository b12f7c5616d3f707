#!/usr/bin/env python3
"""Measures whole runs of the console program against what they could be replaced by.

    bench/collect_bench.py TMTOLM ARCHIVE_FLOOR [--runs N] [--only speed|memory|scale]

TMTOLM is the release build's program, ARCHIVE_FLOOR the bare archive loop of this folder. Everything
happens in a mount namespace of its own, with empty folders over /opt, /tmp and the home folder (as
root, or with unprivileged user namespaces). Prints ratios of runs that take turns on this machine:
bare seconds say little.

  speed   some 200 MB of log text in 2,000 files: collect against the floor and against `zip -9 -r`
  memory  peak memory with one file of 2 GiB, with 4 GiB of a command's output, and with 100,000 small files
  scale   cost per file with 1,000, 10,000 and 100,000 files
"""

import argparse
import os
import random
import resource
import shutil
import statistics
import subprocess
import sys
import time

CONFIG_FOLDER = "/opt/halvo/tessarmont/tolm/xml/config"
SOURCE_FOLDER = "/tmp/bench_source"
BUNDLE = "/tmp/bench.zip"


def enter_private_root(arguments):
    """Starts this script again inside a mount namespace, then hides /opt, /tmp and the home folder."""
    if os.environ.get("TOLM_BENCH_INSIDE") != "1":
        environment = dict(os.environ, TOLM_BENCH_INSIDE="1")
        flags = ["--mount"] if os.geteuid() == 0 else ["--user", "--map-root-user", "--mount"]
        command = ["unshare", *flags, sys.executable, os.path.abspath(__file__), *arguments]
        os.execvpe("unshare", command, environment)


def hide_folders(programs):
    """Mounts empty folders; returns the programs' paths in a place that stays visible."""
    os.makedirs("/var/tmp/tolm_bench", exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/var/tmp/tolm_bench"], check=True)
    kept = []
    for program in programs:
        kept.append(shutil.copy(program, "/var/tmp/tolm_bench/"))
    home = os.environ.get("HOME", "/root")
    for folder in ("/opt", "/tmp", home):
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder], check=True)
    os.chdir("/")
    return kept


def run(command, folder="/"):
    """Runs a command; returns wall seconds, cpu seconds and peak memory in MiB of the process alone."""
    start = time.monotonic()
    process = subprocess.Popen(command, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    complaint = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command[0]} ended with {process.returncode}: {complaint.decode(errors='replace')}")
    return wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def write_document(kind, actions):
    """A document of one item with one kind of actions, each the text between its tags."""
    os.makedirs(CONFIG_FOLDER, exist_ok=True)
    tags = "".join(f"<action>{action}</action>" for action in actions)
    with open(CONFIG_FOLDER + "/bench.xml", "w", encoding="utf-8") as document:
        document.write(
            "<config><configure><title>Bench</title></configure><file id='logs'><description>Logs"
            f"</description><default>true</default><tolm><os opsys='linux'><{kind}>{tags}</{kind}></os></tolm>"
            "</file></config>"
        )


def log_text(generator, size):
    """Log lines such as services write: times, names, numbers, a few words that return."""
    words = ["connected", "gateway", "timeout", "tunnel", "renewed", "lease", "rejected", "route", "peer", "rekey"]
    lines = []
    length = 0
    moment = generator.randrange(10**9)
    while length < size:
        moment += generator.randrange(1000)
        line = (
            f"2026-03-15T10:42:{moment % 60:02d}.{moment % 1000:03d} host tessarmont[{generator.randrange(99999)}]: "
            f"{generator.choice(words)} {generator.choice(words)} 10.{generator.randrange(256)}."
            f"{generator.randrange(256)}.{generator.randrange(256)} id={generator.getrandbits(48):012x}\n"
        )
        lines.append(line)
        length += len(line)
    return "".join(lines)[:size].encode()


def fill(count, size, seed=1):
    shutil.rmtree(SOURCE_FOLDER, ignore_errors=True)
    os.makedirs(SOURCE_FOLDER)
    generator = random.Random(seed)
    for number in range(count):
        with open(f"{SOURCE_FOLDER}/{number:06d}.log", "wb") as file:
            file.write(log_text(generator, size))


def collect(tmtolm):
    figures = run([tmtolm, "collect", "--quiet", "--bundle", BUNDLE])
    os.unlink(BUNDLE)
    return figures


def measure_speed(tmtolm, floor, runs, files):
    fill(files, 100 * 1024)
    write_document("file_copy_action", [f"<loc>{SOURCE_FOLDER}/*.log</loc>"])
    walls = {"collect": [], "floor": [], "zip -9 -r": []}
    for number in range(runs + 1):
        figures = {"collect": collect(tmtolm)}
        figures["floor"] = run([floor, SOURCE_FOLDER, "/tmp/floor.zip"])
        os.unlink("/tmp/floor.zip")
        figures["zip -9 -r"] = run(["zip", "-9", "-r", "-q", "/tmp/plain.zip", "."], SOURCE_FOLDER)
        os.unlink("/tmp/plain.zip")
        if number > 0:  # the first round warms up
            for name, (wall, _, _) in figures.items():
                walls[name].append(wall)
    print(f"speed: {files} files, {files * 100 / 1024:.0f} MiB, {runs} rounds in turns")
    for name in ("floor", "zip -9 -r"):
        ratios = [ours / other for ours, other in zip(walls["collect"], walls[name])]
        print(
            f"  collect / {name}: median {statistics.median(ratios):.3f} "
            f"(min {min(ratios):.3f}, max {max(ratios):.3f}); medians "
            f"{statistics.median(walls['collect']):.2f} s and {statistics.median(walls[name]):.2f} s"
        )


def measure_memory(tmtolm):
    shutil.rmtree(SOURCE_FOLDER, ignore_errors=True)
    os.makedirs(SOURCE_FOLDER)
    for size in (2 << 20, 2 << 30):
        with open(SOURCE_FOLDER + "/big.log", "wb") as file:
            file.truncate(size)
        write_document("file_copy_action", [f"<loc>{SOURCE_FOLDER}/*.log</loc>"])
        print(f"memory: one file of {size >> 20} MiB: peak {collect(tmtolm)[2]:.1f} MiB")
    # The most that an unencrypted bundle takes is a byte less than 4 GiB, with the banner before the output.
    for size in (2 << 20, (4 << 30) - 1024):
        write_document("use_extern_action", [f"<args>head -c {size} /dev/zero</args><stdout/>"])
        print(f"memory: output of {size} bytes captured from a command: peak {collect(tmtolm)[2]:.1f} MiB")
    fill(100000, 100)
    write_document("file_copy_action", [f"<loc>{SOURCE_FOLDER}/*.log</loc>"])
    print(f"memory: 100,000 files of 100 bytes: peak {collect(tmtolm)[2]:.1f} MiB")


def measure_scale(tmtolm, runs):
    print("scale: files of 1 KiB")
    first = None
    for count in (1000, 10000, 100000):
        fill(count, 1024)
        write_document("file_copy_action", [f"<loc>{SOURCE_FOLDER}/*.log</loc>"])
        collect(tmtolm)
        wall = statistics.median(collect(tmtolm)[0] for _ in range(max(1, runs * 1000 // count + 1)))
        cost = wall / count * 1e6
        first = first or cost
        print(f"  {count} files: {cost:.1f} us a file, {cost / first:.2f} times the first row")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("tmtolm")
    parser.add_argument("floor")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--files", type=int, default=2000, help="how many files of 100 KiB for speed")
    parser.add_argument("--only", choices=("speed", "memory", "scale"))
    arguments = parser.parse_args()
    enter_private_root(sys.argv[1:])
    tmtolm, floor = hide_folders([arguments.tmtolm, arguments.floor])
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    if arguments.only in (None, "speed"):
        measure_speed(tmtolm, floor, arguments.runs, arguments.files)
    if arguments.only in (None, "memory"):
        measure_memory(tmtolm)
    if arguments.only in (None, "scale"):
        measure_scale(tmtolm, arguments.runs)


if __name__ == "__main__":
    main()
