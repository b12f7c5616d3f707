"""The packages in a system of their own: installed, used, upgraded, removed and purged.

The system is made once by debootstrap, kept as an archive in the build folder, and unpacked for each run
of this program. Its file list is compared at every step. Needs root and the distribution's mirror.
"""

import functools
import hashlib
import os
import pathlib
import re
import shutil
import sys
import time
import unittest

import support
from packages_test import PREFIX, files, package
from support import WORK, run

BASE = WORK / "system.tar"
BASE_AGE = 7 * 24 * 3600
ROOT = WORK / "system"
CONFIG = f"{PREFIX}/tolm/xml/config"

# What package management itself writes, and what a system writes while it is used.
OWN_PLACES = re.compile(
    r"^/(proc|sys|dev|run|tmp|packages)(/|$)"
    r"|^/var/(cache|log)/|^/var/lib/(dpkg|apt)/|^/var/tmp/"
    r"|^/etc/ld\.so\.cache$|^/usr/share/(icons/hicolor/icon-theme\.cache|applications/mimeinfo\.cache)$")


def in_root(command, timeout=600, check=True, user=None, display=False):
    """Runs a shell command in the system, in namespaces that end with it."""
    script = f"""
        mount --make-rprivate /
        mount -t proc proc {ROOT}/proc
        mount --rbind /dev {ROOT}/dev
        mount -t tmpfs -o mode=1777 tmpfs {ROOT}/tmp
        mount -t tmpfs tmpfs {ROOT}/run
        mkdir -p {ROOT}/packages
        if [ -d {WORK}/offered ]; then mount --bind {WORK}/offered {ROOT}/packages; fi
        export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root USER=root
        exec chroot {ROOT} sh -c "$0"
    """
    if user:
        command = f"exec su -s /bin/sh - {user} -c '{command}'"
    return run(["unshare", "--mount", "--pid", "--fork", "--kill-child", "sh", "-ec", script, command],
               timeout=timeout, check=check)


def snapshot():
    """Path to what it is, of every file in the system that isn't package management's own."""
    found = {}
    for folder, folders, names in os.walk(ROOT):
        for name in folders + names:
            full = os.path.join(folder, name)
            path = full[len(str(ROOT)):]
            if OWN_PLACES.search(path):
                continue
            if os.path.islink(full):
                found[path] = "-> " + os.readlink(full)
            elif os.path.isdir(full):
                found[path] = "folder"
            elif os.path.isfile(full):
                with open(full, "rb") as file:
                    found[path] = hashlib.sha256(file.read()).hexdigest()
        folders[:] = [name for name in folders if not OWN_PLACES.search(f"{folder[len(str(ROOT)):]}/{name}")]
    return found


def make_base():
    if BASE.exists() and time.time() - BASE.stat().st_mtime < BASE_AGE:
        return
    shutil.rmtree(ROOT, ignore_errors=True)
    mirror = os.environ.get("TOLM_MIRROR", "http://deb.debian.org/debian")
    run(["debootstrap", "--variant=minbase", "--include=xvfb,xdotool,unzip,ca-certificates", "bookworm", ROOT,
         mirror], timeout=900)
    # No service may be started by a package of the system.
    policy = ROOT / "usr/sbin/policy-rc.d"
    policy.write_text("#!/bin/sh\nexit 101\n", encoding="utf-8")
    policy.chmod(0o755)
    run(["tar", "-C", WORK, "-cf", BASE, "system"], timeout=300)


def repacked(name, version, change):
    """The package as one of another version, with its tree changed by `change`."""
    tree = WORK / "repacked" / name
    shutil.rmtree(tree, ignore_errors=True)
    tree.mkdir(parents=True)
    run(["dpkg-deb", "-R", package(name), tree])
    control = tree / "DEBIAN/control"
    text = control.read_text(encoding="utf-8")
    old = re.search("^Version: (.*)$", text, re.M)[1]
    control.write_text(text.replace(f"Version: {old}", f"Version: {version}").replace(f"(= {old})", f"(= {version})"),
                       encoding="utf-8")
    change(tree)
    target = WORK / "offered" / f"{name}_{version}.deb"
    run(["dpkg-deb", "--root-owner-group", "-b", tree, target], timeout=300)
    return target.name


# What waits for something on a display says what didn't come, with all that programs have said.
WIZARD = f"""
wait_for() {{
  for i in $(seq "$2"); do if "$1"; then return; fi; sleep 0.1; done
  echo "There is no $1 yet."
  tail -n 50 /tmp/*.log
  exit 1
}}
display() {{ read -r number 2>/dev/null </tmp/display; }}
window() {{ window=$(xdotool search --onlyvisible --class tmtolmui 2>/dev/null | head -n 1); [ -n "$window" ]; }}
focus() {{ xdotool windowfocus "$window"; [ "$(xdotool getwindowfocus)" = "$window" ]; }}
# Return on the first screen is Run. The program learns of the keyboard later than the server, and a key that comes
# before that is lost: it is pressed until the run has begun. During a run, and behind it, Return changes nothing.
run() {{
  xdotool key --window "$window" Return
  sleep 1
  [ -n "$(ls -d /tmp/TOLM_Temp_Bundle* 2>/dev/null)" ] || bundle
}}
bundle() {{ ls /home/tester/Desktop/*.zip 2>/dev/null; }}

# The server takes a number that is free, and tells it once it listens.
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>/tmp/display >/tmp/xvfb.log 2>&1 &
wait_for display 1200
export DISPLAY=":$number" LC_ALL=C.UTF-8
{PREFIX}/bin/tmtolmui >/tmp/wizard.log 2>&1 &
wait_for window 1200
wait_for focus 1200
wait_for run 120
wait_for bundle 3000
cat /tmp/wizard.log
"""


def step(test):
    """A test that builds on those before it, and says so where one of them has failed."""
    @functools.wraps(test)
    def after_the_others(self):
        if self.failed:
            self.fail(f"an earlier step failed: {self.failed}")
        type(self).failed = test.__name__
        test(self)
        type(self).failed = None
    return after_the_others


class InstallationTest(unittest.TestCase):
    """One life of an installation; the tests run in the order of their names and build on each other."""

    maxDiff = None
    # The step that has failed or is under way.
    failed = None
    # Beside what the packages hold: a document of the administrator's, and what dpkg has put beside two others.
    OTHERS = {f"{CONFIG}/own.xml", f"{CONFIG}/client.xml.dpkg-dist", f"{CONFIG}/user.xml.dpkg-dist"}

    @classmethod
    def setUpClass(cls):
        if os.geteuid() != 0:
            sys.exit("The tests of an installation need root, for a system of their own: sudo ./test --all")
        WORK.mkdir(parents=True, exist_ok=True)
        make_base()
        shutil.rmtree(ROOT, ignore_errors=True)
        run(["tar", "-C", WORK, "-xf", BASE], timeout=300)
        shutil.copy("/etc/resolv.conf", ROOT / "etc/resolv.conf")

        offered = WORK / "offered"
        shutil.rmtree(offered, ignore_errors=True)
        offered.mkdir()
        cls.names = {}
        for name in ("tolm-console", "tolm", "tolm-doc"):
            shutil.copy(package(name), offered)
            cls.names[name] = package(name).name

        # The version before: documents read otherwise, one that nobody changes and two that somebody will.
        def older(tree):
            for name in ("network.xml", "client.xml", "user.xml"):
                (tree / CONFIG[1:] / name).write_text(
                    "<config><configure><title>Older</title></configure></config>\n", encoding="utf-8")
        cls.before = [repacked("tolm-console", "0.9.0", older)]
        cls.before += [repacked(name, "0.9.0", lambda tree: None) for name in ("tolm", "tolm-doc")]

        # What the packages stand on comes first, so that each list shows the packages alone.
        depends = ", ".join(
            re.sub(r"\btolm-console[^,]*,? ?", "", run(["dpkg-deb", "-f", package(name), "Depends"]).stdout.strip())
            for name in ("tolm-console", "tolm"))
        in_root("apt-get -q update && apt-get -qy --no-install-recommends satisfy '" + depends + "'"
                " && useradd --create-home --shell /bin/sh tester && mkdir /home/tester/Desktop"
                " && chown tester: /home/tester/Desktop", timeout=900)
        cls.bare = snapshot()

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(ROOT, ignore_errors=True)

    def install(self, names):
        # As an administrator's script does it: what was changed is kept.
        in_root("dpkg --force-confold -i " + " ".join(f"/packages/{name}" for name in names))

    def added(self):
        """What stands there that didn't before the packages came; user files left out."""
        now = snapshot()
        changed = {path for path, what in self.bare.items() if now.get(path) != what}
        self.assertEqual(changed, set(), "files of other packages were changed")
        return {path for path, what in now.items() if path not in self.bare and what != "folder"
                and not path.startswith("/home/")}

    def all_files(self):
        return files("tolm-console") | files("tolm") | files("tolm-doc")

    @step
    def test_1_the_version_before_is_installed_file_by_file(self):
        self.install(self.before)
        self.assertEqual(self.added(), self.all_files())

    @step
    def test_2_a_user_gathers_a_bundle(self):
        # What the samples ask for may be missing from so small a system; the bundle tells that.
        result = in_root("tmtolm collect --bundle /home/tester/own.zip", user="tester")
        self.assertIn("Bundle: /home/tester/own.zip", result.stdout)
        listing = in_root("unzip -l /home/tester/own.zip").stdout
        self.assertIn("summary.txt", listing)
        self.assertIn("System/uname_result.txt", listing)
        self.assertEqual(self.added(), self.all_files())

    @step
    def test_3_the_program_is_found_by_its_name(self):
        self.assertEqual(in_root("readlink -f /usr/bin/tmtolm").stdout.strip(), f"{PREFIX}/bin/tmtolm")

    @step
    def test_4_the_wizard_opens_its_window_and_gathers(self):
        result = in_root(WIZARD, user="tester", timeout=900)
        self.assertRegex(result.stdout, r"/home/tester/Desktop/TOLMBundle_\d{4}_\d{4}\.zip", result.stdout)
        self.assertEqual(self.added(), self.all_files())

    @step
    def test_5_an_upgrade_keeps_what_was_changed_and_takes_what_was_not(self):
        # Both have changed it: the administrator, and the new version.
        changed = pathlib.Path(f"{ROOT}{CONFIG}/client.xml")
        self.assertIn("Older", changed.read_text(encoding="utf-8"))
        ours = changed.read_text(encoding="utf-8") + "<!-- ours -->\n"
        changed.write_text(ours, encoding="utf-8")
        own = pathlib.Path(f"{ROOT}{CONFIG}/own.xml")
        own.write_text("<config/>", encoding="utf-8")
        deleted = pathlib.Path(f"{ROOT}{CONFIG}/user.xml")
        deleted.unlink()

        self.install(self.names.values())

        self.assertEqual(changed.read_text(encoding="utf-8"), ours)
        # What the new version has lies beside it, where no run reads it.
        offered = pathlib.Path(f"{changed}.dpkg-dist").read_text(encoding="utf-8")
        self.assertIn("<title>Client</title>", offered)
        self.assertEqual(own.read_text(encoding="utf-8"), "<config/>")
        self.assertFalse(deleted.exists())
        self.assertNotIn("Older", pathlib.Path(f"{ROOT}{CONFIG}/network.xml").read_text(encoding="utf-8"))
        self.assertEqual(self.added(), self.all_files() - {f"{CONFIG}/user.xml"} | self.OTHERS)

    @step
    def test_6_a_removal_leaves_the_documents_alone(self):
        in_root("dpkg --remove tolm tolm-console tolm-doc")
        left = {path for path in self.all_files() if path.startswith(CONFIG)}
        self.assertEqual(self.added(), left - {f"{CONFIG}/user.xml"} | self.OTHERS)

    @step
    def test_7_a_purge_leaves_nothing_but_what_is_not_ours(self):
        in_root("dpkg --purge tolm tolm-console tolm-doc")
        self.assertEqual(self.added(), {f"{CONFIG}/own.xml"})

    @step
    def test_8_without_documents_of_others_a_purge_leaves_nothing_at_all(self):
        shutil.rmtree(f"{ROOT}/opt/halvo")
        self.install(self.names.values())
        in_root("dpkg --purge tolm tolm-console tolm-doc")
        now = {path for path in snapshot() if not path.startswith("/home/")}
        self.assertEqual(now - set(self.bare), set())


if __name__ == "__main__":
    support.main()
