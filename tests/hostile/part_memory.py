"""Each allocation of a run fails, alone and with all behind it."""

import random

import privateroot as root
import runs


def _environment(**more):
    return {"LD_PRELOAD": root.BIN + "/failingMalloc.so", "TOLM_HOSTILE_PROGRAM": "tmtolm", **more}


def go(table, short, seed, only):
    draw = random.Random(seed)
    for scenario in (*runs.SCENARIOS, runs.TIMED, runs.OVERTIME):
        if only not in scenario.name:
            continue
        runs.learn(scenario)
        runs.lay_out(scenario)
        counted = runs.STATE + "/allocations"
        runs.run(scenario.command, environment=_environment(TOLM_HOSTILE_COUNT=counted))
        with open(counted, encoding="ascii") as file:
            count = int(file.read())
        wanted = [(number, goes_on) for number in range(1, count + 1) for goes_on in (False, True)]
        if scenario is runs.OVERTIME:
            # A second each; most of its calls are those of the others.
            wanted = draw.sample(wanted, min(len(wanted), 4 if short else 400))
        elif short:
            wanted = draw.sample(wanted, min(len(wanted), 50))
        for number, goes_on in wanted:
            runs.lay_out(scenario)
            settings = _environment(TOLM_HOSTILE_FAIL=str(number), **({"TOLM_HOSTILE_ON": "1"} if goes_on else {}))
            result = runs.run(scenario.command, environment=settings)
            what = f"allocation {number} of {count}{' and all behind it' if goes_on else ''}: "
            table.add(
                f"memory: {scenario.name}",
                runs.verdict(scenario, result),
                f"{what}{result.kind} {result.value} {result.err.strip()[-200:]!r}",
            )
