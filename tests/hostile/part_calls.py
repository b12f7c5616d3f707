"""Every system call of a run, its children's included, fails in turn with each error that it can give."""

import errno
import random

import faults_of_calls
import runs


def sites(scenario):
    """The calls of a whole run: (process, number, name, which)."""
    runs.lay_out(scenario)
    path = runs.STATE + "/calls"
    runs.run(scenario.command, ("trace", path))
    loading = {}
    with open(path, encoding="ascii") as file:
        for line in file:
            process, number, name, which = line.split()
            # Up to here it is the loader at work, which is no part of the program: it puts the libraries
            # in place, and takes the list of them away in the end.
            if name == "execve":
                loading[process] = True
                if process != "0":
                    yield int(process), int(number), name, int(which)
            elif not loading.get(process):
                yield int(process), int(number), name, int(which)
            elif name == "munmap":
                loading[process] = False


def go(table, short, seed, only):
    draw = random.Random(seed)
    for scenario in runs.SCENARIOS:
        if only not in scenario.name:
            continue
        runs.learn(scenario)
        wanted = [
            (process, number, name, which, error)
            for process, number, name, which in sites(scenario)
            for error in faults_of_calls.of(name)
            # That nothing is there is an answer that a plan passes on, and leaves a clear run nothing to do.
            if error != errno.ENOENT or scenario.name not in ("plan", "clear")
        ]
        if short:
            wanted = draw.sample(wanted, min(len(wanted), 60))
        for process, number, name, which, error in wanted:
            runs.lay_out(scenario)
            result = runs.run(scenario.command, ("fail", process, number, which, error))
            # What a command prints that was itself refused something is the command's affair.
            faults = runs.verdict(scenario, result, exact=process == 0)
            what = f"{name} #{which} of process {process}: {errno.errorcode[error]}: {result.kind} {result.value}"
            table.add(f"calls: {scenario.name}", faults, f"{what} {result.err.strip()[-200:]!r}")
