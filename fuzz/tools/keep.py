# SPDX-License-Identifier: MIT
"""keep.py BUILD [TARGET...]: adds to fuzz/corpus what the runs have found, as few and small inputs as reach as much.

libFuzzer's own merge leaves out what the seeds reach already and takes few inputs for the rest. Of these the smallest are
taken until a target has 192 KiB of kept inputs; they have the name that libFuzzer gives them, the SHA-1 of their bytes.
"""
import argparse
import pathlib
import shutil
import sys
import tempfile

import targets

MOST_EACH = 4 << 10
MOST = 192 << 10  # bytes of one target's inputs, seeds that people have written included


def merged(build, name, scratch):
    """The new inputs that reach what the seeds do not."""
    fresh = pathlib.Path(scratch) / name
    shutil.copytree(targets.SEEDS / name, fresh)
    before = {path.name for path in fresh.iterdir()}
    found = build / "corpus" / name
    if found.is_dir():
        with open(build / f"{name}.merge.log", "wb") as log:
            options = ["-set_cover_merge=1", f"-max_len={MOST_EACH}", "-rss_limit_mb=2048", "-timeout=60"]
            if targets.start(build, name, options, [fresh, found], log).wait() != 0:
                sys.exit(f"{name}: the merge failed, see {log.name}")
    return [path for path in fresh.iterdir() if path.name not in before]


def chosen(inputs, room):
    """The smallest of the inputs that fit into so many bytes."""
    taken = []
    for path in sorted(inputs, key=lambda path: (path.stat().st_size, path.name)):
        size = path.stat().st_size
        if size <= min(room, MOST_EACH):
            taken.append(path)
            room -= size
    return taken


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("targets", nargs="*")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as scratch:
        for name in options.targets or targets.names():
            seeds = targets.SEEDS / name
            new = merged(options.build.resolve(), name, scratch)
            kept = chosen(new, MOST - targets.size_of(seeds))
            for path in kept:
                shutil.copyfile(path, seeds / path.name)
            print(f"{name}: {len(kept)} of {len(new)} new inputs kept, {targets.size_of(seeds) / 1024:.1f} KiB in all")


if __name__ == "__main__":
    main()
