"""The Ansible collection, over real SSH, with hosts on this machine: fleet.py."""

import contextlib
import hashlib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import threading
import time
import unittest
import zipfile

import jsonschema

import fleet
import side_by_side
from fleet import BROKEN, COLLECTION, DOCUMENT, PLACE, ControllerMemory, command, index
from support import PROGRAMS, SOURCE, WORK, run

SCHEMA = json.loads((SOURCE / "packaging/schema/collect-status.schema.json").read_text(encoding="utf-8"))

FOLDER = """<config><configure><title>Folder</title></configure>
<file id="data"><description>A folder</description><default>true</default><tolm><os opsys="linux">
<file_copy_action><action><loc>/opt/data</loc></action></file_copy_action>
</os></tolm></file></config>
"""

# Those that wait the longest.
LONGEST = tuple(f"FleetTest.test_{name}" for name in (
    "exactly_the_broken_hosts_are_told_and_all_others_are_whole",
    "a_host_that_stands_still_is_told_and_stops_nobody",
    "a_host_that_answers_while_its_programs_stand_still_stops_nobody",
    "a_host_that_stands_still_while_it_is_cleared_stops_nobody"))


class FleetTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        special = {0: "logs", 12: "sudo"}
        kinds = [(f"good{number:02}", special.get(number, "good")) for number in range(13)] + [(kind, kind) for kind in BROKEN]
        self.hosts = fleet.Hosts(kinds)
        self.addCleanup(self.hosts.end)
        self.play = self.hosts.play

    def whole(self, name, row):
        """A host's bundle and status are there, and are those that it has told."""
        self.assertIsNotNone(row["bundle"], row)
        data = (PLACE / "bundles" / row["bundle"]).read_bytes()
        self.assertEqual((len(data), hashlib.sha256(data).hexdigest()), (row["bytes"], row["sha256"]))
        status = json.loads((PLACE / "bundles" / name / "status.json").read_text(encoding="utf-8"))
        jsonschema.validate(status, SCHEMA)
        self.assertEqual(status["bundle"]["sha256"], row["sha256"])

    def in_the_table(self, result):
        """The table at the end of a play, a text for each host, which tells what the index does."""
        lines, _ = json.JSONDecoder().raw_decode(result.stdout, result.stdout.rindex('"msg": [') + len('"msg": '))
        self.assertRegex(lines[0], "^HOST +STATE +BYTES +BUNDLE, WHAT IS MISSING, WHY$")
        table = {line.split()[0]: line for line in lines[1:]}
        self.assertEqual(len(lines) - 1, len(table))
        rows = index()
        self.assertEqual(set(table), set(rows))
        for name, row in rows.items():
            _, state, size, rest = table[name].split(None, 3)
            missing = "missing: " + ", ".join(row["missing"]) if row["missing"] else ""
            parts = filter(None, [row["bundle"], missing, (row["why"] or "").replace("\n", " ")])
            self.assertEqual((state, size, rest), (row["state"], str(row["bytes"] or "-"), "; ".join(parts)), name)
        return table

    def test_exactly_the_broken_hosts_are_told_and_all_others_are_whole(self):
        result = self.play("collect", hosts={"hangs": {"tolm_collect_seconds": 15, "tolm_collect_command_timeout": 0}})
        rows = index()
        self.assertEqual(set(rows), set(self.hosts.kinds))
        self.assertEqual({name: row["state"] for name, row in rows.items() if row["state"] != "whole"}, BROKEN,
                         result.stdout)
        for name, row in rows.items():
            if name in BROKEN:
                self.assertIsNone(row["bundle"])
                self.assertTrue(row["why"], name)
                continue
            self.assertIsNone(row["why"], name)
            self.whole(name, row)
            with zipfile.ZipFile(PLACE / "bundles" / row["bundle"]) as bundle:
                self.assertEqual(bundle.read(f"Client/{name}.log").decode(), f"log of {name}\n")
        # Why, in words that lead somewhere.
        self.assertIn("refused", rows["down"]["why"])
        self.assertRegex(rows["stranger"]["why"], "(?i)host key verification failed|identification has changed")
        self.assertRegex(rows["full"]["why"], "(?i)space|zip|folder")
        self.assertRegex(rows["bare"]["why"], "No such file")
        self.assertRegex(rows["hangs"]["why"], "(?i)within the requested time|timeout")
        self.assertRegex(rows["spoils"]["why"], "isn't the one that was made")
        self.assertRegex(rows["leaves"]["why"], "(?i)refused|closed|reset")
        # The table has them all, what they have given, and why they have not.
        table = self.in_the_table(result)
        self.assertRegex(table["good01"], r"^good01 +whole +[1-9]\d+  good01/\S+\.zip$")
        self.assertRegex(table["down"], "^down +unreachable +-  .*refused")
        self.assertRegex(table["hangs"], "^hangs +failed +-  .*(within the requested time|timeout)")

        for name in ("good00", "good12", "hangs", "spoils"):
            # The controller and the host each count the seconds of a run: the host may end it a little later.
            self.until(lambda: "3600" not in self.left_on(name))
            self.assertNotRegex(self.left_on(name), r"tolm_collect_|\.zip|3600", name)

    def left_on(self, name):
        """What lies in a host's folder for temporary files, and whether the command that hangs still runs there."""
        return self.hosts[name].run("ls -A /tmp; pgrep -fa '[s]leep 3600' || true").stdout

    def test_a_command_that_hangs_is_ended_and_told(self):
        # The host's other command has the same limit, which is raised until that one keeps to it.
        for seconds in (2, 8, 32):
            self.play("collect", limit="hangs", check=0, tolm_collect_command_timeout=seconds)
            row = index()["hangs"]
            if row["missing"] == ["hang"]:
                break
        self.assertEqual((row["state"], row["missing"]), ("incomplete", ["hang"]))
        self.assertIn("ended by the limit of time: sleep 3600", row["why"])
        self.whole("hangs", row)

    def test_a_password_from_the_vault_encrypts_the_bundle(self):
        (PLACE / "vault-password").write_text("opens the vault\n", encoding="utf-8")
        secret = PLACE / "secret.yml"
        secret.write_text("tolm_collect_password: s3cret of many words\n", encoding="utf-8")
        run(["ansible-vault", "encrypt", "--vault-password-file", PLACE / "vault-password", secret],
            env=dict(os.environ, ANSIBLE_HOME=str(PLACE / "home"), LC_ALL="C.UTF-8"))
        self.assertNotIn("s3cret", secret.read_text(encoding="utf-8"))
        vault = ["-e", f"@{secret}", "--vault-password-file", str(PLACE / "vault-password")]
        result = self.play("collect", "-vvv", "--diff", *vault, limit="good00:good01", check=0)
        self.assertNotIn("s3cret", result.stdout)
        # A host's log has the modules, without it; and no file has it, here or there.
        log = (PLACE / "hosts/good00/syslog").read_text(encoding="utf-8", errors="replace")
        self.assertIn("ansible", log)
        self.assertNotIn("s3cret", log)
        self.assertEqual(self.who_has_it("good00"), "")
        self.assertEqual(run(["grep", "-rle", "s3cret", PLACE], check=False).stdout, "")
        row = index()["good00"]
        self.whole("good00", row)
        with zipfile.ZipFile(PLACE / "bundles" / row["bundle"]) as bundle:
            with self.assertRaises(RuntimeError):
                bundle.read("Client/good00.log")
            self.assertEqual(bundle.read("Client/good00.log", pwd=b"s3cret of many words"), b"log of good00\n")

    def who_has_it(self, name):
        """The files of a host, and the command lines and environments in it, that hold the password."""
        return self.hosts[name].run("grep -rlse 's3cre[t]' /tmp /var/tmp /root /opt /run /dev/shm; "
                                    "grep -lse 's3cre[t]' /proc/[0-9]*/cmdline /proc/[0-9]*/environ; true").stdout

    def test_a_password_stays_on_no_host_whose_controller_is_lost(self):
        line, environment = command("collect", "-v", limit="hangs", tolm_collect_password="s3cret of many words",
                                    tolm_collect_command_timeout=0)
        host = self.hosts["hangs"]
        controller = subprocess.Popen(line, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL, start_new_session=True)
        try:
            self.until(lambda: list(host.processes("sleep 3600")))
        finally:
            os.killpg(controller.pid, signal.SIGKILL)
            controller.wait(timeout=30)
        (PLACE / "variables.json").unlink()
        try:
            # A run to find it in, which goes on.
            self.assertNotEqual(list(host.processes("sleep 3600")), [])
            self.assertEqual(self.who_has_it("hangs"), "")
        finally:
            host.signal("tmtolm collect", signal.SIGTERM)
            self.until(lambda: not list(host.processes("sleep 3600")))
            host.run("rm -rf /tmp/tolm_collect_*")

    def test_why_a_run_with_a_password_failed_is_told_without_it(self):
        result = self.play("collect", "-vvv", limit="full", check=0, tolm_collect_password="s3cret of many words")
        self.assertNotIn("s3cret", result.stdout)
        row = index()["full"]
        self.assertEqual(row["state"], "failed")
        self.assertRegex(row["why"], "failed to zip the bundle.*0 bytes free")

    def until(self, condition):
        deadline = time.monotonic() + 300
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.2)

    def freeze(self, name, text, limits, playbook="collect", check=0, **options):
        """A play with a host that has limits of its own, and whose processes with a text in their command lines are
        stopped once its run is under way."""
        host = self.hosts[name]
        under_way, ended = threading.Event(), threading.Event()

        def stop():
            while not ended.wait(0.2):
                if list(host.processes("sleep 3600")):
                    under_way.set()
                    break
            while not ended.wait(0.1):
                host.signal(text, signal.SIGSTOP)

        thread = threading.Thread(target=stop)
        thread.start()
        try:
            result = self.play(playbook, limit=f"{name}:good01", check=check, hosts={name: limits}, **options)
            self.assertTrue(under_way.is_set(), result.stdout)
            return result
        finally:
            ended.set()
            thread.join()
            host.signal("", signal.SIGCONT)
            self.until(lambda: not list(host.processes("sleep 3600")))
            host.run("rm -rf /tmp/tolm_collect_*")

    @staticmethod
    def once_started(seconds):
        """A limit that is short from when the run has begun: until then the host is one that answers."""
        return f"{{{{ {seconds} if tolm_collect_started is defined or tolm_clear_started is defined else 120 }}}}"

    ALIVE = "-o ServerAliveInterval=2 -o ServerAliveCountMax=5"

    def test_a_host_that_stands_still_is_told_and_stops_nobody(self):
        result = self.freeze("hangs", "sshd", {"tolm_collect_seconds": 30, "tolm_collect_command_timeout": 0,
                                               "tolm_collect_ssh_args": self.ALIVE,
                                               "ansible_ssh_timeout": self.once_started(10)})
        rows = index()
        self.assertEqual({name: row["state"] for name, row in rows.items()}, {"hangs": "unreachable", "good01": "whole"},
                         rows)
        self.assertRegex(rows["hangs"]["why"], "(?i)timed out|timeout|not responding|closed|banner")
        self.in_the_table(result)
        self.whole("good01", rows["good01"])

    def test_a_host_that_answers_while_its_programs_stand_still_stops_nobody(self):
        result = self.freeze("hangs", "python3", {"tolm_collect_seconds": 30, "tolm_collect_command_timeout": 0,
                                                  "tolm_collect_answer_seconds": self.once_started(20)})
        rows = index()
        self.assertEqual({name: row["state"] for name, row in rows.items()}, {"hangs": "failed", "good01": "whole"}, rows)
        self.assertRegex(rows["hangs"]["why"], "did not answer within (20|120) seconds")
        self.in_the_table(result)

    def test_a_host_that_stands_still_while_it_is_cleared_stops_nobody(self):
        for name in ("hangs", "good01"):
            self.hosts[name].run("printf '#!/bin/sh\nexec %s\n' "
                                 f"'{'sleep 3600' if name == 'hangs' else 'true'}' >/opt/clear; chmod 755 /opt/clear")
        result = self.freeze("hangs", "sshd", {"tolm_clear_seconds": 30, "tolm_clear_ssh_args": self.ALIVE,
                                               "ansible_ssh_timeout": self.once_started(10)},
                             playbook="clear", check=4, tolm_clear_confirm="delete the logs", tolm_clear_program="/opt/clear")
        self.assertRegex(result.stdout, r"good01 .*unreachable=0 +failed=0")
        self.assertRegex(result.stdout, r"hangs .*unreachable=1")

    def test_a_host_that_goes_away_while_a_package_is_installed_is_not_told_as_whole(self):
        tree = PLACE / "cutting"
        (tree / "DEBIAN").mkdir(parents=True)
        (tree / "DEBIAN/control").write_text(
            "Package: cutting\nVersion: 1.0.0\nArchitecture: all\nMaintainer: a test <test@halvo.example>\n"
            "Description: ends the connection that it is installed over\n", encoding="utf-8")
        (tree / "DEBIAN/postinst").write_text("""#!/bin/sh
process=$$
while [ "$process" -gt 1 ]; do
  read -r _ name _ parent _ </proc/$process/stat
  [ "$name" != "(sshd)" ] || { kill "$process"; exit 0; }
  process=$parent
done
""", encoding="utf-8")
        (tree / "DEBIAN/postinst").chmod(0o755)
        run(["dpkg-deb", "--root-owner-group", "-Znone", "-b", tree, PLACE / "cutting.deb"])
        host = self.hosts["bare"]
        host.run(f"mkdir -p /opt/own; cp {PROGRAMS}/tmtolm /opt/own/; mkdir -p {self.CONFIG}; cp {PLACE}/client.xml {self.CONFIG}/")
        try:
            self.play("collect", limit="bare", check=0, tolm_collect_packages=[str(PLACE / "cutting.deb")],
                      tolm_collect_program="/opt/own/tmtolm")
            row = index()["bare"]
            self.assertEqual(row["state"], "failed")
            self.assertIn("went away while cutting.deb was installed", row["why"])
        finally:
            host.run("dpkg --purge cutting; rm -r /opt/own /opt/halvo")

    def test_hosts_that_never_answer_have_an_index_too(self):
        result = self.play("collect", limit="down", check=0)
        self.assertEqual(index()["down"]["state"], "unreachable")
        self.assertRegex(self.in_the_table(result)["down"], "^down +unreachable +-  .*refused")

    def test_a_bundle_of_roots_takes_no_memory_of_the_controller(self):
        host = self.hosts["good12"]
        megabytes, peaks = 60, {}
        host.run(f"head -c {megabytes}M /dev/urandom >/opt/halvo/tessarmont/log/large.log")
        try:
            for become in ([], ["-b"]):
                memory = ControllerMemory()
                memory.start()
                self.play("collect", *become, limit="good12", check=0)
                memory.ended.set()
                memory.join()
                peaks[bool(become)] = memory.peak
                row = index()["good12"]
                self.assertGreater(row["bytes"], megabytes << 20)
                self.whole("good12", row)
                self.assertEqual(self.left_on("good12"), "")
                shutil.rmtree(PLACE / "bundles")
            self.assertLess(peaks[True], peaks[False] + megabytes)
        finally:
            host.run("rm /opt/halvo/tessarmont/log/large.log")

    def test_a_bundle_of_roots_is_fetched_from_where_only_root_enters(self):
        host = self.hosts["good12"]
        host.run("install -d -m 0700 /run/only && echo 'Defaults env_file=/run/environment' >/etc/sudoers.d/only && "
                 "echo TMPDIR=/run/only >/run/environment")
        try:
            self.play("collect", "-b", limit="good12", check=0)
            self.whole("good12", index()["good12"])
        finally:
            host.run("rm /etc/sudoers.d/only")

    def test_a_public_key_encrypts_the_bundle(self):
        reader = PLACE / "reader"
        reader.mkdir(mode=0o700, exist_ok=True)
        gpg = ["gpg", "--homedir", reader, "--batch", "--quiet", "--passphrase", ""]
        try:
            run([*gpg, "--quick-generate-key", "support", "future-default", "default", "never"])
            run([*gpg, "--armor", "--output", PLACE / "support.asc", "--export", "support"])
            self.play("collect", limit="good02", check=0, tolm_collect_recipients=[str(PLACE / "support.asc")])
            row = index()["good02"]
            self.assertTrue(row["bundle"].endswith(".zip.gpg"))
            self.whole("good02", row)
            run([*gpg, "--output", PLACE / "opened.zip", "--decrypt", PLACE / "bundles" / row["bundle"]])
        finally:
            run(["gpgconf", "--homedir", reader, "--kill", "all"], check=False)
        with zipfile.ZipFile(PLACE / "opened.zip") as bundle:
            self.assertEqual(bundle.read("Client/good02.log"), b"log of good02\n")

    def test_a_request_and_documents_on_trial_are_taken_along_and_away(self):
        (PLACE / "request.xml").write_text('<request><file id="trial"/></request>', encoding="utf-8")
        (PLACE / "new.xml").write_text(DOCUMENT.replace("client-logs", "trial").replace("Client", "Trial")
                                       .replace("$TOLM_SINCE", "$TOLM_SINCE; chrt -p $$"), encoding="utf-8")
        # A run gives way to everything else where nothing is told of that, and its commands take long then.
        self.play("collect", limit="good03", check=0, tolm_collect_nice=None, tolm_collect_command_timeout=0,
                  tolm_collect_request=str(PLACE / "request.xml"),
                  tolm_collect_documents=[str(PLACE / "new.xml")], tolm_collect_label="trial",
                  tolm_collect_since="2026-11-20")
        row = index()["good03"]
        self.whole("good03", row)
        self.assertTrue(row["bundle"].endswith("_trial.zip"))
        with zipfile.ZipFile(PLACE / "bundles" / row["bundle"]) as bundle:
            self.assertIn("Trial/good03.log", bundle.namelist())
            self.assertNotIn("Client/good03.log", bundle.namelist())
            told = bundle.read("Trial/echo_result.txt")
            self.assertIn(b"2026-11-20 00:00:00", told)
            self.assertIn(b"SCHED_IDLE", told)
        self.assertEqual(self.hosts["good03"].run("ls /opt/halvo/tessarmont/tolm/xml/config").stdout, "client.xml\n")

    CONFIG = "/opt/halvo/tessarmont/tolm/xml/config"

    def test_what_an_incomplete_bundle_lacks_is_told(self):
        host = self.hosts["good07"]
        (PLACE / "request.xml").write_text(
            '<request><file id="client-logs"/><file id="nobody"/><file id="gone"/><file id="folder"/>'
            '<file id="{{ 7 * 7 }}"/></request>',
            encoding="utf-8")
        (PLACE / "bad.xml").write_text("<config>", encoding="utf-8")
        (PLACE / "gone.xml").write_text(DOCUMENT.replace("client-logs", "gone").replace("Client", "Gone")
                                        .replace("*.log", "no-such-file"), encoding="utf-8")
        documents = [str(PLACE / "bad.xml"), str(PLACE / "gone.xml")]
        result = self.play("collect", limit="good07", check=0, tolm_collect_request=str(PLACE / "request.xml"),
                           tolm_collect_documents=documents)
        row = index()["good07"]
        self.whole("good07", row)
        self.assertEqual(row["state"], "incomplete")
        # What a host says is a text, whatever it looks like.
        self.assertEqual(sorted(row["missing"]), ["folder", "gone", "nobody", "{{ 7 * 7 }}"])
        self.assertRegex(row["why"], r"no document has instructions for .*nobody.*, \{\{ 7 \* 7 \}\}")
        self.assertRegex(row["why"], "can't be parsed: .*bad.xml")
        line = self.in_the_table(result)["good07"]
        self.assertRegex(line, rf"^good07 +incomplete +{row['bytes']}  {re.escape(row['bundle'])}; missing: .*nobody.*; ")
        self.assertTrue(line.endswith(row["why"]), line)
        self.assertEqual(host.run(f"ls {self.CONFIG}").stdout, "client.xml\n")

    def test_files_of_a_folder_that_cannot_be_read_are_told(self):
        host = self.hosts["good08"]
        (PLACE / "folder.xml").write_text(FOLDER, encoding="utf-8")
        host.run("mkdir -p /opt/data; echo text >/opt/data/text; mkfifo /opt/data/pipe; "
                 "ln -s /proc/self/mem /opt/data/unreadable; ln -s /opt/data/nowhere /opt/data/dangling; true")
        self.play("collect", limit="good08", check=0, tolm_collect_documents=[str(PLACE / "folder.xml")])
        row = index()["good08"]
        status = json.loads((PLACE / "bundles/good08/status.json").read_text(encoding="utf-8"))
        self.assertNotEqual(status["unreadable"], [])
        self.assertEqual(row["state"], "incomplete")
        self.assertRegex(row["why"], "couldn't be read: .*/opt/data/")

    def test_documents_on_trial_take_no_other_documents_names(self):
        host = self.hosts["good09"]
        installed = DOCUMENT.replace("client-logs", "installed").replace("Client", "Installed")
        host.run(f"cat >{self.CONFIG}/trial-a.xml <<'END'\n{installed}\nEND")
        documents = []
        for title in ("One", "Two"):
            (PLACE / title).mkdir()
            documents.append(PLACE / title / "a.xml")
            documents[-1].write_text(DOCUMENT.replace("client-logs", title).replace("Client", title), encoding="utf-8")
        self.play("collect", limit="good09", check=0, tolm_collect_documents=list(map(str, documents)))
        with zipfile.ZipFile(PLACE / "bundles" / index()["good09"]["bundle"]) as bundle:
            self.assertLessEqual({f"{title}/good09.log" for title in ("Client", "Installed", "One", "Two")},
                                 set(bundle.namelist()))
        self.assertEqual(host.run(f"cat {self.CONFIG}/trial-a.xml; rm {self.CONFIG}/trial-a.xml").stdout.strip(),
                         installed.strip())
        self.assertEqual(host.run(f"ls {self.CONFIG}").stdout, "client.xml\n")

    def test_check_mode_plans_with_the_request_and_the_documents_on_trial(self):
        (PLACE / "request.xml").write_text('<request><file id="tried"/><file id="nobody"/></request>', encoding="utf-8")
        (PLACE / "tried.xml").write_text(DOCUMENT.replace("client-logs", "tried"), encoding="utf-8")
        self.play("collect", "--check", limit="good10", check=0, tolm_collect_request=str(PLACE / "request.xml"),
                  tolm_collect_documents=[str(PLACE / "tried.xml")])
        plan = json.loads((PLACE / "bundles/good10/plan.json").read_text(encoding="utf-8"))
        self.assertEqual(plan["unmatched_ids"], ["nobody"])
        self.assertEqual(sorted(item["id"] for document in plan["documents"] for item in document["items"]
                                if item["selected"]), ["tried"])
        self.assertEqual(self.hosts["good10"].run(f"ls {self.CONFIG}; ls -A /tmp").stdout, "client.xml\n")

    def test_what_lies_in_a_hosts_folder_is_of_the_last_play(self):
        folder = PLACE / "bundles/good11"
        self.play("collect", limit="good11", check=0)
        self.assertTrue((folder / "status.json").exists())
        # A play that only plans leaves what a run has told, and a run that fails without a status has none.
        self.play("collect", "--check", limit="good11", check=0)
        self.assertTrue((folder / "status.json").exists())
        self.assertTrue((folder / "plan.json").exists())
        self.play("collect", limit="good11", check=0, tolm_collect_program="/nowhere")
        self.assertEqual(index()["good11"]["state"], "failed")
        self.assertEqual([path.suffix for path in folder.iterdir()], [".zip"])

    def test_bundles_lie_in_the_directory_that_the_play_was_started_in(self):
        for told, folder in ((None, "bundles"), ("some/where", "some/where")):
            start = PLACE / "start"
            shutil.rmtree(start, ignore_errors=True)
            start.mkdir()
            self.play("collect", limit="good12", check=0, cwd=start, tolm_collect_dest=told)
            self.assertTrue((start / folder / "index.json").exists(), folder)
            self.assertTrue((start / folder / "good12/status.json").exists(), folder)
            self.assertEqual(list(COLLECTION.rglob("*.zip")), [])

    def test_of_a_host_that_is_done_with_only_its_row_is_kept(self):
        playbook = PLACE / "own.yml"
        playbook.write_text("""
- hosts: all
  gather_facts: false
  roles: [halvo.tessarmont.tolm_collect]
  post_tasks:
    - ansible.builtin.copy:
        content: "{{ hostvars[inventory_hostname] | to_json }}"
        dest: "{{ tolm_collect_dest }}/{{ inventory_hostname }}.json"
      delegate_to: localhost
""", encoding="utf-8")
        self.play(playbook, limit="good06:hangs", check=0, hosts={"hangs": {"tolm_collect_command_timeout": 2}})
        for name in ("good06", "hangs"):
            kept = (PLACE / f"bundles/{name}.json").read_text(encoding="utf-8")
            self.assertIn(index()[name]["sha256"], kept)
            self.assertNotIn("outcome", kept)

    def test_packages_are_installed_first_where_that_is_told(self):
        tree = PLACE / "package"
        for folder in ("DEBIAN", "opt/halvo/tessarmont/bin", "opt/halvo/tessarmont/log",
                       "opt/halvo/tessarmont/tolm/xml/config"):
            (tree / folder).mkdir(parents=True)
        architecture = run(["dpkg", "--print-architecture"]).stdout.strip()
        (tree / "DEBIAN/control").write_text(
            f"Package: tolm-console\nVersion: 1.0.0\nArchitecture: {architecture}\nMaintainer: a test <test@halvo.example>\n"
            "Description: the program and a document\n", encoding="utf-8")
        shutil.copy(PROGRAMS / "tmtolm", tree / "opt/halvo/tessarmont/bin")
        shutil.copy(PLACE / "client.xml", tree / "opt/halvo/tessarmont/tolm/xml/config")
        (tree / "opt/halvo/tessarmont/log/bare.log").write_text("log of bare\n", encoding="utf-8")
        run(["dpkg-deb", "--root-owner-group", "-Znone", "-b", tree, PLACE / "tolm-console.deb"])
        try:
            self.play("collect", limit="bare", check=0, tolm_collect_packages=[str(PLACE / "tolm-console.deb")])
            self.whole("bare", index()["bare"])
        finally:
            self.hosts["bare"].run("dpkg --purge tolm-console")

    def test_hosts_whose_batch_has_not_begun_are_told_as_waiting(self):
        result = self.play("collect", limit="good05:good06", check=0, tolm_collect_serial=1)
        tables = result.stdout.split("HOST  ")[1:]
        told = [re.findall(r"(good\d\d) +(\w+) ", table) for table in tables]
        self.assertEqual(told, [[("good05", "whole"), ("good06", "waiting")], [("good05", "whole"), ("good06", "whole")]])
        self.assertEqual({(row["state"], row["why"]) for row in index().values()}, {("whole", None)})

    def test_check_mode_plans_and_gathers_nothing(self):
        self.play("collect", "--check", limit="good04:hangs", check=0)
        rows = index()
        self.assertEqual({row["state"] for name, row in rows.items() if name in ("good04", "hangs")}, {"planned"})
        plan = json.loads((PLACE / "bundles/good04/plan.json").read_text(encoding="utf-8"))
        self.assertEqual(plan["documents"][0]["items"][0]["id"], "client-logs")
        self.assertEqual([path.name for path in (PLACE / "bundles/good04").iterdir()], ["plan.json"])

    def test_a_check_of_clearing_fetches_what_it_would_delete_and_deletes_nothing(self):
        for told in ({}, {"tolm_clear_confirm": "delete the logs"}):
            self.play("clear", "--check", limit="good05", check=0, tolm_clear_dest=str(PLACE / "plans"), **told)
            self.assertEqual(self.hosts["good05"].run("ls /opt/halvo/tessarmont/log").stdout, "good05.log\n")
            plan = json.loads((PLACE / "plans/good05/clear-plan.json").read_text(encoding="utf-8"))
            self.assertIn("/opt/halvo/tessarmont/log/good05.log", json.dumps(plan))
            shutil.rmtree(PLACE / "plans")

    def test_logs_are_cleared_once_that_was_confirmed(self):
        logs = "ls /opt/halvo/tessarmont/log"
        self.play("clear", limit="good05", check=2)
        self.assertEqual(self.hosts["good05"].run(logs).stdout, "good05.log\n")
        self.play("clear", limit="good05", check=0, tolm_clear_confirm="delete the logs")
        self.assertEqual(self.hosts["good05"].run(logs).stdout, "")
        self.hosts["good05"].run("echo 'log of good05' >/opt/halvo/tessarmont/log/good05.log")


class CollectionTest(unittest.TestCase):
    def test_the_collection_has_nothing_that_its_lint_complains_of(self):
        tasks = sorted(str(path.relative_to(COLLECTION)) for path in COLLECTION.rglob("*.yml"))
        self.assertGreater(len(tasks), 10)
        # The collection's own names are found in an installed one, and nothing is written to a home folder.
        namespace = WORK / "lint/collections/ansible_collections/halvo"
        shutil.rmtree(WORK / "lint", ignore_errors=True)
        namespace.mkdir(parents=True)
        shutil.copytree(COLLECTION, namespace / "tessarmont")
        environment = dict(os.environ, HOME=str(WORK / "lint"), LC_ALL="C.UTF-8",
                           ANSIBLE_COLLECTIONS_PATH=str(WORK / "lint/collections"))
        result = run(["ansible-lint", "--offline", "--nocolor", "--profile", "production", *tasks],
                     cwd=namespace / "tessarmont", env=environment, check=False, timeout=300)
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_the_collection_is_built_by_its_own_tool(self):
        folder = WORK / "collection"
        shutil.rmtree(folder, ignore_errors=True)
        run(["ansible-galaxy", "collection", "build", "--output-path", folder, COLLECTION],
            env=dict(os.environ, ANSIBLE_HOME=str(WORK / "home"), LC_ALL="C.UTF-8"))
        self.assertEqual(len(list(folder.glob("halvo-tessarmont-*.tar.gz"))), 1)

    def test_the_collection_is_installed_from_its_folder(self):
        place = WORK / "installed"
        shutil.rmtree(place, ignore_errors=True)
        run(["ansible-galaxy", "collection", "install", "--collections-path", place / "collections", COLLECTION],
            env=dict(os.environ, HOME=str(place), ANSIBLE_HOME=str(place / "home"), LC_ALL="C.UTF-8"))
        installed = place / "collections/ansible_collections/halvo/tessarmont"
        for folder in ("playbooks", "roles"):
            names = {path.relative_to(COLLECTION) for path in (COLLECTION / folder).rglob("*") if path.is_file()}
            self.assertGreater(len(names), 1)
            self.assertEqual(names, {path.relative_to(installed) for path in (installed / folder).rglob("*") if path.is_file()})

    def test_every_option_has_its_default_and_its_description(self):
        for role in ("tolm_collect", "tolm_clear"):
            specs = (COLLECTION / "roles" / role / "meta/argument_specs.yml").read_text(encoding="utf-8")
            defaults = (COLLECTION / "roles" / role / "defaults/main.yml").read_text(encoding="utf-8")
            self.assertEqual(set(re.findall(r"^      (tolm_\w+):", specs, re.M)),
                             set(re.findall(r"^(tolm_\w+):", defaults, re.M)))


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("The hosts of this test need root, for mounts of their own: sudo ./test --all")
    if sys.argv[1:] == ["--measure"]:
        fleet.measure()
    else:
        side_by_side.main(LONGEST, before=fleet.remove_places)
