# SPDX-License-Identifier: MIT
"""What is run, and in which folder: the uses of the command and of the library whose calls fail in turn."""
import dataclasses
import json
import os
import pathlib
import shutil

TOP = pathlib.Path(__file__).resolve().parents[3]
OLD = b"the old output\n"
JOBS = 3
FONTS = """<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig><dir>/usr/share/fonts/truetype/dejavu</dir><cachedir>{cache}</cachedir></fontconfig>
"""


@dataclasses.dataclass
class Scenario:
    """A command, and what may become of it in a folder of its own.

    `outputs` are the files that it makes, where older ones stand; one that is `partial` may end early without a word.
    `failed` are the lines, as patterns, that tell a documented failure, and `statuses` the exit statuses that go with them.
    """
    name: str
    command: list
    outputs: tuple = ()
    statuses: tuple = (1,)
    failed: tuple = (rb"tovkit: .+",)
    partial: bool = False
    results: bool = False  # standard output is a batch's: a line for each job

    def prepare(self, folder, shared):
        """Makes `folder` as each run finds it; `shared` holds what all runs read."""
        os.mkdir(folder)
        for file in ("line.json", "page.png", "jobs.jsonl"):
            os.link(shared / file, folder / file)
        for output in self.outputs:
            (folder / output).write_bytes(OLD)


def make_shared(shared):
    """What all runs read: a description, jobs, a picture, the configuration of fonts."""
    line = {"Content": "Hello, world", "DeltaX": 20, "DeltaY": 10, "Font": {"FontName": "DejaVu Sans", "FontSize": 24}}
    shared.mkdir()
    (shared / "cache").mkdir()
    (shared / "fonts.conf").write_text(FONTS.format(cache=shared / "cache"))
    (shared / "line.json").write_text(json.dumps(line))
    shutil.copyfile(TOP / "docs/images/hello.png", shared / "page.png")
    jobs = ({"id": f"job{n}", "draw": {**line, "Content": f"Job {n}"}, "out": f"job{n}.png"} for n in range(JOBS))
    (shared / "jobs.jsonl").write_text("".join(json.dumps(job) + "\n" for job in jobs))


def environment(shared):
    kept = {name: os.environ[name] for name in ("PATH", "LD_LIBRARY_PATH") if name in os.environ}
    return {**kept, "LC_ALL": "C.UTF-8", "HOME": str(shared), "TMPDIR": str(shared), "SOURCE_DATE_EPOCH": "0",
            "FONTCONFIG_FILE": str(shared / "fonts.conf")}


def scenarios(command, library):
    """Of the command and of the program that calls the library."""
    error = rb"[A-Za-z-]+ shared memory error, errno=\d+, errmsg=.+"
    started = (rb"vfork fail, errno=\d+, errmsg=.+", rb"PROC-ERROR: execv fail, errno=\d+, errmsg=.+",
               rb"waitpid fail\. errno=\d+, errmsg=.+")
    drawn = [Scenario(f"draw-{form}", [command, "draw", "line.json", "-o", f"out.{form}"], (f"out.{form}",))
             for form in ("png", "pdf", "svg")]
    return [
        *drawn,
        Scenario("image", [command, "image", "page.png", "-o", "out.webp", "--resize", "50%"], ("out.webp",)),
        Scenario("json", [command, "json", "line.json", "--indent", "2"]),
        Scenario("batch", [command, "batch", "jobs.jsonl", "--directory", ".", "-j", "1"],
                 tuple(f"job{n}.png" for n in range(JOBS)), results=True),
        Scenario("run", [command, "run", "--", "/bin/true"], statuses=(1, 125, 126, 127)),
        Scenario("copy", [library, "copy", "page.png", "out.png"], ("out.png",), partial=True),
        Scenario("create", [library, "create", "a/b/c.txt"], failed=(b"not created",)),
        Scenario("info", [library, "info", "page.png"], failed=(b"not there",)),
        Scenario("process", [library, "process"], failed=started, statuses=(0, 1)),
        Scenario("shared-memory", [library, "shared-memory"], failed=(error,)),
    ]
