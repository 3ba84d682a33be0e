#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the shell blocks (```sh) of the README and the other pages as they stand.

    page_commands.py RELEASE_BUILD           every page in a copy of the tree of its own, the blocks in order, in one shell
    page_commands.py --long                  the same, with the commands of long_commands.txt
    page_commands.py --list                  what is left to --long, and why

Of long_commands.txt, a command that a page shows is left out, or another runs in its place, unless --long is given; the
list is printed. RELEASE names the build to the latter. A block below the name of a file is that file, and run as such.
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parents[2]
SECONDS = 300


def read_long_commands():
    """{command: {"why": ..., "instead": ...}}"""
    commands, entry = {}, None
    for line in (TOP / "tests/docs/long_commands.txt").read_text().splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        if line[0] != " ":
            entry = commands[line] = {}
        else:
            key, value = line.strip().split(": ", 1)
            entry[key] = value
    for command, entry in commands.items():
        if "why" not in entry or set(entry) - {"why", "instead"}:
            sys.exit(f"long_commands.txt: {command}: wants a why, and perhaps an instead")
    return commands


def pages():
    found = [*TOP.glob("*.md"), *TOP.glob("docs/*.md"), *TOP.glob("docs/guide/*.md"), TOP / "core/README.md"]
    return sorted(page.relative_to(TOP) for page in found)


def blocks(page):
    """(number of the first line, lines, the file that the block repeats or None) for each shell block."""
    start, lines, above, name = 0, [], "", None
    for number, line in enumerate((TOP / page).read_text().splitlines(), 1):
        if start and line.strip() == "```":
            yield start, lines, name
            start = 0
        elif start:
            lines.append(line)
        elif re.match(r"\s*```\s*(bash|shell|console|zsh)\b", line):
            sys.exit(f"{page}:{number}: a block of commands is marked ```sh")
        elif re.match(r"```sh\s*$", line):
            start, lines = number + 1, []
            repeated = re.fullmatch(r"<!-- (\S+) -->", above)
            name = repeated.group(1) if repeated else None
        above = line


def copy_tree(folder):
    """What a clone of the tree as it stands would hold."""
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=TOP, check=True,
                           capture_output=True).stdout.decode().split("\0")
    for name in filter(None, names):
        if (TOP / name).exists():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(TOP / name, folder / name, follow_symlinks=False)


def make_script(page, long_commands, run_long, left_out):
    """The blocks of a page as one script, and the line of the page for each of its lines."""
    script, origin = [], []

    def add(text, number):
        script.append(text)
        origin.append(number)

    for start, lines, name in blocks(page):
        if name:
            add(f"sh {name}", start)
            continue
        for number, line in enumerate(lines, start):
            command = re.sub(r"\s+#.*", "", line).strip()
            entry = long_commands.get(command)
            if entry:
                left_out.append((command, f"{page}:{number}", entry))
            add(line if run_long or not entry else entry.get("instead", ":"), number)
    return script, origin


def run_page(page, script, origin, build, run_long):
    """Whether every command of the page ended with 0; prints which did not."""
    with tempfile.TemporaryDirectory(prefix="pages-") as scratch:
        scratch = pathlib.Path(scratch)
        tree, report, output = scratch / "tovkit", scratch / "report", scratch / "output"
        copy_tree(tree)
        (scratch / "home").mkdir()
        # One line before the first of the page.
        text = "set -eE; trap 'echo $LINENO $? >> \"$PAGE_REPORT\"' ERR\n" + "\n".join(script) + "\n"
        (scratch / "script").write_text(text)
        env = dict(os.environ, HOME=str(scratch / "home"), PAGE_REPORT=str(report), RELEASE=str(build))
        with open(output, "wb") as out:
            shell = subprocess.Popen(["bash", scratch / "script"], cwd=tree, env=env, stdin=subprocess.DEVNULL, stdout=out,
                                     stderr=out, start_new_session=True)
            try:
                status = shell.wait(None if run_long else SECONDS)
            except subprocess.TimeoutExpired:
                status = f"nothing after {SECONDS} s"
            try:
                os.killpg(shell.pid, signal.SIGKILL)  # What a page starts in the background ends with it.
            except ProcessLookupError:
                pass
            shell.wait()
        if status == 0:
            return True
        sys.stdout.write(output.read_text(errors="replace")[-4000:])
        line, code = report.read_text().split()[:2] if report.exists() else (None, status)
        index = int(line) - 2 if line else None
        shown = f"{page}:{origin[index]}: {script[index]}" if line and 0 <= index < len(script) else f"{page}"
        print(f"{shown}: ended with {code}", flush=True)
        return False


def main():
    run_long = sys.argv[1:] == ["--long"]
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    only_list = sys.argv[1:] == ["--list"]
    build = None if run_long or only_list else pathlib.Path(sys.argv[1]).resolve()
    long_commands, left_out, good, count = read_long_commands(), [], True, 0
    for page in pages():
        script, origin = make_script(page, long_commands, run_long, left_out)
        if script and not only_list:
            count += 1
            ran = run_page(page, script, origin, build, run_long)
            print(f"{page}: {len(script)} lines, {'good' if ran else 'FAILED'}", flush=True)
            good = good and ran
    for command, place, entry in left_out:
        print(f"{'run' if run_long else 'left to scripts/check --long'}: {command} ({place}): {entry['why']}")
    for command in long_commands.keys() - {command for command, _, _ in left_out}:
        print(f"long_commands.txt: no page shows: {command}")
        good = False
    sys.exit(0 if good and (count or only_list) else 1)


if __name__ == "__main__":
    main()
