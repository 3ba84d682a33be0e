# SPDX-License-Identifier: MIT
"""Names follow the command's; importing is light."""

from __future__ import annotations

import inspect
import re
import subprocess
import sys
from collections.abc import Callable
from typing import Any

import pytest

import tovkit
import tovkit.jobs

# Options of the command that are no parameter, with what is there in their place.
ELSEWHERE: dict[str, dict[str, str]] = {
    "draw": {"output": "save", "format": "save", "effort": "save", "text": "a dict", "font-name": "a dict",
             "font-size": "a dict", "color": "a dict", "bold": "a dict", "italic": "a dict", "at": "a dict",
             "one-page": "a list of lines", "watch": "Python's own", "verbose": "describe", "report": "describe",
             "limit": "describe", "quiet": "warnings", "schema": "the command"},
    "hit": {"point": "points", "map": "left out", "format": "left out", "size": "left out", "id": "Path.read"},
    "batch": {"template": "a generator", "data": "a generator", "jobs": "workers", "shard": "a generator",
              "results": "the iterator", "resume": "a generator", "fail-fast": "Result.check", "merge": "a dict",
              "schema": "the command"},
    "pages": {},
    "image": {"output": "save", "info": "properties"},
}
# Parameters by another name than their option: those that take several, and what an option says of itself.
NAMES = {"fonts": "font", "points": "point", "lines": "FILE", "path": "PATHFILE", "jobs": "JOBS",
         "selection": "SELECTION", "workers": "jobs", "source": "IN", "target": "output"}


def options(command: str, name: str) -> set[str]:
    text = subprocess.run([command, name, "--help"], check=True, capture_output=True, text=True).stdout
    return set(re.findall(r"(?<![\w-])--([a-z][a-z-]*)", "\n".join(
        line for line in text.splitlines() if re.match(r"\s+(-\w,)?\s*--", line)))) - {"help"}


def parameters(*routines: Callable[..., Any]) -> set[str]:
    found: set[str] = set()
    for routine in routines:
        found |= set(inspect.signature(routine).parameters)
    return {NAMES.get(name, name).replace("_", "-") for name in found}


@pytest.mark.parametrize(("name", "routines"), [
    ("draw", (tovkit.draw,)), ("hit", (tovkit.hit_test,)), ("batch", (tovkit.jobs.map,)),
    ("pages", (tovkit.parse_pages,)), ("image", (tovkit.Image.open, tovkit.Image.save, tovkit.Image.resize))])
def test_parameters_are_the_options_of_the_command(command: str, name: str, routines: Any) -> None:
    wanted = options(command, name)
    assert wanted, "the help was not understood"
    elsewhere = set(ELSEWHERE[name])
    assert elsewhere <= wanted, f"no longer options: {elsewhere - wanted}"
    steps = {step for step in ("crop", "erase", "resize", "upright") if hasattr(tovkit.Image, step)}
    missing = wanted - elsewhere - parameters(*routines) - steps
    assert not missing, f"options without a parameter: {missing}"
    own = {name for name in parameters(*routines) if name.islower()} - wanted - {"self"}
    assert own <= ({"size"} if name == "image" else set()), f"parameters without an option: {own}"


def test_importing_loads_little() -> None:
    program = "import sys; before = set(sys.modules); import tovkit; print(*sorted(set(sys.modules) - before))"
    loaded = subprocess.run([sys.executable, "-c", program], check=True, capture_output=True, text=True).stdout.split()
    others = [name for name in loaded if not name.startswith("tovkit")]
    assert not {"numpy", "PIL", "json", "typing", "dataclasses", "re"} & set(others), others


def test_jobs_are_loaded_when_they_are_asked_for() -> None:
    program = "import tovkit, sys; assert 'tovkit.jobs' not in sys.modules; tovkit.jobs.run; tovkit.no_such_name"
    run = subprocess.run([sys.executable, "-c", program], check=False, capture_output=True, text=True)
    assert "AttributeError: module 'tovkit' has no attribute 'no_such_name'" in run.stderr


def test_the_version_is_that_of_the_command(command: str) -> None:
    text = subprocess.run([command, "--version"], check=True, capture_output=True, text=True).stdout
    assert text.split() == ["tovkit", tovkit.__version__]


def bound_classes() -> list[Any]:
    return [found for found in vars(tovkit._tovkit).values()
            if isinstance(found, type) and type(found).__name__ == "pybind11_type"]


def test_every_bound_class_is_looked_at() -> None:
    assert {bound.__name__ for bound in bound_classes()} == {"Batch", "Image", "Path"}


@pytest.mark.parametrize("bound", bound_classes())
def test_an_object_made_past_its_constructor_is_refused(bound: Any) -> None:
    try:
        unmade = bound.__new__(bound)
    except TypeError:
        return
    with pytest.raises(TypeError):
        repr(unmade)
    with pytest.raises(TypeError):
        tovkit.hit_test(unmade, [(0, 0)])
    numbers = range(8)
    for name, method in vars(bound).items():
        if not callable(method) or isinstance(method, staticmethod) or name.startswith(("__", "_pybind11_")):
            continue
        parameters = len(inspect.signature(method).parameters) - 1
        with pytest.raises(TypeError):
            method(unmade, *numbers[:parameters])
