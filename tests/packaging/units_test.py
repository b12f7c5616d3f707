"""The examples of systemd units: their form, how much they let a run touch, and runs under a systemd of its own."""

import json
import os
import pathlib
import re
import shutil
import sys
import tempfile
import unittest
import zipfile

import support
from support import SOURCE, TMTOLM, WORK, options, run

UNITS = SOURCE / "packaging/systemd"

# The figures that docs/administration.md tells, from 0 (touches nothing) to 10.
EXPOSURE = {"tolm-collect.service": 1.4, "user/tolm-collect.service": 6.4}


class UnitsTest(unittest.TestCase):
    def test_the_units_are_well_formed(self):
        WORK.mkdir(parents=True, exist_ok=True)
        for name in ("", "user"):
            folder = tempfile.mkdtemp(prefix="units", dir=WORK)
            self.addCleanup(shutil.rmtree, folder)
            for unit in (UNITS / name).glob("tolm-collect.*"):
                # The program and the pages aren't installed on the machine of the test.
                text = unit.read_text(encoding="utf-8")
                text = text.replace("ExecStart=/usr/bin/tmtolm", "ExecStart=/bin/true")
                text = re.sub("Documentation=.*", "", text)
                with open(f"{folder}/{unit.name}", "w", encoding="utf-8") as file:
                    file.write(text)
            # Only the calendar and the settings are looked at: nothing is started.
            result = run(["systemd-analyze", "verify", "--man=no", "--recursive-errors=one",
                          f"{folder}/tolm-collect.service", f"{folder}/tolm-collect.timer"], check=False)
            told = [line for line in result.stdout.splitlines() if "tolm-collect" in line]
            self.assertEqual((told, result.returncode), ([], 0), result.stdout)

    def test_the_exposure_is_what_the_guide_tells(self):
        guide = (SOURCE / "docs/administration.md").read_text(encoding="utf-8")
        for name, figure in EXPOSURE.items():
            text = run(["systemd-analyze", "security", "--offline=true", "--no-pager", UNITS / name]).stdout
            found = float(re.search(r"exposure level for \S+: ([\d.]+)", text)[1])
            self.assertLessEqual(found, figure, name)
            self.assertIn(f"| `{name}` | {figure} |", guide)

    def test_a_unit_calls_collect_with_options_that_it_has(self):
        for name in EXPOSURE:
            for line in (UNITS / name).read_text(encoding="utf-8").splitlines():
                if "ExecStart=" in line:
                    used = set(re.findall(r" (--[a-z-]+)", line))
                    self.assertGreater(len(used), 2)
                    self.assertLessEqual(used, set(options("collect")))


# What a sandbox may be in the way of: the network's state, the list of processes, the journal. And what it is for: the
# attempts at the end.
DOCUMENT = """<config><configure><title>Unit</title></configure>
<file id="state"><description>State</description><default>true</default><tolm><os opsys="linux">
<file_copy_action><action><loc>/etc/hostname</loc></action></file_copy_action>
<use_extern_action><action><args>ip link 2&gt;&amp;1</args><stdout/></action></use_extern_action>
<use_extern_action><action><args>ps -e -o pid,comm</args><stdout/></action></use_extern_action>
<use_extern_action><action><args>journalctl --no-pager _PID=1</args><stdout/></action></use_extern_action>
</os></tolm></file>
<file id="attempts"><description>Attempts</description><default>true</default><tolm><os opsys="linux">
<use_extern_action><action><args>touch /etc/made /opt/made /home/made /usr/made 2&gt;&amp;1</args><stdout/></action></use_extern_action>
<use_extern_action><action><args>unshare -U true 2&gt;&amp;1</args><stdout/></action></use_extern_action>
<use_extern_action><action><args>touch /tmp/of-the-run</args></action></use_extern_action>
</os></tolm></file></config>"""

# The machine's files, with a layer of memory over them, started as a machine of its own.
MACHINE = """
mount --make-rprivate /
mount -t tmpfs tmpfs {place}
mkdir {place}/upper {place}/work {place}/root
mount -t overlay -o lowerdir=/,upperdir={place}/upper,workdir={place}/work overlay {place}/root
cd {place}/root
rm -rf opt/halvo usr/bin/tmtolm
mkdir -p opt/halvo/tessarmont/bin opt/halvo/tessarmont/tolm/xml/config
cp {program} opt/halvo/tessarmont/bin/
ln -s /opt/halvo/tessarmont/bin/tmtolm usr/bin/tmtolm
cp {offered}/state.xml opt/halvo/tessarmont/tolm/xml/config/
cp {units}/tolm-collect.* etc/systemd/system/
cp {offered}/judge.service etc/systemd/system/
cp {offered}/judge.sh usr/local/bin/judge
cp -r {units}/user {place}/root/usr/local/share/tolm-user-units
mkdir etc/tolm
cp {offered}/support.asc etc/tolm/
cp {offered}/with-key.conf {offered}/keep-small.conf {place}/root/usr/local/share/
exec systemd-nspawn --quiet --directory={place}/root --register=no --keep-unit --private-network \
  --bind={results}:/results --boot systemd.unit=judge.service
"""

JUDGE_SERVICE = """[Unit]
Wants=basic.target systemd-journald.service
After=basic.target systemd-journald.service
[Service]
Type=oneshot
ExecStart=/bin/sh /usr/local/bin/judge
TimeoutStartSec=150
"""

# A user's manager is asked for here as logging in would ask for it.
JUDGE = """
exec >/results/log 2>&1
set -x
systemctl start tolm-collect.service; echo $? >/results/system.status
journalctl --no-pager -u tolm-collect >/results/system.journal
cp -r /var/lib/private/tolm /results/system
mkdir /etc/systemd/system/tolm-collect.service.d
cp /usr/local/share/with-key.conf /etc/systemd/system/tolm-collect.service.d/
rm /var/lib/private/tolm/*
systemctl daemon-reload
systemctl start tolm-collect.service; echo $? >/results/sealed.status
journalctl --no-pager -u tolm-collect >/results/sealed.journal
cp -r /var/lib/private/tolm /results/sealed
systemd-tmpfiles --clean /usr/local/share/keep-small.conf; echo $? >/results/tmpfiles.status
ls /var/lib/private/tolm >/results/tmpfiles.left
for place in /etc /opt /home /usr /tmp; do ls -d $place/made $place/of-the-run; done >/results/system.made 2>/dev/null
useradd --create-home --uid 4321 --groups systemd-journal ann
mkdir -p /home/ann/.config/systemd /run/systemd/system/user@4321.service.d
cp -r /usr/local/share/tolm-user-units /home/ann/.config/systemd/user
chown -R ann: /home/ann
printf '[Service]\nPAMName=\nEnvironment=XDG_RUNTIME_DIR=/run/user/4321\n' >/run/systemd/system/user@4321.service.d/own.conf
systemctl daemon-reload
systemctl start user@4321.service
runuser -u ann -- env HOME=/home/ann XDG_RUNTIME_DIR=/run/user/4321 systemctl --user start tolm-collect
echo $? >/results/user.status
journalctl --no-pager _UID=4321 >/results/user.journal
cp -r /home/ann/.local/state/tolm /results/user || cp -r /home/ann/.config/tolm /results/user
systemctl poweroff --force
"""


def with_key():
    """What the unit has in a comment, for those who encrypt to a key."""
    text = (UNITS / "tolm-collect.service").read_text(encoding="utf-8")
    line = re.search("^#(ExecStart=.* --recipient .*)$", text, re.M)[1]
    return f"[Service]\nExecStart=\n{line}\n"


def keep_small():
    """The guide's line for tmpfiles.d, for files of any age: none of the machine's is two weeks old."""
    guide = (SOURCE / "docs/administration.md").read_text(encoding="utf-8")
    return re.search("^(e /var/lib/.*) 14d$", guide, re.M)[1] + " 0\n"


class BootedTest(unittest.TestCase):
    """Both units, started once by a systemd that has this machine's files."""

    @classmethod
    def setUpClass(cls):
        WORK.mkdir(parents=True, exist_ok=True)
        folder = pathlib.Path(tempfile.mkdtemp(prefix="booted", dir=WORK))
        cls.addClassCleanup(shutil.rmtree, folder)
        cls.results = folder / "results"
        for name in ("results", "place", "offered"):
            (folder / name).mkdir()
        cls.home = folder / "reader"
        cls.home.mkdir(mode=0o700)
        cls.addClassCleanup(run, ["gpgconf", "--homedir", cls.home, "--kill", "all"], check=False)
        run(["gpg", "--homedir", cls.home, "--batch", "--quiet", "--passphrase", "", "--quick-generate-key", "support",
             "future-default", "default", "never"])
        key = run(["gpg", "--homedir", cls.home, "--batch", "--armor", "--export", "support"]).stdout
        for name, text in {"state.xml": DOCUMENT, "judge.service": JUDGE_SERVICE, "judge.sh": JUDGE, "support.asc": key,
                           "with-key.conf": with_key(), "keep-small.conf": keep_small()}.items():
            (folder / "offered" / name).write_text(text, encoding="utf-8")
        machine = MACHINE.format(place=folder / "place", offered=folder / "offered", results=cls.results, units=UNITS,
                                 program=TMTOLM)
        cls.console = run(["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc", "sh", "-ec", machine],
                          timeout=300, check=False).stdout

    def result(self, name):
        path = self.results / name
        self.assertTrue(path.exists(), f"{self.console}\n{self.read('log')}")
        return path.read_text(encoding="utf-8", errors="replace")

    def read(self, name):
        path = self.results / name
        return path.read_text(encoding="utf-8", errors="replace") if path.exists() else f"no {name}"

    def made(self, name, ending):
        """The bundle that a unit has made, and its status."""
        self.assertEqual(self.result(f"{name}.status").strip(), "0", self.read(f"{name}.journal"))
        status = json.loads(self.result(f"{name}/status.json"))
        self.assertEqual(status["code"], "0x00000000")
        found = list((self.results / name).glob("*" + ending))
        self.assertEqual([path.name for path in found], [os.path.basename(status["bundle"]["path"])])
        return found[0], status

    def bundle(self, name):
        """The files of the bundle that a unit has made."""
        with zipfile.ZipFile(self.made(name, ".zip")[0]) as bundle:
            return {entry: bundle.read(entry).decode(errors="replace") for entry in bundle.namelist()}

    def test_the_unit_of_the_system_gathers_in_its_sandbox(self):
        files = self.bundle("system")
        self.assertEqual(files["Unit/hostname"], pathlib.Path("/etc/hostname").read_text(encoding="utf-8"))
        self.assertIn("LOOPBACK", files["Unit/ip_result.txt"])
        # Processes of others too, and what the machine's journal has.
        self.assertIn("systemd", files["Unit/ps_result.txt"])
        self.assertIn("systemd[1]", files["Unit/journalctl_result.txt"])
        self.assertNotIn("without one", self.result("system.journal"), "the run has no lock")

    def test_the_unit_of_the_system_encrypts_to_a_key_in_its_sandbox(self):
        path, status = self.made("sealed", ".zip.gpg")
        self.assertEqual(len(status["bundle"]["recipients"]), 1)
        self.assertEqual([name.name for name in (self.results / "sealed").glob("*.zip")], [])
        plain = self.results / "plain.zip"
        run(["gpg", "--homedir", self.home, "--batch", "--quiet", "--output", plain, "--decrypt", path])
        with zipfile.ZipFile(plain) as bundle:
            self.assertIn("LOOPBACK", bundle.read("Unit/ip_result.txt").decode())

    # The folder that the unit names is a link, which nothing follows that removes what is old.
    def test_the_line_of_the_guide_keeps_the_folder_of_the_unit_small(self):
        self.assertEqual(self.result("tmpfiles.status").strip(), "0")
        self.assertEqual(self.result("tmpfiles.left"), "")

    def test_the_unit_of_the_system_changes_nothing_outside_of_its_folder(self):
        files = self.bundle("system")
        self.assertEqual(files["Unit/touch_result.txt"].count("cannot touch"), 4, files["Unit/touch_result.txt"])
        self.assertIn("'/etc/made': Read-only file system", files["Unit/touch_result.txt"])
        self.assertIn("Operation not permitted", files["Unit/unshare_result.txt"])
        self.assertEqual(self.result("system.made"), "")

    def test_the_unit_of_a_user_gathers_as_that_user(self):
        files = self.bundle("user")
        self.assertIn("LOOPBACK", files["Unit/ip_result.txt"])
        self.assertIn("systemd[1]", files["Unit/journalctl_result.txt"])
        self.assertEqual(files["Unit/touch_result.txt"].count("cannot touch"), 4, files["Unit/touch_result.txt"])
        self.assertIn("Operation not permitted", files["Unit/unshare_result.txt"])
        self.assertNotIn("without one", self.result("user.journal"), "the run has no lock")


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("The units are started by a systemd of their own, which needs root: sudo ./test --all")
    support.main()
