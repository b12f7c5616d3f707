"""Hosts on this machine for the tests of the Ansible collection, and plays with them.

Every host is an sshd with its own port, /opt, /run, /tmp and home folder; it shares the rest with this machine.
Each process has one place, PLACE, by the number in TOLM_SLOT, and takes ports that nobody else has.
"""

import contextlib
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import socket
import subprocess
import threading
import time

from support import PROGRAMS, SOURCE, WORK, run

SLOT = int(os.environ.get("TOLM_SLOT", "0"))
COLLECTION = SOURCE / "packaging/ansible/halvo/tessarmont"
PLACE = WORK / "fleet" / str(SLOT)
# A socket's path is short, and no connection of another test's is found in it.
CONNECTIONS = f"/tmp/tolm-fleet-{os.getpid()}"

# What is started so is killed when this process has ended, in whatever way.
BOUND_TO_THIS = ["setpriv", "--pdeathsig", "KILL"]

BROKEN = {"down": "unreachable", "full": "failed", "bare": "failed", "hangs": "failed", "stranger": "unreachable",
          "spoils": "failed", "leaves": "unreachable"}

# Programs in the place of tmtolm: one changes its bundle when its sum is told; one ends its host's sshd.
WRAPPERS = {
    "spoils": """#!/bin/sh
/opt/halvo/tessarmont/bin/real "$@"
for bundle in /tmp/tolm_collect_*/*.zip; do echo more >>"$bundle"; done
""",
    "leaves": """#!/bin/sh
kill 1
sleep 60
"""}

# What a host's own log would get, into a file.
LOG = """import os, socket, sys
log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
log.bind("/dev/log")
os.chmod("/dev/log", 0o666)
with open(sys.argv[1], "wb", buffering=0) as file:
    while True:
        file.write(log.recv(1 << 20) + b"\\n")
"""

# Ansible packs each module anew in every play, which is a fifth of a small one's work: plays of one place, which come
# one after another, share what was packed. The plays that are measured don't.
MODULES = """import os

from ansible import constants
from ansible.plugins.callback import CallbackBase

DOCUMENTATION = "{name: modules, type: aggregate, short_description: keeps packed modules, description: keeps them}"


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "aggregate"
    CALLBACK_NAME = "modules"

    def __init__(self):
        super().__init__()
        os.symlink(os.environ["TOLM_MODULES"], os.path.join(constants.DEFAULT_LOCAL_TMP, "ansiballz_cache"))
"""

DOCUMENT = """<config><configure><title>Client</title></configure>
<file id="client-logs"><description>Logs</description><default>true</default><tolm><os opsys="linux">
<file_copy_action><action><loc>/opt/halvo/tessarmont/log/*.log</loc><clear_log apply="true"/></action></file_copy_action>
<use_extern_action><action><args>echo $TOLM_SINCE</args><stdout/></action></use_extern_action>
</os></tolm></file>
<file id="crash"><description>Crashes</description><default>false</default><tolm><os opsys="linux">
<file_copy_action><action><loc>/opt/halvo/tessarmont/log/*.crash</loc></action></file_copy_action>
</os></tolm></file></config>
"""

HANGING = """<config><configure><title>Hang</title></configure>
<file id="hang"><description>Hangs</description><default>true</default><tolm><os opsys="linux">
<use_extern_action><action><args>sleep 3600</args><stdout/></action></use_extern_action>
</os></tolm></file></config>
"""

class Host:
    """One sshd in a mount namespace of its own. It ends with `end()`, or with this process, and all in it too."""

    def __init__(self, name, port, key, kind):
        self.name, self.port = name, port
        folder = PLACE / "hosts" / name
        folder.mkdir(parents=True)
        (folder / "sshd_config").write_text(f"""Port {port}
ListenAddress 127.0.0.1
HostKey {key}
AuthorizedKeysFile /run/user.pub
PidFile none
StrictModes no
UsePAM no
PermitRootLogin yes
PasswordAuthentication no
MaxStartups 200
Subsystem sftp internal-sftp
""", encoding="utf-8")
        # A package that is taken there has a program for debugging in it.
        size = {"full": "size=64k", "sudo": "size=512m", "bare": "size=1g"}.get(kind, "size=64m")
        install = "" if kind == "bare" else f"""
            mkdir -p /opt/halvo/tessarmont/bin /opt/halvo/tessarmont/log /opt/halvo/tessarmont/tolm/xml/config
            cp {PROGRAMS}/tmtolm /opt/halvo/tessarmont/bin/
            cp {PLACE}/client.xml /opt/halvo/tessarmont/tolm/xml/config/
            echo "log of {name}" >/opt/halvo/tessarmont/log/{name}.log"""
        if kind in WRAPPERS:
            (folder / "tmtolm").write_text(WRAPPERS[kind], encoding="utf-8")
            install += f"""
            mv /opt/halvo/tessarmont/bin/tmtolm /opt/halvo/tessarmont/bin/real
            cp {folder}/tmtolm /opt/halvo/tessarmont/bin/tmtolm
            chmod 755 /opt/halvo/tessarmont/bin/tmtolm"""
        hang = f"cp {PLACE}/hang.xml /opt/halvo/tessarmont/tolm/xml/config/" if kind == "hangs" else ""
        # Its package management is its own, over this machine's.
        own = "" if kind != "bare" else """
            for place in usr var etc; do
              mkdir -p /run/over/$place/upper /run/over/$place/work
              mount -t overlay -o lowerdir=/$place,upperdir=/run/over/$place/upper,workdir=/run/over/$place/work \\
                overlay /$place
            done"""
        if kind == "sudo":
            own = """
            mkdir -p /run/over/upper /run/over/work
            mount -t overlay -o lowerdir=/etc,upperdir=/run/over/upper,workdir=/run/over/work overlay /etc
            echo "visitor:x:4242:4242::/home/visitor:/bin/sh" >>/etc/passwd
            echo "visitor:*:20000:0:99999:7:::" >>/etc/shadow
            echo "visitor ALL=(ALL) NOPASSWD: ALL" >>/etc/sudoers
            mount -t tmpfs tmpfs /home
            install -d -o 4242 -g 4242 -m 0700 /home/visitor"""
        log = "" if kind != "logs" else f"""
            mkdir /run/dev
            mount --rbind /dev /run/dev
            mount -t tmpfs tmpfs /dev
            for device in null zero full random urandom tty; do
              touch /dev/$device
              mount --bind /run/dev/$device /dev/$device
            done
            ln -s /proc/self/fd /dev/fd
            ln -s /proc/self/fd/0 /dev/stdin
            python3 {PLACE}/log.py {folder}/syslog &
            while [ ! -e /dev/log ]; do sleep 0.1; done"""
        fill = "dd if=/dev/zero of=/tmp/filling bs=1k 2>/dev/null || true" if kind == "full" else ""
        script = f"""
            mount --make-rprivate /
            mount -t tmpfs tmpfs /opt
            mount -t tmpfs -o mode=1777,{size} tmpfs /tmp
            mount -t tmpfs -o mode=0700 tmpfs /root
            mount -t tmpfs tmpfs /run
            {own}
            {log}
            mkdir -p /run/sshd
            install -m 0644 {PLACE}/user.pub /run/user.pub
            {install}
            {hang}
            {fill}
            exec /usr/sbin/sshd -D -e -f {folder}/sshd_config"""
        with open(folder / "log", "w", encoding="utf-8") as log:
            self.process = subprocess.Popen([*BOUND_TO_THIS, "unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
                                             "sh", "-ec", script], stdin=subprocess.DEVNULL, stdout=log, stderr=log)

    def listens(self):
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0

    def wait(self):
        """Until it can be reached."""
        deadline = time.monotonic() + 300
        while not self.listens():
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise AssertionError(f"{self.name} doesn't listen:\n" + (PLACE / "hosts" / self.name / "log").read_text(
                    encoding="utf-8", errors="replace"))
            time.sleep(0.1)

    def run(self, command):
        """Runs a command on the host, by SSH."""
        return run(["ssh", "-p", self.port, "-i", PLACE / "user", "-o", f"UserKnownHostsFile={PLACE}/known_hosts",
                    "-o", "BatchMode=yes", "root@127.0.0.1", command])

    def processes(self, text):
        """The processes of the host that have a text in their command lines, by their numbers on this machine."""
        parents, lines = {}, {}
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                stat = (folder / "stat").read_text(errors="replace")
                parents[int(folder.name)] = int(stat.rsplit(") ", 1)[1].split()[1])
                lines[int(folder.name)] = (folder / "cmdline").read_bytes().replace(b"\0", b" ").decode(errors="replace")
        for process, line in lines.items():
            ancestor = process
            while ancestor not in (0, self.process.pid):
                ancestor = parents.get(ancestor, 0)
            if ancestor and process != self.process.pid and text in line:
                yield process

    def signal(self, text, number):
        for process in self.processes(text):
            with contextlib.suppress(ProcessLookupError):
                os.kill(process, number)

    def end(self):
        self.process.kill()
        self.process.wait(timeout=300)
        # What was in it is killed with it, and gone a moment later.
        deadline = time.monotonic() + 300
        while self.listens():
            if time.monotonic() > deadline:
                raise AssertionError(f"{self.name} still listens, although it has ended")
            time.sleep(0.05)


def remove_places():
    """What earlier runs have left, of all slots: packed modules may be those of another Ansible."""
    shutil.rmtree(PLACE.parent, ignore_errors=True)


def make_place():
    shutil.rmtree(PLACE, ignore_errors=True)
    PLACE.mkdir(parents=True)
    for name in ("user", "host", "other"):
        run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", PLACE / name])
    (PLACE / "client.xml").write_text(DOCUMENT, encoding="utf-8")
    (PLACE / "hang.xml").write_text(HANGING, encoding="utf-8")
    (PLACE / "log.py").write_text(LOG, encoding="utf-8")
    (PLACE / "ansible.cfg").write_text("", encoding="utf-8")
    namespace = PLACE / "collections/ansible_collections/halvo"
    namespace.mkdir(parents=True)
    (namespace / "tessarmont").symlink_to(COLLECTION)


def hold_port():
    """A socket with a free port. Whoever connects to the port is refused until an sshd listens there, which may share
    it, as nobody does who takes any port."""
    held = socket.socket()
    held.bind(("127.0.0.1", 0))
    held.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    return held


class Hosts(dict):
    """Hosts by name, in a new place with an inventory of them all. They are started when they are asked for."""

    def __init__(self, kinds):
        super().__init__()
        make_place()
        self.kinds = dict(kinds)
        self.held = {name: hold_port() for name in self.kinds}
        self.ports = {name: held.getsockname()[1] for name, held in self.held.items()}
        write_inventory(self.kinds, self.ports)

    def __missing__(self, name):
        self.start([name])
        return self[name]

    def start(self, names):
        """Those of the hosts that don't run yet, but for the one that is down."""
        wanted = [name for name in names if name not in self and self.kinds[name] != "down"]
        for name in wanted:
            kind = self.kinds[name]
            self[name] = Host(name, self.ports[name], PLACE / ("other" if kind == "stranger" else "host"), kind)
        for name in wanted:
            self[name].wait()

    def play(self, playbook, *arguments, limit="all", **options):
        """A play with some of the hosts, which are started first."""
        self.start(self.kinds if limit == "all" else limit.split(":"))
        return play(playbook, *arguments, limit=limit, environment=keeping_modules(), **options)

    def end(self):
        try:
            for host in self.values():
                host.process.kill()
            for host in self.values():
                host.end()
        finally:
            self.clear()
            for held in self.held.values():
                held.close()
            shutil.rmtree(CONNECTIONS, ignore_errors=True)


def write_inventory(kinds, ports):
    """The inventory, and the hosts' keys."""
    inventory, known = [], []
    key = (PLACE / "host.pub").read_text(encoding="utf-8").rsplit(" ", 1)[0]
    for name, kind in kinds.items():
        user = "visitor" if kind == "sudo" else "root"
        inventory.append(f"{name} ansible_host=127.0.0.1 ansible_port={ports[name]} ansible_user={user}")
        known.append(f"[127.0.0.1]:{ports[name]} {key}")
    (PLACE / "inventory").write_text("[all]\n" + "\n".join(inventory) + f"""
[all:vars]
ansible_ssh_private_key_file={PLACE}/user
ansible_python_interpreter=/usr/bin/python3
ansible_ssh_common_args=-o UserKnownHostsFile={PLACE}/known_hosts -o StrictHostKeyChecking=yes
""", encoding="utf-8")
    (PLACE / "known_hosts").write_text("\n".join(known) + "\n", encoding="utf-8")


def write_host_variables(hosts):
    """Variables of single hosts. What a play is told of all hosts is stronger than they are."""
    shutil.rmtree(PLACE / "host_vars", ignore_errors=True)
    (PLACE / "host_vars").mkdir()
    for name, variables in hosts.items():
        (PLACE / "host_vars" / f"{name}.json").write_text(json.dumps(variables), encoding="utf-8")


def command(name, *arguments, forks=20, limit="all", hosts=None, **variables):
    """The command line of a play, and its environment. Variables are those of all hosts, None for one that isn't told;
    `hosts` has those of single ones. Limits that a test wants to be exceeded belong there: a host that answers may be
    slow, since it shares the processors with all the others and whatever else the machine does."""
    variables.setdefault("tolm_collect_dest", str(PLACE / "bundles"))
    # Runs that give way to everything else take as long as the machine is busy.
    variables.setdefault("tolm_collect_nice", False)
    write_host_variables(hosts or {})
    told = {name: value for name, value in variables.items() if value is not None}
    (PLACE / "variables.json").write_text(json.dumps(told), encoding="utf-8")
    environment = dict(os.environ, ANSIBLE_COLLECTIONS_PATH=str(PLACE / "collections"), ANSIBLE_NOCOLOR="1",
                       ANSIBLE_LOCAL_TEMP=str(PLACE / "local"), ANSIBLE_HOME=str(PLACE / "home"),
                       ANSIBLE_TIMEOUT="120", ANSIBLE_SSH_CONTROL_PATH_DIR=CONNECTIONS,
                       ANSIBLE_SSH_ARGS="-o ControlMaster=auto -o ControlPersist=30s",
                       ANSIBLE_CONFIG=str(PLACE / "ansible.cfg"), LC_ALL="C.UTF-8")
    playbook = name if "/" in str(name) else f"halvo.tessarmont.{name}"
    line = [*BOUND_TO_THIS, "ansible-playbook", "-i", PLACE / "inventory", "-f", forks, "-l", limit,
            "-e", f"@{PLACE}/variables.json", *arguments, playbook]
    return [str(word) for word in line], environment


def keeping_modules():
    """The environment of plays that share packed modules with the others of this place."""
    folder, plugins = PLACE.with_name(f"modules{SLOT}"), PLACE / "plugins"
    folder.mkdir(exist_ok=True)
    plugins.mkdir(exist_ok=True)
    (plugins / "modules.py").write_text(MODULES, encoding="utf-8")
    return {"ANSIBLE_CALLBACK_PLUGINS": str(plugins), "TOLM_MODULES": str(folder)}


def play(name, *arguments, check=None, timeout=900, cwd=None, environment=None, **options):
    line, own = command(name, *arguments, **options)
    result = run(line, env={**own, **(environment or {})}, check=False, timeout=timeout, cwd=cwd)
    (PLACE / f"{pathlib.Path(name).name}.log").write_text(result.stdout, encoding="utf-8")
    if check is not None and result.returncode != check:
        raise AssertionError(f"the play ended with {result.returncode}:\n{result.stdout}")
    return result


def index():
    told = json.loads((PLACE / "bundles/index.json").read_text(encoding="utf-8"))
    return {row["host"]: row for row in told["hosts"]}


class ControllerMemory(threading.Thread):
    """The most memory that the play and its forks had at one time, in MB: what each has for itself, and its
    share of what they have in common (PSS). A sample every half second."""

    def __init__(self):
        super().__init__(daemon=True)
        self.peak = 0
        self.ended = threading.Event()

    def run(self):
        while not self.ended.wait(0.5):
            self.peak = max(self.peak, sum(map(self.share, self.processes())) // 1024)

    @staticmethod
    def processes():
        """The processes that have this one as an ancestor and are called as the play is."""
        parents = {}
        for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
            with contextlib.suppress(OSError):
                process, rest = stat.read_text(errors="replace").split(" (", 1)
                name, rest = rest.rsplit(") ", 1)
                parents[int(process)] = (int(rest.split()[1]), name)
        for process, (parent, name) in parents.items():
            while parent not in (0, os.getpid()):
                parent = parents.get(parent, (0, ""))[0]
            if parent == os.getpid() and name.startswith("ansible"):
                yield process

    @staticmethod
    def share(process):
        with contextlib.suppress(OSError):
            found = re.search(r"^Pss:\s+(\d+)", pathlib.Path(f"/proc/{process}/smaps_rollup").read_text(), re.M)
            return int(found[1]) if found else 0
        return 0


def processor_seconds():
    """What the children of this process that have ended have used; what else the machine does isn't in it."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def measure():
    """Prints the figures of docs/fleet.md: hosts, forks, seconds, seconds a host, processor seconds a host of the
    controller, peak memory of the controller. TOLM_FLEET_COUNTS and TOLM_FLEET_FORKS choose from the rows."""
    counts, forks = (list(map(int, os.environ.get(name, told).split(",")))
                     for name, told in (("TOLM_FLEET_COUNTS", "5,20,60"), ("TOLM_FLEET_FORKS", "5,20")))
    for count in counts:
        hosts = Hosts((f"good{number:02}", "good") for number in range(count))
        try:
            hosts.start(hosts.kinds)
            for fork in forks:
                shutil.rmtree(PLACE / "bundles", ignore_errors=True)
                memory = ControllerMemory()
                memory.start()
                begin, used = time.monotonic(), processor_seconds()
                play("collect", forks=fork, check=0, tolm_collect_nice=None)
                seconds, used = time.monotonic() - begin, processor_seconds() - used
                memory.ended.set()
                memory.join()
                assert len(index()) == count and {row["state"] for row in index().values()} == {"whole"}
                print(f"| {count} | {fork} | {seconds:.0f} | {seconds / count:.1f} | {used / count:.1f} | {memory.peak} |", flush=True)
        finally:
            hosts.end()
