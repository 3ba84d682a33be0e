# SPDX-License-Identifier: MIT
"""Many calls of everything leave memory and reference counts as they were. In a debug build of Python, which counts all
references there are, that count stays as well."""

from __future__ import annotations

import array
import copy
import gc
import inspect
import io
import os
import pathlib
import sys
import tracemalloc
from collections.abc import Callable

import numpy as np
import pytest

import tovkit
from tovkit import Image, Path, jobs

COUNT = int(os.environ.get("TOVKIT_CALLS", "2000"))  # of each; scripts/check --long makes 100000
FEWER = {"files": 10, "processes": 10, "map": 500}  # calls that are as dear as so many others
SLOW = {"job", "no job", "fonts", "pillow"}  # 200 will do, unless many are asked for

LINE = {"Content": "a", "Font": {"FontSize": 9}}
SMALL = tovkit.draw(LINE, size=(20, 12))
PNG = SMALL.to_bytes("png")
PIXELS = memoryview(bytes(60)).cast("B", (4, 5, 3))
PLACES = memoryview(array.array("d", range(16))).cast("B").cast("d", (8, 2))
PATH = Path("M 0 0 Q 5 5 10 0 Z")
HIT = {"id": "a", "hit": {"path": "M 0 0", "points": []}}
# NumPy and Pillow are not built for a debug build of Python, which does not see what they do with references.
ARRAY = np.zeros((4, 5, 3), np.uint8)
POINTS = np.zeros((8, 2))
HUGE = np.lib.stride_tricks.as_strided(np.zeros(2), (1 << 40, 2), (0, 8))
UNCOUNTED = {"array", "asarray", "points", "distances", "huge", "huge points", "pillow"}


def refused(use: Callable[[], object]) -> Callable[[], None]:
    def call() -> None:
        try:
            use()
        except (tovkit.Error, TypeError, BufferError):
            return
        raise AssertionError("not refused")

    return call


def closed() -> None:
    with Image.fromarray(PIXELS) as image:
        memoryview(image).release()  # type: ignore[arg-type]


def held() -> None:
    image = Image.fromarray(PIXELS)
    with memoryview(image):  # type: ignore[arg-type]
        image.close()


def files() -> None:
    SMALL.save("a.bmp")
    Image.open("a.bmp")
    pathlib.Path("a.path").write_text("M 0 0 L 1 1")
    Path.read("a.path")


def operations() -> None:
    path = Path().move_to(0, 0).line_to(3, 4).quad_to(5, 6, 7, 8).cubic_to(1, 2, 3, 4, 5, 6)
    copy.deepcopy(copy.copy(path.arc_to(5, 5, 0, True, False, 9, 9).close().copy()))


CALLS: dict[str, Callable[[], object]] = {
    "draw": lambda: tovkit.draw(LINE, size=(20, 12)), "over": lambda: tovkit.draw(LINE, over=SMALL),
    "text": lambda: tovkit.draw('{"Content": "a"}', fonts=[], background=None),
    "pdf": lambda: tovkit.draw_pdf(LINE), "svg": lambda: tovkit.draw_svg(LINE), "describe": lambda: tovkit.describe(LINE),
    "open": lambda: Image.open(PNG), "file object": lambda: Image.open(io.BytesIO(PNG)), "files": files,
    "save": lambda: SMALL.save(io.BytesIO(), "bmp"), "bytes": lambda: SMALL.to_bytes("png", effort=1),
    "array": lambda: Image.fromarray(ARRAY, "RGB", dpi=(3, 4)), "asarray": lambda: np.asarray(SMALL),
    "buffer": lambda: Image.fromarray(PIXELS, "RGB", dpi=3), "view": lambda: memoryview(SMALL),  # type: ignore[arg-type]
    "interface": lambda: SMALL.__array_interface__, "rgb": SMALL.rgb, "copy": SMALL.copy, "repr": lambda: repr(SMALL),
    "facts": lambda: (SMALL.size, SMALL.mode, SMALL.dpi, SMALL.frames, SMALL.format, SMALL.palette),
    "notebook": SMALL._repr_png_, "resize": lambda: SMALL.resize("50%"),
    "pillow": lambda: Image.from_pillow(SMALL.to_pillow()), "close": closed,
    "steps": lambda: SMALL.crop((1, 1, 5, 5)).erase((0, 0, 2, 2)).upright(), "path": lambda: repr(Path("M 0 0 L 1 1")),
    "operations": operations, "hit": lambda: tovkit.hit_test(PATH, PLACES),
    "points": lambda: tovkit.hit_test(PATH, POINTS, fill=True), "pairs": lambda: tovkit.hit_test("M 0 0", [(1, 2)]),
    "distance": lambda: tovkit.distance(PATH, PLACES), "distances": lambda: tovkit.distance(PATH, POINTS),
    "detail": lambda: tovkit.hit_detail(PATH, (1, 2)), "encode": lambda: tovkit.b64encode(b"abc"),
    "decode": lambda: tovkit.b64decode("YWJj"), "stepped": lambda: tovkit.b64encode(memoryview(PNG)[::2]),
    "pages": lambda: tovkit.parse_pages("1-3", 5), "color": lambda: tovkit.parse_color("#fff"), "fonts": tovkit.fonts,
    "processes": tovkit.processes, "job": lambda: jobs.run(HIT), "map": lambda: list(jobs.map([HIT], workers=1)),
    "no picture": refused(lambda: Image.open(b"x")), "no file": refused(lambda: Image.open("/none")),
    "no array": refused(lambda: Image.fromarray(b"")), "no json": refused(lambda: tovkit.draw("{")),
    "no objects": refused(lambda: tovkit.draw({"Content": object()})), "no key": refused(
        lambda: tovkit.draw({"Content": "a", "Color": 1}, strict=True)), "no color": refused(lambda: tovkit.parse_color("x")),
    "no path": refused(lambda: Path("x")), "no start": refused(lambda: Path().line_to(1, 2)),
    "no base64": refused(lambda: tovkit.b64decode("!")), "no points": refused(lambda: tovkit.hit_test(PATH, [(1, 2, 3)])),
    "no pages": refused(lambda: tovkit.parse_pages("9", 5)), "no job": refused(lambda: jobs.run({})),
    "no number": refused(lambda: SMALL.resize((1, "2"))),  # type: ignore[arg-type]
    "no image": refused(lambda: Image.__new__(Image)), "no write": refused(lambda: SMALL.save("/none/a.png")),
    "held": refused(held), "huge": refused(lambda: tovkit.b64encode(HUGE)),
    "huge points": refused(lambda: tovkit.hit_test(PATH, HUGE)),
}


def test_every_function_is_called() -> None:
    text = inspect.getsource(sys.modules[__name__])
    routines = [name for module in (tovkit, jobs) for name in module.__all__ if inspect.isroutine(getattr(module, name))]
    for kind in (Image, Path):
        routines += [name for name in vars(kind) if not name.startswith(("__", "_pybind11_"))]
    assert len(routines) > 40
    assert [name for name in routines if f".{name}" not in text] == []


def resident() -> int:
    return int(pathlib.Path("/proc/self/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE")


# Of the whole process, 0 where nobody counts.
references: Callable[[], int] = getattr(sys, "gettotalrefcount", lambda: 0)


# What must stay as it is, and what is everywhere: what others do with None and the booleans is no more than a few.
SHARED = [LINE, ARRAY, POINTS, HUGE, SMALL, PATH, PNG, PIXELS, PLACES, HIT]
EVERYWHERE = [None, True, False]


def growth(call: Callable[[], object], count: int, uncounted: bool) -> list[str]:
    """What more than a few bytes a call are left by `count` calls, each kind in words; none if they leave nothing."""
    counts = [sys.getrefcount(object) for object in SHARED]
    everywhere = [sys.getrefcount(object) for object in EVERYWHERE]
    memory, blocks, total = resident(), tracemalloc.get_traced_memory()[0], references()
    for _ in range(count):
        call()
    gc.collect()
    grown, traced, counted = (resident() - memory, tracemalloc.get_traced_memory()[0] - blocks, references() - total)
    assert [sys.getrefcount(object) for object in SHARED] == counts
    others = max(abs(sys.getrefcount(object) - before) for object, before in zip(EVERYWHERE, everywhere))
    # A leak of one object to a call would be 16 bytes of each; caches and the allocator's own pages are less. Under a
    # sanitizer there are few calls, and what the first ones keep weighs more.
    sanitized = "LD_PRELOAD" in os.environ
    left = {
        f"{traced} bytes of Python's": traced >= (200_000 if sanitized else 16_000) + count * 4,
        f"{grown} bytes of memory": grown >= 3_000_000 + count * 32 and not sanitized,
        f"{others} references to None or a boolean": others >= 100,
        f"{counted} references": abs(counted) >= max(20, count // 4) and not uncounted,
    }
    return [words for words, much in left.items() if much]


@pytest.mark.parametrize("name", CALLS)
def test_memory_is_flat(name: str, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    call = CALLS[name]
    count = COUNT // FEWER.get(name, 1)
    if name in SLOW and COUNT <= 2000:
        count = min(count, 200)
    for _ in range(max(min(50, count), count // 4)):
        call()
    gc.collect()
    tracemalloc.start()
    # What leaks grows in each round. What the interpreter keeps of a call grows in the first ones only, and now and then by
    # more than is allowed: Pillow's lookups of its own functions leave up to 16 KB of names and caches.
    rounds: list[list[str]] = []
    while len(rounds) < 4 and all(rounds):
        rounds.append(growth(call, count, name in UNCOUNTED))
    tracemalloc.stop()
    assert not all(rounds), f"{rounds} after {count} calls each"
