# SPDX-License-Identifier: MIT
"""What is drawn, what is told of it, and what is refused."""

from __future__ import annotations

import json
import pathlib
import pickle
import subprocess
import warnings
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import tovkit

draw: Any = tovkit.draw  # for what its types forbid
LINE = {"Content": "Hello, 世界", "DeltaX": 10, "Font": {"FontName": "DejaVu Sans", "FontSize": 20, "Color": "#c00000"}}


@pytest.mark.parametrize("arguments", [{}, {"size": "300x80"}, {"size": "210x50mm", "dpi": 200}, {"background": "none"},
                                       {"background": "#336699", "dpi": 50}])
def test_the_picture_is_that_of_the_command(arguments: dict[str, Any], command: str, tmp_path: pathlib.Path) -> None:
    (tmp_path / "lines.json").write_text(json.dumps([LINE, LINE]))
    flags = [word for name, value in arguments.items() for word in (f"--{name}", str(value))]
    subprocess.run([command, "draw", "-q", tmp_path / "lines.json", "-o", tmp_path / "page.png", *flags], check=True)
    drawn = tovkit.draw([LINE, LINE], **arguments)
    assert np.array_equal(np.asarray(drawn), np.asarray(tovkit.Image.open(tmp_path / "page.png")))
    assert drawn.to_bytes("png") == (tmp_path / "page.png").read_bytes()


def test_documents_are_those_of_the_command(command: str, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("SOURCE_DATE_EPOCH", "1700000000")
    (tmp_path / "lines.json").write_text(json.dumps([[LINE], [LINE, LINE]]))
    subprocess.run([command, "draw", "-q", tmp_path / "lines.json", "-o", tmp_path / "a.pdf", "--size", "A5"], check=True)
    assert tovkit.draw_pdf([[LINE], [LINE, LINE]], size="A5") == (tmp_path / "a.pdf").read_bytes()
    (tmp_path / "lines.json").write_text(json.dumps(LINE))
    subprocess.run([command, "draw", "-q", tmp_path / "lines.json", "-o", tmp_path / "a.svg"], check=True)
    assert tovkit.draw_svg(LINE) == (tmp_path / "a.svg").read_bytes()


def test_objects_and_json_draw_the_same() -> None:
    pages: list[Any] = [LINE, [LINE], json.dumps(LINE), json.dumps([LINE], ensure_ascii=False), (LINE,), [[LINE]]]
    first = tovkit.draw(pages[0]).to_bytes("bmp")
    for page in pages[1:]:
        assert tovkit.draw(page).to_bytes("bmp") == first


def test_sizes_may_be_numbers() -> None:
    assert tovkit.draw(LINE, size=(30.5, 20)).size == (31, 20)
    assert draw(LINE, size=(np.float32(30), np.int64(20)), dpi=np.int32(192)).size == (60, 40)


def test_drawing_over_an_image_its_file_and_its_bytes(tmp_path: pathlib.Path) -> None:
    under = tovkit.Image.fromarray(np.random.default_rng(1).integers(0, 255, (60, 90, 3), np.uint8))
    before = np.asarray(under).copy()
    under.save(tmp_path / "under.png")
    pictures: list[Any] = [under, tmp_path / "under.png", str(tmp_path / "under.png"), under.to_bytes("png")]
    drawn = [np.asarray(tovkit.draw(LINE, over=over)) for over in pictures]
    assert all(np.array_equal(drawn[0], other) for other in drawn[1:])
    assert not np.array_equal(drawn[0][:, :, :3], before)
    assert np.array_equal(np.asarray(under), before)


def test_a_misspelled_key_is_a_warning_and_strictly_an_error() -> None:
    line = {"Content": "a", "Font": {"Colors": "#f00"}}
    with pytest.warns(tovkit.DescriptionWarning, match="lines/Font/Colors: .*Color"):
        tovkit.draw(line)
    with pytest.warns(tovkit.DescriptionWarning):
        tovkit.draw_pdf(line)
    with pytest.warns(tovkit.DescriptionWarning):
        tovkit.draw_svg(line)
    with pytest.raises(tovkit.JsonError) as caught:
        tovkit.draw(line, strict=True)
    assert (caught.value.pointer, caught.value.line, caught.value.column) == ("/Font/Colors", 0, 0)
    with pytest.raises(tovkit.JsonError) as caught:
        tovkit.draw('{"Content": "a",\n "Colors": 1}', strict=True)
    assert (caught.value.pointer, caught.value.line, caught.value.column) == ("/Colors", 2, 2)
    assert str(caught.value).startswith("lines:2:2: ")
    with warnings.catch_warnings(record=True) as seen:
        warnings.simplefilter("default")
        for _ in range(3):
            tovkit.draw(line)
    assert len(seen) == 1 and seen[0].filename == __file__


def test_reports_are_those_of_the_command(command: str, tmp_path: pathlib.Path) -> None:
    lines = [LINE, {"Content": "b\U0010fffd", "Colors": 1, "DeltaX": 500}]
    (tmp_path / "lines.json").write_text(json.dumps(lines, separators=(",", ":")))
    run = subprocess.run([command, "draw", "-q", tmp_path / "lines.json", "-o", tmp_path / "a.png", "--size", "200x50",
                          f"--report={tmp_path / 'report'}"], check=True, capture_output=True)
    assert run.stderr == b""
    wanted = [json.loads(line) for line in (tmp_path / "report").read_text(encoding="utf-8").splitlines()]
    found = tovkit.describe(lines, size="200x50")
    for report in [*wanted, *found]:
        report.pop("file")
    assert found == wanted
    assert found[1]["clipped"]["wholly"] is True
    assert found[1]["missingCount"] == 1
    assert [len(r["warnings"]) for r in tovkit.describe(json.dumps(lines), limit=0)] == [0, 0]


@pytest.mark.parametrize(("use", "kind", "message"), [
    (lambda: tovkit.draw("{"), tovkit.JsonError, "lines:1:2: "), (lambda: tovkit.draw(""), tovkit.JsonError, "empty"),
    (lambda: tovkit.draw([]), tovkit.JsonError, "lines: the array holds no line"),
    (lambda: tovkit.draw({"Content": 5}), tovkit.JsonError, "lines/Content: no text to draw"),
    (lambda: draw([LINE, {"Text": "a"}]), tovkit.JsonError, "lines/1"),
    (lambda: tovkit.draw([[LINE], [LINE]]), tovkit.InputError, "one page is drawn, and there are 2"),
    (lambda: tovkit.draw_svg([[LINE], [LINE]]), tovkit.Error, "takes one page"),
    (lambda: tovkit.draw(LINE, size="big"), tovkit.InputError, "size: 'big' is no size"),
    (lambda: tovkit.draw(LINE, size=(0, 1)), tovkit.InputError, "size: a side"),
    (lambda: draw(LINE, size=(1,)), tovkit.InputError, "size: a width"),
    (lambda: tovkit.draw(LINE, size=(float("nan"), 1)), tovkit.InputError, "size: "),
    (lambda: tovkit.draw(LINE, size=(1e5, 1e5)), tovkit.LimitError, "too large"),
    (lambda: tovkit.draw(LINE, dpi=0), tovkit.InputError, "dpi: a number from 1 to 4800"),
    (lambda: tovkit.draw(LINE, dpi=float("inf")), tovkit.InputError, "dpi: "),
    (lambda: tovkit.draw(LINE, background="red"), tovkit.InputError, "background: 'red' is no color"),
    (lambda: tovkit.draw(LINE, over=b"x"), tovkit.InputError, "not a picture"),
    (lambda: tovkit.draw(LINE, over=b"x", size="A4"), tovkit.InputError, "size: the picture"),
    (lambda: tovkit.draw(LINE, fonts=["/no/font.ttf"]), tovkit.FileError, "/no/font.ttf"),
    (lambda: tovkit.draw(LINE, fonts=__file__), tovkit.InputError, "holds no font"),
    (lambda: tovkit.draw({"Content": float("nan")}), tovkit.InputError, "lines: "),
    (lambda: tovkit.draw("\udc80"), tovkit.InputError, "lines: a surrogate"),
    (lambda: tovkit.describe(LINE, limit=-1), tovkit.InputError, "limit: "),
])
def test_what_cannot_be_drawn_is_told_where(use: Any, kind: type[Exception], message: str) -> None:
    with pytest.raises(kind) as caught:
        use()
    assert message in str(caught.value)
    assert isinstance(caught.value, (ValueError, OSError, tovkit.Error))


@pytest.mark.parametrize(("use", "name"), [
    (lambda: draw(3), "lines"), (lambda: draw({"a": object()}), "lines"),
    (lambda: draw(LINE, size=3), "size"), (lambda: draw(LINE, dpi="9"), "dpi"),
    (lambda: draw(LINE, background=3), "background"), (lambda: draw(LINE, over=3), "over"),
    (lambda: draw(LINE, fonts=3), "fonts"), (lambda: draw(LINE, fonts=[3]), "fonts"),
])
def test_wrong_types_are_told_with_their_name(use: Any, name: str) -> None:
    with pytest.raises((TypeError, tovkit.JsonError), match=f"^{name}"):
        use()


def test_errors_survive_pickling() -> None:
    uses: list[Callable[[], object]] = [lambda: tovkit.draw("{"), lambda: tovkit.Image.open("/none"),
                                        lambda: tovkit.parse_color("red")]
    for use in uses:
        with pytest.raises(tovkit.Error) as caught:
            use()
        again = pickle.loads(pickle.dumps(caught.value))
        assert type(again) is type(caught.value) and str(again) == str(caught.value)
        assert again.__dict__ == caught.value.__dict__


JSON = st.recursive(st.none() | st.booleans() | st.floats(allow_nan=False, allow_infinity=False) | st.text() |
                    st.integers(-2**70, 2**70),
                    lambda inner: st.lists(inner, max_size=4) | st.dictionaries(
                        st.sampled_from(["Content", "Font", "DeltaX", "FontSize", "Color"]) | st.text(), inner, max_size=4),
                    max_leaves=12)


@given(JSON)
def test_any_objects_draw_or_are_errors(lines: Any) -> None:
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        try:
            assert isinstance(tovkit.draw(lines, size=(50, 20)), tovkit.Image)
        except tovkit.Error:
            pass
