# SPDX-License-Identifier: MIT
"""coverage.py BUILD [--found] [--lines]: the lines of each decoder of pictures that the inputs in fuzz/corpus reach.

BUILD is one with clang's counters for source lines. What a decoder and its format's head are made of is told by file; a file
that several decoders use counts what any of them reaches. With --found, what runs of build/fuzz have found counts too; with
--lines, the lines that nothing reaches are printed below the table.
"""
import argparse
import collections
import pathlib
import subprocess
import sys

import targets

FORMATS = {"bmp": "bmp", "gif": "gif", "jp2": "jpeg2000", "jpeg": "jpeg", "png": "png", "tiff": "tiff", "webp": "webp"}
CODECS = targets.TOP / "core/codec"
SHARED = ("format_decoder.cc", "kept_frames.h", "orientation.cc")
WRITERS = ("_encoder.cc", "_filter.cc", "_filter_avx2.cc", "_rows.cc", "_filter.h", "_rows.h")


def sources():
    """{file: the decoders that it is a part of}, of all that reads pictures."""
    found = {CODECS / name: list(FORMATS) for name in SHARED}
    for path in sorted(CODECS.iterdir()):
        prefixes = {"plain_png": "png"}
        family = prefixes.get(path.stem, path.name.split("_", maxsplit=1)[0])
        formats = [name for name, prefix in FORMATS.items() if prefix == family]
        if formats and not path.name.endswith(WRITERS):
            found[path] = formats
    return found


def run_inputs(build, name, folders):
    """The merged counts of a target's run over these folders."""
    raw, data = build / f"{name}.raw", build / f"{name}.data"
    with open(build / f"{name}.log", "wb") as log:
        status = targets.start(build, name, ["-runs=0"], folders, log, {"LLVM_PROFILE_FILE": str(raw)}).wait()
    if status != 0:
        sys.exit(f"{name}: failed, see {log.name}")
    subprocess.run(["llvm-profdata", "merge", "-o", data, raw], check=True)
    return data


def counts(build, data):
    """{file: {line: whether it was reached}}, as lcov's DA lines tell it."""
    told = subprocess.run(["llvm-cov", "export", "--format=lcov", f"--instr-profile={data}", build / "core/libtovmx.so"],
                          check=True, capture_output=True, text=True).stdout
    return read_counts(told.splitlines())


def read_counts(lines):
    files, current = collections.defaultdict(dict), None
    for line in lines:
        if line.startswith("SF:"):
            # The compiler is told paths from the folder of the build: "./build/../../core/codec/a.cc".
            name = line[3:].rsplit("../", 1)[-1]
            current = files[targets.TOP / name]
        elif line.startswith("DA:"):
            number, times = line[3:].split(",")[:2]
            current[int(number)] = current.get(int(number), False) or int(times) > 0
    return files


def joined(parts):
    """One file's lines over several runs."""
    lines = {}
    for part in parts:
        for number, reached in part.items():
            lines[number] = lines.get(number, False) or reached
    return lines


def row(name, inputs, lines):
    reached = sum(lines.values())
    inputs = f" {inputs}" if inputs != "" else ""
    return f"| {name} |{inputs} | {len(lines)} | {reached} | {100 * reached / max(1, len(lines)):.1f} % |"


def table(files, inputs):
    """Of {(file, formats): lines} a row each, below each format's files their sum."""
    yield "| file | inputs | lines | reached | |"
    yield "|---|---:|---:|---:|---:|"
    for name in FORMATS:
        own = {path: lines for (path, formats), lines in files.items() if formats == (name,)}
        for path, lines in own.items():
            yield row(f"`{path.name}`", "", lines)
        whole = {(path, number): reached for path, lines in own.items() for number, reached in lines.items()}
        yield row(f"**decode_{name}**", inputs[name], whole)
    for (path, formats), lines in files.items():
        if len(formats) > 1:
            yield row(f"`{path.name}`", "", lines)


def unreached(files):
    for (path, _), lines in files.items():
        text = path.read_text(encoding="utf-8").splitlines()
        for number, reached in sorted(lines.items()):
            if not reached:
                yield f"{path.relative_to(targets.TOP)}:{number}: {text[number - 1].strip()}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--found", action="store_true")
    parser.add_argument("--lines", action="store_true")
    options = parser.parse_args()
    build, by_format, inputs = options.build.resolve(), {}, {}
    for name in FORMATS:
        target = f"decode_{name}"
        folders = [targets.SEEDS / target]
        if options.found and (build.parent / "fuzz/corpus" / target).is_dir():
            folders.append(build.parent / "fuzz/corpus" / target)
        by_format[name] = counts(build, run_inputs(build, target, folders))
        inputs[name] = sum(len(list(folder.iterdir())) for folder in folders)
    files = {}
    for path, formats in sources().items():
        lines = joined(by_format[name].get(path, {}) for name in formats)
        if lines:
            files[path, tuple(formats)] = lines
    print("\n".join(table(files, inputs)))
    if options.lines:
        print("\n".join(unreached(files)))


if __name__ == "__main__":
    main()
