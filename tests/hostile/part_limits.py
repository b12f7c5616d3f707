"""The limits of a shell: descriptors, memory, size of files, processes."""

import os
import signal

import runs

# By option of ulimit: from, to, step, step of the short form. Memory in KiB, files in blocks of 512 bytes.
LIMITS = {
    "-n": (3, 40, 1, 4),
    "-v": (4000, 160000, 1500, 15000),
    "-f": (0, 200, 2, 20),
    "-u": (1, 12, 1, 3),
}


def go(table, short, seed, only):
    del seed
    for scenario in (runs.SCENARIOS[1], runs.SCENARIOS[2]):
        runs.learn(scenario)
        for option, (first, last, step, short_step) in LIMITS.items():
            if only not in f"limits: ulimit {option}":
                continue
            for value in range(first, last, short_step if short else step):
                runs.lay_out(scenario)
                command = ["/bin/sh", "-c", f'ulimit {option} {value} && exec "$@"', "sh", *scenario.command]
                if option == "-u":
                    # Root has no such limit.
                    if os.geteuid() != 0 or "--password-file" in scenario.arguments:
                        continue
                    runs.hand_over(runs.BUNDLES, runs.ORDINARY)
                    command = runs.as_user(runs.ORDINARY, command)
                result = runs.run(command)
                what = f"{scenario.name}, {value}: {result.kind} {result.value} {result.err.strip()[-200:]!r}"
                if result.kind == "signal" and result.value == signal.SIGXFSZ:
                    # The run has ended by the signal, cleanly: as any other that ends it.
                    result = result._replace(kind="exit", value=1)
                table.add(f"limits: ulimit {option}", runs.verdict(scenario, result), what)
