# SPDX-License-Identifier: MIT
"""The system calls of a program, and its runs with one of them failing, by strace.

strace counts calls by name for each thread alone: point 12 of `openat` fails the 12th openat of every thread that makes
as many. What the loader and the constructors of libraries do is left out: there the C library itself ends the program. A
child is met from as many calls on, which is where it has started too if it is a program like its parent.
"""
import collections
import os
import re
import signal
import subprocess

# What a call can say when it fails. EINTR is for those that may wait, be it on a slow file system.
SLOW = ["EINTR", "EIO"]
NO_ROOM = ["ENOSPC", "EIO"]
PATHS = ["EACCES", "EIO", "ENOMEM"]
DESCRIPTORS = ["EMFILE", "ENOMEM"]
ERRORS = {
    "openat": ["EINTR", "EMFILE", *PATHS], "openat2": ["EMFILE", *PATHS],
    "read": SLOW, "pread64": SLOW, "recvfrom": ["EINTR", "ENOMEM"], "recvmsg": ["EINTR", "ENOMEM"],
    "write": ["EINTR", *NO_ROOM], "pwrite64": ["EINTR", *NO_ROOM], "writev": ["EINTR", *NO_ROOM],
    "sendfile": ["EINTR", "ENOMEM", *NO_ROOM], "sendto": ["EINTR", "ENOMEM"],
    "close": ["EINTR", *NO_ROOM], "fsync": ["EINTR", *NO_ROOM], "lseek": ["EIO"],
    "ftruncate": ["EINTR", *NO_ROOM], "fallocate": ["EINTR", *NO_ROOM],
    "mmap": ["ENOMEM"], "mremap": ["ENOMEM"], "brk": ["ENOMEM"], "munmap": ["ENOMEM"], "mprotect": ["ENOMEM"],
    "newfstatat": PATHS, "fstat": ["EIO", "ENOMEM"], "statx": PATHS, "access": PATHS, "faccessat2": PATHS,
    "readlink": PATHS, "readlinkat": PATHS, "getdents64": ["EIO", "ENOMEM"], "statfs": ["EINTR", "EIO"],
    "fstatfs": ["EINTR", "EIO"], "chdir": PATHS, "getcwd": ["ENOMEM"],
    "rename": ["ENOSPC", *PATHS], "renameat": ["ENOSPC", *PATHS], "linkat": ["ENOSPC", *PATHS],
    "unlink": PATHS, "unlinkat": PATHS, "mkdir": ["ENOSPC", *PATHS], "mkdirat": ["ENOSPC", *PATHS], "rmdir": PATHS,
    "fchmod": ["EIO", "EPERM"], "flock": ["EINTR", "ENOLCK"], "fcntl": ["EMFILE"], "ioctl": ["EIO"],
    "dup": ["EMFILE"], "dup2": ["EINTR", "EMFILE"], "dup3": ["EINTR", "EMFILE"],
    "pipe2": DESCRIPTORS, "socketpair": DESCRIPTORS, "memfd_create": DESCRIPTORS, "eventfd2": DESCRIPTORS,
    "inotify_init1": DESCRIPTORS, "signalfd4": DESCRIPTORS,
    "clone": ["EAGAIN", "ENOMEM"], "clone3": ["EAGAIN", "ENOMEM"], "fork": ["EAGAIN", "ENOMEM"],
    "vfork": ["EAGAIN", "ENOMEM"], "wait4": ["EINTR"], "poll": ["EINTR", "ENOMEM"], "ppoll": ["EINTR", "ENOMEM"],
    "clock_nanosleep": ["EINTR"], "shutdown": ["ENOTCONN"], "prctl": ["EINVAL"], "close_range": ["ENOSYS", "ENOMEM"],
    "shmget": ["EACCES", "ENOMEM", "ENOSPC"], "shmat": ["EACCES", "EMFILE", "ENOMEM"], "shmctl": ["EACCES", "EPERM"],
    "shmdt": ["EINVAL"],
}
LINE = re.compile(r"(\d+) +(?:<\.\.\. )?(\w+)(?:\((.*)| resumed)")
BELOW = re.compile(r"/(?:libc|libstdc\+\+|libgcc_s)\.so")
OURS = re.compile(r"/(?:tovkit[-\w]*|libtovkit\.so\S*|libtovmx\.so\S*)\(")

Point = collections.namedtuple("Point", "call number error text ours")
Run = collections.namedtuple("Run", "status out err")  # status None: still there at the limit; below 0: a signal


def execute(command, cwd, environment, limit):
    process = subprocess.Popen(command, cwd=cwd, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, start_new_session=True)
    try:
        out, err = process.communicate(timeout=limit)
        status = process.returncode
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        out, err = process.communicate()
        status = None
    return Run(status, out, err)


def can_trace():
    """Whether a process may be traced here, which containers forbid at times, with the stacks of its calls."""
    try:
        command = ["strace", "-k", "-qq", "-o", "/dev/null", "true"]
        return subprocess.run(command, capture_output=True, check=False).returncode == 0
    except FileNotFoundError:
        return False


class Call:
    """A call of a thread, with the functions that led to it, the innermost first."""

    def __init__(self, thread, name, text):
        self.thread, self.name, self.text, self.stack = thread, name, text, []

    def is_of_loader(self):
        return not self.stack or "/ld-linux" in self.stack[-1]

    def is_ours(self):
        """Whether our own code calls the C library, not a library that we use."""
        callers = [frame for frame in self.stack if not BELOW.search(frame)]
        return bool(callers) and OURS.search(callers[0]) is not None

    def where(self):
        """The innermost function of ours."""
        ours = [frame for frame in self.stack if OURS.search(frame)]
        return ours[0].partition("(")[2].rpartition("+")[0] if ours else ""


def read_log(file):
    calls, open_calls = [], {}
    current = None
    for line in file:
        match = LINE.match(line)
        if match is None:
            if line.startswith(" > ") and current is not None:
                current.stack.append(line[3:].strip())
            continue
        thread, name, text = match.groups()
        if text is None:
            current = open_calls.get(thread)
        else:
            current = open_calls[thread] = Call(thread, name, text.strip())
            calls.append(current)
    return calls


def trace(command, cwd, environment, limit):
    """The calls in order, and the run."""
    log = f"{cwd}.trace"
    run = execute(["strace", "-f", "-y", "-k", "-qq", "-s", "200", "-o", log, *command], cwd, environment, limit)
    with open(log, encoding="utf-8", errors="replace") as file:
        calls = read_log(file)
    os.remove(log)
    return calls, run


def after_startup(calls):
    """[(number, call)]: what the threads do beyond the calls that start the program."""
    counts = collections.defaultdict(collections.Counter)
    startup = collections.Counter()
    main, loading = calls[0].thread, True
    found = {}
    for call in calls:
        counts[call.thread][call.name] += 1
        number = counts[call.thread][call.name]
        loading = loading and (call.thread != main or call.is_of_loader())
        if loading:
            startup[call.name] = number
        elif number > startup[call.name]:
            found.setdefault((call.name, number), (number, call))
    return list(found.values())


def points(calls):
    """Every failure of every call after the start."""
    for number, call in after_startup(calls):
        errors = ERRORS.get(call.name, [])
        if call.name == "openat" and ("O_CREAT" in call.text or "O_TMPFILE" in call.text):
            errors = [*errors, "ENOSPC"]
        if call.name == "mmap" and "MAP_ANONYMOUS" not in call.text:
            errors = [*errors, "EACCES"]
        if "WNOHANG" in call.text or "posix_spawn" in " ".join(call.stack):
            # That never waits; and of the calls of a spawn the C library makes a failure itself.
            errors = [error for error in errors if error != "EINTR"]
        for error in errors:
            yield Point(call.name, number, error, f"{call.where()}: {call.text}", call.is_ours())


def run_with(point, command, cwd, environment, limit):
    # The kernel answers a failed brk with the break as it is, which no error is; from 0 the C library learns the same.
    outcome = "retval=0" if point.call == "brk" else f"error={point.error}"
    inject = f"inject={point.call}:{outcome}:when={point.number}"
    return execute(["strace", "-f", "--seccomp-bpf", "-qq", "-o", "/dev/null", "-e", f"trace={point.call}", "-e", inject,
                    *command], cwd, environment, limit)
