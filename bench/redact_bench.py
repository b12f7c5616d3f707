#!/usr/bin/env python3
"""Measures the redaction of bundles against what it could be replaced by.

    bench/redact_bench.py TMTOLM ARCHIVE_FLOOR [--runs N] [--only core|speed|memory|sos|sos20]

TMTOLM is the release build's program, ARCHIVE_FLOOR the bare archive loop of this folder, with redact_bench beside it.
Works in a folder of its own below the system's temporary one. Prints ratios of runs that take turns on this machine:
bare seconds say little. Exits with 1 where a figure is beyond its bound, on a machine with nothing else to do.

  core    both walks over log text in memory, on one processor: at least 60 MB/s, in the fastest run
  speed   200 MB of log text in 200 files: redact against the floor, which deflates the same texts at the archive's
          level and does nothing else, on one processor; the redacted bundle is packed at a lower level. At most 1.2 of
          the floor's time
  memory  peak memory with 20 MB, 200 MB and 2 GB of log text: at most 64 MiB
  sos     2 MB in one file, and of the first kind 20 MB too: redact against `sos clean` (package sosreport) on the same
          bytes. The latter looks for all that it has found in every line again, so its time grows with the product of
          both: log text with something to find in every second line; a firewall's, with three things in every line; a
          list of refused addresses, a new one in every line. On the last it takes most of a minute a megabyte, and
          redact must be 500 times faster. On the others it takes 3 and 6 s; a 500th of that is less than what deflating
          takes, so these figures aren't judged. Takes minutes
"""

import argparse
import json
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import zipfile

CORE_MEGABYTES = 60
FLOOR_RATIO = 1.2
MEMORY_MIB = 64
SOS_RATIO = 500

WORDS = (
    "connection tunnel state changed to connected retry packet sent received interface route added removed gateway "
    "lookup failed timeout key exchange completed session established policy loaded config file reading bytes queue"
).split()


def log_text(seed, size):
    """Log lines such as services write; every second one has something to find."""
    generator = random.Random(seed)
    lines = []
    length = 0
    number = 0
    while length < size:
        number += 1
        message = " ".join(generator.choice(WORDS) for _ in range(generator.randint(5, 14)))
        kind = generator.randrange(10)
        if kind < 2:
            message += f" 10.8.{generator.randrange(256)}.{generator.randrange(256)}:{generator.randrange(65536)}"
        elif kind == 2:
            message += f" 81.{generator.randrange(256)}.{generator.randrange(256)}.{generator.randrange(256)}"
        elif kind == 3:
            message += f" host gw{generator.randrange(200)}.corp.acme.de answered"
        elif kind == 4:
            message += f" mac 00:1b:21:{generator.randrange(16, 256):02x}:{generator.randrange(16, 256):02x}:4f"
        clock = f"{number // 3600 % 24:02}:{number // 60 % 60:02}:{number % 60:02}"
        line = f"Mar 15 {clock} janes-laptop agentd[{generator.randrange(1, 9999)}]: <info> {message}\n"
        lines.append(line)
        length += len(line)
    return "".join(lines)


def address(generator):
    """One that sos takes for an address: it passes over those that begin with 0, 1 or 127."""
    return ".".join(str(generator.randrange(11, 127)) for _ in range(4))


def lines_of(size, line):
    """Lines that `line` makes of a generator of chance and the time of day, up to so many bytes."""
    generator = random.Random(7)
    lines, length, number = [], 0, 0
    while length < size:
        number += 1
        clock = f"Mar 15 {number // 3600 % 24:02}:{number // 60 % 60:02}:{number % 60:02} janes-laptop"
        lines.append(line(generator, clock))
        length += len(lines[-1])
    return "".join(lines)


def firewall_line(generator, clock):
    pairs = [f"{generator.randrange(256):02x}" for _ in range(3)]
    return (
        f"{clock} kernel: [UFW BLOCK] IN=wlp3s0 OUT= MAC=00:1b:21:{pairs[0]}:{pairs[1]}:4f:{pairs[2]}:1b:21:33:10:9e:08:00 "
        f"SRC={address(generator)} DST=192.168.178.{generator.randrange(1, 255)} LEN=60 TOS=0x00 PREC=0x00 "
        f"TTL={generator.randrange(30, 250)} ID={generator.randrange(65536)} DF PROTO=TCP SPT={generator.randrange(65536)} "
        f"DPT={generator.randrange(65536)} WINDOW=65535 RES=0x00 SYN URGP=0\n"
    )


def refused_line(generator, clock):
    return f"{clock} agentd[812]: Refused {address(generator)}\n"


def measured(command):
    """Wall seconds, processor seconds and peak memory in MiB of a command. From a small parent: a process inherits the
    peak memory of the one that starts it."""
    script = (
        "import os,sys,time\n"
        "start=time.monotonic()\n"
        "child=os.spawnv(os.P_NOWAIT,sys.argv[1],sys.argv[1:])\n"
        "_,status,usage=os.wait4(child,0)\n"
        "print(time.monotonic()-start,usage.ru_utime+usage.ru_stime,usage.ru_maxrss/1024,status,file=sys.stderr)\n"
    )
    result = subprocess.run(
        [sys.executable, "-c", script, *command], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=True, timeout=3600
    )
    wall, cpu, memory, status = result.stderr.decode().split()[-4:]
    if status != "0":
        sys.exit(f"{command[0]} failed: {result.stderr.decode(errors='replace')}")
    return float(wall), float(cpu), float(memory)


def make_bundle(path, files, size):
    """A bundle of `files` texts of `size` bytes each, quickly packed; a few texts take turns."""
    texts = [log_text(seed, size) for seed in range(min(files, 4))]
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as bundle:
        for number in range(files):
            bundle.writestr(f"Logs/agent-{number}.log", texts[number % len(texts)])


class Judge:
    """Prints figures with their bounds, and keeps whether one is beyond."""

    def __init__(self):
        self.failed = False

    def at_most(self, what, figure, bound, unit):
        self._tell(what, figure, "at most", bound, unit, figure <= bound)

    def at_least(self, what, figure, bound, unit):
        self._tell(what, figure, "at least", bound, unit, figure >= bound)

    def _tell(self, what, figure, relation, bound, unit, holds):
        self.failed = self.failed or not holds
        print(f"{what}: {figure:.2f} {unit}; wanted is {relation} {bound} {unit}: {'good' if holds else 'BEYOND'}", flush=True)


def core(floor, runs, judge):
    program = f"{os.path.dirname(floor)}/redact_bench"
    if not os.path.exists(program):
        sys.exit(f"{program} isn't there: build the target redact_bench")
    command = [program, "--benchmark_filter=BothWalks", "--benchmark_format=json"]
    speeds = []
    for _ in range(runs):
        result = subprocess.run(command, stdout=subprocess.PIPE, check=True, timeout=600)
        speeds.append(json.loads(result.stdout)["benchmarks"][0]["bytes_per_second"] / 1e6)
    # Whatever else the machine does makes a run slower and none faster.
    speed_of_core = max(speeds)
    judge.at_least("core: text redacted on one processor", speed_of_core, CORE_MEGABYTES, "MB/s")


def speed(program, floor, folder, runs, judge):
    bundle, out = f"{folder}/in.zip", f"{folder}/out.zip"
    make_bundle(bundle, 200, 1000000)
    source = f"{folder}/source"
    os.makedirs(source)
    with zipfile.ZipFile(bundle) as archive:
        archive.extractall(source)
    ours, bare = [], []
    for _ in range(runs):
        bare.append(measured([floor, source, f"{folder}/floor.zip"]))
        ours.append(measured([program, "redact", bundle, out]))
    wall = [one[0] / other[0] for one, other in zip(ours, bare)]
    cpu = [one[1] / other[1] for one, other in zip(ours, bare)]
    judge.at_most(f"speed: redact on {os.cpu_count()} processors", statistics.median(wall), FLOOR_RATIO, "of the floor's time")
    print(f"       it takes {statistics.median(cpu):.2f} of its processor time (floor {statistics.median(b[0] for b in bare):.2f} s),")
    print(f"       and its bundle has {os.path.getsize(out) / os.path.getsize(folder + '/floor.zip'):.2f} of the size")
    shutil.rmtree(source)


def memory(program, folder, judge):
    for files in (20, 200, 2000):
        make_bundle(f"{folder}/in.zip", files, 1000000)
        peak = measured([program, "redact", f"{folder}/in.zip", f"{folder}/out.zip"])[2]
        judge.at_most(f"memory: {files} MB of text", peak, MEMORY_MIB, "MiB")


def sos_case(folder, text):
    """A folder as sos gathers one, with the text as its log."""
    case = f"{folder}/case"
    for place in ("sos_logs", "sos_reports", "sos_commands/host", "etc", "var/log"):
        os.makedirs(f"{case}/{place}")
    contents = {
        "var/log/messages": text,
        "etc/hosts": "127.0.0.1 localhost\n",
        "version.txt": "",
        "sos_commands/host/hostname": "janes-laptop\n",
        "sos_reports/manifest.json": '{"components": {"report": {"plugins": {}}}}',
    }
    for name, content in contents.items():
        with open(f"{case}/{name}", "w", encoding="utf-8") as file:
            file.write(content)
    return case


def sos(program, folder, runs, name, text):
    """How many times as long sos takes. Both have to find the same: sos is told the domain, whose hosts it leaves alone
    otherwise."""
    folder = f"{folder}/{name.replace(' ', '-')}-{len(text)}"
    os.makedirs(f"{folder}/out")
    case = sos_case(folder, text)
    with zipfile.ZipFile(f"{folder}/in.zip", "w", zipfile.ZIP_DEFLATED) as bundle:
        bundle.writestr("Logs/messages", text)
    theirs = measured([shutil.which("sos") or sys.exit("sos isn't installed"), "clean", "--batch", "--no-update", "--domains", "acme.de", "--tmp-dir", f"{folder}/out", case])
    with open(f"{folder}/out/case/var/log/messages", encoding="utf-8") as file:
        known = {word for word in text.split() if "acme" in word or word.count(".") == 3}
        left = known & set(file.read().split())
    # Its stand-ins are addresses too: by chance one is another's original.
    if len(left) > len(known) / 1000:
        sys.exit(f"sos clean left hosts or addresses in the text, so the two don't do the same: {sorted(left)[:3]}")
    ours = [measured([program, "redact", f"{folder}/in.zip", f"{folder}/out-{number}.zip"]) for number in range(runs)]
    wall, cpu = (statistics.median(one[i] for one in ours) for i in (0, 1))
    print(f"sos: {len(text) / 1e6:.0f} MB of {name}: sos clean takes {theirs[0] / wall:.0f} times as long ({theirs[0]:.1f} s against {wall:.3f} s),")
    print(f"     and {theirs[1] / cpu:.0f} times the processor time ({theirs[1]:.1f} s against {cpu:.3f} s)", flush=True)
    return theirs[0] / wall


def sos_cases(program, folder, runs, judge):
    size = 2000000
    sos(program, folder, runs, "log lines", log_text(5, size))
    sos(program, folder, runs, "a firewall", lines_of(size, firewall_line))
    ratio = sos(program, folder, runs, "refused addresses", lines_of(size, refused_line))
    judge.at_least("sos: 2 MB of refused addresses", ratio, SOS_RATIO, "times faster")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("floor")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--only", choices=["core", "speed", "memory", "sos", "sos20"])
    arguments = parser.parse_args()
    program, floor = os.path.abspath(arguments.program), os.path.abspath(arguments.floor)
    judge = Judge()
    parts = {
        "core": lambda folder: core(floor, arguments.runs, judge),
        "speed": lambda folder: speed(program, floor, folder, arguments.runs, judge),
        "memory": lambda folder: memory(program, folder, judge),
        "sos": lambda folder: sos_cases(program, folder, arguments.runs, judge),
        "sos20": lambda folder: sos(program, folder, arguments.runs, "log lines", log_text(5, 20000000)),
    }
    for name, part in parts.items():
        if arguments.only in (None, name):
            with tempfile.TemporaryDirectory() as folder:
                part(folder)
    sys.exit(1 if judge.failed else 0)


if __name__ == "__main__":
    main()
