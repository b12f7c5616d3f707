"""A root of the hostile runs' own: empty /opt, /tmp, /run and /home in a mount namespace, with the
programs under test copied in. Nothing of the machine is touched, and all is gone with the process."""

import ctypes
import os
import shutil
import sys

_LIBC = ctypes.CDLL(None, use_errno=True)
_NEWNS, _NEWUSER = 0x00020000, 0x10000000
_REC, _PRIVATE, _NOSUID, _NODEV = 16384, 1 << 18, 2, 4

BIN = "/opt/hostile/bin"
HOME = "/home/hostile"


def _checked(result, what):
    if result != 0:
        error = os.strerror(ctypes.get_errno())
        sys.exit(
            f"The hostile runs need a private root, and this host refused {what}: {error}.\n"
            "Run them as root with CAP_SYS_ADMIN and CAP_SYS_PTRACE; those of two users need root in any case."
        )


def mount_tmpfs(place, options="mode=1777"):
    _checked(
        _LIBC.mount(b"tmpfs", place.encode(), b"tmpfs", _NOSUID | _NODEV, options.encode()), f"a tmpfs over {place}"
    )


def unmount(place):
    _checked(_LIBC.umount2(place.encode(), 2), f"to take the tmpfs over {place} away")


def enter(programs):
    """Enters the root; `programs` are the paths of what is copied to BIN."""
    kept = {path: open(path, "rb").read() for path in programs}
    user, group = os.geteuid(), os.getegid()
    _checked(_LIBC.unshare(_NEWNS if user == 0 else _NEWNS | _NEWUSER), "a mount namespace")
    if user != 0:
        for name, text in (("setgroups", "deny"), ("uid_map", f"0 {user} 1"), ("gid_map", f"0 {group} 1")):
            with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
                file.write(text)
    _checked(_LIBC.mount(b"none", b"/", None, _REC | _PRIVATE, None), "to make its mounts private")
    os.chdir("/")
    for place, options in (
        ("/opt", "mode=0755"),
        ("/tmp", "mode=1777"),
        ("/run", "mode=0755"),
        ("/home", "mode=0755"),
    ):
        mount_tmpfs(place, options)
    os.makedirs(BIN)
    os.makedirs(HOME + "/Desktop")
    for path, content in kept.items():
        target = f"{BIN}/{os.path.basename(path)}"
        with open(target, "wb") as file:
            file.write(content)
        os.chmod(target, 0o755)
    os.environ.update(HOME=HOME, USER="hostile", LC_ALL="C", TZ="UTC")
    os.environ.pop("XDG_RUNTIME_DIR", None)


def empty(folder):
    """Removes all that is in `folder`."""
    for name in os.listdir(folder):
        path = os.path.join(folder, name)
        if os.path.isdir(path) and not os.path.islink(path):
            shutil.rmtree(path, ignore_errors=True)
        else:
            os.unlink(path)
