# SPDX-License-Identifier: MIT
"""Base64, page selections, colors, processes, fonts."""

from __future__ import annotations

import array
import base64
import json
import os
import subprocess
import sys
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import tovkit


@given(st.binary(max_size=5000))
def test_base64_is_pythons(data: bytes) -> None:
    text = tovkit.b64encode(data)
    assert text == base64.b64encode(data)
    assert tovkit.b64decode(text) == data
    assert tovkit.b64decode(text.decode()) == data
    assert tovkit.b64decode(text.rstrip(b"=")) == data
    assert tovkit.b64decode(base64.encodebytes(data)) == data


@pytest.mark.parametrize("size", [0, 1, 2, 3, 47, 48, 49, 4096, 4097, 100_000, 1_000_003])
def test_base64_of_sizes_around_the_kernels(size: int) -> None:
    data = os.urandom(size)
    assert tovkit.b64encode(data) == base64.b64encode(data)
    assert tovkit.b64decode(base64.b64encode(data)) == data


def test_a_huge_shape_of_a_few_bytes_is_refused_before_memory_is_taken() -> None:
    huge = np.lib.stride_tricks.as_strided(np.zeros(1, np.uint8), (1 << 36,), (0,))
    held = sys.getrefcount(huge)
    uses: list[Callable[[Any], object]] = [tovkit.b64encode, tovkit.b64decode, tovkit.Image.open]
    for use in uses:
        with pytest.raises(tovkit.LimitError, match="longer than 2 GiB"):
            use(huge)
    assert sys.getrefcount(huge) == held


@given(st.binary(max_size=40) | st.text("AZaz09+/= \n\r!-_", max_size=12).map(str.encode))
def test_base64_is_decoded_as_the_command_decodes_it(text: bytes) -> None:
    dense = bytes(c for c in text if c not in b" \t\n\v\f\r")
    alphabet = dense.rstrip(b"=")
    good = all(chr(c).isascii() and (chr(c).isalnum() or c in b"+/") for c in alphabet) and len(alphabet) % 4 != 1
    good = good and len(dense) - len(alphabet) <= 2
    if good:
        assert tovkit.b64decode(text) == base64.b64decode(alphabet + b"=" * (-len(alphabet) % 4))
    else:
        with pytest.raises(ValueError, match="^data: "):
            tovkit.b64decode(text)


def test_base64_takes_any_buffer() -> None:
    numbers = np.arange(24, dtype=np.int32).reshape(4, 6)
    for buffer in (bytearray(b"abc"), memoryview(b"abcdef")[::2], array.array("d", [1, 2]), numbers, numbers[::2, ::3],
                   numbers.T, memoryview(b""), tovkit.draw({"Content": "a"}, size=(5, 3))):
        assert tovkit.b64encode(buffer) == base64.b64encode(bytes(memoryview(buffer)))  # type: ignore[arg-type]
    for wrong in ("abc", 3, None, ["a"]):
        with pytest.raises(TypeError, match="^data must be a bytes-like object, not "):
            tovkit.b64encode(wrong)  # type: ignore[arg-type]
    with pytest.raises(TypeError, match="data"):
        tovkit.b64encode()  # type: ignore[call-arg]


@given(st.text("0123456789,- oddevenall", max_size=14), st.integers(0, 30), st.booleans())
def test_page_selections_are_those_of_the_command(selection: str, count: int, zero_based: bool) -> None:
    lenient = tovkit.parse_pages(selection, count, zero_based=zero_based, lenient=True)
    assert all(0 <= page < max(count, 1) for page in lenient)
    try:
        assert tovkit.parse_pages(selection, count, zero_based=zero_based) == lenient
    except tovkit.InputError as error:
        assert str(error).startswith("selection: stopped at segment ")


@pytest.mark.parametrize(("arguments", "pages"), [
    (("all", 3), [0, 1, 2]), (("odd", 5), [0, 2, 4]), (("even", 5), [1, 3]), (("", 2), [0, 1]), (("1,3-5", 12), [0, 2, 3, 4])])
def test_pages(arguments: Any, pages: list[int]) -> None:
    assert tovkit.parse_pages(*arguments) == pages
    assert tovkit.parse_pages("odd", 5, base=10) == [10, 12, 14]
    assert tovkit.parse_pages("0,2", 3, zero_based=True) == [0, 2]


@pytest.mark.parametrize(("use", "message"), [
    (lambda: tovkit.parse_pages("3,2", 9), "selection: "), (lambda: tovkit.parse_pages("1", -1), "count: "),
    (lambda: tovkit.parse_pages("1", 10**9), "count: "), (lambda: tovkit.parse_pages("1\0", 3), "selection: a NUL"),
    (lambda: tovkit.parse_color("red"), "text: 'red'"), (lambda: tovkit.parse_color(""), "text: ''"),
    (lambda: tovkit.b64decode("a"), "data: "), (lambda: tovkit.b64decode("Zm9v="), ""),
    (lambda: tovkit.b64decode("Zm9v==="), "data: not Base64 from character 5")])
def test_what_does_not_fit_is_an_error_with_its_name(use: Any, message: str) -> None:
    if message == "":
        assert use() == b"foo"
        return
    with pytest.raises(tovkit.InputError) as caught:
        use()
    assert message in str(caught.value) and isinstance(caught.value, ValueError)


@pytest.mark.parametrize(("text", "color"), [
    ("none", (0, 0, 0, 0)), ("#80", (128, 128, 128, 255)), ("#f80", (255, 136, 0, 255)), ("#123456", (18, 52, 86, 255)),
    ("#ff000000", (0, 255, 255, 255)), ("1 2 3", (1, 2, 3, 255)), ("7", (7, 7, 7, 255))])
def test_colors(text: str, color: tuple[int, int, int, int]) -> None:
    assert tovkit.parse_color(text) == color


def test_processes_are_those_of_the_command(command: str) -> None:
    sleeper = subprocess.Popen(["cat"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    assert sleeper.stdin is not None and sleeper.stdout is not None
    # Once it has answered it has its name and its memory.
    sleeper.stdin.write(b"ready\n")
    sleeper.stdin.flush()
    assert sleeper.stdout.readline() == b"ready\n"
    try:
        before = {p.pid: p for p in tovkit.processes()}
        listed = json.loads(subprocess.run([command, "ps", "--json"], check=True, capture_output=True).stdout)
    finally:
        sleeper.communicate()
    told = {entry["pid"]: entry for entry in listed}
    for pid in (sleeper.pid, os.getpid(), 1):
        assert before[pid].name == told[pid]["name"]
    assert before[sleeper.pid].rss_kb == told[sleeper.pid]["rssKb"]
    assert before[os.getpid()].rss_kb > 1000


def test_processes_leave_no_descriptor_open() -> None:
    tovkit.processes()
    before = len(os.listdir("/proc/self/fd"))
    for _ in range(20):
        tovkit.processes()
    assert len(os.listdir("/proc/self/fd")) == before


def test_fonts_are_those_that_are_drawn_with() -> None:
    fonts = tovkit.fonts()
    assert fonts == sorted(fonts, key=str.encode) and len(set(fonts)) == len(fonts)
    for family in ("DejaVu Sans", "Liberation Serif"):
        assert family in fonts
        report = tovkit.describe({"Content": "a", "Font": {"FontName": family}})[0]
        assert report["font"]["substituted"] is False
