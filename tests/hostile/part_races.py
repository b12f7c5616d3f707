"""A second user plants and swaps in /tmp while root gathers: nothing outside is touched, nothing is read."""

import ctypes
import hashlib
import os
import signal
import subprocess
import sys
import time

import privateroot as root
import runs

VICTIM = "/opt/hostile/victim"
SECRET = "known to root alone"
PLANTED = "planted by somebody else"
SEEN = "/opt/hostile/seen"


def _fingerprint(folder):
    """All that can be seen of a folder's content from outside."""
    lines = []
    for path, folders, files in os.walk(folder):
        for name in sorted(folders + files):
            full = os.path.join(path, name)
            status = os.lstat(full)
            content = b""
            if not os.path.islink(full) and os.path.isfile(full):
                with open(full, "rb") as file:
                    content = file.read()
            digest = hashlib.sha256(content).hexdigest()
            lines.append(f"{full} {status.st_mode:o} {status.st_uid} {status.st_size} {digest}")
    return "\n".join(sorted(lines))


def _work_folders():
    """The names that a run may draw now and in the next seconds."""
    libc = ctypes.CDLL(None)
    for ahead in range(4):
        moment = int(time.time()) + ahead
        stamp = time.strftime("_%m%d_%H%M", time.localtime(moment))
        libc.srand(ctypes.c_uint(moment))
        yield f"/tmp/TOLM_Temp_Bundle_{stamp}_{libc.rand() % 100000}"


def _ignoring(call, *arguments):
    try:
        call(*arguments)
    except OSError:
        pass


def _plant_links(folder):
    """A folder of the attacker's own whose names lead to the victim's files."""
    _ignoring(os.mkdir, folder)
    _ignoring(os.symlink, VICTIM + "/kept", folder + "/summary.txt")
    _ignoring(os.mkdir, folder + "/Logs")
    for name in ("a.log", "b.log", "secret.log"):
        _ignoring(os.symlink, f"{VICTIM}/{name}", f"{folder}/Logs/{name}")
    _ignoring(os.symlink, VICTIM, folder + "/Commands")
    with open(folder + "/planted.txt", "w", encoding="ascii") as file:
        file.write(PLANTED)


def _read_all(folder):
    """Notes what of the run's own can be read by others."""
    for path, _, files in os.walk(folder):
        for name in files:
            try:
                with open(os.path.join(path, name), "rb") as file:
                    if SECRET.encode() in file.read(65536):
                        with open(SEEN, "a", encoding="utf-8") as seen:
                            seen.write(f"{path}/{name}\n")
            except OSError:
                pass


def _folders(deadline):
    while time.monotonic() < deadline:
        for folder in ["/tmp/TOLM_Temp_Bundle", *_work_folders()]:
            _ignoring(_plant_links, folder)
        for name in os.listdir("/tmp"):
            if name.startswith("TOLM_Temp_Bundle"):
                _read_all("/tmp/" + name)


def _links(deadline):
    while time.monotonic() < deadline:
        for folder in ["/tmp/TOLM_Temp_Bundle", *_work_folders()]:
            _ignoring(os.symlink, VICTIM, folder)
        time.sleep(0.002)


def _pipes(deadline):
    while time.monotonic() < deadline:
        for folder in ["/tmp/TOLM_Temp_Bundle", *_work_folders()]:
            _ignoring(os.mkfifo, folder)
        time.sleep(0.002)


def _swaps(deadline):
    """A left-over whose folders change places with links to the victim's, over and over."""
    libc = ctypes.CDLL(None, use_errno=True)
    exchange = 2
    while time.monotonic() < deadline:
        plain = "/tmp/TOLM_Temp_Bundle"
        _ignoring(os.mkdir, plain)
        for index in range(40):
            _ignoring(os.mkdir, f"{plain}/{index}")
            _ignoring(os.symlink, VICTIM, f"{plain}/link{index}")
            _ignoring(os.mkdir, f"{plain}/{index}/inner")
        for _ in range(20):
            for index in range(40):
                libc.renameat2(
                    -100, f"{plain}/{index}".encode(), -100, f"{plain}/link{index}".encode(), exchange
                )
        # The plain folder itself, between its removal and its making.
        _ignoring(os.rename, plain, f"{plain}_old{time.monotonic_ns()}")
        _ignoring(os.symlink, VICTIM, plain)
        time.sleep(0.0005)
        _ignoring(os.unlink, plain)


def _bundles(deadline):
    """The bundle goes to /tmp itself, where its name and its hidden one may be taken."""
    while time.monotonic() < deadline:
        for name in [name for name in os.listdir("/tmp") if "out" in name] + ["out.zip"]:
            _ignoring(os.symlink, VICTIM + "/kept", f"/tmp/{name}")
            _ignoring(os.rename, f"/tmp/{name}", f"/tmp/{name}.taken")
            _read_all("/tmp")


ATTACKS = {"folders": _folders, "links": _links, "pipes": _pipes, "swaps": _swaps, "bundles": _bundles}


def _attacker(attack, seconds):
    process = os.fork()
    if process == 0:
        try:
            os.setgroups([])
            os.setresgid(runs.ATTACKER, runs.ATTACKER, runs.ATTACKER)
            os.setresuid(runs.ATTACKER, runs.ATTACKER, runs.ATTACKER)
            attack(time.monotonic() + seconds)
        except BaseException as failure:  # the child must not run on in the caller's code
            print(f"the attacker failed: {failure!r}", file=sys.stderr)
            os._exit(1)
        os._exit(0)
    return process


def _clean():
    subprocess.run(["/bin/rm", "-rf", *["/tmp/" + name for name in os.listdir("/tmp")]], check=False)


def go(table, short, seed, only):
    del seed
    if os.geteuid() != 0 or not runs.has_other_users():
        sys.exit("The races need a second real user: run them as root, outside of a user namespace.")
    scenario = runs.SECRETS
    runs.write(runs.DATA + "/secret/secret.log", SECRET, 0o600)
    for name in ("kept", "a.log", "b.log", "secret.log", "0", "inner", "folder/inner/deep"):
        runs.write(f"{VICTIM}/{name}", "the victim's own\n", 0o600)
    runs.write(SEEN, "", 0o666)
    runs.learn(scenario)
    before = _fingerprint(VICTIM)
    for name, attack in ATTACKS.items():
        if only not in name:
            continue
        _clean()
        seconds = 3 if short else 30
        attacker = _attacker(attack, seconds)
        deadline = time.monotonic() + seconds
        try:
            while time.monotonic() < deadline:
                runs.lay_out(scenario)
                bundle = "/tmp/out.zip" if name == "bundles" else runs.BUNDLE
                command = [runs.PROGRAM, "collect", "--bundle", bundle]
                result = runs.run(command)
                if result.kind == "timeout":
                    faults = ["hang"]
                elif result.kind == "signal":
                    faults = ["crash"]
                elif name == "bundles":
                    # A bundle in a folder that others write to can be taken away by them once it is there.
                    faults = [] if result.value == 0 or result.err.strip() else ["silent loss"]
                else:
                    faults = runs.bundle_faults(scenario, result)
                    if result.value == 0 and any(
                        PLANTED.encode() in content for content in runs.read_bundle(runs.BUNDLE).values()
                    ):
                        faults.append("broken bundle, status 0")
                if _fingerprint(VICTIM) != before:
                    faults.append("outside touched")
                    subprocess.run(["/bin/rm", "-rf", VICTIM], check=False)
                    for victim in ("kept", "a.log", "b.log", "secret.log", "0", "inner", "folder/inner/deep"):
                        runs.write(f"{VICTIM}/{victim}", "the victim's own\n", 0o600)
                if os.path.getsize(SEEN) != 0:
                    faults.append("secret read")
                    runs.write(SEEN, "", 0o666)
                if result.living:
                    faults.append("living child")
                table.add(
                    f"races: {name}", faults, f"{result.kind} {result.value} {result.err.strip()[-200:]!r}"
                )
        finally:
            os.kill(attacker, signal.SIGKILL)
            _, status = os.waitpid(attacker, 0)
        if os.WIFEXITED(status) and os.WEXITSTATUS(status) != 0:
            raise RuntimeError("the attacker didn't attack")
        _clean()
    root.empty("/tmp")
