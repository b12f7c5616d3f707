"""Runs that nobody stands in front of: names, the status, bundles to public keys.

Runs in a mount namespace of its own, with folders of OWN_FOLDERS that are empty.
"""

import contextlib
import datetime
import hashlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import stat
import subprocess
import sys
import unittest
import zipfile

import jsonschema

import support
from support import SOURCE, TMTOLM, run

CONFIG = pathlib.Path("/opt/halvo/tessarmont/tolm/xml/config")
PLACE = pathlib.Path("/tmp/place")
# Where others may read, and a run may write.
OWN_FOLDERS = ("/opt", "/run", "/tmp", "/var/tmp", "/dev/shm")
RANDOM_RUNS = int(os.environ.get("TOLM_RANDOM_RUNS", "1000"))

SCHEMA = json.loads((SOURCE / "packaging/schema/collect-status.schema.json").read_text(encoding="utf-8"))

DOCUMENT = """<config><configure><title>Logs</title></configure>
<file id="logs"><description>Logs</description><default>true</default><tolm><os opsys="linux">
<file_copy_action><action><loc>/tmp/place/source/*.log</loc></action></file_copy_action>
</os></tolm></file></config>"""

COMMAND = """<config><configure><title>Out</title></configure>
<file id="out"><description>Output</description><default>true</default><tolm><os opsys="linux">
<use_extern_action><action><args>{}</args><stdout/></action></use_extern_action>
</os></tolm></file></config>"""


def collect(*arguments, check=None, timeout=300, env=None):
    result = run([TMTOLM, "collect", *arguments], check=False, timeout=timeout, stderr=subprocess.PIPE,
                 env=dict(os.environ, **(env or {})))
    if check is not None and result.returncode != check:
        raise AssertionError(f"collect ended with {result.returncode}: {result.stdout}{result.stderr}")
    return result


def status_of(result):
    status = json.loads(result.stdout)
    jsonschema.validate(status, SCHEMA)
    return status


class UnattendedCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        for folder in (CONFIG, PLACE):
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(parents=True)
        (PLACE / "source").mkdir()
        (PLACE / "out").mkdir()
        (PLACE / "source/one.log").write_text("first\n", encoding="utf-8")
        (CONFIG / "logs.xml").write_text(DOCUMENT, encoding="utf-8")

    def bundles(self):
        return sorted(path.name for path in (PLACE / "out").iterdir())


class OutputDirTest(UnattendedCase):
    def test_a_bundle_is_named_by_machine_time_and_label(self):
        collect("--output-dir", PLACE / "out", "--label", "nightly", check=0)
        self.assertRegex(self.bundles()[0], r"^[\w.-]+_\d{8}T\d{6}Z_nightly\.zip$")

    def test_no_bundle_is_overwritten(self):
        for _ in range(6):
            collect("--output-dir", PLACE / "out", check=0)
        self.assertEqual(len(self.bundles()), 6)

    def test_a_folder_that_is_missing_is_wrong_usage(self):
        collect("--output-dir", PLACE / "nowhere", check=2)

    def test_a_label_cannot_leave_the_folder(self):
        collect("--output-dir", PLACE / "out", "--label", "../x", check=2)
        self.assertEqual(self.bundles(), [])

    def test_the_bundle_is_its_users_alone(self):
        collect("--output-dir", PLACE / "out", check=0)
        self.assertEqual(stat.S_IMODE((PLACE / "out" / self.bundles()[0]).stat().st_mode), 0o600)


class StatusTest(UnattendedCase):
    def test_a_status_on_standard_output_stands_there_alone(self):
        result = collect("--output-dir", PLACE / "out", "--status-json", "-", check=0)
        status = status_of(result)
        self.assertEqual(status["code"], "0x00000000")
        self.assertFalse(status["incomplete"])

    def test_a_command_that_prints_is_not_in_the_statuss_way(self):
        (CONFIG / "run.xml").write_text(COMMAND.format("echo out; echo err &gt;&amp;2; exit 7"), encoding="utf-8")
        status = status_of(collect("--output-dir", PLACE / "out", "--status-json", "-", check=0))
        command = [item for item in status["items"] if item["id"] == "out"][0]["commands"][0]
        self.assertEqual((command["exit_status"], command["bytes"]), (7, 4))

    def test_a_hostile_name_reaches_no_terminal(self):
        (PLACE / "source/\u009b.log").write_text("x\n", encoding="utf-8")
        result = collect("--output-dir", PLACE / "out", "--status-json", "-", check=0)
        self.assertIn("\\u009b.log", result.stdout)
        self.assertNotIn("\u009b", result.stdout)
        status_of(result)

    def test_a_status_file_appears_whole_and_for_its_user_alone(self):
        path = PLACE / "status.json"
        path.write_text("old", encoding="utf-8")
        collect("--output-dir", PLACE / "out", "--status-json", path, check=0)
        jsonschema.validate(json.loads(path.read_text(encoding="utf-8")), SCHEMA)
        self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o600)
        self.assertEqual([p.name for p in PLACE.glob("status.json*")], ["status.json"])

    def test_a_status_that_cannot_be_written_is_a_failure(self):
        result = collect("--output-dir", PLACE / "out", "--status-json", "/dev/full", check=1)
        self.assertIn("the status can't be written", result.stderr)

    def test_the_bundle_is_told_with_its_sum(self):
        status = status_of(collect("--output-dir", PLACE / "out", "--status-json", "-", check=0))
        data = (PLACE / "out" / self.bundles()[0]).read_bytes()
        self.assertEqual(status["bundle"]["path"], str(PLACE / "out" / self.bundles()[0]))
        self.assertEqual(status["bundle"]["sha256"], hashlib.sha256(data).hexdigest())
        self.assertEqual(status["bundle"]["bytes"], len(data))

    def test_what_a_run_has_done_is_told_as_it_was(self):
        folder = PLACE / "source/folder"
        (folder / "deep").mkdir(parents=True)
        (folder / "deep/two.txt").write_text("second\n", encoding="utf-8")
        line = "sleep 1; printf '%s' 'a & b'; exit 3"
        text = COMMAND.format(line.replace("&", "&amp;")).replace(
            "</os>", f"<file_copy_action><action><loc>{folder}</loc></action></file_copy_action></os>")
        (CONFIG / "out.xml").write_text(text, encoding="utf-8")

        before = datetime.datetime.now(datetime.timezone.utc).replace(microsecond=0)
        status = status_of(collect("--output-dir", PLACE / "out", "--status-json", "-", check=0))
        after = datetime.datetime.now(datetime.timezone.utc)

        self.assertEqual(status["host"], os.uname().nodename)
        self.assertEqual(status["version"], run([TMTOLM, "--version"]).stdout.split()[-1])
        start, end = (datetime.datetime.fromisoformat(status[name].replace("Z", "+00:00")) for name in ("start", "end"))
        self.assertLessEqual(before, start)
        self.assertLess(start, end)
        self.assertLessEqual(end, after)
        # Both times are whole seconds.
        self.assertLessEqual(abs((end - start).total_seconds() - status["seconds"]), 1.5)
        self.assertEqual(sorted(status["documents"], key=lambda document: document["path"]), [
            {"path": str(CONFIG / name), "title": title, "parsed": True,
             "sha256": hashlib.sha256((CONFIG / name).read_bytes()).hexdigest()}
            for name, title in (("logs.xml", "Logs"), ("out.xml", "Out"))])
        items = {item["id"]: item for item in status["items"]}
        self.assertEqual({(item["id"], item["document"], item["description"]) for item in status["items"]},
                         {("logs", str(CONFIG / "logs.xml"), "Logs"), ("out", str(CONFIG / "out.xml"), "Output")})
        self.assertEqual(items["logs"]["commands"], [])
        self.assertEqual(len(items["out"]["commands"]), 1)
        command = items["out"]["commands"][0]
        self.assertEqual((command["line"], command["exit_status"], command["bytes"], command["ended_by_limit"]),
                         (line, 3, len("a & b"), False))
        self.assertLessEqual(1, command["seconds"])
        self.assertLessEqual(command["seconds"], status["seconds"])
        told = {item["id"]: {file["name"]: (file["bytes"], file["sha256"]) for file in item["files"]}
                for item in status["items"]}
        with zipfile.ZipFile(status["bundle"]["path"]) as bundle:
            stored = {name: bundle.read(name) for name in bundle.namelist() if name != "summary.txt"}
        sums = {name: (len(data), hashlib.sha256(data).hexdigest()) for name, data in stored.items()}
        self.assertEqual(stored["Logs/one.log"], b"first\n")
        self.assertEqual(stored["Out/folder/deep/two.txt"], b"second\n")
        self.assertEqual(told, {"logs": {"Logs/one.log": sums.pop("Logs/one.log")}, "out": sums})
        self.assertEqual(len(sums), 2)

    def test_a_run_that_fails_has_a_status_too(self):
        (CONFIG / "logs.xml").write_text("<broken", encoding="utf-8")
        status = status_of(collect("--output-dir", PLACE / "out", "--status-json", "-", check=1))
        self.assertEqual((status["code"], status["bundle"]), ("0xFEAF000A", None))
        self.assertIn("no valid configuration XML found", status["text"])
        self.assertTrue(status["incomplete"])

    def test_a_command_that_was_ended_is_told(self):
        (CONFIG / "run.xml").write_text(COMMAND.format("echo begun; sleep 600"), encoding="utf-8")
        # On a busy machine the command may not have come up within the first limits.
        for limit in (1, 4, 16, 64):
            result = collect("--output-dir", PLACE / "out", "--status-json", "-", "--command-timeout", limit, check=0)
            item = [item for item in status_of(result)["items"] if item["id"] == "out"][0]
            if item["outcome"] == "partial":
                break
        self.assertIn('tmtolm: the command "echo begun; sleep 600" was ended after ', result.stderr)
        self.assertTrue(item["commands"][0]["ended_by_limit"])
        self.assertEqual(item["outcome"], "partial")

    def test_every_file_that_cannot_be_read_is_told_with_its_item(self):
        # Ten are named to people. Links that lead nowhere can't be read by anybody.
        folder = PLACE / "source/folder.log"
        folder.mkdir()
        for number in range(1500):
            (folder / f"{number}.log").symlink_to("nowhere")
        result = collect("--output-dir", PLACE / "out", "--status-json", "-", check=0)
        status = status_of(result)
        wanted = {f"{folder}/{number}.log" for number in range(1500)}
        self.assertEqual(sorted(status["unreadable"]),
                         sorted(f'"{path}": No such file or directory' for path in wanted))
        item = status["items"][0]
        self.assertEqual({(o["file"], o["reason"]) for o in item["omitted"]},
                         {(path, "Can't be read: No such file or directory") for path in wanted})
        self.assertEqual((len(item["omitted"]), item["outcome"], status["incomplete"]), (1500, "partial", True))
        self.assertEqual(len(result.stderr.splitlines()), 12)

    def test_every_file_that_is_cut_short_is_told_with_its_item(self):
        for number in range(20):
            (PLACE / f"source/{number}.log").write_bytes(b"x" * 20000)
        (CONFIG / "run.xml").write_text(COMMAND.format("head -c 20000 /dev/zero"), encoding="utf-8")
        # A bundle of so little stays below the limit that files have.
        result = run(["sh", "-c", "trap '' XFSZ; ulimit -f 32; exec \"$@\"", "sh", TMTOLM, "collect", "--bundle",
                      PLACE / "b.zip", "--status-json", PLACE / "status.json"], check=False, timeout=300,
                     stderr=subprocess.PIPE)
        self.assertEqual(result.returncode, 1, result.stderr)
        status = json.loads((PLACE / "status.json").read_text(encoding="utf-8"))
        jsonschema.validate(status, SCHEMA)
        files = [str(PLACE / f"source/{number}.log") for number in range(20)]
        self.assertEqual(sorted(status["cut_short"]),
                         sorted(f'"{path}": File too large' for path in files + ["Out/head_result.txt"]))
        omitted = {item["id"]: sorted((o["file"], o["reason"]) for o in item["omitted"]) for item in status["items"]}
        self.assertEqual(omitted, {"logs": sorted((path, "Cut short or missing: File too large") for path in files),
                                   "out": [("Out/head_result.txt", "Cut short or missing: File too large")]})
        self.assertEqual({item["outcome"] for item in status["items"]}, {"partial"})

    def test_what_is_missing_ends_with_three_where_that_was_asked_for(self):
        (PLACE / "source/one.log").unlink()
        collect("--output-dir", PLACE / "out", check=0)
        for quiet in ([], ["--quiet"]):
            result = collect("--output-dir", PLACE / "out", "--fail-incomplete", *quiet, check=3)
            self.assertIn("tmtolm: the bundle is incomplete: ", result.stderr)

    def test_a_whole_run_ends_with_zero_where_three_was_asked_for(self):
        collect("--output-dir", PLACE / "out", "--fail-incomplete", check=0)

    def test_an_unknown_id_of_a_request_is_missing(self):
        request = PLACE / "request.xml"
        request.write_text('<request><file id="logs"/><file id="nobody"/></request>', encoding="utf-8")
        result = collect("--output-dir", PLACE / "out", "--request", request, "--fail-incomplete", "--status-json",
                         "-", check=3)
        self.assertEqual(status_of(result)["unmatched_ids"], ["nobody"])

    def test_commands_learn_since_when(self):
        (CONFIG / "run.xml").write_text(COMMAND.format("echo \"since=$TOLM_SINCE\""), encoding="utf-8")
        collect("--bundle", PLACE / "b.zip", "--since", "2026-11-20 08:30", check=0)
        with zipfile.ZipFile(PLACE / "b.zip") as bundle:
            self.assertIn(b"since=2026-11-20 08:30:00", bundle.read("Out/echo_result.txt"))

    def test_a_time_that_is_none_is_wrong_usage(self):
        collect("--bundle", PLACE / "b.zip", "--since", "soon", check=2)

    def test_a_nice_run_gives_way(self):
        (CONFIG / "run.xml").write_text(
            COMMAND.format("cat /proc/self/stat; ionice -p $$; chrt -p $$"), encoding="utf-8")
        collect("--bundle", PLACE / "b.zip", "--nice", check=0)
        with zipfile.ZipFile(PLACE / "b.zip") as bundle:
            text = bundle.read("Out/cat_result.txt").decode()
        self.assertIn("\nidle", text)
        self.assertIn("SCHED_IDLE", text)
        line = [row for row in text.splitlines() if ") " in row][0]
        self.assertEqual(line.rsplit(") ", 1)[1].split()[16], "19")


UNREADABLE = "Can't be read: "


def is_loss(omission):
    return omission["reason"].startswith(UNREADABLE)


def packed(text):
    """Without blanks: a column of the summary breaks texts in the middle of words as well as between them."""
    return "".join(text.split())


def rows(section, heading):
    """The rows of a table of the summary, their cells packed."""
    if heading not in section:
        return []
    lines = section.split(heading)[1].split("\n")[1:]
    starts = [match.start() for match in re.finditer(r"(?:(?<=  )|^)\S", lines[0])]
    found = []
    for line in lines[2:]:
        if line.startswith("---"):
            return [[packed(cell) for cell in row] for row in found]
        # The columns are counted in bytes.
        data = line.encode()
        cells = [data[at:end].decode() for at, end in zip(starts, starts[1:] + [None])]
        if cells[0].strip():
            found.append(cells)
        else:
            found[-1] = [before + cell for before, cell in zip(found[-1], cells)]
    raise AssertionError(f"no end of the table behind {heading}")


class RandomRunsTest(UnattendedCase):
    """What is told is compared with the plan, the summary and the bundle, over random documents and files."""

    WORDS = ["a", "b.log", "c.txt", "long-name-that-fills-a-column-of-the-summary.log", "\u00e4.log", "d d.log"]

    def item(self, pick, name):
        actions = []
        for _ in range(pick.randrange(3)):
            kind = pick.randrange(4)
            if kind < 2:
                pattern = pick.choice(["*", "*.log", "?.txt", "missing*", pick.choice(self.WORDS)])
                newest = ' gather_newest="true"' if pick.random() < 0.2 else ""
                actions.append(f"<file_copy_action><action><loc{newest}>/tmp/place/source/{pattern}</loc></action>"
                               "</file_copy_action>")
            elif kind == 2:
                line = pick.choice(["echo text", "true", "false", "nowhere-to-be-found", f"exit {pick.randrange(256)}"])
                actions.append(f"<use_extern_action><action><args>{line}</args><stdout/></action></use_extern_action>")
            else:
                actions.append("<use_extern_action><action><args>touch /tmp/place/made</args>"
                               "<temp_out>/tmp/place/made</temp_out></action></use_extern_action>")
        default = pick.choice(["true", "true", "false"])
        system = pick.choice(["linux", "linux", "linux", "mac"])
        return (f'<file id="{name}"><description>Item {name}</description><default>{default}</default><tolm>'
                f'<os opsys="{system}">{"".join(actions)}</os></tolm></file>')

    def build(self, pick):
        for folder in (CONFIG, PLACE / "source"):
            shutil.rmtree(folder)
            folder.mkdir()
        # By the name that the summary has: what can't be read, and what leaves no file in the bundle.
        self.unreadable = {}
        self.empty_ones = set()
        for word in self.WORDS:
            path = PLACE / "source" / word
            if pick.random() < 0.1:
                # Gathered as if it were a folder: nobody can read from it, root no more than others.
                os.mkfifo(path)
                self.unreadable[packed(word)] = [str(path)]
                self.empty_ones.add(packed(word))
            elif pick.random() < 0.6:
                path.write_bytes(pick.randbytes(pick.randrange(300)))
        if pick.random() < 0.5:
            folder = PLACE / "source/folder"
            (folder / "deep").mkdir(parents=True)
            if pick.random() < 0.7:
                (folder / "deep/file").write_bytes(b"deep")
            else:
                self.empty_ones.add("folder")
            # Sometimes more than people are told by name.
            links = [folder / "deep" / f"link {number}" for number in range(pick.choice([0, 2, 25]))]
            for link in links:
                link.symlink_to("nowhere")
            self.unreadable["folder"] = [str(link) for link in links]
        names = [f"id{number}" for number in range(4)]
        for number in range(pick.randrange(1, 4)):
            text = "<broken" if number > 0 and pick.random() < 0.1 else (
                f"<config><configure><title>T{number}</title></configure>"
                + "".join(self.item(pick, name) for name in pick.sample(names, pick.randrange(1, 4))) + "</config>")
            (CONFIG / f"{number}.xml").write_text(text, encoding="utf-8")
        if pick.random() < 0.4:
            wanted = pick.sample(names + ["nobody"], pick.randrange(1, 4))
            (PLACE / "request.xml").write_text(
                "<request>" + "".join(f'<file id="{name}"/>' for name in wanted) + "</request>", encoding="utf-8")
            return ["--request", str(PLACE / "request.xml")]
        return []

    def test_status_plan_summary_and_bundle_tell_the_same(self):
        pick = random.Random(20261121)
        kinds = set()
        most = 0
        for number in range(RANDOM_RUNS):
            request = self.build(pick)
            with self.subTest(run=number):
                plan = json.loads(run([TMTOLM, "plan", "--json", *request]).stdout)
                bundle = PLACE / "b.zip"
                bundle.unlink(missing_ok=True)
                result = collect("--bundle", bundle, "--status-json", "-", *request, check=0)
                status = status_of(result)
                self.compare_with_plan(status, plan)
                self.compare_with_bundle(status, bundle)
                kinds |= {item["outcome"] for item in status["items"]}
                most = max(most, len(status["unreadable"]))
        # The runs had everything in them that a status can tell.
        self.assertEqual(kinds, {"gathered", "partial", "missing", "left-out", "not-for-this-system"})
        self.assertGreaterEqual(most, 25)

    def compare_with_plan(self, status, plan):
        self.assertEqual(status["mode"], plan["mode"])
        self.assertEqual(status["unmatched_ids"], plan["unmatched_ids"])
        self.assertEqual([(d["path"], d["parsed"], d["title"]) for d in status["documents"]],
                         [(d["path"], d["parsed"], d["title"]) for d in plan["documents"]])
        planned = [(d["path"], i["id"], i["selected"], i["reason"]) for d in plan["documents"] for i in d["items"]]
        told = [(i["document"], i["id"], i["outcome"] != "left-out", i["reason"]) for i in status["items"]]
        self.assertEqual(told, planned)

    def compare_with_bundle(self, status, path):
        stored = {}
        for item in status["items"]:
            for file in item["files"]:
                stored[file["name"]] = (file["bytes"], file["sha256"])
        with zipfile.ZipFile(path) as bundle:
            # Names are stored as they are, without the mark for UTF-8.
            entries = {name.encode("cp437").decode(): bundle.read(name) for name in bundle.namelist()}
        summary = entries.pop("summary.txt").decode()
        self.assertEqual(status["bundle"]["entries"], len(entries) + 1)
        # What is stored may lie there for two items; what lies there is told by one at least.
        told = {name: (len(data), hashlib.sha256(data).hexdigest()) for name, data in entries.items()}
        self.assertEqual(stored, told)
        sections = summary.split("=" * 141)[1:]
        parsed = [document["path"] for document in status["documents"] if document["parsed"]]
        self.assertEqual(len(sections), len(parsed))
        for text, document in zip(sections, parsed):
            self.compare_with_section([item for item in status["items"] if item["document"] == document], text)
        for note in status["notes"]:
            self.assertIn(packed(note), packed(summary))
        lost = {(o["file"], o["reason"]) for item in status["items"] for o in item["omitted"] if is_loss(o)}
        self.assertEqual(sorted(status["unreadable"]),
                         sorted(f'"{file}": {reason[len(UNREADABLE):]}' for file, reason in lost))
        self.assertEqual(status["cut_short"], [])

    def compare_with_section(self, items, text):
        """A document's items with its section of the summary: every name with every item and every reason."""
        included = {(row[0], row[1]) for row in rows(text, "Files Included in Bundle:")}
        # A gathered folder is one file of the summary, and is told file by file.
        told = {(item["id"], packed(file["name"].split("/")[1])) for item in items for file in item["files"]}
        empty = {(id, name) for id, name in included if name in self.empty_ones}
        self.assertEqual(included, told | empty)
        omitted = sorted((row[0], row[1], row[3]) for row in rows(text, "Files Omitted from Bundle:"))
        self.assertEqual(sorted((item["id"], packed(o["file"]), packed(o["reason"])) for item in items
                                for o in item["omitted"] if not is_loss(o)), omitted)
        # What the summary is silent about: it follows from what lies there.
        lost = {(item["id"], o["file"]) for item in items for o in item["omitted"] if is_loss(o)}
        self.assertEqual(lost, {(id, path) for id, name in included for path in self.unreadable.get(name, [])})


class RedactedStatusTest(UnattendedCase):
    """What is told of a run whose bundle is redacted."""

    def setUp(self):
        super().setUp()
        (PLACE / "source/one.log").write_text("user=quinzeldov\npassword=hunter2\n", encoding="utf-8")
        (PLACE / "source/for-quinzeldov.log").write_text("from 81.2.69.142\n", encoding="utf-8")
        (PLACE / "source/core.log").write_bytes(b"\0\1")
        (CONFIG / "run.xml").write_text(COMMAND.format("echo of quinzeldov"), encoding="utf-8")

    def test_the_status_tells_the_redacted_bundle(self):
        status = status_of(collect("--output-dir", PLACE / "out", "--redact", "--status-json", "-", check=0))
        path = PLACE / "out" / self.bundles()[0]
        data = path.read_bytes()
        self.assertEqual((status["bundle"]["bytes"], status["bundle"]["sha256"]),
                         (len(data), hashlib.sha256(data).hexdigest()))
        self.assertGreaterEqual(status["redaction"]["replaced"], 4)
        self.assertEqual(status["redaction"]["left_out"], 1)
        with zipfile.ZipFile(path) as bundle:
            sizes = {i.filename: i.file_size for i in bundle.infolist()}
        self.assertEqual(status["bundle"]["entries"], len(sizes))
        told = {f["name"]: f["bytes"] for i in status["items"] for f in i["files"]}
        self.assertEqual(len(told), 3)
        self.assertEqual(told, {name: sizes[name] for name in told})
        self.assertEqual({f["sha256"] for i in status["items"] for f in i["files"]}, {None})

    def test_the_status_gives_nothing_away(self):
        text = collect("--output-dir", PLACE / "out", "--redact", "--status-json", "-", check=0).stdout
        for seeded in ("quinzeldov", "hunter2", "81.2.69.142"):
            self.assertNotIn(seeded, text)

    def test_a_file_that_was_left_out_is_an_omitted_one(self):
        status = status_of(collect("--output-dir", PLACE / "out", "--redact", "--status-json", "-", check=0))
        item = [item for item in status["items"] if item["id"] == "logs"][0]
        self.assertEqual(item["outcome"], "partial")
        self.assertEqual(item["omitted"], [{"file": "core.log", "reason": "Left out by redaction: not a text"}])
        self.assertTrue(status["incomplete"])

    def test_a_run_that_is_not_redacted_says_so(self):
        self.assertIsNone(status_of(collect("--output-dir", PLACE / "out", "--status-json", "-",
                                            check=0))["redaction"])


class RecipientTest(UnattendedCase):
    @classmethod
    def setUpClass(cls):
        cls.homes = []
        cls.reader = cls.make_home("reader")
        cls.key = cls.make_key("support")

    @classmethod
    def tearDownClass(cls):
        for home in cls.homes:
            run(["gpgconf", "--homedir", home, "--kill", "all"], check=False)

    @classmethod
    def make_home(cls, name):
        home = pathlib.Path("/tmp/homes") / name
        home.mkdir(parents=True, mode=0o700)
        cls.homes.append(home)
        return home

    @classmethod
    def make_key(cls, name, expire="never", more=()):
        run(["gpg", "--homedir", cls.reader, "--batch", "--quiet", "--passphrase", "", *more,
             "--quick-generate-key", name, "future-default", "default", expire])
        path = cls.reader / f"{name}.asc"
        run(["gpg", "--homedir", cls.reader, "--batch", "--armor", "--output", path, "--export", name])
        return path

    def nothing_is_left(self):
        self.assertEqual(self.bundles(), [])
        left = [path.name for path in pathlib.Path("/tmp").iterdir() if path.name.startswith("TOLM_")]
        self.assertEqual(left, [])

    def collect(self, *arguments, **options):
        return collect("--output-dir", PLACE / "out", *arguments, env={"GNUPGHOME": "/tmp/homes/none"}, **options)

    def test_the_holder_of_the_key_opens_the_bundle(self):
        self.collect("--recipient", self.key, check=0)
        self.assertRegex(self.bundles()[0], r"\.zip\.gpg$")
        run(["gpg", "--homedir", self.reader, "--batch", "--quiet", "--output", PLACE / "plain.zip", "--decrypt",
             PLACE / "out" / self.bundles()[0]])
        with zipfile.ZipFile(PLACE / "plain.zip") as bundle:
            self.assertEqual(bundle.read("Logs/one.log"), b"first\n")

    def test_each_of_two_recipients_opens_the_bundle_alone(self):
        second = self.make_key("second")
        status = status_of(self.collect("--recipient", self.key, "--recipient", second, "--status-json", "-", check=0))
        bundle = PLACE / "out" / self.bundles()[0]
        self.assertRegex(bundle.name, r"\.zip\.gpg$")
        opened_by = []
        for name in ("support", "second"):
            with self.subTest(name):
                secret = run(["gpg", "--homedir", self.reader, "--batch", "--pinentry-mode", "loopback", "--passphrase",
                              "", "--armor", "--export-secret-keys", f"={name}"], stderr=subprocess.PIPE).stdout
                # A home of today that knows of nothing but this one key.
                home = self.make_home(f"alone-{name}")
                env = dict(os.environ, GNUPGHOME=str(home))
                run(["gpg", "--batch", "--quiet", "--import"], input=secret, env=env)
                keys = run(["gpg", "--batch", "--with-colons", "--list-secret-keys"], env=env,
                           stderr=subprocess.PIPE).stdout
                self.assertEqual(len(re.findall("^sec:", keys, re.M)), 1)
                opened_by += re.findall(r"^sec:.*?^fpr:+(\w+):", keys, re.M | re.S)
                plain = PLACE / f"{name}.zip"
                run(["gpg", "--batch", "--quiet", "--output", plain, "--decrypt", bundle], env=env)
                with zipfile.ZipFile(plain) as archive:
                    self.assertIsNone(archive.testzip())
                    self.assertEqual(archive.read("Logs/one.log"), b"first\n")
        self.assertEqual(sorted(opened_by), sorted(status["bundle"]["recipients"]))

    def test_a_fresh_home_does_not_open_it(self):
        self.collect("--recipient", self.key, check=0)
        stranger = self.make_home("stranger")
        result = run(["gpg", "--homedir", stranger, "--batch", "--decrypt", PLACE / "out" / self.bundles()[0]],
                     check=False)
        self.assertNotEqual(result.returncode, 0)

    def test_the_status_tells_the_keys(self):
        status = status_of(self.collect("--recipient", self.key, "--status-json", "-", check=0))
        self.assertEqual(len(status["bundle"]["recipients"]), 1)

    def test_the_holder_of_the_key_opens_the_redacted_bundle(self):
        (PLACE / "source/one.log").write_text("81.2.69.142 sent password=hunter2 twice\n", encoding="utf-8")
        status = status_of(self.collect("--recipient", self.key, "--redact", "--status-json", "-", check=0))
        data = (PLACE / "out" / self.bundles()[0]).read_bytes()
        self.assertEqual((status["bundle"]["bytes"], status["bundle"]["sha256"]),
                         (len(data), hashlib.sha256(data).hexdigest()))
        self.assertEqual(len(status["bundle"]["recipients"]), 1)
        run(["gpg", "--homedir", self.reader, "--batch", "--quiet", "--output", PLACE / "plain.zip", "--decrypt",
             PLACE / "out" / self.bundles()[0]])
        with zipfile.ZipFile(PLACE / "plain.zip") as bundle:
            self.assertIn("redaction.txt", bundle.namelist())
            text = bundle.read("Logs/one.log").decode()
        self.assertRegex(text, r"^24[0-7]\.[0-9.]+ sent password=REDACTED twice$")
        left = [path.name for path in pathlib.Path("/tmp").iterdir() if path.name.startswith("TOLM_")]
        self.assertEqual(left, [])

    def test_a_password_and_a_key_are_wrong_usage(self):
        self.collect("--recipient", self.key, "--password-file", self.key, check=2)

    def test_without_a_key_there_is_no_bundle(self):
        self.collect("--recipient", "/nowhere.asc", check=1)
        self.nothing_is_left()

    def test_without_the_library_the_run_says_so_and_there_is_no_bundle(self):
        shadow = PLACE / "shadow"
        shadow.mkdir()
        # A library of that name, found before the machine's own, that knows none of the calls.
        zlib = next(line.split()[2] for line in run(["ldd", TMTOLM]).stdout.splitlines() if "libz.so" in line)
        shutil.copy(zlib, shadow / "libgpgme.so.11")
        result = collect("--output-dir", PLACE / "out", "--recipient", self.key, check=1,
                         env={"LD_LIBRARY_PATH": str(shadow)})
        self.assertIn("libgpgme.so.11 isn't installed", result.stderr)
        self.nothing_is_left()

    def test_with_an_expired_key_there_is_no_bundle(self):
        key = self.make_key("old", "1d", ["--faked-system-time", "20200101T000000"])
        result = self.collect("--recipient", self.key, "--recipient", key, check=1)
        self.assertIn("has expired", result.stderr)
        self.nothing_is_left()

    def test_with_an_unknown_key_there_is_no_bundle(self):
        self.collect("--recipient", "0123456789ABCDEF0123456789ABCDEF01234567", check=1)
        self.nothing_is_left()

    @contextlib.contextmanager
    def stand_in(self, commands):
        """Puts in front of gpg what carries out `commands` where gpg is called to encrypt."""
        script = pathlib.Path("/tmp/stand-in")
        shutil.copy("/usr/bin/gpg", "/tmp/real-gpg")
        script.write_text(f'#!/bin/sh\ncase " $* " in *" --encrypt "*) {commands};; esac\n'
                          'exec /tmp/real-gpg "$@"\n', encoding="utf-8")
        script.chmod(0o755)
        run(["mount", "--bind", script, "/usr/bin/gpg"])
        try:
            yield
        finally:
            run(["umount", "/usr/bin/gpg"])

    def test_when_gpg_is_killed_there_is_no_bundle(self):
        with self.stand_in("printf half; kill -9 $$"):
            result = self.collect("--recipient", self.key, check=1)
        self.assertIn("0xFEAF000B", result.stderr)
        self.nothing_is_left()

    def test_on_a_full_disk_there_is_no_bundle(self):
        (PLACE / "source/large.log").write_bytes(random.Random(1).randbytes(3 << 20))
        run(["mount", "-t", "tmpfs", "-o", "size=1m", "tmpfs", PLACE / "out"])
        try:
            self.collect("--recipient", self.key, check=1)
            self.nothing_is_left()
        finally:
            run(["umount", PLACE / "out"])

    def test_a_run_that_is_killed_leaves_nothing_that_is_plain_beside_the_bundle(self):
        (CONFIG / "run.xml").write_text(COMMAND.format("sleep 600"), encoding="utf-8")
        with subprocess.Popen([TMTOLM, "collect", "--quiet", "--output-dir", PLACE / "out", "--recipient", self.key],
                              env=dict(os.environ, GNUPGHOME="/tmp/homes/none"), start_new_session=True) as child:
            try:
                for _ in range(2400):
                    if run(["pgrep", "-g", str(child.pid), "sleep"], check=False).returncode == 0:
                        break
                    self.assertIsNone(child.poll(), "the run ended before its command ran")
                    signal.sigtimedwait([signal.SIGUSR1], 0.05)
                else:
                    self.fail("the run's command didn't come up")
            finally:
                # A run that has ended before isn't there any more.
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(child.pid, signal.SIGKILL)
                child.wait(timeout=120)
        self.assertEqual(self.bundles(), [])
        # What is left is the work folder and the keys, which are public; both are this user's alone.
        for left in pathlib.Path("/tmp").glob("TOLM_*"):
            self.assertEqual(stat.S_IMODE(left.stat().st_mode), 0o700)
            self.assertEqual(list(left.glob("**/plain*")), [])
            shutil.rmtree(left)

    @contextlib.contextmanager
    def run_that_encrypts(self, *arguments):
        """A run whose gpg stands still in the middle of a message: the run, and the number of that process."""
        told = PLACE / "encrypting"
        told.unlink(missing_ok=True)
        # The second shell has nothing open of the mount, which goes at the end.
        with self.stand_in(f"printf half; exec sh -c 'echo $$ >{told}; exec sleep 1800'"):
            with subprocess.Popen([TMTOLM, "collect", "--quiet", "--output-dir", PLACE / "out", "--recipient", self.key,
                                   *arguments],
                                  env=dict(os.environ, GNUPGHOME="/tmp/homes/none"), start_new_session=True) as child:
                try:
                    for _ in range(6000):
                        if told.exists() and told.read_text(encoding="utf-8").endswith("\n"):
                            break
                        self.assertIsNone(child.poll(), "the run ended before it encrypted")
                        signal.sigtimedwait([signal.SIGUSR1], 0.05)
                    else:
                        self.fail("gpg wasn't called to encrypt")
                    yield child, int(told.read_text(encoding="utf-8"))
                finally:
                    with contextlib.suppress(ProcessLookupError):
                        os.killpg(child.pid, signal.SIGKILL)
                    child.wait(timeout=120)

    def held(self, process):
        """The archives in plain that a process has open, by where they lie."""
        found = []
        for descriptor in pathlib.Path(f"/proc/{process}/fd").iterdir():
            # One may be closed meanwhile.
            with contextlib.suppress(FileNotFoundError):
                if stat.S_ISREG(descriptor.stat().st_mode) and descriptor.read_bytes()[:4] == b"PK\3\4":
                    found.append(os.readlink(descriptor))
        return found

    @staticmethod
    def lives(process):
        """Whether a process is there; one that has ended and that nobody has waited for isn't."""
        try:
            text = pathlib.Path(f"/proc/{process}/stat").read_text(encoding="utf-8")
        except (FileNotFoundError, ProcessLookupError):
            return False
        return text.rsplit(") ", 1)[1][0] not in "ZX"

    def everything(self):
        """What lies in the folders that are this test's own, without what the test itself puts there."""
        # A lock that a signal's end leaves is in nobody's way.
        own = {"/run/tolm.lock", "/tmp/stand-in", "/tmp/real-gpg", str(PLACE / "encrypting")}
        return {os.path.join(folder, name) for root in OWN_FOLDERS for folder, folders, names in os.walk(root)
                for name in folders + names} - own

    def in_plain(self, secret):
        """The files that have something of what was gathered, or are archives that anybody can open."""
        found = set()
        for path in self.everything() - {str(PLACE / "source/one.log")}:
            if stat.S_ISREG(os.lstat(path).st_mode):
                data = pathlib.Path(path).read_bytes()
                if secret in data or b"PK\3\4" in data[:4096]:
                    found.add(path)
        return found

    def seed(self):
        """Something to gather that lies nowhere else."""
        secret = f"seed-{random.SystemRandom().getrandbits(128):032x}".encode()
        (PLACE / "source/one.log").write_bytes(b"of " + secret + b"\n")
        return secret

    def test_a_run_that_is_killed_while_it_encrypts_leaves_nothing_that_is_plain_where_others_read(self):
        for more in ([], ["--redact"]):
            with self.subTest(more):
                secret = self.seed()
                with self.run_that_encrypts(*more) as (child, gpg):
                    # There is an archive in plain, without a name and in this run's hands alone.
                    self.assertEqual([path.endswith(" (deleted)") for path in self.held(child.pid)], [True])
                    child.kill()
                    self.assertEqual(child.wait(timeout=120), -signal.SIGKILL)
                    # gpg, which lives on, has nothing of it either.
                    self.assertTrue(self.lives(gpg))
                    self.assertEqual(self.held(gpg), [])
                left = [path for path in pathlib.Path("/tmp").iterdir() if path.name.startswith("TOLM_")]
                self.assertEqual(sorted(path.name[:9] for path in left), ["TOLM_Keys", "TOLM_Temp"])
                for path in left:
                    self.assertEqual((stat.S_IMODE(path.stat().st_mode), path.stat().st_uid), (0o700, os.geteuid()))
                keys, work = sorted(left)
                # What was gathered lies in the work folder alone.
                self.assertEqual(self.in_plain(secret), {f"{work}/Logs/one.log"})
                # And the keys are public ones.
                self.assertEqual(list((keys / "private-keys-v1.d").iterdir()), [])
                halves = [PLACE / "out" / name for name in self.bundles()]
                self.assertEqual([(path.name[0], path.suffix, stat.S_IMODE(path.stat().st_mode)) for path in halves],
                                 [(".", ".tolm-part", 0o600)])
                self.assertIn(halves[0].read_bytes(), (b"", b"half"))

                # All of that goes with the next run.
                self.collect("--recipient", self.key, check=0)
                self.assertEqual([name[0] != "." and name.endswith(".zip.gpg") for name in self.bundles()], [True])
                (PLACE / "out" / self.bundles()[0]).unlink()
                self.nothing_is_left()
                self.assertEqual(self.in_plain(secret), set())

    def test_a_run_that_a_signal_ends_while_it_encrypts_leaves_nothing(self):
        for more, number in (([], signal.SIGTERM), (["--redact"], signal.SIGTERM), ([], signal.SIGINT)):
            with self.subTest(more, number=number):
                secret = self.seed()
                before = self.everything()
                with self.run_that_encrypts(*more) as (child, gpg):
                    self.assertEqual(len(self.held(child.pid)), 1)
                    child.send_signal(number)
                    self.assertEqual(child.wait(timeout=120), -number)
                    self.assertEqual(self.everything() - before, set())
                    self.assertEqual(self.in_plain(secret), set())
                    # Its gpg is ended with it, if not to the same moment.
                    for _ in range(1200):
                        if not self.lives(gpg):
                            break
                        signal.sigtimedwait([signal.SIGUSR1], 0.05)
                    else:
                        self.fail("gpg lives on")
                self.assertEqual(self.everything() - before, set())


if __name__ == "__main__":
    if "TOLM_PRIVATE" not in os.environ:
        if os.geteuid() != 0:
            sys.exit("The tests need root, for a /opt and a /tmp of their own: sudo ./test --all")
        mounts = "; ".join(f"mount -t tmpfs -o mode={'755' if folder in ('/opt', '/run') else '1777'} tmpfs {folder}"
                           for folder in OWN_FOLDERS)
        os.environ["TOLM_PRIVATE"] = "1"
        os.environ.setdefault("USER", "root")
        os.execvp("unshare", ["unshare", "--mount", "sh", "-ec",
                              f"mount --make-rprivate /; {mounts}; exec \"$@\"", "sh", sys.executable, *sys.argv])
    support.main()
