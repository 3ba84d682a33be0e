# SPDX-License-Identifier: MIT
"""The fuzz targets of a build: where they and their inputs are, how one is run, what it tells."""
import os
import pathlib
import re
import subprocess

TOP = pathlib.Path(__file__).resolve().parents[2]
SEEDS = TOP / "fuzz/corpus"
SUPPRESSIONS = TOP / "tests/support/lsan.supp"


def names():
    return sorted(path.name for path in SEEDS.iterdir() if path.is_dir())


def start(build, name, options, folders, log, settings=None):
    """The running target, which writes what it says to the open file `log`; `settings` are of its environment."""
    environment = {**os.environ, "LSAN_OPTIONS": f"suppressions={SUPPRESSIONS}:print_suppressions=0", **(settings or {})}
    return subprocess.Popen([build / "fuzz" / f"fuzz_{name}", *options, *folders], stdin=subprocess.DEVNULL, stdout=log,
                            stderr=log, env=environment)


def executions(log):
    """How many inputs a run tried: as it tells at its end, or in its last line when it was ended from outside."""
    told = re.findall(r"^stat::number_of_executed_units: *(\d+)|^#(\d+)\b|^Done (\d+) runs", log, re.MULTILINE)
    return max((int(number) for group in told for number in group if number), default=0)


def findings(folder, name):
    """The files of what failed in a target, slow inputs aside."""
    return sorted(path.name for path in folder.glob(f"{name}-*")
                  if re.fullmatch(re.escape(name) + r"-(crash|leak|timeout|oom)-[0-9a-f]+", path.name))


def size_of(folder):
    return sum(path.stat().st_size for path in folder.iterdir() if path.is_file())
