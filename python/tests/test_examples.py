# SPDX-License-Identifier: MIT
"""The programs of examples/python print what their .out files hold and write what the guide shows."""

from __future__ import annotations

import pathlib
import subprocess
import sys

import numpy as np
import pytest

import tovkit

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples" / "python"


@pytest.mark.parametrize("name", [program.stem for program in sorted(EXAMPLES.glob("*.out"))])
def test_example_prints_what_it_should(name: str, tmp_path: pathlib.Path, source: pathlib.Path) -> None:
    run = subprocess.run([sys.executable, EXAMPLES / f"{name}.py"], cwd=tmp_path, check=True, capture_output=True, text=True)
    assert run.stdout == (EXAMPLES / f"{name}.out").read_text(encoding="utf-8")
    assert run.stderr == ""
    for picture in tmp_path.glob("python_*.png"):
        shown = np.asarray(tovkit.Image.open(source / "docs" / "images" / picture.name)).astype(int)
        drawn = np.asarray(tovkit.Image.open(picture)).astype(int)
        # Each release of the font libraries shades edges its own way. A page without its text differs by 10.
        assert drawn.shape == shown.shape and np.abs(drawn - shown).mean() < 2


def test_every_example_is_run() -> None:
    programs = {program.stem for program in EXAMPLES.glob("*.py")}
    # Dask starts servers: tests/net runs that one.
    assert programs - {program.stem for program in EXAMPLES.glob("*.out")} == {"dask_labels"}
