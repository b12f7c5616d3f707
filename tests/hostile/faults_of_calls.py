"""What each system call can answer where it fails, by its name."""

import errno as e

# No failure of these is ever seen by a program, or it is the end of the process itself.
NEVER = {
    "exit", "exit_group", "rt_sigreturn", "restart_syscall", "brk_query", "getpid", "getppid", "gettid", "getuid",
    "geteuid", "getgid", "getegid", "getresuid", "getresgid", "getpgrp", "umask", "set_tid_address", "rseq",
    "set_robust_list", "arch_prctl", "futex", "sched_yield", "clock_gettime", "time", "times", "uname", "alarm",
    "munmap", "sync", "rt_sigpending", "pause",
}  # fmt: skip

_PATH = (e.EACCES, e.EIO, e.ENOMEM, e.ENOENT)
_OPEN = (e.EACCES, e.EIO, e.ENOMEM, e.EMFILE, e.ENFILE, e.ENOSPC, e.EINTR)
_MAKE = (e.EACCES, e.ENOSPC, e.EEXIST, e.EIO, e.EROFS)
_REMOVE = (e.EACCES, e.EBUSY, e.EIO, e.EROFS)
_RENAME = (e.EACCES, e.ENOSPC, e.EIO, e.EXDEV)
_NEW = (e.EMFILE, e.ENFILE, e.ENOMEM)
_NO_PROCESS = (e.EAGAIN, e.ENOMEM)
_WAIT = (e.EINTR, e.ENOMEM)
_SEND = (e.ECONNREFUSED, e.EAGAIN, e.ENOBUFS, e.EPIPE)

BY_CALL = {
    "read": (e.EIO, e.EINTR),
    "pread64": (e.EIO, e.EINTR),
    "readv": (e.EIO, e.EINTR),
    "write": (e.ENOSPC, e.EIO, e.EINTR, e.EDQUOT),
    "writev": (e.ENOSPC, e.EIO, e.EINTR),
    "pwrite64": (e.ENOSPC, e.EIO, e.EINTR),
    "close": (e.EIO, e.ENOSPC),
    "open": _OPEN, "openat": _OPEN, "openat2": _OPEN, "memfd_create": _NEW,
    "stat": _PATH, "lstat": _PATH, "newfstatat": _PATH, "statx": _PATH, "readlink": _PATH, "readlinkat": _PATH,
    "access": _PATH, "faccessat": _PATH, "faccessat2": _PATH, "chdir": _PATH, "fchdir": (e.EACCES, e.EIO),
    "getcwd": (e.ENOENT, e.ENOMEM), "statfs": (e.EIO, e.ENOENT), "fstatfs": (e.EIO,), "fstat": (e.EIO, e.ENOMEM),
    "lseek": (e.EIO, e.EINVAL),
    "getdents64": (e.EIO, e.ENOMEM),
    "mkdir": _MAKE, "mkdirat": _MAKE, "link": _MAKE, "linkat": _MAKE, "symlink": _MAKE, "symlinkat": _MAKE,
    "unlink": _REMOVE, "unlinkat": _REMOVE, "rmdir": _REMOVE,
    "rename": _RENAME, "renameat": _RENAME, "renameat2": _RENAME,
    "chmod": (e.EPERM, e.EIO), "fchmod": (e.EPERM, e.EIO), "fchmodat": (e.EPERM,), "utimensat": (e.EPERM,),
    "fsync": (e.EIO, e.ENOSPC), "fdatasync": (e.EIO, e.ENOSPC), "syncfs": (e.EIO,),
    "ftruncate": (e.EIO, e.ENOSPC, e.EINTR), "truncate": (e.EIO,), "fallocate": (e.ENOSPC, e.EOPNOTSUPP),
    "copy_file_range": (e.EIO, e.ENOSPC, e.EXDEV), "sendfile": (e.EIO, e.ENOSPC),
    "flock": (e.EINTR, e.ENOLCK, e.EWOULDBLOCK), "fcntl": (e.EAGAIN, e.EMFILE), "ioctl": (e.ENOTTY, e.EIO),
    "dup": _NEW, "dup2": (e.EBUSY, e.EMFILE), "dup3": (e.EBUSY, e.EMFILE), "pipe": _NEW, "pipe2": _NEW,
    "fork": _NO_PROCESS, "vfork": _NO_PROCESS, "clone": _NO_PROCESS, "clone3": _NO_PROCESS,
    "execve": (e.ENOENT, e.EACCES, e.ENOMEM, e.E2BIG),
    "wait4": (e.EINTR,), "waitid": (e.EINTR,), "kill": (e.EPERM, e.ESRCH), "tgkill": (e.ESRCH,),
    "mmap": (e.ENOMEM,), "brk": (e.ENOMEM,), "mprotect": (e.ENOMEM,), "madvise": (e.ENOMEM,),
    "mlock": (e.ENOMEM, e.EPERM), "munlock": (e.ENOMEM,), "mlockall": (e.ENOMEM, e.EPERM),
    "poll": _WAIT, "ppoll": _WAIT, "select": _WAIT, "pselect6": _WAIT, "epoll_wait": _WAIT, "epoll_pwait": _WAIT,
    "nanosleep": (e.EINTR,), "clock_nanosleep": (e.EINTR,), "rt_sigtimedwait": (e.EAGAIN, e.EINTR),
    "socket": (e.EMFILE, e.EACCES, e.ENOBUFS), "connect": (e.ECONNREFUSED, e.ENOENT, e.EAGAIN),
    "sendto": _SEND, "sendmsg": _SEND, "getrandom": (e.EINTR, e.ENOSYS),
    "prctl": (e.EPERM, e.EINVAL), "prlimit64": (e.EPERM,), "setrlimit": (e.EPERM,),
    "setsid": (e.EPERM,), "setpgid": (e.EPERM, e.EACCES), "rt_sigaction": (e.EINVAL,), "rt_sigprocmask": (e.EINVAL,),
}  # fmt: skip


def of(name):
    """The errors of a call; of one that isn't known, an error that any may give."""
    if name in NEVER:
        return ()
    return BY_CALL.get(name, (e.EIO,))
