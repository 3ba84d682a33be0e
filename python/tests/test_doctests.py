# SPDX-License-Identifier: MIT
"""Every public name has a docstring with an example, and the example runs."""

from __future__ import annotations

import doctest
import inspect
from collections.abc import Iterator
from typing import Any

import pytest

import tovkit
import tovkit.jobs


def members(kind: type) -> Iterator[tuple[str, Any]]:
    for name, member in vars(kind).items():
        if name.startswith("_") and name not in ("_repr_png_", "__array_interface__"):
            continue
        if isinstance(member, staticmethod):
            member = member.__func__
        if callable(member) or isinstance(member, property):
            yield f"{kind.__name__}.{name}", member


def public() -> Iterator[tuple[str, Any]]:
    yield "tovkit", tovkit
    yield "jobs", tovkit.jobs
    for module, prefix in ((tovkit, ""), (tovkit.jobs, "jobs.")):
        for name in module.__all__:
            found = getattr(module, name)
            if not inspect.ismodule(found):
                yield prefix + name, found
            if inspect.isclass(found) and not issubclass(found, (BaseException, tuple)):
                for inner, member in members(found):
                    yield prefix + inner, member


NAMES = dict(public())


@pytest.mark.parametrize("name", NAMES)
def test_example_runs(name: str) -> None:
    text = inspect.getdoc(NAMES[name]) or ""
    assert ">>>" in text, f"{name} has no example"
    test = doctest.DocTestParser().get_doctest(text, {}, name, None, 0)
    output: list[str] = []
    doctest.DocTestRunner(verbose=False).run(test, out=output.append)
    assert not output, "".join(output)


@pytest.mark.parametrize("name", [name for name in NAMES if inspect.isroutine(NAMES[name])])
def test_signature_is_told_and_errors_are_named(name: str) -> None:
    routine = NAMES[name]
    parameters = set(inspect.signature(routine).parameters) - {"self"}
    text = inspect.getdoc(routine) or ""
    if parameters:
        assert "Raises" in text or "TypeError" in text, f"{name} does not tell what it raises"


def test_all_is_complete() -> None:
    names = {name for name in vars(tovkit) if not name.startswith("_")} - {"TYPE_CHECKING", "annotations"}
    assert names <= set(tovkit.__all__) | {"jobs"}, names - set(tovkit.__all__)
