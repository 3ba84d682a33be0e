# SPDX-License-Identifier: MIT
"""Runs tests where a fault can do no harm: own processes, own IPC, nothing writable but what is thrown away.

A fault may turn kill(pid) into kill(-1) and remove(file) into remove(another): each run has a process namespace of its
own, which ends with it, sees the file system read-only, and has fresh folders for temporary files and shared memory.
"""
import os
import subprocess
import time

INSIDE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "inside")
MEMORY = 8 << 30  # bytes of address space for each process
KEPT = ("/proc", "/dev", "/sys")
# A process namespace has a limit of its own since Linux 6.14; before, the same file is that of the whole machine.
PROCESSES = "4096" if tuple(int(part) for part in os.uname().release.split(".")[:2]) >= (6, 14) else ""


def freeze(writable):
    """From here on this process and its children can write to the `writable` folder alone. Cannot be undone."""
    subprocess.run(["mount", "-n", "--bind", writable, writable], check=True)
    with open("/proc/self/mountinfo", encoding="utf-8") as mounts:
        points = [line.split()[4].encode().decode("unicode_escape") for line in mounts]
    for point in points:
        if point == writable or any(point == kept or point.startswith(kept + "/") for kept in KEPT):
            continue
        subprocess.run(["mount", "-n", "-o", "remount,bind,ro", point], check=True)


class Sandbox:
    """`root` is the repository, `scratch` a folder in it that tests may write to: each run sees an unspoilt copy."""

    def __init__(self, root, scratch, writable):
        self.root, self.scratch, self.writable = root, scratch, writable

    def run(self, command, directory, environment, wall, cpu, keep=True, output=False):
        """The exit status (None: the time was up), what was printed when `output` is asked for, and the seconds.

        `wall` seconds for the run and `cpu` seconds for each process; without `keep` nothing at all can be written.
        """
        inner = ["unshare", "--mount", "--pid", "--ipc", "--fork", "--kill-child", "--mount-proc",
                 INSIDE, self.root, self.scratch, "" if keep else self.writable, str(int(cpu) + 1), str(MEMORY >> 10),
                 PROCESSES,
                 directory, *command]
        start = time.monotonic()
        process = subprocess.Popen(inner, env={**os.environ, "TMPDIR": "/tmp", **environment}, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE if output else subprocess.DEVNULL,
                                   stderr=subprocess.STDOUT if output else subprocess.DEVNULL, start_new_session=True)
        try:
            text, _ = process.communicate(timeout=wall)
            status = process.returncode
        except subprocess.TimeoutExpired:
            process.kill()
            text, _ = process.communicate()
            status = None
        return status, (text or b"").decode("utf-8", "replace"), time.monotonic() - start
