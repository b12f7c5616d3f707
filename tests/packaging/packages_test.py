"""The built packages: what they hold, how they were compiled, and that they come out the same again."""

import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import time
import unittest

import support
from support import PACKAGES, SOURCE, WORK, run

PREFIX = "/opt/halvo/tessarmont"

# Where systems look for what they start by themselves, or ask to be started: at boot, by a clock, at a login, for a
# device, a network, a message on a bus, a power state, a package that comes.
STARTED = re.compile("^(" + "|".join((
    r"(/usr(/local)?)?/(lib|lib64|libexec|share)/systemd/",
    r"/(etc|run)/(systemd|xdg/systemd)/",
    r"/usr(/local)?/share/(dbus-1|gnome/autostart|autostart|upstart)/",
    r"/etc/(dbus-1|xdg/autostart|xdg/plasma-workspace)/",
    r"(/usr|/etc|/run)?(/lib)?/udev/",
    r"/etc/(init\.d|init|rc[0-9S]\.d|rc\.local|rc\.boot|inittab|default|xinetd\.d|inetd\.conf)(/|$)",
    r"/etc/(cron[^/]*|anacrontab)(/|$)",
    r"/var/spool/(cron|anacron|at)(/|$)",
    r"/etc/(profile|profile\.d|bash\.bashrc|zsh|fish|csh\.login|environment|environment\.d|X11|skel)(/|$)",
    r"/etc/(update-motd\.d|logrotate\.d|pam\.d|ld\.so\.preload|ld\.so\.conf\.d|sudoers\.d|polkit-1)(/|$)",
    r"/etc/(network|NetworkManager|ppp|dhcp|dhcpcd[^/]*|openvpn|wpa_supplicant)(/|$)",
    r"(/usr)?/lib/(NetworkManager|networkd-dispatcher|pm-utils|environment\.d)/",
    r"(/usr)?/lib/(modules-load|sysctl|sysusers|binfmt)\.d/",
    r"/etc/(networkd-dispatcher|acpi|apm|pm|modules|modules-load\.d|sysctl\.d|sysusers\.d|binfmt\.d)(/|$)",
    r"/usr/share/polkit-1/",
    r"/etc/(apt|dpkg|kernel|initramfs-tools|grub\.d)/",
    r"/usr/(lib|share)/(initramfs-tools|kernel)/",
)) + ")")


def package(name):
    found = list(PACKAGES.glob(f"{name}_*.deb"))
    assert len(found) == 1, f"{name}: {found}"
    return found[0]


def contents(name):
    """The files and links of a package: path to (mode, owner, target of a link)."""
    found = {}
    for line in run(["dpkg-deb", "-c", package(name)]).stdout.splitlines():
        mode, owner, _, _, _, path = line.split(None, 5)
        path, _, target = path.partition(" -> ")
        found[path[1:]] = (mode, owner, target)
    return found


def files(name):
    return {path for path in contents(name) if not path.endswith("/")}


class PackagesTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.trees = {}
        for name in ("tolm-console", "tolm", "tolm-doc"):
            cls.trees[name] = WORK / "unpacked" / name
            shutil.rmtree(cls.trees[name], ignore_errors=True)
            cls.trees[name].mkdir(parents=True)
            run(["dpkg-deb", "-R", package(name), cls.trees[name]])

    def programs(self):
        return [self.trees["tolm-console"] / "opt/halvo/tessarmont/bin/tmtolm",
                self.trees["tolm"] / "opt/halvo/tessarmont/bin/tmtolmui"]

    def test_lintian_has_nothing_to_say(self):
        changes = list(PACKAGES.glob("*.changes"))
        self.assertEqual(len(changes), 1)
        command = ["lintian", "-i", "--pedantic", "--fail-on", "error,warning,info,pedantic", changes[0]]
        if os.geteuid() == 0:
            command.insert(1, "--allow-root")
        result = run(command, check=False, timeout=300)
        tags = [line for line in result.stdout.splitlines() if re.match("[EWIP]: ", line)]
        self.assertEqual((tags, result.returncode), ([], 0), result.stdout)

    def test_every_override_has_its_reason(self):
        for file in (SOURCE / "packaging/debian").glob("*lintian-overrides"):
            previous = ""
            for line in file.read_text(encoding="utf-8").splitlines():
                if line and not line.startswith("#"):
                    self.assertTrue(previous.startswith("#") or previous.split("[")[0] == line.split("[")[0],
                                    f"{file.name}: {line}")
                previous = line

    def test_the_program_and_the_documents_stand_below_the_suite(self):
        self.assertIn(f"{PREFIX}/bin/tmtolm", files("tolm-console"))
        documents = {f"{PREFIX}/tolm/xml/config/{path.name}" for path in (SOURCE / "samples").glob("*.xml")}
        self.assertGreater(len(documents), 4)
        self.assertLessEqual(documents, files("tolm-console"))
        schemas = [*(SOURCE / "packaging/schema").iterdir(), *(SOURCE / "docs/schema").iterdir()]
        self.assertGreater(len(schemas), 2)
        self.assertLessEqual({f"{PREFIX}/share/tolm/schema/{path.name}" for path in schemas}, files("tolm-console"))
        self.assertIn(f"{PREFIX}/bin/tmtolmui", files("tolm"))
        self.assertIn(f"{PREFIX}/l10n/de/LC_MESSAGES/Tessarmont.mo", files("tolm"))

    def test_what_the_system_looks_for_stands_where_it_looks(self):
        self.assertLessEqual({
            "/usr/bin/tmtolm", "/usr/share/man/man1/tmtolm.1.gz", "/usr/share/man/man5/tolm-document.5.gz",
            "/usr/share/man/man5/tolm-request.5.gz", "/usr/share/bash-completion/completions/tmtolm",
            "/usr/share/zsh/vendor-completions/_tmtolm", "/usr/share/fish/vendor_completions.d/tmtolm.fish",
            "/usr/lib/tmpfiles.d/tolm.conf"}, files("tolm-console"))
        self.assertEqual(contents("tolm-console")["/usr/bin/tmtolm"][2].lstrip("./"),
                         f"{PREFIX}/bin/tmtolm".lstrip("/"))
        self.assertLessEqual({
            "/usr/share/man/man1/tmtolmui.1.gz", "/usr/share/applications/com.halvo.tessarmont.tolm.desktop",
            "/usr/share/metainfo/com.halvo.tessarmont.tolm.metainfo.xml",
            "/usr/share/icons/hicolor/scalable/apps/com.halvo.tessarmont.tolm.svg"}, files("tolm"))

    def test_the_guides_are_all_there(self):
        guides = {f"/usr/share/doc/tolm-doc/{path.name}" for path in (SOURCE / "docs").glob("*.md")}
        self.assertGreater(len(guides), 5)
        self.assertLessEqual(guides, files("tolm-doc"))

    def test_every_link_and_picture_of_the_guides_leads_somewhere(self):
        # In the tree some guides lie in a folder of their own, and in the package all in one.
        here = pathlib.PurePosixPath("/usr/share/doc/tolm-doc")
        there = set(contents("tolm-doc")) | set(contents("tolm-console"))
        links = 0
        for path in sorted((self.trees["tolm-doc"] / here.relative_to("/")).glob("*.md")):
            text = re.sub(r"```.*?```", "", path.read_text(encoding="utf-8"), flags=re.DOTALL)
            for link in re.findall(r"\]\(([^)#]+)[^)]*\)", text):
                if not link.startswith("https://"):
                    links += 1
                    with self.subTest(f"{path.name}: {link}"):
                        self.assertIn(os.path.normpath(here / link) + ("/" if link.endswith("/") else ""), there)
        self.assertGreater(links, 50)

    def test_every_file_belongs_to_root_and_nobody_else_may_write(self):
        for name in self.trees:
            for path, (mode, owner, _) in contents(name).items():
                self.assertEqual(owner, "root/root", path)
                if not mode.startswith("l"):
                    self.assertNotIn("w", mode[4:], f"{path} {mode}")
                    self.assertNotIn("s", mode, path)

    def test_the_documents_are_conffiles(self):
        conffiles = (self.trees["tolm-console"] / "DEBIAN/conffiles").read_text(encoding="utf-8").split()
        documents = sorted(path for path in files("tolm-console") if path.startswith(f"{PREFIX}/tolm/xml/config/"))
        self.assertEqual(conffiles, documents)

    def test_no_script_runs_at_installation(self):
        for name, tree in self.trees.items():
            control = {path.name for path in (tree / "DEBIAN").iterdir()}
            self.assertLessEqual(control, {"control", "md5sums", "conffiles"}, name)

    def test_nothing_starts_by_itself(self):
        for name in self.trees:
            paths = files(name)
            self.assertGreater(len(paths), 5, name)
            self.assertEqual([path for path in sorted(paths) if STARTED.search(path)], [], name)
        # The units are examples, which lie where no manager looks.
        units = {path for name in self.trees for path in files(name)
                 if re.search(r"\.(service|timer|socket|path)$", path)}
        self.assertGreater(len(units), 1)
        self.assertEqual({path for path in units if not path.startswith("/usr/share/doc/tolm-doc/examples/")}, set())

    def test_what_would_start_by_itself_is_known_by_its_place(self):
        for path in """
            /lib/systemd/system/a.service /usr/lib/systemd/system/a.timer /usr/lib/systemd/user/a.service
            /usr/lib/systemd/system-generators/a /usr/lib/systemd/system-sleep/a
            /usr/lib/systemd/system-preset/90-a.preset /usr/local/lib/systemd/system/a.service
            /usr/share/systemd/user/a.service /etc/systemd/system/a.service.d/own.conf
            /etc/systemd/user/default.target.wants/a.service /etc/xdg/systemd/user/a.service
            /usr/share/dbus-1/services/a.service /usr/share/dbus-1/system-services/a.service
            /usr/share/dbus-1/system.d/a.conf /etc/dbus-1/system.d/a.conf /etc/xdg/autostart/a.desktop
            /usr/share/gnome/autostart/a.desktop /etc/udev/rules.d/90-a.rules /lib/udev/rules.d/90-a.rules
            /usr/lib/udev/rules.d/90-a.rules /etc/init.d/a /etc/rc2.d/S01a /etc/default/a /etc/cron.d/a
            /etc/cron.daily/a /etc/cron.hourly/a /etc/cron.weekly/a /etc/cron.monthly/a /etc/crontab /etc/anacrontab
            /var/spool/cron/crontabs/root /etc/profile.d/a.sh /etc/environment.d/a.conf /etc/skel/.profile
            /etc/X11/Xsession.d/90a /etc/update-motd.d/90-a /etc/network/if-up.d/a
            /etc/NetworkManager/dispatcher.d/90-a /usr/lib/NetworkManager/dispatcher.d/90-a
            /etc/networkd-dispatcher/routable.d/a /usr/lib/networkd-dispatcher/routable.d/a /etc/ppp/ip-up.d/a
            /etc/dhcp/dhclient-exit-hooks.d/a /etc/acpi/events/a /etc/pm/sleep.d/a /usr/lib/pm-utils/sleep.d/a
            /usr/lib/environment.d/a.conf /usr/lib/modules-load.d/a.conf /etc/logrotate.d/a /etc/pam.d/a
            /etc/ld.so.preload /etc/sudoers.d/a /usr/share/polkit-1/actions/a.policy /etc/apt/apt.conf.d/90a
            /etc/kernel/postinst.d/a /usr/share/initramfs-tools/hooks/a
        """.split():
            with self.subTest(path):
                self.assertRegex(path, STARTED)
        # And what the packages may have isn't.
        for path in ("/usr/share/doc/tolm-doc/examples/systemd/tolm-collect.service", f"{PREFIX}/bin/tmtolm",
                     "/usr/share/applications/a.desktop", "/usr/lib/tmpfiles.d/tolm.conf",
                     "/usr/share/man/man1/a.1.gz", "/usr/share/fish/vendor_completions.d/a.fish",
                     "/usr/share/zsh/vendor-completions/_a"):
            with self.subTest(path):
                self.assertNotRegex(path, STARTED)

    def test_the_wizard_comes_with_the_console_program_of_its_version(self):
        def field(name, what):
            return run(["dpkg-deb", "-f", package(name), what]).stdout.strip()
        version = field("tolm-console", "Version")
        self.assertRegex(version, r"^\d+\.\d+\.\d+$")
        self.assertEqual({field(name, "Version") for name in self.trees}, {version})
        self.assertIn(f"tolm-console (= {version})", field("tolm", "Depends").split(", "))
        # The console program brings no desktop to machines without one.
        self.assertNotRegex(field("tolm-console", "Depends"), r"qt|\btolm\b(?!-)")

    def test_every_translation_and_icon_of_the_tree_is_there(self):
        listed = (SOURCE / "l10n/CMakeLists.txt").read_text(encoding="utf-8")
        locales = {name: places.split()
                   for name, places in re.findall(r"^tolm_translation\((\S+) ([^)]+)\)", listed, re.M)}
        # Each file has a locale at least, and no other is named.
        self.assertEqual(set(locales), {path.stem for path in (SOURCE / "l10n").glob("*.po")})
        self.assertGreater(len(locales), 8)
        wanted = {f"{PREFIX}/l10n/{locale}/LC_MESSAGES/Tessarmont.mo"
                  for places in locales.values() for locale in places}
        self.assertEqual({path for path in files("tolm") if path.startswith(f"{PREFIX}/l10n/")}, wanted)
        for path in wanted:
            # Little or big, a language file begins with its number, and holds more than its head.
            data = (self.trees["tolm"] / path[1:]).read_bytes()
            self.assertIn(data[:4], (b"\xde\x12\x04\x95", b"\x95\x04\x12\xde"), path)
            self.assertGreater(len(data), 1000, path)
        icons = {path.relative_to(SOURCE / "packaging/icons"): path.read_bytes()
                 for path in (SOURCE / "packaging/icons").rglob("*") if path.is_file()}
        self.assertGreater(len(icons), 5)
        here = self.trees["tolm"] / "usr/share/icons"
        there = {path.relative_to(here): path.read_bytes() for path in here.rglob("*") if path.is_file()}
        self.assertEqual(set(there), set(icons))
        self.assertEqual([path for path in icons if there[path] != icons[path]], [])

    def test_the_programs_are_hardened(self):
        for program in self.programs():
            with self.subTest(program.name):
                header = run(["readelf", "-hW", program]).stdout
                self.assertRegex(header, r"Type:\s+DYN \(Position-Independent Executable")
                segments = run(["readelf", "-lW", program]).stdout
                self.assertIn("GNU_RELRO", segments)
                stack = [line for line in segments.splitlines() if "GNU_STACK" in line]
                self.assertEqual(len(stack), 1)
                self.assertNotIn("E", stack[0].split()[-2])
                dynamic = run(["readelf", "-dW", program]).stdout
                self.assertRegex(dynamic, r"FLAGS.*BIND_NOW|BIND_NOW")
                self.assertNotRegex(dynamic, "RPATH|RUNPATH|TEXTREL")
                symbols = run(["readelf", "--dyn-syms", "-W", program]).stdout
                self.assertIn("__stack_chk_fail", symbols)
                self.assertRegex(symbols, r"__\w+_chk@")
                if "X86-64" in header:
                    # A landing place at every function that may be called through a pointer.
                    self.assertGreater(program.read_bytes().count(b"\xf3\x0f\x1e\xfa"), 200)

    def test_every_file_is_compiled_with_the_flags(self):
        log = (PACKAGES / "build.log").read_text(encoding="utf-8")
        compiled = [line for line in log.splitlines() if re.search(r"c(\+\+|c) .* -c \S+\.(cpp|cxx|c)$", line)]
        # The sources come in large units, a few for each library; some stand by themselves.
        self.assertGreater(len(compiled), 30)
        for line in compiled:
            for flag in ("-O3", "-D_FORTIFY_SOURCE=3", "-fstack-protector-strong", "-fstack-clash-protection",
                         "-fcf-protection"):
                self.assertIn(flag, line)
        # A checker that knows none of this tree's own flags. Position independence is seen in the programs.
        result = run(["blhc", "--bindnow", "--ignore-flag", "-fPIE", PACKAGES / "build.log"], check=False)
        self.assertEqual((result.stdout, result.returncode), ("", 0))

    def test_no_path_of_the_build_is_left_in_the_programs(self):
        for program in self.programs():
            self.assertNotIn(b"/tree/vpn/", program.read_bytes(), program.name)

    def test_the_versions_of_package_and_program_are_one(self):
        version = re.search(r"project\(tolm VERSION (\S+)",
                            (SOURCE / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
        head = (SOURCE / "packaging/debian/changelog").read_text(encoding="utf-8").splitlines()[0]
        self.assertTrue(head.startswith(f"tolm ({version}) "), head)
        self.assertIn(f"version: {version}\n",
                      (SOURCE / "packaging/ansible/halvo/tessarmont/galaxy.yml").read_text(encoding="utf-8"))
        self.assertEqual(run([self.programs()[0], "--version"]).stdout.split()[-1], version)

    def test_the_packages_to_build_with_are_those_of_the_other_commands(self):
        listed = (SOURCE / "scripts/packages.txt").read_text(encoding="utf-8")
        wanted = set(re.findall(r"^build (\S+)", listed, re.M))
        # What every build has, and what is wanted to run.
        wanted -= {"g++", "fonts-dejavu-core", "gpg", "qt6-translations-l10n"}
        control = (SOURCE / "packaging/debian/control").read_text(encoding="utf-8")
        field = re.search(r"^Build-Depends: (.*?)^\S", control, re.M | re.S)[1]
        given = {name.split()[0] for name in field.split(",")}
        self.assertEqual(wanted - given, set())

    def test_libraries_that_are_opened_at_run_time_are_depended_on(self):
        opened = {f"lib{name}{version}" for path in (SOURCE / "vpn").rglob("*_linux.cpp")
                  for name, version in re.findall(r'kLibrary\[\] = "lib(\w+)\.so\.(\d+)"', path.read_text("utf-8"))}
        self.assertGreater(len(opened), 1)
        control = (SOURCE / "packaging/debian/control").read_text(encoding="utf-8")
        field = re.search(r"^Package: tolm-console$.*?^Depends: (.*?)^\S", control, re.M | re.S)[1]
        self.assertEqual(opened - {name.strip() for name in field.split(",")}, set())

    def test_packages_built_elsewhere_are_the_same_bytes(self):
        # Another copy of the tree with other times, in another folder; another clock zone, language and umask, no
        # compiler cache, and another number of compilers at a time.
        with tempfile.TemporaryDirectory(prefix="elsewhere", dir=WORK) as folder:
            tree = pathlib.Path(folder) / "tree"
            listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=SOURCE,
                                    stdout=subprocess.PIPE, check=True, timeout=60).stdout.decode().split("\0")
            for name in [*filter(None, listed), *map(str, self.minizip())]:
                if (SOURCE / name).is_file():
                    (tree / name).parent.mkdir(parents=True, exist_ok=True)
                    shutil.copy(SOURCE / name, tree / name)
                    os.utime(tree / name, (0, 1_500_000_000))
            environment = dict(os.environ, TZ="Asia/Kathmandu", LC_ALL="C", CCACHE_DISABLE="1",
                               DEB_BUILD_OPTIONS="parallel=3", GIT_CEILING_DIRECTORIES=folder)
            run(["bash", "-c", f'umask 077; exec "{tree}/package" --no-install --output "{folder}/output" '
                 f'--work "{folder}/a-longer-name-than-before"'], env=environment, timeout=3000)
            built = {path.name: hashlib.sha256(path.read_bytes()).hexdigest()
                     for path in PACKAGES.glob("*.deb")}
            again = {path.name: hashlib.sha256(path.read_bytes()).hexdigest()
                     for path in pathlib.Path(folder, "output").glob("*.deb")}
            if again != built:
                # Kept to be looked into.
                shutil.rmtree(WORK / "built-elsewhere", ignore_errors=True)
                shutil.copytree(f"{folder}/output", WORK / "built-elsewhere")
        self.assertGreaterEqual(len(built), 3)
        self.assertEqual(again, built)

    @staticmethod
    def minizip():
        """minizip's sources, which are fetched once for all builds."""
        return [path.relative_to(SOURCE) for path in (SOURCE / "build/deps/minizip").iterdir()]


class TmpfilesTest(unittest.TestCase):
    """The lines for left-over work folders, carried out by systemd's own program."""

    def setUp(self):
        WORK.mkdir(parents=True, exist_ok=True)
        self.root = tempfile.mkdtemp(prefix="tmpfiles", dir=WORK)
        self.addCleanup(shutil.rmtree, self.root, ignore_errors=True)
        self.folder = f"{self.root}/tmp/TOLM_Temp_Bundle__1_2"
        for path in (f"{self.folder}/Client", f"{self.root}/tmp/other", f"{self.root}/etc"):
            os.makedirs(path)
        for path in (f"{self.folder}/Client/client.log", f"{self.root}/tmp/other/file"):
            with open(path, "w", encoding="utf-8") as file:
                file.write("x")

    def clean(self, *options, later):
        # A file's times can't all be set back, so the clock is put forward.
        lines = SOURCE / "packaging/tmpfiles.d/tolm.conf"
        result = run(["faketime", "-f", later, "systemd-tmpfiles", *options, f"--root={self.root}", lines],
                     env=dict(os.environ, LC_ALL="C"), check=False)
        self.assertNotRegex(result.stdout, "(?i)syntax|unknown|invalid")

    def test_a_folder_of_today_is_kept(self):
        self.clean("--clean", later="+2h")
        self.assertTrue(os.path.exists(f"{self.folder}/Client/client.log"))

    def test_what_a_folder_holds_is_removed_after_a_day(self):
        self.clean("--clean", later="+26h")
        self.assertFalse(os.path.exists(f"{self.folder}/Client"))
        self.assertTrue(os.path.exists(f"{self.root}/tmp/other/file"))

    def test_the_folder_is_removed_at_the_start_of_the_machine(self):
        self.clean("--remove", "--boot", later="+1s")
        self.assertFalse(os.path.exists(self.folder))
        self.assertTrue(os.path.exists(f"{self.root}/tmp/other/file"))

    def test_the_folder_of_a_run_stays_outside_of_a_start(self):
        self.clean("--remove", later="+1s")
        self.assertTrue(os.path.exists(f"{self.folder}/Client/client.log"))

    def test_keys_and_trials_of_killed_runs_go_in_the_same_ways(self):
        folders = [f"{self.root}/tmp/{name}" for name in ("TOLM_Keys_ab12cd", "tmtolm-try-ab12cd")]
        for folder in folders:
            os.makedirs(f"{folder}/config")
        self.clean("--clean", later="+2h")
        self.assertEqual([os.listdir(folder) for folder in folders], [["config"], ["config"]])
        self.clean("--clean", later="+26h")
        self.assertEqual([os.listdir(folder) for folder in folders], [[], []])
        self.clean("--remove", "--boot", later="+1s")
        self.assertEqual([os.path.exists(folder) for folder in folders], [False, False])

    def test_the_folder_of_a_play_whose_controller_was_lost_goes_in_the_same_ways(self):
        folder = f"{self.root}/tmp/tolm_collect_ab12cd"
        os.makedirs(f"{folder}/job")
        for name in ("password", "web-1_20261121T130000Z.zip", "job/status"):
            with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
                file.write("x")
        self.clean("--clean", later="+2h")
        self.assertEqual(sorted(os.listdir(folder)), ["job", "password", "web-1_20261121T130000Z.zip"])
        self.clean("--clean", later="+26h")
        self.assertEqual(os.listdir(folder), [])
        self.clean("--remove", later="+1s")
        self.assertTrue(os.path.exists(folder))
        self.clean("--remove", "--boot", later="+1s")
        self.assertFalse(os.path.exists(folder))

    def test_a_link_in_a_left_over_folder_is_not_followed(self):
        os.symlink(f"{self.root}/tmp/other", f"{self.folder}/link")
        self.clean("--clean", later="+26h")
        self.assertTrue(os.path.exists(f"{self.root}/tmp/other/file"))


if __name__ == "__main__":
    support.main()
