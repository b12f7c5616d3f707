"""One run of the program under test and the verdict on it."""

import collections
import ctypes
import glob
import os
import random
import subprocess
import zipfile

import privateroot as root

CONFIG = "/opt/halvo/tessarmont/tolm/xml/config"
DATA = "/opt/hostile/data"
CLEARED = "/opt/hostile/cleared"
STATE = "/opt/hostile/state"
BUNDLES = "/opt/hostile/bundles"
BUNDLE = BUNDLES + "/out.zip"
DESKTOP = root.HOME + "/Desktop"
PASSWORD = "correct horse"
PASSWORD_FILE = "/opt/hostile/password"
PROGRAM = root.BIN + "/tmtolm"
INJECTOR = root.BIN + "/callInjector"
SECONDS = 60  # a run takes a small part of one, on a machine that does nothing else

# What no run may show, in the order of the table.
FAULTS = (
    "crash",
    "hang",
    "silent loss",
    "broken bundle, status 0",
    "broken bundle, told",
    "left-over",
    "living child",
    "odd status",
    "outside touched",
    "secret read",
)

# Real users besides root; they needn't be in the user database.
ORDINARY, ATTACKER = 12346, 12345

_ITEM = (
    "<file id='{id}'><description>{id}</description><default>true</default>"
    "<tolm><os opsys='linux'>{actions}</os></tolm></file>"
)


def _copies(*locations):
    return "".join(
        f"<file_copy_action><action><loc>{place}</loc></action></file_copy_action>" for place in locations
    )


def _commands(*lines):
    return "".join(
        f"<use_extern_action><action><args>{line}</args><stdout/></action></use_extern_action>" for line in lines
    )


def _document(title, actions):
    return (
        f"<c><configure><title>{title}</title></configure>"
        + _ITEM.format(id="things", actions=actions)
        + "</c>"
    )


FILES_DOCUMENT = _document("Logs", _copies(DATA + "/*.log", DATA + "/folder"))
COMMANDS_DOCUMENT = _document(
    "Commands", _commands("echo captured", "seq 1 3000", "printf one | cat") + _copies(DATA + "/a.log")
)
CLEAR_DOCUMENT = _document(
    "Clear",
    f"<file_copy_action><action><loc>{CLEARED}/*</loc><clear_log apply='true'/></action></file_copy_action>"
    "<use_extern_action><action><args>echo</args><clear_log apply='true'>true</clear_log></action>"
    "</use_extern_action>",
)


class Scenario:
    """What is run, and what a whole run of it looks like."""

    def __init__(self, name, document, arguments, complains=False):
        self.name = name
        self.document = document
        self.arguments = arguments
        self.complains = complains  # a whole run of it prints on standard error
        self.entries = {}
        self.summary_end = ""
        self.output = b""

    @property
    def collects(self):
        return self.arguments[0] == "collect"

    @property
    def command(self):
        return [PROGRAM, *self.arguments]

    def bundle(self):
        """Where its bundle is, or would be."""
        if "--bundle" in self.arguments:
            return BUNDLE
        return next(iter(glob.glob(DESKTOP + "/*.zip")), DESKTOP + "/none.zip")

    def on_the_desktop(self):
        """The same, with the bundle where it goes by itself."""
        place = self.arguments.index("--bundle")
        return Scenario(self.name, self.document, self.arguments[:place] + self.arguments[place + 2 :])

    def password(self):
        return PASSWORD.encode() if "--password-file" in self.arguments else None


_COLLECT = ("collect", "--bundle", BUNDLE)
SCENARIOS = (
    Scenario("plain", FILES_DOCUMENT, _COLLECT),
    Scenario("encrypted", FILES_DOCUMENT, (*_COLLECT, "--password-file", PASSWORD_FILE)),
    Scenario("commands", COMMANDS_DOCUMENT, _COLLECT),
    Scenario("clear", CLEAR_DOCUMENT, ("clear", "--yes")),
    Scenario("plan", FILES_DOCUMENT, ("plan",)),
    Scenario("check", FILES_DOCUMENT, ("check", CONFIG)),
)

# With a limit that no command reaches, and with one that a command does.
TIMED = Scenario("timed", COMMANDS_DOCUMENT, (*_COLLECT, "--command-timeout", "15"))
OVERTIME = Scenario(
    "overtime",
    _document("Commands", _commands("echo captured; exec sleep 6", "printf two") + _copies(DATA + "/a.log")),
    (*_COLLECT, "--command-timeout", "1"),
    complains=True,
)

# Long enough for a signal to meet it anywhere: a command that takes its time, and files to be packed.
SLOW = Scenario(
    "slow",
    _document(
        "Slow",
        _commands("sleep 0.05; echo first", "sleep 0.05; echo second") + _copies(DATA + "/*.log", DATA + "/large/*"),
    ),
    _COLLECT,
)
# Files that root alone may read.
SECRETS = Scenario("secrets", _document("Logs", _copies(DATA + "/*.log", DATA + "/secret/*")), _COLLECT)

Result = collections.namedtuple("Result", "kind value injected living out err")


def write(path, content, mode=0o644):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content if isinstance(content, bytes) else content.encode())
    os.chmod(path, mode)


def prepare():
    """Lays out what all scenarios share."""
    for folder in (STATE, BUNDLES, CLEARED):
        os.makedirs(folder)
    write(DATA + "/a.log", "one line\n")
    write(DATA + "/b.log", "".join(f"line {i}\n" for i in range(5000)))
    write(DATA + "/folder/c.log", "three\n")
    write(DATA + "/folder/deeper/d.log", b"\x00\xff" * 9000)
    write(DATA + "/large/e.bin", random.Random(1).randbytes(1 << 21))
    write(PASSWORD_FILE, PASSWORD + "\n", 0o600)


def lay_out_keeping_bundles(scenario):
    """Makes the machine ready for one run that comes behind another."""
    write(CONFIG + "/config.xml", scenario.document)


def lay_out(scenario):
    """Makes the machine ready for one run."""
    lay_out_keeping_bundles(scenario)
    root.empty(BUNDLES)
    root.empty(DESKTOP)
    os.chown(BUNDLES, os.geteuid(), os.getegid())
    if scenario.arguments[0] == "clear":
        for name in ("x.log", "y.log", "z.log"):
            write(f"{CLEARED}/{name}", name)


def left_overs():
    """What a run has no business to leave, apart from its bundle."""
    found = glob.glob("/tmp/TOLM_Temp_Bundle*")
    found += [f"{BUNDLES}/{name}" for name in os.listdir(BUNDLES) if name != os.path.basename(BUNDLE)]
    found += [f"{DESKTOP}/{name}" for name in os.listdir(DESKTOP) if not name.endswith(".zip")]
    return found


def adopt_orphans():
    """Has this process adopt what a run leaves alive."""
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)


def hand_over(folder, user):
    """Gives a folder to a user."""
    if user != os.geteuid():
        os.chown(folder, user, user)


def as_user(user, command):
    """The command line that runs `command` as that user, without any right of root's."""
    if user == os.geteuid():
        return command
    return ["/usr/bin/setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups", *command]


def has_other_users():
    """Whether this process may become somebody else: not so in a user namespace of one user."""
    with open("/proc/self/uid_map", encoding="ascii") as file:
        return sum(int(line.split()[2]) for line in file) > 65536


def run(command, injection=("watch",), seconds=SECONDS, environment=None):
    """Runs `command` under the injector: ("watch",), ("trace", FILE) or ("fail", process, number, which, error)."""
    outcome = STATE + "/outcome"
    mode, *numbers = injection
    # Pipes and not files: a limit on the size of files would count for these too.
    done = subprocess.run(
        [INJECTOR, mode, outcome, *map(str, numbers), str(seconds), "--", *command],
        stdin=subprocess.DEVNULL,
        capture_output=True,
        env={**os.environ, **(environment or {})},
        timeout=seconds + 30,
        check=False,
    )
    complained = done.stderr.decode(errors="replace")
    if done.returncode != 0:
        raise RuntimeError(f"the injector failed: {complained}")
    with open(outcome, encoding="ascii") as file:
        kind, value, _, injected, _, living = file.read().split()
    return Result(kind, int(value), injected == "1", int(living), done.stdout, complained)


def read_bundle(path, password=None):
    """The entries of a bundle by name; raises where it isn't whole."""
    entries = {}
    with zipfile.ZipFile(path) as archive:
        for entry in archive.infolist():
            if entry.filename in entries or not entry.filename:
                raise zipfile.BadZipFile("an empty name, or one that stands twice")
            entries[entry.filename] = archive.read(entry, password)
    return entries


def learn(scenario):
    """Makes a whole run of `scenario` and notes what it looks like."""
    lay_out(scenario)
    result = run(scenario.command)
    if (result.kind, result.value) != ("exit", 0) or bool(result.err) != scenario.complains or left_overs():
        raise RuntimeError(f"{scenario.name}: the run without a fault isn't whole: {result}, {left_overs()}")
    scenario.output = result.out
    if scenario.arguments[0] == "clear" and os.listdir(CLEARED):
        raise RuntimeError("the clear run clears nothing")
    if scenario.collects:
        scenario.entries = read_bundle(scenario.bundle(), scenario.password())
        summary = scenario.entries.pop("summary.txt").decode()
        scenario.summary_end = summary.rstrip().splitlines()[-1]
        if not scenario.entries:
            raise RuntimeError(f"{scenario.name}: nothing was gathered")


def _told_omitted(summary):
    """What a summary says about what isn't in the bundle."""
    told = ""
    for part in summary.split("Files Omitted from Bundle:")[1:]:
        told += part.split("Files Included in Bundle:")[0]
    return told


def _words_for(name):
    """What stands for an entry in a summary or a complaint: its names, its command, the pattern of its place."""
    parts = name.split("/")[1:]
    command = parts[-1].removesuffix("_result.txt")
    pattern = f"{DATA}/*.log" if len(parts) == 1 and name.endswith(".log") else name
    # What a command printed and can't be taken over stays in the bundle under its first name, told as omitted.
    return [*parts, f"Failed to execute {command}", f"{command}_tmp.txt", pattern]


def bundle_faults(scenario, result, exact=True, bundle=None):
    """What is wrong with the bundle of a run that ended by itself. `exact`: what commands print is compared."""
    bundle = bundle or scenario.bundle()
    if not os.path.exists(bundle):
        return ["broken bundle, status 0"] if result.value == 0 else []
    try:
        entries = read_bundle(bundle, scenario.password())
        if result.value != 0 and "summary.txt" in result.err:
            # Named as missing or cut short; what there is can be opened, and that is all that is asked of it.
            return []
        summary = entries.pop("summary.txt").decode(errors="replace")
    except (zipfile.BadZipFile, RuntimeError, KeyError, EOFError, OSError, ValueError, NotImplementedError):
        return ["broken bundle, status 0" if result.value == 0 else "broken bundle, told"]
    if result.value != 0:
        return []
    told = result.err + _told_omitted(summary)
    faults = []
    if not summary.rstrip().endswith(scenario.summary_end) and "summary" not in result.err:
        faults.append("silent loss")
    for name, content in scenario.entries.items():
        found = entries.get(name)
        is_captured = name.startswith("Commands/") and not name.endswith(".log")
        is_whole = found == content or (found is not None and is_captured and not exact)
        if not is_whole and not any(word in told for word in _words_for(name)):
            faults.append("silent loss")
    return faults


def verdict(scenario, result, exact=True, check_next=True):
    """The faults of a run, as names of FAULTS; an empty list for a run as it should be."""
    if result.kind == "timeout":
        faults = ["hang"]
    elif result.kind == "signal":
        faults = ["crash"]
    elif result.value not in (0, 1, 2, 127):
        faults = ["odd status"]
    elif scenario.collects:
        faults = bundle_faults(scenario, result, exact)
    elif result.value != 0 or result.err:
        faults = []
    elif scenario.arguments[0] == "clear":
        faults = ["silent loss"] if os.listdir(CLEARED) else []
    else:
        # What can't be looked at stands in the plan itself.
        faults = [] if result.out == scenario.output or b"can't be" in result.out else ["silent loss"]
    is_told = result.err.strip() or (not scenario.collects and result.out.strip())
    if result.kind == "exit" and result.value != 0 and not is_told:
        faults.append("silent loss")
    if result.living != 0:
        faults.append("living child")
    if left_overs():
        if check_next and scenario.collects:
            run(scenario.command)
        if not check_next or not scenario.collects or left_overs():
            faults.append("left-over")
        root.empty("/tmp")
    return sorted(set(faults))
