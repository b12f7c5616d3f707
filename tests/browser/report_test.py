"""The report in a real browser: what it shows, that its search finds, and that nothing from a bundle runs in it.

usage: report_test.py TMTOLM [PICTURES]     PICTURES: a folder for screenshots
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import zipfile

from browser import Browser

TMTOLM = sys.argv.pop(1) if len(sys.argv) > 1 else "tmtolm"
PICTURES = sys.argv.pop(1) if len(sys.argv) > 1 else os.environ.get("TOLM_PICTURES")

HOSTILE = ("</pre></details><script>window.ran = 1</script><img src=x onerror=\"window.ran = 1\">"
           "</textarea></title><a href=\"javascript:window.ran=1\">x</a> {{7*7}} <!-- ").encode()


def summary(title, included, omitted):
    def table(widths, rows):
        return "".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)) + "\n" for row in rows)

    text = "TOLM BUNDLE SUMMARY\n\n"
    for label, value in (("Time:", "Sun Mar 15 11:00:00 2026"), ("OS:", "Debian GNU/Linux: 12.0.0"),
                         ("User Name:", "tester"), ("Bundle on client computer:", "/home/tester/bundle.zip")):
        text += label.ljust(30) + value + "\n"
    text += "\n" + "=" * 141 + f"\n{title}:\n\nFiles Included in Bundle:\n"
    text += table((17, 28, 40, 10), [("ID", "Filename", "Description", "File Size")]) + "-" * 101 + "\n"
    text += table((17, 28, 40, 10), included) + "-" * 101 + "\n"
    if omitted:
        text += "\n\nFiles Omitted from Bundle:\n"
        text += table((17, 28, 40, 50), [("ID", "Filename", "Description", "Reason Omitted")]) + "-" * 141 + "\n"
        text += table((17, 28, 40, 50), omitted) + "-" * 141 + "\n"
    return text + "\n\nNo instruction found in any config for the following file ID's from request:\n"


def report(folder, name, files, text):
    bundle = folder / (name + ".zip")
    with zipfile.ZipFile(bundle, "w", zipfile.ZIP_DEFLATED) as archive:
        for path, content in [("summary.txt", text.encode())] + files:
            archive.writestr(zipfile.ZipInfo(path, (2026, 3, 15, 11, 0, 0)), content)
    page = folder / (name + ".html")
    subprocess.run([TMTOLM, "report", bundle, "-o", page], check=True, timeout=120)
    return page


def client_log():
    lines = []
    for i in range(6000):
        minute, second = divmod(i // 2, 60)
        burst = 35 <= minute <= 38
        lines.append(f"2026-03-15 10:{minute % 60:02}:{second:02} agent[812]: "
                     + ("error: handshake timed out, connection refused" if burst and i % 3 == 0
                        else f"keepalive {i} answered"))
        # Some minutes have less to tell.
        if not burst and (minute * 7) % 5 < 2:
            lines[-1] = "    in " + lines[-1][20:]
    lines[1000] = "2026-03-15 10:08:20 agent[812]: signed on as \u0645\u0633\u062a\u062e\u062f\u0645 from \u6771\u4eac"
    return "\n".join(lines).encode() + b"\n"


def sample_page(folder):
    included = [("client-logs", "agent.log", "The client's own logs", "280.00K"),
                ("network", "ip_result.txt", "Addresses, routes and neighbours", "1.20K"),
                ("config-names", "resolv.conf", "Who answers names", "40 bytes"),
                ("system-resources", "df_result.txt", "Memory, disks and mounts", "300 bytes")]
    omitted = [("client-crash", "N/A", "Crash reports of the client", "No file found with path matching: /var/crash/*"),
               ("client-profiles", "*.xml", "Connection profiles", "/opt/halvo/tessarmont/profile: no such folder")]
    ip = ("\n\r" + "*" * 75 + "\n\"ip addr show\" output:\n" + "*" * 75 + "\n\r\n"
          "2: eth0: <BROADCAST,UP,LOWER_UP> mtu 1500 state UP\n4: tun0: <POINTOPOINT,UP,LOWER_UP> mtu 1200 state UNKNOWN\n"
          "default via 192.0.2.1 dev eth0 proto dhcp metric 100\n")
    files = [("Client/agent.log", client_log()), ("Client/ip_result.txt", ip.encode()),
             ("Client/resolv.conf", b"# Too many DNS servers configured, the following entries may be ignored.\n"
                                    b"nameserver 192.0.2.53\n"),
             ("Client/df_result.txt", b"/dev/sda1 ext4 50G 50G 0 100% /\n"),
             ("Client/core", b"\x7fELF\0\0" + bytes(range(256)) * 300)]
    return report(folder, "TOLMBundle_0315_1100", files, summary("Client", included, omitted))


class ReportTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory(prefix="tolm_report_")
        cls.folder = pathlib.Path(cls.temporary.name)
        cls.browser = Browser()
        cls.page = sample_page(cls.folder)

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()
        cls.temporary.cleanup()

    def setUp(self):
        self.browser.size(1200, 900)
        self.browser.scheme("light")

    def picture(self, name, whole=False):
        if PICTURES:
            self.browser.screenshot(os.path.join(PICTURES, name + ".png"), whole)

    def search(self, text):
        self.browser.evaluate(f"""(() => {{ const i = document.getElementById("search"); i.value = {text!r};
            i.dispatchEvent(new Event("input")); }})()""")
        self.browser.wait("document.getElementById('found').textContent !== ''")
        return self.browser.evaluate("document.getElementById('found').textContent")

    def test_nothing_is_said_on_the_console_and_nobody_is_asked(self):
        self.browser.open(self.page)
        self.assertEqual(self.browser.messages(), [])

    def test_missing_findings_and_files_are_seen(self):
        self.browser.open(self.page)
        text = self.browser.evaluate("document.body.innerText")
        self.assertIn("Debian GNU/Linux: 12.0.0", text)
        self.assertIn("Missing (2)", text)
        self.assertIn("No file found with path matching", text)
        self.assertIn("A disk is full to 100 %", text)
        self.assertIn("The gateway stopped answering", text)
        self.picture("report-light")

    def test_bars_and_timeline_are_drawn_in_the_pages_own_colours(self):
        self.browser.open(self.page)
        width = self.browser.evaluate("document.querySelector('.timeline').getBoundingClientRect().width")
        self.assertGreater(width, 500)
        fill = "getComputedStyle(document.querySelector('.timeline .bad')).fill"
        light = self.browser.evaluate(fill)
        self.browser.scheme("dark")
        self.assertNotEqual(self.browser.evaluate(fill), light)
        back = self.browser.evaluate("getComputedStyle(document.body).backgroundColor")
        self.assertEqual(back, "rgb(20, 24, 29)")
        self.picture("report-dark")

    def test_narrow_page_doesnt_overflow(self):
        self.browser.size(360, 800)
        self.browser.open(self.page)
        self.assertLessEqual(self.browser.evaluate("document.documentElement.scrollWidth"), 360)
        self.picture("report-narrow")

    def test_search_finds_and_leads_to_the_line(self):
        self.browser.open(self.page)
        self.assertEqual(self.search("SIGNED ON AS"), "1 line")
        self.browser.evaluate("document.querySelector('#hits a').click()")
        self.browser.wait("document.querySelector('.here') !== null")
        self.assertIn("signed on as", self.browser.evaluate("document.querySelector('.here').textContent"))
        self.assertTrue(self.browser.evaluate("document.querySelector('.here').closest('details').open"))
        self.assertEqual(self.browser.evaluate("document.querySelector('.here .n').textContent"), "1001")
        self.picture("report-search")

    def test_search_that_finds_nothing_says_so(self):
        self.browser.open(self.page)
        self.assertEqual(self.search("nowhere to be found"), "0 lines")

    def test_cut_file_numbers_its_end_as_the_whole_file_does(self):
        self.browser.open(self.page)
        self.browser.evaluate("document.getElementById('f0').open = true")
        self.browser.wait("document.querySelectorAll('#f0 .l').length > 0")
        self.assertEqual(self.browser.evaluate(
            "[...document.querySelectorAll('#f0 .l .n')].pop().textContent"), "6000")
        self.assertIn("left out here", self.browser.evaluate("document.getElementById('f0').textContent"))

    def test_keyboard_opens_a_file(self):
        self.browser.open(self.page)
        self.browser.evaluate("document.querySelector('#f1 summary').focus()")
        self.browser.press("Enter", 13)
        self.browser.wait("document.getElementById('f1').open")

    def test_screen_readers_are_told_names_and_roles(self):
        self.browser.open(self.page)
        tree = self.browser.call("Accessibility.getFullAXTree")["nodes"]
        named = {(node.get("role", {}).get("value"), node.get("name", {}).get("value", "")) for node in tree}
        roles = {role for role, name in named}
        self.assertIn(("searchbox", "Search all files"), named)
        self.assertTrue(any(role == "image" and name.startswith("Lines over time from ") for role, name in named)
                        or any(role == "img" and name.startswith("Lines over time from ") for role, name in named), roles)
        self.assertTrue({"heading", "table", "main"} <= roles, roles)

    def test_right_to_left_lines_stand_in_their_direction(self):
        page = report(self.folder, "rtl", [("a.log", "\u0645\u0631\u062d\u0628\u0627 1\nleft\n".encode())], "none")
        self.browser.open(page)
        self.browser.evaluate("document.querySelector('details').open = true")
        self.browser.wait("document.querySelectorAll('.l').length === 2")
        self.assertEqual(self.browser.evaluate(
            "[...document.querySelectorAll('.l')].map(l => getComputedStyle(l).direction).join()"), "rtl,ltr")

    def test_print_has_pages_and_no_search(self):
        self.browser.open(self.page)
        pdf = self.browser.pdf()
        self.assertTrue(pdf.startswith(b"%PDF"))
        self.assertGreater(len(pdf), 10000)
        self.browser.call("Emulation.setEmulatedMedia", media="print")
        self.assertEqual(self.browser.evaluate("getComputedStyle(document.querySelector('.search')).display"), "none")
        self.picture("report-print")

    def test_hostile_content_runs_nothing_and_breaks_nothing(self):
        every_byte = bytes(range(1, 256)) * 4 + b"\n"
        files = [("<script>window.ran = 1<", HOSTILE + b"\n" + every_byte + HOSTILE),
                 ("x\" onclick=\"window.ran=1", HOSTILE), ("long", HOSTILE + b"x" * (1 << 20) + b"\nend\n"),
                 ("last", b"the last file\n")]
        text = summary("<script>window.ran = 1</script>", [("<img src=x", "<script>", "\"><script>", "1 bytes")],
                       [("'onload='x", "</table>", "<svg onload=x>", "<script>window.ran = 1</script>")])
        page = report(self.folder, "hostile", files, text)
        self.browser.open(page)
        self.browser.evaluate("document.querySelectorAll('details').forEach(d => { d.open = true; })")
        self.browser.wait("document.querySelectorAll('.l').length > 5")
        self.search("window.ran")
        self.assertIsNone(self.browser.evaluate("window.ran === undefined ? null : window.ran"))
        self.assertEqual(self.browser.messages(), [])
        self.assertEqual(self.browser.evaluate("document.scripts.length"), 1)
        self.assertEqual(self.browser.evaluate("document.images.length"), 0)
        self.assertEqual(self.browser.evaluate("document.querySelectorAll('details').length"), 4)
        self.assertIn("</pre></details><script>", self.browser.evaluate(
            "document.querySelector('details pre').textContent"))
        self.assertEqual(self.browser.evaluate("document.querySelectorAll('main > details').length"), 4)
        self.picture("report-hostile")

    def test_policy_stops_a_script_that_would_get_in(self):
        self.browser.open(self.page)
        self.browser.evaluate("""(() => { const s = document.createElement("div");
            s.innerHTML = '<img src="x" onerror="window.ran = 1">'; document.body.append(s); })()""")
        self.browser.wait("document.images.length === 1")
        self.assertIsNone(self.browser.evaluate("window.ran === undefined ? null : window.ran"))
        self.assertIn("Content Security Policy", str(self.browser.messages()))


if __name__ == "__main__":
    unittest.main()
