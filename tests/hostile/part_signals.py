"""Signals at random moments of a run: it ends cleanly or not at all, and a killed one troubles none after it."""

import os
import random
import signal
import subprocess
import time

import privateroot as root
import runs

ENDING = (signal.SIGTERM, signal.SIGINT, signal.SIGHUP)


def _children():
    """The processes below this one, which adopts those of a run that has ended."""
    found = []
    for task in os.listdir("/proc/self/task"):
        with open(f"/proc/self/task/{task}/children", encoding="ascii") as file:
            found += [int(word) for word in file.read().split()]
    return found


def _reap():
    try:
        while os.waitpid(-1, os.WNOHANG)[0] != 0:
            pass
    except ChildProcessError:
        pass


def _living(seconds):
    """How many are still there after `seconds` at most; they are killed then."""
    deadline = time.monotonic() + seconds
    while True:
        _reap()
        left = _children()
        if not left or time.monotonic() > deadline:
            break
        time.sleep(0.01)
    for process in left:
        os.kill(process, signal.SIGKILL)
    while _children():
        _reap()
    return len(left)


def _signalled(scenario, number, moment):
    """Starts a run, sends it the signal at that moment, and waits for its end."""
    runs.lay_out(scenario)
    with open(runs.STATE + "/out", "wb") as out, open(runs.STATE + "/err", "wb") as err:
        process = subprocess.Popen(scenario.command, stdin=subprocess.DEVNULL, stdout=out, stderr=err)
        time.sleep(moment)
        process.send_signal(number)
        try:
            status = process.wait(runs.SECONDS)
            kind = "signal" if status < 0 else "exit"
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            kind, status = "timeout", 0
    with open(runs.STATE + "/err", encoding="utf-8", errors="replace") as err:
        return runs.Result(kind, abs(status), True, 0, b"", err.read())


def go(table, short, seed, only):
    draw = random.Random(seed)
    runs.adopt_orphans()
    slow = runs.SLOW
    runs.learn(slow)
    began = time.monotonic()
    runs.lay_out(slow)
    subprocess.run(slow.command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
    length = time.monotonic() - began
    for index in range(30 if short else 200):
        number = ENDING[index % len(ENDING)] if index % 4 != 3 else signal.SIGKILL
        if only not in number.name:
            continue
        moment = draw.uniform(0, length * 1.1)
        result = _signalled(slow, number, moment)
        faults = []
        if number == signal.SIGKILL:
            _living(0)  # nobody is left to end them
            root_left = None
        else:
            if _living(15) != 0:
                faults.append("living child")
            root_left = runs.left_overs()
        if result.kind == "timeout":
            faults.append("hang")
        elif result.kind == "signal" and result.value != number:
            faults.append("crash")
        if result.kind == "exit" or os.path.exists(runs.BUNDLE):
            status = result.value if result.kind == "exit" else 1
            faults += runs.bundle_faults(slow, result._replace(value=status))
        if root_left:
            faults.append("left-over")
        if root_left is None:
            # The next run cleans up, and is whole.
            runs.lay_out_keeping_bundles(slow)
            after = runs.run(slow.command)
            faults += runs.verdict(slow, after, check_next=False)
        table.add(
            f"signals: {number.name}",
            sorted(set(faults)),
            f"after {moment:.3f} of {length:.3f} s: {result.kind} {result.value} {result.err.strip()[-200:]!r} "
            f"{root_left or ''}",
        )
        root.empty("/tmp")
