# SPDX-License-Identifier: MIT
"""Paths and hit tests: against the job, against shapely, against four rays."""

from __future__ import annotations

import copy
import math
import pathlib
from typing import Any

import numpy as np
import numpy.typing as npt
import pytest
import shapely.geometry
from hypothesis import assume, given
from hypothesis import strategies as st

import tovkit
from tovkit import Path, jobs

CURVES = "M 10 10 C 40 -20 80 60 110 10 Q 130 40 100 70 A 30 20 30 1 0 40 90 S 0 60 10 30 Z M 30 30 L 60 35 50 60 Z"


def reference(polygon: list[tuple[float, float]], x: float, y: float) -> bool:
    """Whether the rays from a point in all four directions cross the outline."""
    right = left = up = down = False
    for (ax, ay), (bx, by) in zip(polygon, polygon[1:] + polygon[:1]):
        if (ay > y) != (by > y):
            cross = ax + (y - ay) * (bx - ax) / (by - ay)
            right, left = right or cross > x, left or cross < x
        if (ax > x) != (bx > x):
            cross = ay + (x - ax) * (by - ay) / (bx - ax)
            down, up = down or cross > y, up or cross < y
    return right and left and up and down


def path_of(polygon: list[tuple[float, float]]) -> Path:
    path = Path().move_to(*polygon[0])
    for point in polygon[1:]:
        path.line_to(*point)
    return path.close()


def grid(count: int = 40, low: float = -20, high: float = 130) -> npt.NDArray[np.float64]:
    side = np.linspace(low, high, count)
    return np.array([(x, y) for y in side for x in side])


@pytest.mark.parametrize("fill", [False, True])
@pytest.mark.parametrize("tolerance", [0.0, 1.0, 7.5])
def test_many_points_get_the_answers_of_the_job(fill: bool, tolerance: float) -> None:
    points = grid()
    found = tovkit.hit_test(CURVES, points, tolerance=tolerance, fill=fill)
    result = jobs.run({"hit": {"path": CURVES, "points": points.tolist(), "tolerance": tolerance, "fill": fill}})
    assert found.dtype == np.bool_ and found.tolist() == result.hits
    assert 0 < found.sum() < len(points)
    points = points[::7]
    rows: Any = points.tolist()
    details = [tovkit.hit_detail(CURVES, point, tolerance, fill) for point in rows]
    assert [detail.hit for detail in details] == found[::7].tolist()
    assert [detail.distance for detail in details] == tovkit.distance(CURVES, points).tolist()


@given(st.integers(3, 12), st.floats(0, 6), st.floats(10, 50), st.floats(0.3, 1),
       st.lists(st.tuples(st.floats(-60, 60), st.floats(-60, 60)), min_size=1, max_size=40))
def test_convex_shapes_agree_with_shapely(sides: int, turn: float, radius: float, squeeze: float,
                                          points: list[tuple[float, float]]) -> None:
    polygon = [(float(np.float32(radius * math.cos(turn + i * math.tau / sides))),
                float(np.float32(squeeze * radius * math.sin(turn + i * math.tau / sides)))) for i in range(sides)]
    edges = list(zip(polygon, polygon[1:] + polygon[:1]))
    assume(all(abs(ax - bx) > 1e-3 and abs(ay - by) > 1e-3 for (ax, ay), (bx, by) in edges))
    shape = shapely.geometry.Polygon(polygon)
    clear = [point for point in points if shape.exterior.distance(shapely.geometry.Point(point)) > 1e-2]
    # A convex shape can be crossed by four rays only from inside.
    found = tovkit.hit_test(path_of(polygon), clear, tolerance=0, fill=True)
    assert found == [shape.contains(shapely.geometry.Point(point)) for point in clear]
    for point, distance in zip(clear, tovkit.distance(path_of(polygon), clear)):
        assert distance == pytest.approx(shape.exterior.distance(shapely.geometry.Point(point)), rel=1e-4, abs=1e-4)


@given(st.lists(st.tuples(st.integers(-20, 20), st.integers(-20, 20)), min_size=3, max_size=9, unique=True),
       st.lists(st.tuples(st.integers(-22, 22), st.integers(-22, 22)), min_size=1, max_size=40))
def test_any_polygon_agrees_with_four_rays(corners: list[tuple[float, float]], points: list[tuple[int, int]]) -> None:
    # Away from all corners, and from edges along an axis, whose rule is another.
    edges = list(zip(corners, corners[1:] + corners[:1]))
    assume(all(a[0] != b[0] and a[1] != b[1] for a, b in edges))
    off = [(x + 0.5, y + 0.25) for x, y in points]
    outline = shapely.geometry.LinearRing(corners)
    clear = [point for point in off if outline.distance(shapely.geometry.Point(point)) > 0.05]
    assert tovkit.hit_test(path_of(corners), clear, 0, True) == [reference(corners, *point) for point in clear]


@pytest.mark.parametrize("kind", ["f4", "f8", "i1", "i2", "i4", "i8", "u1", "u2", "u4", "u8", "<f8"])
def test_numbers_of_every_type_are_read(kind: str) -> None:
    points = grid(12, 0, 110).round()
    wanted = tovkit.hit_test(CURVES, points)
    assert np.array_equal(tovkit.hit_test(CURVES, points.astype(kind)), wanted)


def test_strides_and_orders_do_not_matter() -> None:
    points = grid(12)
    wanted = tovkit.hit_test(CURVES, points)
    wide = np.zeros((2 * len(points), 6))
    wide[::2, ::4] = points
    for same in (np.asfortranarray(points), wide[::2, ::4], points[::-1][::-1], points[:, ::-1][:, ::-1]):
        assert np.array_equal(tovkit.hit_test(CURVES, same), wanted)
    assert tovkit.hit_test(CURVES, points.data) == wanted.tolist()
    rows: Any = points  # NumPy tells of its elements no more than that each may be a row or a number
    assert tovkit.hit_test(CURVES, rows.tolist()) == wanted.tolist()
    assert tovkit.hit_test(CURVES, iter(rows)) == wanted.tolist()
    assert tovkit.hit_test(CURVES, tuple(map(tuple, rows))) == wanted.tolist()


def test_no_points_are_no_answers() -> None:
    assert tovkit.hit_test(CURVES, []) == [] and tovkit.distance("", []) == []
    assert tovkit.hit_test(CURVES, np.zeros((0, 2))).shape == (0,)


def test_enough_points_for_threads_get_the_same_answers() -> None:
    points = np.tile(grid(60), (40, 1))
    few = tovkit.hit_test(CURVES, grid(60), fill=True)
    assert np.array_equal(tovkit.hit_test(CURVES, points, fill=True), np.tile(few, 40))


def test_what_is_not_finite_hits_nothing() -> None:
    points = [(math.nan, 0), (math.inf, -math.inf), (1e300, 0), (5, 0)]
    assert tovkit.hit_test("M 0 0 L 10 0", points, 1e6, True) == [False, False, False, True]
    assert tovkit.distance("M 0 0 L 10 0", points) == [math.inf, math.inf, math.inf, 0]
    assert tovkit.distance("", [(0, 0)]) == [math.inf]


def test_the_largest_float_is_a_place_and_what_is_beyond_it_is_none() -> None:
    most = float(np.finfo(np.float32).max)
    points = [(most, 0), (-most, 0), (math.nextafter(most, math.inf), 0), (0, -math.nextafter(most, math.inf))]
    wanted = [most, most, math.inf, math.inf]
    assert tovkit.distance("M 0 0 L 10 0", points) == wanted
    assert tovkit.distance("M 0 0 L 10 0", np.array(points)).tolist() == wanted
    apart = np.zeros((4, 3))
    apart[:, ::2] = points
    assert tovkit.distance("M 0 0 L 10 0", apart[:, ::2]).tolist() == wanted


@pytest.mark.parametrize("points", [np.zeros(4), np.zeros((2, 3)), np.zeros((2, 2, 1)), np.zeros((2, 2), complex),
                                    np.zeros((2, 2), ">f8"), np.zeros((2, 2), object), np.zeros((2, 2), "U1"),
                                    np.zeros((2, 2), np.float16), [(1, 2, 3)], [()],
                                    np.lib.stride_tricks.as_strided(np.zeros(2), (1 << 58, 2), (0, 8)),
                                    np.lib.stride_tricks.as_strided(np.zeros(2), (1 << 36, 2), (0, 8))])
def test_points_of_another_shape_are_refused(points: Any) -> None:
    with pytest.raises(ValueError, match="^points: "):
        tovkit.hit_test(CURVES, points)


@pytest.mark.parametrize("points", [3, [3], [("a", "b")], None, "abcd"])
def test_points_that_are_none_are_type_errors(points: Any) -> None:
    with pytest.raises((TypeError, ValueError), match="points|number|real"):
        tovkit.hit_test(CURVES, points)


def test_operations_make_what_the_text_says() -> None:
    made = (Path().move_to(10, 10).cubic_to(40, -20, 80, 60, 110, 10).quad_to(130, 40, 100, 70)
            .arc_to(30, 20, 30, True, False, 40, 90).line_to(0, 60).close())
    text = "M 10 10 C 40 -20 80 60 110 10 Q 130 40 100 70 A 30 20 30 1 0 40 90 L 0 60 Z"
    assert np.array_equal(tovkit.distance(made, grid()), tovkit.distance(text, grid()))


def test_paths_that_are_none(tmp_path: pathlib.Path) -> None:
    with pytest.raises(tovkit.InputError, match="line 1, column 5"):
        Path("M 0 x")
    with pytest.raises(tovkit.InputError):
        tovkit.hit_test("Q", [])
    with pytest.raises(tovkit.InputError, match="move_to comes first"):
        Path().line_to(1, 1)
    with pytest.raises(tovkit.InputError, match="^x: "):
        Path().move_to(math.inf, 0)
    with pytest.raises(TypeError, match="^y must be a number, not str"):
        Path().move_to(0, "1")  # type: ignore[arg-type]
    with pytest.raises(TypeError, match="^path must be"):
        tovkit.hit_test(3, [])  # type: ignore[call-overload]
    with pytest.raises(FileNotFoundError):
        Path.read(tmp_path / "none.svg")
    (tmp_path / "a.svg").write_text("<svg><path id='a' d='M 0 0 L 9 9'/><path id='b' d='M 0 0'/></svg>")
    assert repr(Path.read(tmp_path / "a.svg", "b")) == "<tovkit.Path of 1 records>"
    with pytest.raises(tovkit.InputError):
        Path.read(tmp_path / "a.svg", "c")


def test_copies_are_paths_of_their_own() -> None:
    path = Path("M 0 0 L 10 0")
    for twin in (path.copy(), copy.copy(path), copy.deepcopy(path)):
        twin.line_to(10, 10)
        assert repr(twin) == "<tovkit.Path of 3 records>"
    assert repr(path) == "<tovkit.Path of 2 records>"


@pytest.mark.parametrize("count", [1, 255, 256, 8191, 8192, 70_000, 200_001])
@pytest.mark.parametrize("kind", ["float64", "float32", "int16"])
def test_answers_do_not_depend_on_how_many_are_asked_for(count: int, kind: str) -> None:
    points = np.random.default_rng(count).uniform(-20, 130, (count, 2)).astype(kind)
    whole = tovkit.hit_test(CURVES, points, 3, True)
    some = np.linspace(0, count - 1, min(count, 200)).astype(int)
    singles = [tovkit.hit_test(CURVES, [(float(x), float(y))], 3, True)[0] for x, y in points[some]]
    assert whole[some].tolist() == singles
    assert whole.shape == (count,)
