"""Several runs at once, of one user and of two: nobody's files in another's bundle, and nobody's work undone."""

import os
import subprocess
import time

import privateroot as root
import runs


def _start(user, index, waits):
    folder = f"{runs.STATE}/parallel-{user}-{index}"
    os.makedirs(folder, exist_ok=True)
    runs.hand_over(folder, user)
    bundle = f"{folder}/out.zip"
    if os.path.exists(bundle):
        os.unlink(bundle)
    command = [runs.PROGRAM, "collect", "--bundle", bundle, *(["--wait"] if waits else [])]
    with open(f"{folder}/err", "wb") as err:
        process = subprocess.Popen(
            runs.as_user(user, command), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=err
        )
    return process, bundle, f"{folder}/err"


def _ended(started, scenario, waits):
    process, bundle, complaints = started
    try:
        status = process.wait(runs.SECONDS * 3)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        return ["hang"], "no end"
    with open(complaints, encoding="utf-8", errors="replace") as file:
        told = file.read()
    if status < 0:
        return ["crash"], told
    if waits and status != 0:
        return ["odd status"], told
    if status != 0:
        return ([] if told.strip() else ["silent loss"]), told
    result = runs.Result("exit", 0, False, 0, b"", told)
    # Without --wait another's run is told, and not the bundle's affair.
    return runs.bundle_faults(scenario, result, bundle=bundle), told


def go(table, short, seed, only):
    del seed
    scenario = runs.SLOW
    runs.learn(scenario)
    for users in ((0,), (0, runs.ORDINARY)) if os.geteuid() == 0 else ((os.geteuid(),),):
        for count in (2, 10):
            for waits in (False, True):
                row = f"parallel: {count} runs, {len(users)} user(s){', waiting' if waits else ''}"
                if only not in row:
                    continue
                for _ in range(2 if short else 10):
                    started = [_start(users[index % len(users)], index, waits) for index in range(count)]
                    for one in started:
                        faults, told = _ended(one, scenario, waits)
                        table.add(row, faults, told.strip()[-200:])
                    time.sleep(0.05)
                    if runs.left_overs():
                        for user in users:
                            process, *_ = _start(user, 0, True)
                            process.wait()
                    if runs.left_overs():
                        table.add(row, ["left-over"], str(runs.left_overs()))
                    root.empty("/tmp")
